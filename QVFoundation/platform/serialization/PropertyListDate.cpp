#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>

#include "QVFoundation/platform/serialization/PropertyListDate_p.h"

namespace QVFoundation::detail {

namespace {

using namespace std::chrono;

constexpr sys_time<microseconds> startOf2001 = sys_days(year(2001) / January / 1);

/// Takes digits off the front of a text, and what must follow them.
class FieldScanner {
public:
  explicit FieldScanner(std::string_view text) : rest_(text) {}

  int number(std::size_t leastDigits, char separator) {
    int number = 0;
    const auto parsed = std::from_chars(rest_.data(), rest_.data() + rest_.size(), number);
    const auto digits = static_cast<std::size_t>(parsed.ptr - rest_.data());
    fits_ = fits_ && parsed.ec == std::errc() && number >= 0 && digits >= leastDigits &&
            digits < rest_.size() && rest_[digits] == separator;
    rest_.remove_prefix(fits_ ? digits + 1 : rest_.size());
    return number;
  }

  [[nodiscard]] bool hasTakenAll() const noexcept { return fits_ && rest_.empty(); }

private:
  std::string_view rest_;
  bool fits_ = true;
};

template <class Duration>
NSDate nearestDate(sys_time<Duration> date) {
  if (date >= time_point_cast<Duration>(NSDate::max())) return NSDate::max();
  if (date <= time_point_cast<Duration>(NSDate::min())) return NSDate::min();
  return time_point_cast<NSDate::duration>(date);
}

}  // namespace

std::string textFromDate(NSDate date) {
  const auto wholeDate = floor<seconds>(date);
  const auto day = floor<days>(wholeDate);
  const year_month_day ymd(day);
  const hh_mm_ss time(wholeDate - day);
  std::array<char, 40> text{};
  const int length =
      std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02dZ", int{ymd.year()},
                    unsigned{ymd.month()}, unsigned{ymd.day()}, static_cast<int>(time.hours().count()),
                    static_cast<int>(time.minutes().count()), static_cast<int>(time.seconds().count()));
  return {text.data(), static_cast<std::size_t>(length)};
}

std::optional<NSDate> dateFromText(std::string_view text) {
  FieldScanner fields(text);
  const int yearNumber = fields.number(4, '-');
  const int monthNumber = fields.number(2, '-');
  const int dayNumber = fields.number(2, 'T');
  const int hour = fields.number(2, ':');
  const int minute = fields.number(2, ':');
  const int second = fields.number(2, 'Z');
  constexpr int leapSecond = 60;
  if (!fields.hasTakenAll() || yearNumber > 9999 || monthNumber > 12 || dayNumber > 31) return {};
  if (hour > 23 || minute > 59 || second > leapSecond) return {};

  const year_month_day date(year(yearNumber), month(static_cast<unsigned>(monthNumber)),
                            day(static_cast<unsigned>(dayNumber)));
  if (!date.ok()) return {};
  return nearestDate(sys_seconds(sys_days(date)) + hours(hour) + minutes(minute) + seconds(second));
}

double secondsSince2001(NSDate date) noexcept {
  return static_cast<double>((floor<microseconds>(date) - startOf2001).count()) / 1e6;
}

// The whole seconds and the rest are converted apart, so that no product rounds to another microsecond.
NSDate dateFromSecondsSince2001(double number) noexcept {
  constexpr double beyondAnyDate = 1e12;
  const double bounded = std::fmax(-beyondAnyDate, std::fmin(number, beyondAnyDate));
  const double whole = std::floor(bounded);
  const auto microsecond = microseconds(std::llround((bounded - whole) * 1e6));
  return nearestDate(startOf2001 + seconds(static_cast<std::int64_t>(whole)) + microsecond);
}

}  // namespace QVFoundation::detail
