#include "QVFoundation/platform/text/Unicode.h"

#include <array>
#include <bit>
#include <cstddef>
#include <random>
#include <span>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

namespace QVFoundation {
namespace {

using namespace std::string_view_literals;

struct TextCase {
  const char* row;
  std::string_view text;
  bool isValid;
  std::size_t codePoints;
  std::size_t utf16Units;
  std::string_view repaired;
};

// Each U+FFFD is one longest run that could have begun a code point, or one byte that could not.
constexpr TextCase textCases[] = {
    {"empty", "", true, 0, 0, ""},
    {"ASCII", "a plain text, longer than a word", true, 32, 32, "a plain text, longer than a word"},
    {"two bytes", "Zoë", true, 3, 3, "Zoë"},
    {"three bytes", "5 €", true, 3, 3, "5 €"},
    {"four bytes", "🎵🎶", true, 2, 4, "🎵🎶"},
    {"zero", "a\0b"sv, true, 3, 3, "a\0b"sv},
    {"last of each length", "\x7F\xDF\xBF\xEF\xBF\xBF\xF4\x8F\xBF\xBF", true, 4, 5,
     "\x7F\xDF\xBF\xEF\xBF\xBF\xF4\x8F\xBF\xBF"},
    {"around surrogates", "\xED\x9F\xBF\xEE\x80\x80", true, 2, 2, "\xED\x9F\xBF\xEE\x80\x80"},
    {"stray byte", "a\x80z", false, 3, 3, "a\uFFFDz"},
    {"byte that is never used", "\xFF\xFE", false, 2, 2, "\uFFFD\uFFFD"},
    {"overlong of two", "\xC0\xAF", false, 2, 2, "\uFFFD\uFFFD"},
    {"overlong of three", "\xE0\x80\xAF", false, 3, 3, "\uFFFD\uFFFD\uFFFD"},
    {"overlong of four", "\xF0\x80\x80\xAF", false, 4, 4, "\uFFFD\uFFFD\uFFFD\uFFFD"},
    {"surrogate", "\xED\xA0\x80", false, 3, 3, "\uFFFD\uFFFD\uFFFD"},
    {"too large", "\xF4\x90\x80\x80", false, 4, 4, "\uFFFD\uFFFD\uFFFD\uFFFD"},
    {"cut short of four", "\xF0\x9F\x8E", false, 1, 1, "\uFFFD"},
    {"cut short before text", "\xE2\x82z", false, 2, 2, "\uFFFDz"},
    {"cut short before another", "\xC3\xC3\xA9", false, 2, 2, "\uFFFDé"},
    {"fault behind a word of ASCII", "12345678abc\xFF", false, 12, 12, "12345678abc\uFFFD"},
};

TEST(Unicode, textsAreCountedAndRepaired) {
  for (const TextCase& c : textCases) {
    EXPECT_EQ(isValidUTF8(c.text), c.isValid) << c.row;
    EXPECT_EQ(codePointCount(c.text), c.codePoints) << c.row;
    EXPECT_EQ(utf16UnitCount(c.text), c.utf16Units) << c.row;
    EXPECT_EQ(replacingInvalidUTF8(c.text), c.repaired) << c.row;
  }
}

TEST(Unicode, prefixesNeverSplitACharacter) {
  constexpr std::string_view text = "aé🎵z";
  const std::array<std::string_view, 6> byCodePoints = {"", "a", "aé", "aé🎵", "aé🎵z", "aé🎵z"};
  const std::array<std::string_view, 7> byUnits = {"", "a", "aé", "aé", "aé🎵", "aé🎵z", "aé🎵z"};
  for (std::size_t n = 0; n < byCodePoints.size(); ++n)
    EXPECT_EQ(prefixOfCodePoints(text, n), byCodePoints[n]) << n;
  for (std::size_t n = 0; n < byUnits.size(); ++n) EXPECT_EQ(prefixOfUTF16Units(text, n), byUnits[n]) << n;
}

TEST(Unicode, everyCodePointSurvivesEncoding) {
  for (char32_t codePoint = 0; codePoint <= 0x110000; ++codePoint) {
    std::string text;
    appendUTF8(text, codePoint);
    const DecodedCodePoint decoded = decodeUTF8(text);
    ASSERT_EQ(decoded.codePoint, isValidCodePoint(codePoint) ? codePoint : replacementCharacter);
    ASSERT_EQ(decoded.length, text.size());
    ASSERT_TRUE(decoded.isValid);
  }
}

// Counting, cutting and repairing must agree on any bytes whatever, at any distance from a word's end.
TEST(Unicode, functionsAgreeOnRandomBytes) {
  std::mt19937 random(7);  // NOLINT(bugprone-random-generator-seed): failures must repeat.
  constexpr std::string_view alphabet = "abcdefgh\x80\xBF\xC3\xA9\xE2\x82\xAC\xF0\x9F\x8E\xB5\xED\xA0\xFF";
  for (int i = 0; i < 20'000; ++i) {
    std::string text(random() % 24, '\0');
    for (char& c : text) c = alphabet[random() % alphabet.size()];
    const std::string repaired = replacingInvalidUTF8(text);
    ASSERT_TRUE(isValidUTF8(repaired));
    ASSERT_EQ(isValidUTF8(text), repaired == text);
    const std::size_t count = codePointCount(text);
    ASSERT_EQ(count, codePointCount(repaired));
    ASSERT_EQ(utf16UnitCount(text), utf16UnitCount(repaired));
    const std::size_t half = count / 2;
    ASSERT_EQ(replacingInvalidUTF8(prefixOfCodePoints(text, half)), prefixOfCodePoints(repaired, half));
    ASSERT_EQ(prefixOfCodePoints(text, count), text);
    ASSERT_LE(utf16UnitCount(prefixOfUTF16Units(text, half)), half);
  }
}

std::string fromUnits(std::u16string_view units) {
  std::string out;
  appendUTF8(out, units);
  return out;
}

TEST(Unicode, surrogatesArePairedOrReplaced) {
  EXPECT_EQ(fromUnits(u"aé€🎵"), "aé€🎵");
  const std::array<char16_t, 2> highAlone = {0xD83C, u'x'};
  const std::array<char16_t, 2> lowAlone = {0xDFB5, 0xD83C};
  EXPECT_EQ(fromUnits({highAlone.data(), 2}), "\uFFFDx");
  EXPECT_EQ(fromUnits({lowAlone.data(), 2}), "\uFFFD\uFFFD");
}

TEST(Unicode, bytesOfUTF16AreReadInEitherOrder) {
  constexpr std::string_view big = "\0a\x20\xAC\xD8\x3C\xDF\xB5"sv;
  constexpr std::string_view little = "a\0\xAC\x20\x3C\xD8\xB5\xDF"sv;
  EXPECT_EQ(stringFromUTF16(std::as_bytes(std::span(big)), std::endian::big), "a€🎵");
  EXPECT_EQ(stringFromUTF16(std::as_bytes(std::span(little)), std::endian::little), "a€🎵");
  EXPECT_EQ(stringFromUTF16(std::as_bytes(std::span(big.substr(0, 3))), std::endian::big), "a\uFFFD");
  EXPECT_EQ(stringFromUTF16({}, std::endian::big), "");
}

}  // namespace
}  // namespace QVFoundation
