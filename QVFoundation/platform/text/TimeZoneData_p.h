#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/text/TimeZoneRule_p.h"

namespace QVFoundation::detail {

/// The clock changes of a time zone: those that there have been, and the rule for those to come, as the
/// system's time zone files hold them (RFC 8536).
///
/// Threads: immutable.
class QV_TEST_EXPORT TimeZoneData {
public:
  /// What a file holds; null where it is damaged.
  [[nodiscard]] static std::unique_ptr<const TimeZoneData> fromFile(std::span<const std::byte> bytes);
  [[nodiscard]] static std::unique_ptr<const TimeZoneData> fromRule(TimeZoneRule rule);
  /// One whose clocks never change.
  [[nodiscard]] static std::unique_ptr<const TimeZoneData> fixed(std::chrono::seconds offset,
                                                                 std::string abbreviation);

  /// As of seconds since 1970.
  [[nodiscard]] const TimeZonePeriod& at(std::int64_t when) const;
  /// As of seconds since 1970 on the clocks of the zone. A time that comes twice is the first of both; one
  /// that is left out is as if the clocks had not been changed yet.
  [[nodiscard]] const TimeZonePeriod& atLocal(std::int64_t when) const;
  [[nodiscard]] std::optional<std::int64_t> changeAfter(std::int64_t when) const;

private:
  class Reader;
  struct Change {
    std::int64_t when;
    std::size_t period;
  };

  void addSavings();

  std::vector<TimeZonePeriod> periods_;  // the first is what was before all changes
  std::vector<Change> changes_;          // in the order of time
  std::optional<TimeZoneRule> rule_;     // after the last of them
};

}  // namespace QVFoundation::detail
