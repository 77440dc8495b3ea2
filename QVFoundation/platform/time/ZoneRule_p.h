#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace QVFoundation::detail {

/// A day of each year and a time on it at which clocks are changed.
struct ZoneRuleDay {
  enum class Form { weekday, dayOfYear, dayOfYearWithoutLeapDay };

  Form form = Form::weekday;
  unsigned month = 1;  ///< 1 to 12
  unsigned week = 1;   ///< 1 to 5; the fifth is the last one
  int day = 0;         ///< of the week from Sunday, or of the year: from 0, or without leap days from 1
  std::chrono::seconds time{};

  /// Date and time in that year, by the clock that is valid before it.
  [[nodiscard]] std::chrono::local_seconds inYear(std::chrono::year year) const;
};

struct ZoneRuleClock {
  std::string abbreviation;
  std::chrono::seconds offset{};  ///< ahead of GMT
};

struct ZoneRuleDaylightSaving {
  ZoneRuleClock clock;
  ZoneRuleDay begin, end;
};

/// A rule for all years, such as "CET-1CEST,M3.5.0,M10.5.0/3".
///
/// Threads: a value.
struct ZoneRule {
  ZoneRuleClock standard;
  std::optional<ZoneRuleDaylightSaving> daylight;

  /// Nothing where the text is no such rule.
  [[nodiscard]] static std::optional<ZoneRule> parse(std::string_view text);
};

}  // namespace QVFoundation::detail
