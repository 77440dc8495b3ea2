#include "QVFoundation/platform/text/NSScanner.h"

#include <limits>
#include <string_view>

#include <gtest/gtest.h>

#include "QVFoundation/platform/text/Unicode.h"
#include "tests/platform/runtime/RaisedException.h"

namespace QVFoundation {
namespace {

TEST(NSCharacterSet, holdsWhatItsPartsHoldAndItsInverseTheRest) {
  const NSCharacterSet vowels("aeiouéé\xFF"), capitals{{U'K', U'Z'}, {U'A', U'M'}, {U'z', U'a'}};
  const NSCharacterSet both = vowels.united(capitals), rest = both.inverted();
  for (char32_t c = 0; c <= 0xFFFF; ++c) {
    const bool isVowel =
        c == 'a' || c == 'e' || c == 'i' || c == 'o' || c == 'u' || c == U'é' || c == replacementCharacter;
    const bool isCapital = c >= 'A' && c <= 'Z';
    ASSERT_EQ(vowels.contains(c), isVowel) << std::size_t{c};
    ASSERT_EQ(capitals.contains(c), isCapital) << std::size_t{c};
    ASSERT_EQ(both.contains(c), isVowel || isCapital) << std::size_t{c};
    ASSERT_NE(both.contains(c), rest.contains(c)) << std::size_t{c};
  }
  EXPECT_TRUE(rest.contains(0x10FFFF));
  EXPECT_FALSE(rest.inverted().contains(0x10FFFF));
  EXPECT_TRUE(NSCharacterSet().inverted().contains(0));
  EXPECT_FALSE((NSCharacterSet{{1, 0xFFFFFFFF}, {7, 9}}.contains(0x110000)));
  const NSCharacterSet& digits = NSCharacterSet::decimalDigitCharacterSet();
  for (const char32_t digit : U"09٠९９𝟿") EXPECT_EQ(digits.contains(digit), digit != 0);
  for (const char32_t other : U"/:²½Ⅷ一") EXPECT_FALSE(digits.contains(other));
}

TEST(NSScanner, readsWholeNumbersAndStaysWhereThereIsNone) {
  constexpr auto least = std::numeric_limits<std::int64_t>::min();
  constexpr auto most = std::numeric_limits<std::int64_t>::max();
  const struct {
    const char* row;
    std::string_view text;
    std::optional<std::int64_t> number;
    std::size_t location;
    std::optional<std::int32_t> small;
  } cases[] = {
      {"plain", "42.5", 42, 2, 42},
      {"plus", "+007x", 7, 4, 7},
      {"minus", "-1", -1, 2, -1},
      {"whiteSpace", " \t\r\n\u00A0\u2003\u3000 8", 8, 14, 8},
      {"largestSmall", "2147483647", 2147483647, 10, 2147483647},
      {"tooLargeForSmall", "2147483648 ", 2147483648, 10, 2147483647},
      {"tooLowForSmall", "-2147483649", -2147483649, 11, -2147483647 - 1},
      {"largest", "9223372036854775807", most, 19, 2147483647},
      {"tooLarge", "9223372036854775808000x", most, 22, 2147483647},
      {"tooLow", "-99999999999999999999", least, 21, -2147483647 - 1},
      {"empty", "", {}, 0, {}},
      {"onlyWhiteSpace", "  ", {}, 0, {}},
      {"onlySign", " -", {}, 0, {}},
      {"onlyPlus", "+", {}, 0, {}},
      {"twoSigns", "+-5", {}, 0, {}},
      {"signApart", "- 5", {}, 0, {}},
      {"otherScript", "٣", {}, 0, {}},
      {"word", " x1", {}, 0, {}},
  };
  for (const auto& [row, text, number, location, small] : cases) {
    NSScanner scanner(text);
    EXPECT_EQ(scanner.scanInteger(), number) << row;
    EXPECT_EQ(scanner.scanLocation(), location) << row;
    scanner.setScanLocation(0);
    EXPECT_EQ(scanner.scanInt(), small) << row;
    EXPECT_EQ(scanner.scanLocation(), location) << row;
  }
}

TEST(NSScanner, readsTextsAndRunsBehindWhatIsSkipped) {
  const NSCharacterSet letters{{U'a', U'z'}, {U'à', U'ÿ'}}, quote("»");
  NSScanner scanner(" crème 12 »quoted\xFF« end\n");
  EXPECT_FALSE(scanner.scanString("Crème"));
  EXPECT_FALSE(scanner.scanString(""));
  EXPECT_FALSE(scanner.scanCharactersFromSet(quote));
  EXPECT_EQ(scanner.scanLocation(), 0U);
  EXPECT_EQ(scanner.scanCharactersFromSet(letters), "crème");
  EXPECT_EQ(scanner.scanUpToCharactersFromSet(quote), "12 ");
  EXPECT_FALSE(scanner.scanUpToCharactersFromSet(quote));
  EXPECT_TRUE(scanner.scanString("»"));
  EXPECT_EQ(scanner.scanUpToString("«"), "quoted\xFF");
  EXPECT_FALSE(scanner.scanUpToString("«"));
  EXPECT_TRUE(scanner.scanString("« "));
  EXPECT_FALSE(scanner.isAtEnd());
  const std::size_t location = scanner.scanLocation();
  EXPECT_EQ(scanner.scanUpToString("absent"), "end\n");
  EXPECT_FALSE(scanner.scanUpToString("absent"));
  scanner.setScanLocation(location);
  EXPECT_EQ(scanner.scanCharactersFromSet(letters), "end");
  EXPECT_TRUE(scanner.isAtEnd());  // though the end of the line is left

  scanner.setCharactersToBeSkipped({});
  EXPECT_FALSE(scanner.isAtEnd());
  EXPECT_FALSE(scanner.scanCharactersFromSet(letters));
  EXPECT_TRUE(scanner.scanString("\n"));
  EXPECT_TRUE(testing::raisedBy([&] { scanner.setScanLocation(100); }).starts_with("NSRangeException: "));
}

}  // namespace
}  // namespace QVFoundation
