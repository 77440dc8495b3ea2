#include "QVFoundation/platform/time/NSTimeZone.h"

#include <cstdlib>
#include <optional>
#include <span>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "QVFoundation/platform/files/NSDataFiles.h"
#include "QVFoundation/platform/time/ZoneHistory_p.h"
#include "tests/platform/files/CommandOutput.h"
#include "tests/platform/files/EnvironmentVariable.h"

namespace QVFoundation {
namespace {

using namespace std::chrono;
using namespace std::string_literals;

NSDate dateOf(std::int64_t secondsSince1970) { return NSDate(seconds(secondsSince1970)); }

/// Of every zone: random instants, and those about each change of its clocks in some years. A line has the zone, the
/// instant, the offset, the abbreviation, and what is saved, or "?" in zones that count winter as the exception.
const std::string instantsOfAllZones = R"(
import zoneinfo, datetime, random
utc = datetime.timezone.utc
first, last = (int(datetime.datetime(y, 1, 1, tzinfo=utc).timestamp()) for y in (1904, 2101))
random.seed(1904)
def at(t, zone): return datetime.datetime.fromtimestamp(t, utc).astimezone(zone)
for name in sorted(zoneinfo.available_timezones() - {"localtime"}):
  zone = zoneinfo.ZoneInfo(name)
  times = [random.randrange(first, last) for _ in range(30)]
  for year in (1947, 1983, 2024, 2037, 2038, 2099):
    start = int(datetime.datetime(year, 1, 1, tzinfo=utc).timestamp())
    for day in range(0, 366, 6):
      a, b = start + day * 86400, start + (day + 6) * 86400
      if at(a, zone).utcoffset() == at(b, zone).utcoffset(): continue
      before = at(a, zone).utcoffset()
      while b - a > 1:
        m = (a + b) // 2
        if at(m, zone).utcoffset() == before: a = m
        else: b = m
      times += [a, b]
  reversed_ = any(at(t, zone).dst() < datetime.timedelta() for t in times)
  for t in times:
    d = at(t, zone)
    saved = "?" if reversed_ else int(d.dst() > datetime.timedelta())
    print(name, t, int(d.utcoffset().total_seconds()), d.tzname(), saved))";

TEST(NSTimeZone, agreesWithPythonInAllZonesFrom1904To2100) {
  std::istringstream peer(testing::outputOf("python3 -c '" + instantsOfAllZones + "'"));
  std::optional<NSTimeZone> zone;
  std::string name, abbreviation, saved;
  std::int64_t time = 0;
  int offset = 0, count = 0, countOfSavings = 0;
  for (; peer >> name >> time >> offset >> abbreviation >> saved; ++count) {
    if (!zone || zone->name() != name) zone = NSTimeZone::timeZoneWithName(name);
    ASSERT_TRUE(zone) << name;
    const NSDate date = dateOf(time);
    EXPECT_EQ(zone->secondsFromGMTForDate(date), seconds(offset)) << name << ' ' << time;
    EXPECT_EQ(zone->abbreviationForDate(date), abbreviation) << name << ' ' << time;
    if (saved == "?") continue;
    EXPECT_EQ(zone->isDaylightSavingTimeForDate(date), saved == "1") << name << ' ' << time;
    countOfSavings += saved == "1" ? 1 : 0;
  }
  EXPECT_GT(count, 20'000) << peer.str().substr(0, 500);
  EXPECT_GT(countOfSavings, 3'000);
}

struct ZoneSavingCase {
  const char* zone;
  year_month_day day;
  hours offset, saving;
};
constexpr ZoneSavingCase zoneSavingCases[] = {
    {"Europe/Berlin", 2026y / 1 / 15, 1h, 0h},     {"Europe/Berlin", 2026y / 7 / 15, 2h, 1h},
    {"Europe/London", 1941y / 7 / 15, 2h, 2h},     {"Europe/London", 1970y / 7 / 15, 1h, 0h},
    {"Europe/Dublin", 2026y / 1 / 15, 0h, 0h},     {"Europe/Dublin", 2026y / 7 / 15, 1h, 1h},
    {"Europe/Dublin", 2200y / 7 / 15, 1h, 1h},     {"Africa/Windhoek", 2020y / 7 / 15, 2h, 0h},
    {"Australia/Sydney", 2026y / 1 / 15, 11h, 1h}, {"Australia/Sydney", 2261y / 1 / 15, 11h, 1h},
};

TEST(NSTimeZone, savesDaylightInSummerWhateverTheLawCallsIt) {
  for (const ZoneSavingCase& row : zoneSavingCases) {
    const NSTimeZone zone = NSTimeZone::timeZoneWithName(row.zone).value();
    EXPECT_EQ(zone.secondsFromGMTForDate(sys_days(row.day)), row.offset) << row.zone;
    EXPECT_EQ(zone.daylightSavingTimeOffsetForDate(sys_days(row.day)), row.saving) << row.zone;
    EXPECT_EQ(zone.isDaylightSavingTimeForDate(sys_days(row.day)), row.saving != 0h) << row.zone;
  }
}

struct ZoneNameCase {
  std::string name;
  std::optional<seconds> offset;
};
const ZoneNameCase zoneNameCases[] = {
    {"GMT", 0s},      {"GMT+0530", 19800s},           {"GMT-1800", -64800s},  {"GMT+1801", {}},
    {"GMT+05:3", {}}, {"Etc/GMT+3", -10800s},         {"Nowhere/City", {}},   {"", {}},
    {"Europe", {}},   {"../../../etc/localtime", {}}, {"/etc/localtime", {}}, {"zone.tab", {}},
    {"GMT\0x"s, {}},  {"Europe//Vienna", {}},
};

TEST(NSTimeZone, isFoundByNameOrNot) {
  for (const ZoneNameCase& row : zoneNameCases) {
    const auto zone = NSTimeZone::timeZoneWithName(row.name);
    ASSERT_EQ(zone.has_value(), row.offset.has_value()) << row.name;
    if (!zone) continue;
    EXPECT_EQ(zone->secondsFromGMTForDate(NSDate::max()), *row.offset) << row.name;
    EXPECT_EQ(zone->name(), row.name);
    EXPECT_TRUE(Value(*zone).as<NSTimeZone>() == zone);
  }
  EXPECT_EQ(NSTimeZone::timeZoneForSecondsFromGMT(-19829s)->name(), "GMT-0530");
  EXPECT_EQ(NSTimeZone::timeZoneForSecondsFromGMT(29s)->name(), "GMT");
  EXPECT_FALSE(NSTimeZone::timeZoneForSecondsFromGMT(hours(19)));
}

struct ZoneVariableCase {
  const char* variable;
  const char* name;
  seconds winter, summer;
};
constexpr ZoneVariableCase zoneVariableCases[] = {
    {"America/New_York", "America/New_York", -5h, -4h},
    {":Europe/Vienna", "Europe/Vienna", 1h, 2h},
    {"/usr/share/zoneinfo/Asia/Tokyo", "Asia/Tokyo", 9h, 9h},
    {"XYZ-1:30ABC,J60/-1,300/50", "XYZ-1:30ABC,J60/-1,300/50", 90min, 150min},
    {"", "GMT", 0s, 0s},
    {"gibberish", "GMT", 0s, 0s},
};

TEST(NSTimeZone, ofTheSystemIsWhatTheEnvironmentSays) {
  for (const ZoneVariableCase& row : zoneVariableCases) {
    const testing::EnvironmentVariable variable("TZ", row.variable);
    NSTimeZone::resetSystemTimeZone();
    const NSTimeZone zone = NSTimeZone::timeZoneWithSelector("systemTimeZone").value();
    EXPECT_EQ(zone.name(), row.name) << row.variable;
    EXPECT_EQ(zone.secondsFromGMTForDate(sys_days(2026y / 1 / 15)), row.winter) << row.variable;
    EXPECT_EQ(zone.secondsFromGMTForDate(sys_days(2026y / 7 / 15)), row.summer) << row.variable;
  }
  NSTimeZone::resetSystemTimeZone();

  NSTimeZone::setDefaultTimeZone(NSTimeZone::timeZoneWithName("Asia/Tokyo"));
  EXPECT_EQ(NSTimeZone::timeZoneWithSelector("localTimeZone")->name(), "Asia/Tokyo");
  EXPECT_EQ(NSTimeZone::timeZoneWithSelector("defaultTimeZone")->name(), "Asia/Tokyo");
  NSTimeZone::setDefaultTimeZone({});
  EXPECT_EQ(NSTimeZone::defaultTimeZone(), NSTimeZone::systemTimeZone());
  EXPECT_FALSE(NSTimeZone::timeZoneWithSelector("GMT"));
  EXPECT_FALSE(NSTimeZone::timeZoneWithSelector("resetSystemTimeZone"));
}

TEST(ZoneHistory, refusesDamagedFiles) {
  const NSData file = dataWithContentsOfFile("/usr/share/zoneinfo/Europe/Berlin").value();
  ASSERT_TRUE(detail::ZoneHistory::fromFile(file));
  for (std::size_t size = 0; size < file.size(); ++size) {
    EXPECT_FALSE(detail::ZoneHistory::fromFile(std::span(file).first(size))) << size;
  }
  for (std::size_t i = 0; i < file.size(); ++i) {
    for (const std::byte damage : {std::byte(0xFF), std::byte(0x80), std::byte(0)}) {
      NSData damaged = file;
      damaged[i] = damage;
      const auto history = detail::ZoneHistory::fromFile(damaged);
      if (!history) continue;
      EXPECT_LT(abs(history->at(sys_seconds()).offset), hours(26)) << i;
    }
  }
  for (const char* rule :
       {"", "AB1", "<+03", "CET", "CET-26", "CET-1CEST,M3.5.0", "CET-1CEST,M13.1.0,J1", "CET-1CEST,M3.6.0,J1",
        "CET-1CEST,J0,J1", "CET-1CEST,366,J1", "CET-1 ", "CET-1CEST,J1,J2x"}) {
    EXPECT_FALSE(detail::ZoneHistory::fromRule(rule)) << rule;
  }
}

// A search through the others for each of them would take a minute.
TEST(ZoneHistory, readsAFileOfNothingButSummersInAMoment) {
  constexpr std::uint32_t summers = 240'000;
  NSData file;
  const auto append = [&](std::uint64_t number, std::size_t size) {
    while (size-- > 0) file.push_back(static_cast<std::byte>(number >> 8 * size));
  };
  for (const char c : {'T', 'Z', 'i', 'f', '\0'}) append(static_cast<unsigned char>(c), 1);
  file.resize(file.size() + 15);
  for (const std::uint32_t count : {0U, 0U, 0U, summers, 1U, 4U}) append(count, 4);
  for (std::uint32_t i = 0; i < summers; ++i) append(1000 * i, 4);
  file.resize(file.size() + summers);  // all by the same clock
  append(7200, 4);
  append(0x0100, 2);
  append(0x53554D00, 4);

  const auto begin = std::chrono::steady_clock::now();
  const auto history = detail::ZoneHistory::fromFile(file);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 5s);
  ASSERT_TRUE(history);
  EXPECT_EQ(history->at(sys_seconds(1500s)).begin, sys_seconds(1000s));
  EXPECT_EQ(history->at(sys_seconds(1500s)).saving, 0s);
}

}  // namespace
}  // namespace QVFoundation
