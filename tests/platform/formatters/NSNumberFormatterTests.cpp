#include "QVFoundation/platform/formatters/NSNumberFormatter.h"

#include <limits>
#include <optional>
#include <random>
#include <string>

#include <gtest/gtest.h>

namespace QVFoundation {
namespace {

using NumberStyle = NSNumberFormatterStyle;

void prepare(NSNumberFormatter& formatter, NumberStyle style, const char* locale) {
  formatter.setNumberStyle(style);
  formatter.setLocale(NSLocale(locale));
}

TEST(NSNumberFormatter, writesInStylesOfLocalesAndReadsBack) {
  const struct {
    NumberStyle style;
    const char* locale;
    NSNumber number;
    std::string text;
    std::optional<NSNumber> again;
  } cases[] = {
      {NumberStyle::none, "en_US", 1234.5, "1234", 1234},  // to the even digit
      {NumberStyle::none, "de_DE", -7, "-7", -7},
      {NumberStyle::decimalStyle, "en_US", 1234567.891, "1,234,567.891", 1234567.891},
      {NumberStyle::decimalStyle, "de_DE", 1234567.891, "1.234.567,891", 1234567.891},
      {NumberStyle::decimalStyle, "hi_IN", 1234567, "12,34,567", 1234567},
      {NumberStyle::decimalStyle, "en_US", std::numeric_limits<std::uint64_t>::max(),
       "18,446,744,073,709,551,615", std::numeric_limits<std::uint64_t>::max()},
      {NumberStyle::decimalStyle, "en_US", std::numeric_limits<std::int64_t>::min(),
       "-9,223,372,036,854,775,808", std::numeric_limits<std::int64_t>::min()},
      {NumberStyle::decimalStyle, "en_US", std::numeric_limits<double>::infinity(), "∞",
       std::numeric_limits<double>::infinity()},
      {NumberStyle::decimalStyle, "en_US", true, "1", 1},
      {NumberStyle::percentStyle, "en_US", 0.25, "25%", 0.25},
      {NumberStyle::currencyStyle, "en_US", 1234.5, "$1,234.50", 1234.5},
      {NumberStyle::scientific, "en_US", 1234.5, "1.2345E3", 1234.5},
      {NumberStyle::spellOutStyle, "en_US", 42, "forty-two", 42},
      {NumberStyle::spellOutStyle, "de_DE", 21, "ein\u00ADund\u00ADzwanzig", 21},
  };
  for (const auto& [style, locale, number, text, again] : cases) {
    NSNumberFormatter formatter;
    prepare(formatter, style, locale);
    EXPECT_EQ(formatter.stringFromNumber(number), text);
    EXPECT_EQ(formatter.numberFromString(text), again) << text;
  }
}

TEST(NSNumberFormatter, writesAsManyDigitsAsItIsTold) {
  NSNumberFormatter formatter;
  prepare(formatter, NumberStyle::decimalStyle, "en_US");
  formatter.setMinimumFractionDigits(2);
  formatter.setMaximumFractionDigits(2);
  EXPECT_EQ(formatter.stringFromNumber(1234), "1,234.00");
  EXPECT_EQ(formatter.stringFromNumber(0.125), "0.12");
  formatter.setMinimumIntegerDigits(6);
  formatter.setUsesGroupingSeparator(false);
  EXPECT_EQ(formatter.stringFromNumber(1234), "001234.00");
  formatter.setMinimumFractionDigits(1 << 30);
  EXPECT_EQ(formatter.stringFromNumber(1).size(), 6 + 1 + 340U);
  formatter.setValueForKey(Value(), "minimumFractionDigits");
  formatter.setMaximumFractionDigits(-1);
  EXPECT_EQ(formatter.stringFromNumber(1.5), "000002");
}

TEST(NSNumberFormatter, readsAllOfATextOrNothing) {
  NSNumberFormatter formatter;
  prepare(formatter, NumberStyle::decimalStyle, "en_US");
  for (const char* text : {"", " ", "x", "1x", " 1", "12,34", "1.2.3", "--1", "\xff", "1\xff"})
    EXPECT_FALSE(formatter.numberFromString(text)) << text;
  EXPECT_FALSE(formatter.numberFromString(std::string(1 << 20, '1')));
  formatter.setLenient(true);
  EXPECT_EQ(formatter.numberFromString(" 12,34"), NSNumber(1234));

  Value value = "before";
  std::string problem;
  EXPECT_FALSE(formatter.getObjectValue(&value, "x", &problem));
  EXPECT_EQ(value, "before");
  EXPECT_NE(problem, "");
  EXPECT_FALSE(formatter.stringForObjectValue("text"));
}

// ICU's Polish rules would look for words for ever, and its lenient reading takes seconds.
TEST(NSNumberFormatter, endsOverEveryNumberInWords) {
  NSNumberFormatter formatter;
  prepare(formatter, NumberStyle::spellOutStyle, "pl_PL");
  const std::string one = formatter.stringFromNumber(1);
  for (const double number : {1 + 0x1p-52, 1 + 1e-11, 1 + 9.9e-11})
    EXPECT_EQ(formatter.stringFromNumber(number), one);
  EXPECT_EQ(formatter.stringFromNumber(0x1p-1074), formatter.stringFromNumber(0));
  EXPECT_NE(formatter.stringFromNumber(1.25), one);

  prepare(formatter, NumberStyle::spellOutStyle, "en_US");
  formatter.setLenient(true);
  std::string words = "one";
  while (words.size() < 60'000) words += " thousand";
  EXPECT_FALSE(formatter.numberFromString(words));
  EXPECT_EQ(formatter.numberFromString("Twenty-one"), NSNumber(21));
}

TEST(NSNumberFormatter, keepsEveryInteger) {
  std::mt19937_64 random(5);
  NSNumberFormatter formatter;
  prepare(formatter, NumberStyle::decimalStyle, "fr_FR");
  for (int i = 0; i < 3000; ++i) {
    const auto number = static_cast<std::int64_t>(random() >> (random() % 64)) * (i % 2 == 0 ? 1 : -1);
    EXPECT_EQ(formatter.numberFromString(formatter.stringFromNumber(number)), NSNumber(number));
  }
}

}  // namespace
}  // namespace QVFoundation
