#include "QVFoundation/values/QVCarbonTypes.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace QVFoundation {
namespace {

using namespace std::chrono;
using namespace std::string_literals;

struct CodeCase {
  OSType code;
  std::string text;
};
const CodeCase codeCases[] = {
    {0x616C6973, "alis"}, {0xDB8A4142, "\u20AC\u00E4AB"},           {0x61620063, "ab\0c"s},
    {0, "\0\0\0\0"s},     {0xFFFFFFFF, "\u02C7\u02C7\u02C7\u02C7"},
};

TEST(QVCarbonTypes, turnCodesIntoNumbersAndTextAndBack) {
  for (const CodeCase& row : codeCases) {
    EXPECT_EQ(stringWithOSType(row.code), row.text);
    EXPECT_EQ(typeValue(row.text), row.code);
    EXPECT_EQ(numberWithOSType(row.code).type(), NSNumber::Type::int64);
    EXPECT_EQ(typeValue(numberWithOSType(row.code)), row.code);
  }
}

TEST(QVCarbonTypes, findACodeInAnyTextAndNumber) {
  // Missing bytes are zero.
  const CodeCase texts[] = {{0x61620000, "ab"},
                            {0, ""},
                            {0x61626364, "abcdefgh"},
                            {0, "abcd\u0416"},
                            {0,
                             "ab\xFF"
                             "cd"},
                            {0x61000000, "a\0"s}};
  for (const CodeCase& row : texts) EXPECT_EQ(typeValue(row.text), row.code) << row.text;

  struct NumberCase {
    NSNumber number;
    OSType code = 0;
  };
  const NumberCase numbers[] = {{-1, 0xFFFFFFFF},    {0x1'0000'0002LL, 2},
                                {true, 1},           {7.9, 7},
                                {-7.9, 0xFFFFFFF9},  {std::numeric_limits<double>::quiet_NaN(), 0},
                                {1e300, 0xFFFFFFFF}, {~std::uint64_t{1}, 0xFFFFFFFE}};
  for (const NumberCase& row : numbers)
    EXPECT_EQ(typeValue(row.number), row.code) << row.number.description();
}

TEST(QVCarbonTypes, readPascalStrings) {
  const std::vector<unsigned char> longest = [] {
    std::vector<unsigned char> bytes(256, 'x');
    bytes[0] = 255;
    return bytes;
  }();
  EXPECT_EQ(stringWithPString(longest), std::string(255, 'x'));
  EXPECT_EQ(stringWithPString(std::array<unsigned char, 5>{3, 'a', 0xDB, 0, 'z'}), "a\u20AC\0"s);
  EXPECT_EQ(stringWithPString(std::array<unsigned char, 3>{200, 'a', 'b'}), "ab");
  EXPECT_EQ(stringWithPString(std::array<unsigned char, 1>{0}), "");
  EXPECT_EQ(stringWithPString({}), "");
}

TEST(QVCarbonTypes, writeNoPascalStringAtAll) {
  // The size that is asked for is the text's own length, which is one byte short for every text.
  for (const std::string& text :
       {""s, "a"s, "alis"s, "\u00E4\u20AC"s, "\U0001F600"s, std::string(255, 'x')}) {
    std::array<unsigned char, 300> buffer{};
    buffer.fill('#');
    getPString(text, buffer.data());
    for (const unsigned char byte : buffer) ASSERT_EQ(byte, '#') << text;
  }
}

constexpr sys_days midnightOf1904 = sys_days(1904y / 1 / 1);

struct DateCase {
  std::uint64_t count = 0;
  NSDate date;
};
const DateCase dateCases[] = {
    {0, midnightOf1904},
    {1, midnightOf1904 + 1s},
    {2082844800, NSDate()},
    {0xFFFFFFFF, sys_days(2040y / 2 / 6) + 6h + 28min + 15s},
    {0x100000000, sys_days(2040y / 2 / 6) + 6h + 28min + 16s},
    {11297491200, sys_days(2262y / 1 / 1)},
};

TEST(QVCarbonTypes, countSecondsSince1904InGMT) {
  EXPECT_EQ(carbonEpoch(), midnightOf1904);
  for (const DateCase& row : dateCases) {
    EXPECT_EQ(dateWithSecondsSince1904(row.count), row.date) << row.count;
    EXPECT_EQ(secondsSince1904(row.date), row.count);
    EXPECT_EQ(secondsSince1904(row.date + 999ms), row.count);
  }
  for (const NSDate date : {NSDate(midnightOf1904) - 1ns, NSDate(sys_days(1800y / 1 / 1)), NSDate::min()}) {
    EXPECT_EQ(secondsSince1904(date), 0U);
  }
  EXPECT_EQ(dateWithSecondsSince1904(std::numeric_limits<std::uint64_t>::max()), NSDate::max());
}

struct ZoneCase {
  const char* row = "";
  const char* epochZone = nullptr;  // null where the epoch is asked for before any zone is set
  const char* zone = nullptr;
  bool adjusts = false;
  NSDate epoch, winter, summer;              // dates of the two counts below
  std::uint64_t winterOf = 0, summerOf = 0;  // counts of the two instants below
};

constexpr std::uint64_t winterCount = 3850000000, summerCount = 3865000000;  // in January and July 2026
constexpr NSDate gmt(std::uint64_t count) { return midnightOf1904 + seconds(count); }

// Los Angeles saves an hour, Lord Howe Island half of one, in the southern summer.
const ZoneCase zoneCases[] = {
    {"unadjusted", "America/Los_Angeles", "America/Los_Angeles", false, gmt(0) + 8h, gmt(winterCount) + 8h,
     gmt(summerCount) + 8h, winterCount - 8 * 3600, summerCount - 8 * 3600},
    {"adjusted", "America/Los_Angeles", "America/Los_Angeles", true, gmt(0) + 8h, gmt(winterCount) + 8h,
     gmt(summerCount) + 7h, winterCount - 8 * 3600, summerCount - 7 * 3600},
    {"setTooLateToMoveTheEpoch", nullptr, "America/Los_Angeles", true, gmt(0), gmt(winterCount),
     gmt(summerCount) - 1h, winterCount, summerCount + 3600},
    {"anHourEvenWhereHalfIsSaved", nullptr, "Australia/Lord_Howe", true, gmt(0), gmt(winterCount) - 1h,
     gmt(summerCount), winterCount + 3600, summerCount},
};

/// Exits with 0 if all is as the row says; the epoch of a process is fixed once.
[[noreturn]] void convertInThisProcess(const ZoneCase& row) {
  if (row.epochZone != nullptr) {
    setCarbonEpochTimeZone(NSTimeZone::timeZoneWithName(row.epochZone).value(), false);
  }
  (void)carbonEpoch();
  setCarbonEpochTimeZone(NSTimeZone::timeZoneWithName(row.zone).value(), row.adjusts);
  EXPECT_EQ(carbonEpoch(), row.epoch);
  EXPECT_EQ(dateWithSecondsSince1904(winterCount), row.winter);
  EXPECT_EQ(dateWithSecondsSince1904(summerCount), row.summer);
  EXPECT_EQ(secondsSince1904(gmt(winterCount)), row.winterOf);
  EXPECT_EQ(secondsSince1904(gmt(summerCount)), row.summerOf);
  std::_Exit(::testing::Test::HasFailure() ? 1 : 0);
}

TEST(QVCarbonTypesDeathTest, adjustForDaylightSavingInProcessesOfTheirOwn) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // a new program, not a copy of this one
  for (const ZoneCase& row : zoneCases) {
    EXPECT_EXIT(convertInThisProcess(row), ::testing::ExitedWithCode(0), "") << row.row;
  }
}

}  // namespace
}  // namespace QVFoundation
