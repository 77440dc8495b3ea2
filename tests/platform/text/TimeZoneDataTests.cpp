#include <cstdint>
#include <memory>
#include <random>
#include <span>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "QVFoundation/platform/files/FileContents_p.h"
#include "QVFoundation/platform/text/TimeZoneData_p.h"
#include "tests/platform/files/CommandOutput.h"
#include "tests/platform/files/TemporaryFolder.h"

namespace QVFoundation {
namespace {

using detail::contentsOfFile;
using detail::TimeZoneData;
using detail::TimeZoneRule;

TEST(TimeZoneRule, refusesWhatIsNone) {
  for (const char* text :
       {"", "CE", "CET", "CET-25", "CET-1:60", "CET-1CEST,M3.5.0", "CET-1CEST,M13.5.0,M10.5.0",
        "CET-1CEST,M3.6.0,M10.5.0", "CET-1CEST,M3.5.7,M10.5.0", "CET-1CEST,J0,J365", "CET-1CEST,0,366",
        "CET-1CEST,M3.5.0,M10.5.0/168", "CET-1CEST,M3.5.0,M10.5.0x", "<CET-1", "CET--1",
        "CET-1CEST,M3..0,M10.5.0", "CET-99999999999", "CET-1 "})
    EXPECT_FALSE(TimeZoneRule::parse(text)) << text;
}

TEST(TimeZoneRule, tellsWhatCountsAtAnInstant) {
  constexpr std::int64_t newYear = 1767225600, july = 1782864000;  // 2026, UTC
  const struct {
    const char* text;
    int winter, summer, saving;
    std::string winterName, summerName;
  } cases[] = {
      {"CET-1CEST,M3.5.0,M10.5.0/3", 3600, 7200, 3600, "CET", "CEST"},
      {"<+0545>-5:45", 20700, 20700, 0, "+0545", "+0545"},
      {"EST5EDT", -18000, -14400, 3600, "EST", "EDT"},
      {"AEST-10AEDT,M10.1.0,M4.1.0/3", 39600, 36000, 0, "AEDT", "AEST"},
      {"IST-1GMT0,M10.5.0,M3.5.0/1", 0, 3600, 0, "GMT", "IST"},  // it is winter time that counts as saving
      {"LHST-10:30LHDT-11,M10.1.0,M4.1.0", 39600, 37800, 0, "LHDT", "LHST"},
      {"XXX3EDT4,0/0,J365/23", -14400, -14400, -3600, "EDT", "EDT"},  // all the year
      {"AAA0BBB,J60/0,J61/0", 0, 0, 0, "AAA", "AAA"},
  };
  for (const auto& [text, winter, summer, saving, winterName, summerName] : cases) {
    SCOPED_TRACE(text);
    const auto rule = TimeZoneRule::parse(text);
    ASSERT_TRUE(rule);
    EXPECT_EQ(rule->at(newYear).offset.count(), winter);
    EXPECT_EQ(rule->at(newYear).abbreviation, winterName);
    EXPECT_EQ(rule->at(july).offset.count(), summer);
    EXPECT_EQ(rule->at(july).saving.count(), saving);
    EXPECT_EQ(rule->at(july).abbreviation, summerName);
  }
  const auto rule = TimeZoneRule::parse("AAA0BBB,J60/0,J61/0");  // the first of March, leap year or not
  for (const std::int64_t march : {1772323200, 1835481600}) {
    EXPECT_EQ(rule->changeAfter(march - 86400), march);
    EXPECT_EQ(rule->at(march).abbreviation, "BBB");
    EXPECT_EQ(rule->changeAfter(march), march + 86400 - 3600);
  }
}

TEST(TimeZoneData, tellsTheOffsetOfATimeOnTheClocksAlsoWhereItComesTwiceOrNot) {
  const auto berlin = TimeZoneData::fromRule(*TimeZoneRule::parse("CET-1CEST,M3.5.0,M10.5.0/3"));
  constexpr std::int64_t spring = 1774749600, autumn = 1792893600;  // 2026-03-29 and 2026-10-25, 02:00
  EXPECT_EQ(berlin->atLocal(spring - 1).offset.count(), 3600);
  EXPECT_EQ(berlin->atLocal(spring + 1800).offset.count(), 3600);  // is left out
  EXPECT_EQ(berlin->atLocal(spring + 3600).offset.count(), 7200);
  EXPECT_EQ(berlin->atLocal(autumn + 1800).offset.count(), 7200);  // comes twice
  EXPECT_EQ(berlin->atLocal(autumn + 3600).offset.count(), 3600);
}

// The files of the system, of which Python's reader is another.
constexpr const char* comparison = R"(
import random, sys, zoneinfo
from datetime import datetime, timezone
random.seed(7)
first, last = (int(datetime(year, 1, 1, tzinfo=timezone.utc).timestamp()) for year in (1904, 2100))
for name in sorted(zoneinfo.available_timezones() - {'localtime'}):
    zone = zoneinfo.ZoneInfo(name)
    for _ in range(40):
        when = random.randint(first, last)
        date = datetime.fromtimestamp(when, zone)
        local = int(date.replace(tzinfo=timezone.utc).timestamp())
        again = int(date.replace(fold=0).utcoffset().total_seconds())
        print(name, when, int(date.utcoffset().total_seconds()), int(bool(date.dst())), date.tzname(), local, again)
)";

TEST(TimeZoneData, agreesWithAnotherReaderOfTheSystemsFiles) {
  const testing::TemporaryFolder folder;
  testing::makeFile(folder / "compare.py", comparison);
  std::istringstream cases(testing::outputOf("python3 " + (folder / "compare.py").string()));
  std::string name, last, abbreviation;
  std::int64_t when = 0, offset = 0, local = 0, localOffset = 0;
  bool saves = false;
  std::unique_ptr<const TimeZoneData> zone;
  int count = 0;
  while (cases >> name >> when >> offset >> saves >> abbreviation >> local >> localOffset) {
    if (name != last) zone = TimeZoneData::fromFile(contentsOfFile("/usr/share/zoneinfo/" + name));
    ASSERT_TRUE(zone) << name;
    last = name;
    SCOPED_TRACE(name + " at " + std::to_string(when));
    const detail::TimeZonePeriod& period = zone->at(when);
    EXPECT_EQ(period.offset.count(), offset);
    EXPECT_EQ(period.savesDaylight && period.saving.count() != 0, saves);
    EXPECT_EQ(period.abbreviation, abbreviation);
    EXPECT_EQ(zone->atLocal(local).offset.count(), localOffset);
    ++count;
  }
  EXPECT_GT(count, 10'000);
}

TEST(TimeZoneData, survivesDamagedFiles) {
  const NSData sound = contentsOfFile("/usr/share/zoneinfo/Europe/Berlin");
  ASSERT_TRUE(TimeZoneData::fromFile(sound));
  for (std::size_t size = 0; size < sound.size(); ++size)
    EXPECT_FALSE(TimeZoneData::fromFile(std::span(sound).first(size))) << size;
  std::mt19937 random(3);
  for (int i = 0; i < 20'000; ++i) {
    NSData damaged = sound;
    for (int changes = 0; changes < 3; ++changes)
      damaged[random() % (i % 2 == 0 ? 100 : damaged.size())] = static_cast<std::byte>(random());
    const auto zone = TimeZoneData::fromFile(damaged);
    if (!zone) continue;
    for (const std::int64_t when : {-1'000'000'000'000'000, 0L, 1'000'000'000'000'000}) {
      static_cast<void>(zone->atLocal(when).offset);
      static_cast<void>(zone->changeAfter(when));
    }
  }
}

}  // namespace
}  // namespace QVFoundation
