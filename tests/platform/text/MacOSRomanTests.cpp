#include "QVFoundation/platform/text/MacOSRoman.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <span>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "QVFoundation/platform/text/Unicode.h"
#include "tests/platform/files/CommandOutput.h"

namespace QVFoundation {
namespace {

TEST(MacOSRoman, agreesWithPythonBothWays) {
  // For each code point up to U+FFFF that the set has: the code point, the byte.
  std::istringstream peer(testing::outputOf(R"(python3 -c '
for c in range(65536):
  try: print(c, chr(c).encode("mac_roman")[0])
  except UnicodeError: pass')"));
  std::array<bool, 0x10000> isKnown{};
  int count = 0;
  for (unsigned character = 0, byte = 0; peer >> character >> byte; ++count) {
    std::string text;
    appendUTF8(text, char32_t{character});
    EXPECT_EQ(macOSRomanFromString(text), NSData{std::byte(byte)}) << character;
    EXPECT_EQ(stringFromMacOSRoman(NSData{std::byte(byte)}), text) << byte;
    isKnown.at(character) = true;
  }
  ASSERT_EQ(count, 256);
  for (char32_t character = 0; character < isKnown.size(); ++character) {
    if (isKnown[character] || !isValidCodePoint(character)) continue;
    std::string text = "a";
    appendUTF8(text, character);
    EXPECT_FALSE(macOSRomanFromString(text)) << std::uint32_t{character};
  }
  EXPECT_FALSE(macOSRomanFromString("a\xFF"));
}

struct PascalCase {
  const char* row;
  std::string text;
  std::size_t room;
  const char* want;  // null where it is refused
};
const PascalCase pascalCases[] = {
    {"fits", "a\u00E4\u20AC", 4, "\x03\x61\x8A\xDB"},
    {"oneByteShort", "a\u00E4\u20AC", 3, nullptr},
    {"empty", "", 1, "\0"},
    {"noRoomForTheLength", "", 0, nullptr},
    {"longest", std::string(255, 'x'), 256, "\xFFxxx"},
    {"tooLong", std::string(256, 'x'), 300, nullptr},
    {"notInTheSet", "\u0416", 9, nullptr},
};

TEST(MacOSRoman, writesPascalStringsOrNothing) {
  for (const PascalCase& row : pascalCases) {
    std::array<unsigned char, 300> buffer{};
    buffer.fill('#');
    const bool wasWritten = getPascalString(row.text, std::span(buffer).first(row.room));
    EXPECT_EQ(wasWritten, row.want != nullptr) << row.row;
    if (row.want != nullptr) {
      EXPECT_EQ(std::memcmp(buffer.data(), row.want, std::min<std::size_t>(row.room, 4)), 0) << row.row;
    } else {
      EXPECT_EQ(buffer[0], '#') << row.row;
    }
  }
}

}  // namespace
}  // namespace QVFoundation
