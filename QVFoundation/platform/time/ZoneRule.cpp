#include <algorithm>
#include <utility>

#include "QVFoundation/platform/time/ZoneRule_p.h"

namespace QVFoundation::detail {

namespace {

using namespace std::chrono;

constexpr bool isASCIIDigit(char c) { return c >= '0' && c <= '9'; }
constexpr bool isASCIILetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

/// Reads a rule from left to right. What reads a part gives false where it is not there.
class ZoneRuleReader {
public:
  explicit ZoneRuleReader(std::string_view text) : rest_(text) {}

  bool rule(ZoneRule& rule) {
    if (!name(rule.standard.abbreviation) || !offset(rule.standard.offset)) return false;
    if (rest_.empty()) return true;
    auto& daylight = rule.daylight.emplace();
    if (!name(daylight.clock.abbreviation)) return false;
    daylight.clock.offset = rule.standard.offset + hours(1);
    if (!rest_.empty() && rest_.front() != ',' && !offset(daylight.clock.offset)) return false;
    // POSIX leaves open what holds where no days are named; the C library takes those of New York.
    if (rest_.empty()) rest_ = ",M3.2.0,M11.1.0";
    return skip(',') && day(daylight.begin) && skip(',') && day(daylight.end) && rest_.empty();
  }

private:
  bool skip(char c) {
    if (rest_.empty() || rest_.front() != c) return false;
    rest_.remove_prefix(1);
    return true;
  }

  bool name(std::string& name) {
    const bool quoted = skip('<');
    const auto belongs = [quoted](char c) { return quoted ? c != '>' : isASCIILetter(c); };
    name = std::string(rest_.begin(), std::ranges::find_if_not(rest_, belongs));
    rest_.remove_prefix(name.size());
    return name.size() >= 3 && (!quoted || skip('>'));
  }

  bool number(int& number, int smallest, int largest) {
    if (rest_.empty() || !isASCIIDigit(rest_.front())) return false;
    for (number = 0; !rest_.empty() && isASCIIDigit(rest_.front()); rest_.remove_prefix(1)) {
      number = number * 10 + (rest_.front() - '0');
      if (number > largest) return false;
    }
    return number >= smallest;
  }

  /// Hours of up to a week, with minutes and seconds where there are any.
  bool time(seconds& time) {
    const bool negative = skip('-');
    if (!negative) skip('+');
    int hour = 0;
    int minute = 0;
    int second = 0;
    if (!number(hour, 0, 167)) return false;
    if (skip(':')) {
      if (!number(minute, 0, 59)) return false;
      if (skip(':') && !number(second, 0, 59)) return false;
    }
    time = hours(hour) + minutes(minute) + seconds(second);
    if (negative) time = -time;
    return true;
  }

  /// Rules count west of Greenwich as positive.
  bool offset(seconds& offset) {
    if (!time(offset) || abs(offset) >= hours(25)) return false;
    offset = -offset;
    return true;
  }

  bool day(ZoneRuleDay& day) {
    day.time = hours(2);
    return dayWithoutTime(day) && (!skip('/') || time(day.time));
  }

  bool dayWithoutTime(ZoneRuleDay& day) {
    if (skip('M')) {
      int month = 0;
      int week = 0;
      if (!number(month, 1, 12) || !skip('.') || !number(week, 1, 5) || !skip('.')) return false;
      day.month = static_cast<unsigned>(month);
      day.week = static_cast<unsigned>(week);
      return number(day.day, 0, 6);
    }
    if (skip('J')) {
      day.form = ZoneRuleDay::Form::dayOfYearWithoutLeapDay;
      return number(day.day, 1, 365);
    }
    day.form = ZoneRuleDay::Form::dayOfYear;
    return number(day.day, 0, 365);
  }

  std::string_view rest_;
};

local_days dayOfYear(year year, int day) { return local_days(year / January / 1) + days(day); }

local_days dayInYear(const ZoneRuleDay& rule, year year) {
  switch (rule.form) {
    case ZoneRuleDay::Form::dayOfYear: return dayOfYear(year, rule.day);
    case ZoneRuleDay::Form::dayOfYearWithoutLeapDay:
      return dayOfYear(year, rule.day >= 60 && year.is_leap() ? rule.day : rule.day - 1);
    case ZoneRuleDay::Form::weekday: break;
  }
  const weekday weekday(static_cast<unsigned>(rule.day));
  const month month(rule.month);
  return rule.week == 5 ? local_days(year / month / weekday[last])
                        : local_days(year / month / weekday[rule.week]);
}

}  // namespace

local_seconds ZoneRuleDay::inYear(year year) const { return dayInYear(*this, year) + time; }

std::optional<ZoneRule> ZoneRule::parse(std::string_view text) {
  ZoneRule rule;
  if (!ZoneRuleReader(text).rule(rule)) return {};
  return rule;
}

}  // namespace QVFoundation::detail
