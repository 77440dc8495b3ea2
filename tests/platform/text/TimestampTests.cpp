#include "QVFoundation/platform/text/Timestamp.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "QVFoundation/platform/text/LocalTimeOffsets_p.h"
#include "QVFoundation/platform/text/TimestampText_p.h"
#include "gtest/gtest.h"

namespace QVFoundation {
namespace {

using namespace std::chrono;
using namespace std::chrono_literals;

// Rules in POSIX form need no files of the machine.
constexpr const char* centralEurope = "CET-1CEST,M3.5.0,M10.5.0/3";
constexpr const char* newfoundland = "NST3:30NDT,M3.2.0,M11.1.0";
constexpr const char* nepal = "<+0545>-5:45";

// NOLINTBEGIN(concurrency-mt-unsafe): the tests change their environment while they have one thread only.

/// Sets the time zone of the process for a scope.
class ProcessTimeZone {
public:
  explicit ProcessTimeZone(const char* zone) {
    if (const char* before = std::getenv("TZ")) before_ = before;
    set(zone);
  }
  ProcessTimeZone(const ProcessTimeZone&) = delete;
  ProcessTimeZone& operator=(const ProcessTimeZone&) = delete;
  ~ProcessTimeZone() { set(before_ ? before_->c_str() : nullptr); }

private:
  static void set(const char* zone) {
    zone != nullptr ? setenv("TZ", zone, 1) : unsetenv("TZ");
    tzset();
  }

