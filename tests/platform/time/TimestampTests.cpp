#include "QVFoundation/platform/time/Timestamp.h"

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "QVFoundation/platform/time/LocalTimeOffsets_p.h"
#include "QVFoundation/platform/time/TimestampText_p.h"
#include "tests/platform/concurrency/OnThreads.h"

namespace QVFoundation {
namespace {

using namespace std::chrono;
using namespace std::chrono_literals;

// Rules in POSIX form need no files of the machine.
constexpr const char* centralEurope = "CET-1CEST,M3.5.0,M10.5.0/3";
constexpr const char* newfoundland = "NST3:30NDT,M3.2.0,M11.1.0";
constexpr const char* nepal = "<+0545>-5:45";

/// A formatter that was made in a time zone.
TimestampFormatter formatterIn(const char* zone) {
  setenv("TZ", zone, 1);  // NOLINT(concurrency-mt-unsafe): while the test has one thread only
  return {};
}

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

constexpr sys_days newYear = 2026y / January / 1;
constexpr sys_days springForward = 2026y / March / 29;
constexpr sys_days fallBack = 2026y / October / 25;

constexpr InstantCase instants[] = {
    {"fraction is cut", "UTC0", newYear + 14h + 7min + 9s + 123'999'999ns, "2026-01-01 14:07:09.123"},
    {"just before 1970", "UTC0", system_clock::time_point(-1ns), "1969-12-31 23:59:59.999"},
    {"last of winter", centralEurope, springForward + 1h - 1ms, "2026-03-29 01:59:59.999"},
    {"first of summer", centralEurope, springForward + 1h, "2026-03-29 03:00:00.000"},
    {"last of summer", centralEurope, fallBack + 1h - 1ms, "2026-10-25 02:59:59.999"},
    {"first of winter", centralEurope, fallBack + 1h, "2026-10-25 02:00:00.000"},
    {"west of Greenwich", newfoundland, newYear, "2025-12-31 20:30:00.000"},
    {"quarter of an hour", nepal, newYear, "2026-01-01 05:45:00.000"},
    {"before what is known", nepal, sys_days(1969y / July / 20) + 20h + 5ms, "1969-07-21 01:45:00.005"},
    {"earliest", "UTC0", system_clock::time_point::min(), "1677-09-21 00:12:43.145"},
    {"latest", "UTC0", system_clock::time_point::max(), "2262-04-11 23:47:16.854"},
};

TEST(TimestampFormatter, writesInstantsInLocalTime) {
  for (const InstantCase& c : instants) EXPECT_EQ(textOf(formatterIn(c.zone), c.when), c.want) << c.row;
}

TEST(TimestampFormatter, tellsTheFirstSecondFromTheLast) {
  const TimestampFormatter formatter = formatterIn("UTC0");
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(textOf(formatter, system_clock::time_point::min()), "1677-09-21 00:12:43.145");
    EXPECT_EQ(textOf(formatter, system_clock::time_point::max()), "2262-04-11 23:47:16.854");
  }
}

TEST(TimestampFormatter, keepsTheTimeZoneThatItWasMadeInOnEachThread) {
  const TimestampFormatter european = formatterIn(centralEurope);
  const TimestampFormatter nepali = formatterIn(nepal);
  const TimestampFormatter copy = european;  // NOLINT(performance-unnecessary-copy-initialization)
  testing::onThreads(4, [&](int) {
    for (int i = 0; i < 20'000; ++i) {  // in turns, several times a second
      const system_clock::time_point when = newYear + i * 100ms;
      ASSERT_NE(textOf(european, when), textOf(nepali, when));
      ASSERT_EQ(textOf(european, when), textOf(copy, when));
      ASSERT_EQ(textOf(european, when + 4h + 45min), textOf(nepali, when));
    }
  });
}

TEST(TimestampText, agreesWithTheCalendarOnEachDayAndHasADateInAnyYear) {
  using Seconds = std::numeric_limits<std::int64_t>;
  detail::TimestampText text;
  for (const auto& [second, want] : {std::pair{253'402'300'799, "9999-12-31 23:59:59.007"},
                                     {253'402'300'800, "10000-01-01 00:00:00.007"},
                                     {-62'167'219'201, "-0001-12-31 23:59:59.007"},
                                     {Seconds::min(), "-292277022657-01-27 08:29:52.007"},
                                     {Seconds::max(), "292277026596-12-04 15:30:07.007"}}) {
    text.setSecond(local_seconds(seconds(second)));
    text.setMilliseconds(7);
    EXPECT_EQ(text.text(), want);
  }
  for (local_days day{0y / January / 1}; day < local_days(2801y / January / 1); day += days(1)) {
    text.setSecond(day);
    const year_month_day date(day);
    char want[16];
    (void)std::snprintf(want, sizeof want, "%04d-%02u-%02u", int{date.year()} % 10'000,
                        unsigned{date.month()} % 100, unsigned{date.day()} % 100);
    ASSERT_EQ(text.text().substr(0, 10), want);
  }
}

// The last two pause their summer time for Ramadan and shift it by half an hour.
TEST(LocalTimeOffsets, areThoseOfTheCLibraryToTheSecond) {
  constexpr sys_seconds now = sys_days(2026y / March / 5);
  for (const char* zone : {centralEurope, newfoundland, "America/New_York", "Asia/Tehran",
                           "Africa/Casablanca", "Australia/Lord_Howe"}) {
    setenv("TZ", zone, 1);  // NOLINT(concurrency-mt-unsafe)
    const detail::LocalTimeOffsets offsets(now);
    for (sys_seconds when = floor<days>(now - years(3)); when < now + years(9); when += 30min) {
      for (const sys_seconds second : {when - 1s, when}) {
        const std::time_t time = second.time_since_epoch().count();
        std::tm local{};
        localtime_r(&time, &local);
        ASSERT_EQ(offsets.at(second), seconds(local.tm_gmtoff)) << zone << ' ' << time;
      }
    }
  }
}

}  // namespace
}  // namespace QVFoundation
