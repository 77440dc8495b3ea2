#include <algorithm>
#include <charconv>
#include <utility>

#include "QVFoundation/platform/text/TimeZoneRule_p.h"

namespace QVFoundation::detail {

namespace {

constexpr std::int64_t secondsOfDay = 86400;

std::int64_t secondsOf(std::chrono::sys_days day) { return day.time_since_epoch().count() * secondsOfDay; }

std::chrono::year yearOf(std::int64_t when) {
  // All years that a date can have, and some more.
  constexpr std::int64_t most = 400'000'000'000;
  const std::chrono::sys_seconds instant(std::chrono::seconds(std::clamp(when, -most, most)));
  return std::chrono::year_month_day(std::chrono::floor<std::chrono::days>(instant)).year();
}

bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

}  // namespace

/// Takes a text apart from its start. What it takes it checks; once something is wrong, all is.
class TimeZoneRule::Parser {
public:
  explicit Parser(std::string_view text) : rest_(text) {}

  [[nodiscard]] std::optional<TimeZoneRule> rule() {
    TimeZoneRule rule;
    rule.standard_.abbreviation = name();
    rule.standard_.offset = -std::chrono::seconds(time(24));  // west of Greenwich counts as positive there
    if (isSound_ && !rest_.empty()) daylight(rule);
    if (!isSound_ || !rest_.empty()) return {};
    return rule;
  }

private:
  void daylight(TimeZoneRule& rule) {
    rule.changes_ = true;
    rule.daylight_.savesDaylight = true;
    rule.daylight_.abbreviation = name();
    const bool hasOffset = !rest_.empty() && rest_.front() != ',';
    rule.daylight_.offset =
        hasOffset ? -std::chrono::seconds(time(24)) : rule.standard_.offset + std::chrono::hours(1);
    rule.daylight_.saving = rule.daylight_.offset - rule.standard_.offset;
    if (rest_.empty()) rest_ = ",M3.2.0,M11.1.0";  // what most systems take where nothing is said
    expect(',');
    rule.start_ = moment();
    expect(',');
    rule.end_ = moment();
  }

  [[nodiscard]] bool take(char c) {
    if (!rest_.starts_with(c)) return false;
    rest_.remove_prefix(1);
    return true;
  }
  void expect(char c) { isSound_ &= take(c); }

  [[nodiscard]] std::string name() {
    constexpr std::size_t fewestLetters = 3;
    const bool isQuoted = take('<');
    const auto end = isQuoted ? std::ranges::find(rest_, '>') : std::ranges::find_if_not(rest_, isLetter);
    const auto length = static_cast<std::size_t>(end - rest_.begin());
    std::string name(rest_.substr(0, length));
    rest_.remove_prefix(length);
    if (isQuoted) expect('>');
    isSound_ &= name.size() >= fewestLetters;
    return name;
  }

  [[nodiscard]] int number(int least, int most) {
    int number = 0;
    const auto [end, error] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), number);
    isSound_ &= error == std::errc() && number >= least && number <= most && !rest_.starts_with('-');
    rest_.remove_prefix(static_cast<std::size_t>(end - rest_.data()));
    return isSound_ ? number : least;
  }

  /// [+-]hh[:mm[:ss]]
  [[nodiscard]] std::int64_t time(int mostHours) {
    const bool isNegative = take('-');
    if (!isNegative) static_cast<void>(take('+'));
    std::int64_t seconds = std::int64_t{number(0, mostHours)} * 3600;
    if (take(':')) seconds += std::int64_t{number(0, 59)} * 60;
    if (take(':')) seconds += number(0, 59);
    return isNegative ? -seconds : seconds;
  }

  [[nodiscard]] Moment moment() {
    Moment moment;
    if (take('M')) {
      moment.month = number(1, 12);
      expect('.');
      moment.week = number(1, 5);
      expect('.');
      moment.day = number(0, 6);
    } else if (take('J')) {
      moment.kind = Moment::Kind::dayWithoutLeapDay;
      moment.day = number(1, 365);
    } else {
      moment.kind = Moment::Kind::day;
      moment.day = number(0, 365);
    }
    moment.seconds = take('/') ? time(167) : 2 * 3600;
    return moment;
  }

  std::string_view rest_;
  bool isSound_ = true;
};

std::optional<TimeZoneRule> TimeZoneRule::parse(std::string_view text) { return Parser(text).rule(); }

std::int64_t TimeZoneRule::Moment::in(std::chrono::year year) const {
  using namespace std::chrono;
  if (kind == Kind::monthWeekDay) {
    const year_month month_(year, std::chrono::month(static_cast<unsigned>(month)));
    const weekday weekday_(static_cast<unsigned>(day));
    const sys_days date = week == 5 ? sys_days(month_ / weekday_[last])
                                    : sys_days(month_ / weekday_[static_cast<unsigned>(week)]);
    return secondsOf(date) + seconds;
  }
  const sys_days first = year / January / 1;
  if (kind == Kind::day) return secondsOf(first + days(day)) + seconds;
  constexpr int daysUpToFebruary = 59;
  const bool isPastLeapDay = year.is_leap() && day > daysUpToFebruary;
  return secondsOf(first + days(isPastLeapDay ? day : day - 1)) + seconds;
}

std::array<TimeZoneRule::Change, 6> TimeZoneRule::changesAround(std::int64_t when) const {
  std::array<Change, 6> changes{};
  std::size_t count = 0;
  for (const int distance : {-1, 0, 1}) {
    const std::chrono::year year = yearOf(when) + std::chrono::years(distance);
    changes.at(count++) = {end_.in(year)-daylight_.offset.count(), &standard_};
    changes.at(count++) = {start_.in(year)-standard_.offset.count(), &daylight_};
  }
  // Where saving goes on for the whole year, it ends when it begins: then the beginning counts.
  std::ranges::sort(changes, {}, [this](const Change& change) {
    return std::pair(change.when, change.period == &daylight_);
  });
  return changes;
}

const TimeZonePeriod& TimeZoneRule::at(std::int64_t when) const {
  if (!changes_) return standard_;
  const auto changes = changesAround(when);
  const auto next = std::ranges::upper_bound(changes, when, {}, &Change::when);
  return next == changes.begin() ? standard_ : *std::prev(next)->period;
}

std::optional<std::int64_t> TimeZoneRule::changeAfter(std::int64_t when) const {
  if (!changes_) return {};
  const auto changes = changesAround(when);
  const auto next = std::ranges::upper_bound(changes, when, {}, &Change::when);
  return next == changes.end() ? std::nullopt : std::optional(next->when);
}

}  // namespace QVFoundation::detail