  std::optional<std::string> before_;
};

// NOLINTEND(concurrency-mt-unsafe)

std::string textOf(const TimestampFormatter& formatter, system_clock::time_point when) {
  std::string text;
  formatter.append(text, when);
  return text;
}

struct InstantCase {
  const char* row;
  const char* zone;
  system_clock::time_point when;
  std::string_view want;
};

class TimestampFormatterInstants : public ::testing::TestWithParam<InstantCase> {};

TEST_P(TimestampFormatterInstants, areWrittenInLocalTime) {
  const auto& [row, zone, when, want] = GetParam();
  const ProcessTimeZone timeZone(zone);
  EXPECT_EQ(textOf(TimestampFormatter(), when), want);
}

constexpr sys_days springForward = 2026y / March / 29;
constexpr sys_days fallBack = 2026y / October / 25;

INSTANTIATE_TEST_SUITE_P(
    Rows, TimestampFormatterInstants,
    ::testing::Values(
        InstantCase{"epoch", "UTC0", {}, "1970-01-01 00:00:00.000"},
        InstantCase{"fractionIsCut", "UTC0", sys_days(2026y / March / 5) + 14h + 7min + 9s + 123'999'999ns,
                    "2026-03-05 14:07:09.123"},
        InstantCase{"justBefore1970", "UTC0", system_clock::time_point(-1ns), "1969-12-31 23:59:59.999"},
        InstantCase{"before1970", nepal, sys_days(1969y / July / 20) + 20h + 17min + 40s + 5ms,
                    "1969-07-21 02:02:40.005"},
        InstantCase{"leapDay", "UTC0", sys_days(2028y / February / 29) + 23h + 59min + 59s + 999ms,
                    "2028-02-29 23:59:59.999"},
        InstantCase{"lastOfWinter", centralEurope, springForward + 1h - 1ms, "2026-03-29 01:59:59.999"},
        InstantCase{"firstOfSummer", centralEurope, springForward + 1h, "2026-03-29 03:00:00.000"},
        InstantCase{"lastOfSummer", centralEurope, fallBack + 1h - 1ms, "2026-10-25 02:59:59.999"},
        InstantCase{"firstOfWinter", centralEurope, fallBack + 1h, "2026-10-25 02:00:00.000"},
        InstantCase{"westOfGreenwich", newfoundland, sys_days(2026y / January / 1),
                    "2025-12-31 20:30:00.000"},
        InstantCase{"quarterOfAnHour", nepal, sys_days(2026y / January / 1), "2026-01-01 05:45:00.000"},
        InstantCase{"earliest", "UTC0", system_clock::time_point::min(), "1677-09-21 00:12:43.145"},
        InstantCase{"latest", "UTC0", system_clock::time_point::max(), "2262-04-11 23:47:16.854"}),
    [](const auto& test) { return test.param.row; });

TEST(TimestampFormatter, appendsToWhatIsThere) {
  const ProcessTimeZone timeZone("UTC0");
  std::string line = "at ";
  const TimestampFormatter formatter;
  formatter.append(line, {});
  formatter.append(line, system_clock::time_point(1ms));
  EXPECT_EQ(line, "at 1970-01-01 00:00:00.0001970-01-01 00:00:00.001");
}

TEST(TimestampFormatter, keepsTheTimeZoneThatItWasMadeIn) {
  const ProcessTimeZone timeZone(centralEurope);
  const system_clock::time_point when = floor<hours>(system_clock::now());
  const TimestampFormatter european;
  const std::string europeanText = textOf(european, when);

  const ProcessTimeZone laterTimeZone(nepal);
  const TimestampFormatter nepali;
  const TimestampFormatter copy = european;  // NOLINT(performance-unnecessary-copy-initialization)
  const std::string nepaliText = textOf(nepali, when);
  EXPECT_NE(nepaliText, europeanText);
  for (int i = 0; i < 2; ++i) {  // in turns, on one thread and in one second
    EXPECT_EQ(textOf(european, when), europeanText);
    EXPECT_EQ(textOf(nepali, when), nepaliText);
    EXPECT_EQ(textOf(copy, when), europeanText);
  }
}

TEST(TimestampFormatter, servesManyThreads) {
  const ProcessTimeZone timeZone(centralEurope);
  const TimestampFormatter european;
  const ProcessTimeZone laterTimeZone("UTC0");
  const TimestampFormatter universal;
  const sys_seconds start = floor<days>(system_clock::now());
  constexpr int threadCount = 4;
  std::vector<std::jthread> threads;
  threads.reserve(threadCount);
  for (int thread = 0; thread < threadCount; ++thread) {
    threads.emplace_back([&] {
      for (int i = 0; i < 2'000; ++i) {
        const system_clock::time_point when = start + milliseconds(i * 100);
        ASSERT_EQ(textOf(european, when).substr(14),
                  textOf(universal, when).substr(14));  // whole hours apart
        ASSERT_NE(textOf(european, when), textOf(universal, when));
      }
    });
  }
}

struct SecondCase {
  const char* row;
  std::int64_t second;
  std::string_view want;
};

class TimestampTextSeconds : public ::testing::TestWithParam<SecondCase> {};

TEST_P(TimestampTextSeconds, haveADateInAnyYear) {
  detail::TimestampText text;
  text.setSecond(local_seconds(seconds(GetParam().second)));
  text.setMilliseconds(7);
  EXPECT_EQ(text.text(), GetParam().want);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, TimestampTextSeconds,
    ::testing::Values(
        SecondCase{"lastOfFourDigits", 253'402'300'799, "9999-12-31 23:59:59.007"},
        SecondCase{"firstOfFiveDigits", 253'402'300'800, "10000-01-01 00:00:00.007"},
        SecondCase{"leapDayOfCentury", 951'782'400, "2000-02-29 00:00:00.007"},
        SecondCase{"noLeapDayOfCentury", 4'107'542'400, "2100-03-01 00:00:00.007"},
        SecondCase{"yearZero", -62'167'219'200, "0000-01-01 00:00:00.007"},
        SecondCase{"beforeYearZero", -62'167'219'201, "-0001-12-31 23:59:59.007"},
        SecondCase{"first", std::numeric_limits<std::int64_t>::min(), "-292277022657-01-27 08:29:52.007"},
        SecondCase{"last", std::numeric_limits<std::int64_t>::max(), "292277026596-12-04 15:30:07.007"}),
    [](const auto& test) { return test.param.row; });

TEST(TimestampText, agreesWithTheCalendarOnEachDay) {
  detail::TimestampText text;
  for (local_days day{local_days(year(-801) / January / 1)}; day < local_days(2801y / January / 1);
       day += days(1)) {
    text.setSecond(day);
    const year_month_day date(day);
    const std::string_view digits = text.text().substr(text.text()[0] == '-' ? 1 : 0);
    ASSERT_EQ(std::abs(int{date.year()}), std::stoi(std::string(digits.substr(0, 4))));
    ASSERT_EQ(unsigned{date.month()}, std::stoul(std::string(digits.substr(5, 2)))) << digits;
    ASSERT_EQ(unsigned{date.day()}, std::stoul(std::string(digits.substr(8, 2)))) << digits;
  }
}

// The last two pause their summer time for Ramadan and shift it by half an hour.
class LocalTimeOffsetsOfZones : public ::testing::TestWithParam<const char*> {};

TEST_P(LocalTimeOffsetsOfZones, areThoseOfTheCLibrary) {
  const ProcessTimeZone timeZone(GetParam());
  constexpr sys_seconds now = sys_days(2026y / March / 5);
  const detail::LocalTimeOffsets offsets(now);
  std::optional<seconds> last;
  for (sys_seconds when = floor<days>(now - years(3)); when < now + years(9); when += 15min) {
    const seconds offset = offsets.at(when);
    const std::time_t time = when.time_since_epoch().count();
    std::tm local{};
    localtime_r(&time, &local);
    ASSERT_EQ(offset, seconds(local.tm_gmtoff)) << time;
    ASSERT_EQ(offsets.at(when - 1s), last.value_or(offsets.at(when - 1s)))
        << time;  // changes at the right second
    last = offset;
  }
}

INSTANTIATE_TEST_SUITE_P(Rows, LocalTimeOffsetsOfZones,
                         ::testing::Values("UTC0", centralEurope, newfoundland, "Europe/London",
                                           "America/New_York", "Asia/Tehran", "Australia/Lord_Howe",
                                           "Africa/Casablanca"));

}  // namespace
}  // namespace QVFoundation
