#include "QVFoundation/platform/text/Unicode.h"

#include <bit>
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
  std::size_t codePoints, utf16Units;
  std::string_view repaired;
};

constexpr std::string_view limits = "\x7F\xDF\xBF\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF\xF4\x8F\xBF\xBF";

// Each U+FFFD is one longest run that could have begun a code point, or one byte that could not.
constexpr TextCase textCases[] = {
    {"all lengths", "Zoë 5 €\0🎵🎶"sv, 10, 12, "Zoë 5 €\0🎵🎶"sv},
    {"ends of what is allowed", limits, 6, 7, limits},
    {"bytes that are never used", "a\x80z\xFF\xFE", 5, 5, "a\uFFFDz\uFFFD\uFFFD"},
    {"overlong of two", "\xC0\xAF", 2, 2, "\uFFFD\uFFFD"},
    {"overlong of three", "\xE0\x80\xAF", 3, 3, "\uFFFD\uFFFD\uFFFD"},
    {"overlong of four", "\xF0\x80\x80\xAF", 4, 4, "\uFFFD\uFFFD\uFFFD\uFFFD"},
    {"surrogate", "\xED\xA0\x80", 3, 3, "\uFFFD\uFFFD\uFFFD"},
    {"too large", "\xF4\x90\x80\x80", 4, 4, "\uFFFD\uFFFD\uFFFD\uFFFD"},
    {"cut short", "\xE2\x82z\xC3\xC3\xA9\xF0\x9F\x8E", 5, 5, "\uFFFDz\uFFFDé\uFFFD"},
    {"fault behind a word of ASCII", "12345678abc\xFF", 12, 12, "12345678abc\uFFFD"},
};

TEST(Unicode, textsAreCountedAndRepaired) {
  for (const TextCase& c : textCases) {
    EXPECT_EQ(isValidUTF8(c.text), c.text == c.repaired) << c.row;
    EXPECT_EQ(codePointCount(c.text), c.codePoints) << c.row;
    EXPECT_EQ(utf16UnitCount(c.text), c.utf16Units) << c.row;
    EXPECT_EQ(replacingInvalidUTF8(c.text), c.repaired) << c.row;
  }
}

TEST(Unicode, prefixesNeverSplitACharacter) {
  constexpr std::string_view byCodePoints[] = {"", "a", "aé", "aé🎵", "aé🎵z", "aé🎵z", "aé🎵z"};
  constexpr std::string_view byUnits[] = {"", "a", "aé", "aé", "aé🎵", "aé🎵z", "aé🎵z"};
  for (std::size_t n = 0; n < std::size(byUnits); ++n) {
    EXPECT_EQ(prefixOfCodePoints("aé🎵z", n), byCodePoints[n]) << n;
    EXPECT_EQ(prefixOfUTF16Units("aé🎵z", n), byUnits[n]) << n;
  }
}

TEST(Unicode, everyCodePointSurvivesEncoding) {
  for (char32_t codePoint = 0; codePoint <= 0x110000; ++codePoint) {
    std::string text;
    appendUTF8(text, codePoint);
    const DecodedCodePoint decoded = decodeUTF8(text);
    ASSERT_EQ(decoded.codePoint, isValidCodePoint(codePoint) ? codePoint : replacementCharacter);
    ASSERT_TRUE(decoded.isValid && decoded.length == text.size());
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
    ASSERT_LE(utf16UnitCount(prefixOfUTF16Units(text, half)), half);
  }
}

TEST(Unicode, surrogatesArePairedOrReplacedInEitherOrderOfBytes) {
  const auto decode = [](std::string_view bytes, std::endian order) {
    return stringFromUTF16(std::as_bytes(std::span(bytes)), order);
  };
  EXPECT_EQ(decode("a\0\xAC\x20\x3C\xD8\xB5\xDF"sv, std::endian::little), "a€🎵");
  EXPECT_EQ(decode("\0a\x20\xAC\xD8\x3C\xDF\xB5\x20"sv, std::endian::big), "a€🎵\uFFFD");
  EXPECT_EQ(decode("\xD8\x3C\0x\xDF\xB5\xD8\x3C"sv, std::endian::big), "\uFFFDx\uFFFD\uFFFD");
}

}  // namespace
}  // namespace QVFoundation
