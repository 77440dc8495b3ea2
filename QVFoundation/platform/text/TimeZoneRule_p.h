#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "QVFoundation/platform/Export.h"

namespace QVFoundation::detail {

/// What a time zone says of one stretch of time.
struct TimeZonePeriod {
  std::chrono::seconds offset{};  // ahead of UTC
  std::chrono::seconds saving{};  // how much of it is for daylight saving
  bool savesDaylight = false;
  std::string abbreviation;
};

/// A time zone whose clocks change by the same rule each year, or never: "CET-1CEST,M3.5.0,M10.5.0/3". So the
/// variable TZ says it (POSIX.1-2017, 8.3), and the last line of a zone's file, which adds hours from -167 to
/// 167 (RFC 8536, 3.3.1).
///
/// Threads: immutable.
class QV_TEST_EXPORT TimeZoneRule {
public:
  /// Nothing where the text is none.
  [[nodiscard]] static std::optional<TimeZoneRule> parse(std::string_view text);

  /// As of seconds since 1970.
  [[nodiscard]] const TimeZonePeriod& at(std::int64_t when) const;
  /// When the clocks are changed for the first time after an instant; nothing where they never are.
  [[nodiscard]] std::optional<std::int64_t> changeAfter(std::int64_t when) const;

private:
  class Parser;
  /// A day of a year, and a time of that day.
  struct Moment {
    enum class Kind : std::uint8_t { monthWeekDay, dayWithoutLeapDay, day } kind = Kind::monthWeekDay;
    int month = 0, week = 0, day = 0;
    std::int64_t seconds = 0;

    [[nodiscard]] std::int64_t in(std::chrono::year year) const;  // local time, since 1970
  };
  struct Change {
    std::int64_t when;
    const TimeZonePeriod* period;
  };
  /// Those of the years around an instant, in order.
  [[nodiscard]] std::array<Change, 6> changesAround(std::int64_t when) const;

  TimeZonePeriod standard_, daylight_;
  Moment start_, end_;  // of daylight saving
  bool changes_ = false;
};

}  // namespace QVFoundation::detail
