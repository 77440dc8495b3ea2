#include <cstdint>

#include "QVFoundation/platform/time/TimestampText_p.h"

namespace QVFoundation::detail {

namespace {

struct Date {
  std::int64_t year;
  unsigned month;
  unsigned day;
};

/// The Gregorian date of a count of days since 1970. `std::chrono::year_month_day` would end at the
/// year 32767.
///
/// Counted in eras of 400 years, after which the calendar repeats, and in years that begin in March, so that
/// the day that not every year has is the last of its year.
constexpr Date dateOf(std::int64_t daysSince1970) noexcept {
  constexpr std::int64_t daysPerEra = 146'097;
  const std::int64_t days = daysSince1970 + 719'468;  // since 0000-03-01
  const std::int64_t era = (days >= 0 ? days : days - (daysPerEra - 1)) / daysPerEra;
  const auto dayOfEra = static_cast<unsigned>(days - era * daysPerEra);
  const unsigned yearOfEra = (dayOfEra - dayOfEra / 1'460 + dayOfEra / 36'524 - dayOfEra / 146'096) / 365;
  const unsigned dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const unsigned monthFromMarch = (5 * dayOfYear + 2) / 153;
  const unsigned month = monthFromMarch < 10 ? monthFromMarch + 3 : monthFromMarch - 9;
  return {
      .year = era * 400 + yearOfEra + (month <= 2 ? 1 : 0),
      .month = month,
      .day = dayOfYear - (153 * monthFromMarch + 2) / 5 + 1,
  };
}

}  // namespace

void TimestampText::putNumber(std::size_t width, unsigned long long number) noexcept {
  putDigits(size_, width, number);
  size_ += width;
}

void TimestampText::setSecond(std::chrono::local_seconds second) noexcept {
  constexpr std::int64_t secondsPerDay = 86'400;
  const std::int64_t count = second.time_since_epoch().count();
  const std::int64_t beyondMidnight = count % secondsPerDay;
  const bool roundedUp = beyondMidnight < 0;  // as division does with what is negative
  const Date date = dateOf(count / secondsPerDay - (roundedUp ? 1 : 0));
  const auto time = static_cast<unsigned>(roundedUp ? beyondMidnight + secondsPerDay : beyondMidnight);
  size_ = 0;
  if (date.year < 0) put('-');
  const auto year = static_cast<unsigned long long>(date.year < 0 ? -date.year : date.year);
  std::size_t digits = 4;
  for (auto rest = year / 10'000; rest > 0; rest /= 10) ++digits;
  putNumber(digits, year);
  put('-');
  putNumber(2, date.month);
  put('-');
  putNumber(2, date.day);
  put(' ');
  putNumber(2, time / 3'600);
  put(':');
  putNumber(2, time / 60 % 60);
  put(':');
  putNumber(2, time % 60);
  put('.');
  putNumber(3, 0);
}

}  // namespace QVFoundation::detail
