#include "QVFoundation/platform/formatters/NSDateFormatter.h"

#include <atomic>
#include <chrono>
#include <optional>
#include <sstream>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/runtime/NSKeyValueObserving.h"
#include "tests/platform/files/CommandOutput.h"

namespace QVFoundation {
namespace {

using namespace std::chrono;
using Style = NSDateFormatterStyle;

const char* const isoPattern = "yyyy-MM-dd HH:mm:ss";
constexpr NSDate afternoon = sys_days(2026y / 3 / 5) + 14h + 7min + 9s + 123ms;

void set(NSDateFormatter& formatter, const char* locale, const char* zone = "GMT") {
  formatter.setLocale(NSLocale(locale));
  formatter.setTimeZone(NSTimeZone::timeZoneWithName(zone).value());
}

/// Random dates and times of all zones, as the clocks there show them: zone, text, and the instant that it is read
/// as, which is not the one that it was made from where clocks show a time twice.
const std::string datesOfAllZones = R"(
import zoneinfo, datetime, random
random.seed(2100)
first = datetime.datetime(1904, 1, 1)
for name in sorted(zoneinfo.available_timezones() - {"localtime"}):
  zone = zoneinfo.ZoneInfo(name)
  days = [random.randrange(197 * 365) for _ in range(20)]
  for day in days + [x for y in (1947, 1983, 2024, 2038) for x in range((y - 1904) * 365 + 18, (y - 1903) * 365 + 18, 6)]:
    d = first + datetime.timedelta(days=day, seconds=random.randrange(86400))
    a, b = d.replace(tzinfo=zone, fold=1), (d + datetime.timedelta(days=6)).replace(tzinfo=zone)
    times = [d]
    if a.utcoffset() != b.utcoffset():
      for _ in range(40):
        m = d + (b.replace(tzinfo=None) - d) / 2
        if m.replace(tzinfo=zone).utcoffset() == a.utcoffset(): d = m
        else: b = m
      d = d.replace(microsecond=0)
      times += [d, d + datetime.timedelta(minutes=10), d - datetime.timedelta(minutes=10)]
    elif day not in days: continue
    for t in times:
      back = t.replace(tzinfo=zone, fold=1).astimezone(datetime.timezone.utc).astimezone(zone)
      skipped = back.replace(tzinfo=None) != t
      print(name, t, int(t.replace(tzinfo=zone, fold=0 if skipped else 1).timestamp()), int(skipped)))";

TEST(NSDateFormatter, agreesWithPythonInAllZonesFrom1904To2100) {
  std::istringstream peer(testing::outputOf("python3 -c '" + datesOfAllZones + "'"));
  NSDateFormatter formatter;
  formatter.setLocale(NSLocale("en_US_POSIX"));
  formatter.setDateFormat(isoPattern);
  std::string zone, day, time;
  std::int64_t instant = 0;
  int isSkipped = 0, count = 0, countOfSkipped = 0;
  for (; peer >> zone >> day >> time >> instant >> isSkipped; ++count) {
    if (formatter.timeZone().name() != zone)
      formatter.setTimeZone(NSTimeZone::timeZoneWithName(zone).value());
    const std::string text = std::string(day).append(1, ' ').append(time);
    const NSDate date{seconds(instant)};
    if (isSkipped != 0) {
      ++countOfSkipped;
      EXPECT_FALSE(formatter.dateFromString(text)) << zone << ' ' << text;
      formatter.setLenient(true);
      EXPECT_EQ(formatter.dateFromString(text), date) << zone << ' ' << text;
      formatter.setLenient(false);
    } else {
      EXPECT_EQ(formatter.dateFromString(text), date) << zone << ' ' << text;
      EXPECT_EQ(formatter.stringFromDate(date), text) << zone;
    }
  }
  EXPECT_GT(count, 12'000);
  EXPECT_GT(countOfSkipped, 100);
}

struct DateTextCase {
  const char* locale;
  const char* zone;
  const char* pattern;  // null for styles
  Style date, time;
  const char* want;
};
const DateTextCase dateTextCases[] = {
    {"en_US_POSIX", "GMT", "yyyy-MM-dd HH:mm:ss.SSS", {}, {}, "2026-03-05 14:07:09.123"},
    {"en_US", "America/New_York", "EEEE d MMMM y, h:mm a Z", {}, {}, "Thursday 5 March 2026, 9:07 AM -0500"},
    {"de_AT", "Europe/Vienna", "EEEE, d. MMMM, H 'Uhr'", {}, {}, "Donnerstag, 5. März, 15 Uhr"},
    {"de_DE.UTF-8", "GMT", nullptr, Style::mediumStyle, Style::shortStyle, "05.03.2026, 14:07"},
    {"en_GB", "GMT", nullptr, Style::fullStyle, Style::none, "Thursday, 5 March 2026"},
    {"en_GB", "Europe/Dublin", nullptr, Style::none, Style::fullStyle, "14:07:09 Greenwich Mean Time"},
    {"fr_FR", "GMT", nullptr, Style::longStyle, Style::none, "5 mars 2026"},
    {"ja_JP", "Asia/Tokyo", nullptr, Style::longStyle, Style::shortStyle, "2026年3月5日 23:07"},
    {"en_US", "GMT", nullptr, Style::none, Style::none, ""},
    {"en_US", "Asia/Tokyo", "zzzz '|' VV", {}, {}, "Japan Standard Time | Asia/Tokyo"},
};

TEST(NSDateFormatter, writesInPatternsAndStylesOfLocales) {
  for (const DateTextCase& row : dateTextCases) {
    NSDateFormatter formatter;
    set(formatter, row.locale, row.zone);
    formatter.setDateStyle(row.date);
    formatter.setTimeStyle(row.time);
    if (row.pattern != nullptr) formatter.setDateFormat(row.pattern);
    EXPECT_EQ(formatter.stringFromDate(afternoon), row.want) << row.locale;
  }
}

struct DateReadingCase {
  const char* row;
  const char* pattern;
  std::string text;
  std::optional<NSDate> strict, lenient;
};
const DateReadingCase dateReadingCases[] = {
    {"plain", isoPattern, "2026-03-05 14:07:09", afternoon - 123ms, afternoon - 123ms},
    {"noSuchDay", "yyyy-MM-dd", "2026-02-31", {}, sys_days(2026y / 3 / 3)},
    {"moreBlanks", "d MMM yyyy", "5  Mar 2026", sys_days(2026y / 3 / 5), sys_days(2026y / 3 / 5)},
    {"otherSigns", "yyyy-MM-dd", "2026/03/05", {}, sys_days(2026y / 3 / 5)},
    {"missingSign", "d. MMM", "5 Mar", {}, sys_days(1970y / 3 / 5)},
    {"somethingBehind", "yyyy-MM-dd", "2026-03-05x", {}, {}},
    {"notAll", isoPattern, "2026-03-05", {}, {}},
    {"otherOffset", "yyyy-MM-dd HH:mm Z", "2026-03-05 14:07 +0530", sys_days(2026y / 3 / 5) + 8h + 37min,
     sys_days(2026y / 3 / 5) + 8h + 37min},
    {"timeAlone", "HH:mm", "14:07", sys_days(1970y / 1 / 1) + 14h + 7min,
     sys_days(1970y / 1 / 1) + 14h + 7min},
    {"beyondDates", "yyyy-MM-dd", "2263-01-01", {}, {}},
    {"empty", "yyyy", "", {}, {}},
    {"notUTF8", "yyyy", "20\xFF", {}, {}},
    {"huge", "yyyy", std::string(1'000'000, '1'), {}, {}},
};

TEST(NSDateFormatter, readsAllOfATextOrNothing) {
  for (const DateReadingCase& row : dateReadingCases) {
    NSDateFormatter formatter;
    set(formatter, "en_US_POSIX");
    formatter.setDateFormat(row.pattern);
    EXPECT_EQ(formatter.dateFromString(row.text), row.strict) << row.row;
    formatter.setLenient(true);
    EXPECT_EQ(formatter.dateFromString(row.text), row.lenient) << row.row;

    Value value = "before";
    std::string error;
    EXPECT_EQ(formatter.getObjectValue(&value, row.text, &error), row.lenient.has_value()) << row.row;
    EXPECT_EQ(value, row.lenient ? Value(*row.lenient) : Value("before")) << row.row;
    EXPECT_EQ(error.empty(), row.lenient.has_value()) << row.row;
  }
}

TEST(NSDateFormatter, hasPropertiesByKey) {
  const auto formatter =
      std::dynamic_pointer_cast<NSDateFormatter>(NSClass::named("NSDateFormatter")->make());
  ASSERT_TRUE(formatter);
  formatter->setValueForKey(NSLocale("en_US_POSIX"), "locale");
  formatter->setValueForKey(NSTimeZone::GMT(), "timeZone");
  formatter->setValueForKey(true, "lenient");
  EXPECT_TRUE(formatter->isLenient());
  EXPECT_EQ(formatter->valueForKeyPath("timeZone"), Value(NSTimeZone::GMT()));

  // A pattern and styles replace each other, and a style that is there already is no change.
  formatter->setValueForKey("y", "dateFormat");
  formatter->setValueForKey(0, "dateStyle");
  EXPECT_EQ(formatter->valueForKey("dateFormat"), "y");
  int changes = 0;
  const auto observation =
      observe(*formatter, "dateFormat", [&](NSDateFormatter&, const NSKeyValueChange&) { ++changes; });
  formatter->setValueForKey(2, "dateStyle");
  EXPECT_EQ(changes, 1);
  EXPECT_EQ(formatter->valueForKey("dateFormat"), "MMM d, y");
  EXPECT_EQ(formatter->stringForObjectValue(afternoon), "Mar 5, 2026");
  formatter->setDateFormat("HH");
  EXPECT_EQ(formatter->dateStyle(), Style::none);
  EXPECT_EQ(formatter->stringForObjectValue(afternoon), "14");
  EXPECT_FALSE(formatter->stringForObjectValue("2026"));
  EXPECT_THROW(formatter->setValueForKey("en", "locale"), NSException);
}

TEST(NSDateFormatter, servesThreadsWhileItsSettingsChange) {
  NSDateFormatter formatter;
  set(formatter, "en_US_POSIX");
  formatter.setDateFormat("yyyy");
  std::atomic<bool> done{false};
  std::thread setter([&] {
    for (int i = 0; i < 200; ++i) formatter.setDateFormat(i % 2 == 0 ? "yyyy-MM" : "yyyy");
    done = true;
  });
  while (!done) {
    const std::string text = formatter.stringFromDate(afternoon);
    EXPECT_TRUE(text == "2026" || text == "2026-03" || text.empty()) << text;
  }
  setter.join();
  EXPECT_EQ(formatter.dateFromString("2026"), sys_days(2026y / 1 / 1));
}

}  // namespace
}  // namespace QVFoundation
