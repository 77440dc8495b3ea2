#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "QVFoundation/platform/Export.h"

namespace QVFoundation::detail {

/// A time during which the clocks of a zone are not changed.
struct ZonePeriod {
  std::chrono::sys_seconds begin;
  std::chrono::seconds offset;  ///< ahead of GMT, with what is saved
  std::chrono::seconds saving;  ///< how much of it is daylight saving; zero where there is none
  std::string abbreviation;
};

/// When the clocks of a time zone were changed and will be, for all instants that `NSDate` can hold.
///
/// A zone whose law calls winter the exception, such as Dublin's, has its daylight saving in summer all the
/// same.
///
/// Threads: any; it does not change.
class QV_TEST_EXPORT ZoneHistory {
public:
  /// From a compiled time zone file (RFC 8536); nothing where it is damaged.
  [[nodiscard]] static std::optional<ZoneHistory> fromFile(std::span<const std::byte> content);

  /// From a rule such as "CET-1CEST,M3.5.0,M10.5.0/3", as POSIX has them in the variable TZ.
  [[nodiscard]] static std::optional<ZoneHistory> fromRule(std::string_view text);

  /// A zone whose clocks are never changed.
  ZoneHistory(std::chrono::seconds offset, std::string abbreviation);

  [[nodiscard]] const ZonePeriod& at(std::chrono::sys_seconds when) const noexcept;

  /// The period in which the clocks of the zone show that time. Of a time that is shown twice it is the later
  /// one, and for a time that is skipped the one before.
  [[nodiscard]] const ZonePeriod& atLocal(std::chrono::local_seconds when) const noexcept;

private:
  explicit ZoneHistory(std::vector<ZonePeriod> periods);

  std::vector<ZonePeriod> periods_;  // in the order of time; the first one counts for all before it too
};

}  // namespace QVFoundation::detail
