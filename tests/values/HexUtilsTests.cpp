#include "QVFoundation/values/HexUtils.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <random>
#include <sstream>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "QVFoundation/platform/application/NSBundle_p.h"
#include "QVFoundation/values/HexCoding_p.h"
#include "tests/platform/files/CommandOutput.h"
#include "tests/platform/files/TemporaryFolder.h"

namespace QVFoundation {
namespace {

NSData bytes(std::initializer_list<int> numbers) {
  NSData data;
  for (const int number : numbers) data.push_back(static_cast<std::byte>(number));
  return data;
}

NSData bytesUpTo(int last) {
  NSData data;
  for (int number = 1; number <= last; ++number) data.push_back(static_cast<std::byte>(number));
  return data;
}

TEST(HexUtils, writesBytesInGroups) {
  const struct {
    NSData data;
    std::uint32_t padInterval;
    bool prepend0x;
    std::string_view text;
  } rows[] = {
      {bytes({0x01, 0xAB, 0xFF}), QVHexNotGrouped, false, "01ABFF"},
      {bytes({0x01, 0xAB, 0xFF}), QVHexNotGrouped, true, "0x01ABFF"},
      {{}, 1, true, "0x"},
      {bytesUpTo(4), 1, false, "0102 0304 "},
      {bytesUpTo(4), 1, true, "0x0102 0304 "},
      {bytesUpTo(5), 1, false, "0102 0304 05"},
      {bytesUpTo(8), 2, false, "01020304 05060708 "},
      {bytesUpTo(7), 2, false, "01020304 050607"},
      {bytesUpTo(9), 3, true, "0x0102030405060708 09"},
      // A blank after every fourth byte where each byte was to be a group.
      {bytesUpTo(9), 0, false, "01020304 05060708 09"},
      {bytesUpTo(3), 0, false, "010203"},
      {bytesUpTo(9), 40, false, "010203040506070809"},
      {bytesUpTo(9), QVHexNotGrouped - 1, false, "010203040506070809"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(hexStringWithBytes(row.data, row.padInterval, row.prepend0x), row.text) << row.padInterval;
  }
}

TEST(HexUtils, readsWhatIsDigitsAndBlanks) {
  constexpr std::string_view odd = "Hexadecimal string must have an even number of hex characters";
  const auto illegal = [](std::string_view character) {
    return "Illegal character for hexadecimal string (" + std::string(character) + ")";
  };
  const struct {
    std::string_view text;
    std::optional<NSData> data, padded;
    std::string error;
  } rows[] = {
      {"01abFF", bytes({1, 0xAB, 0xFF}), bytes({1, 0xAB, 0xFF}), ""},
      {"0x 0a bc", bytes({0x0A, 0xBC}), bytes({0x0A, 0xBC}), ""},
      {"0\t1\r\n2\u20033", bytes({0x01, 0x23}), bytes({0x01, 0x23}), ""},
      {"", bytes({}), bytes({}), ""},
      {"0x", bytes({}), bytes({}), ""},
      {"abc", {}, bytes({0x0A, 0xBC}), std::string(odd)},
      {"0X12", {}, {}, illegal("X")},
      {" 0x12", {}, {}, illegal("x")},  // the prefix goes before the blanks do
      {"zz", {}, {}, illegal("z")},
      {"1g", {}, {}, illegal("g")},
      {"1:@`/", {}, {}, std::string(odd)},  // before any illegal character is
      {"12é4", {}, {}, illegal("é")},
      {"12😀", {}, {}, illegal("😀")},  // two units of UTF-16
      {"1\xFF", {}, {}, illegal("\uFFFD")},
      {std::string_view("\0"
                        "1",
                        2),
       {},
       {},
       illegal(std::string_view("\0", 1))},
  };
  for (const auto& row : rows) {
    std::string error;
    EXPECT_EQ(hexStringDataWithPadding(row.text, false, &error), row.data) << row.text;
    EXPECT_EQ(error, row.error) << row.text;
    EXPECT_EQ(hexStringData(row.text), row.data) << row.text;
    EXPECT_EQ(hexStringDataWithPadding(row.text, true), row.padded) << row.text;
  }
}

TEST(HexUtils, looksErrorsUpWhereTheyBelong) {
  const testing::TemporaryFolder folder;
  std::filesystem::create_directory(folder.path() / "de.lproj");
  std::ofstream(folder.path() / "de.lproj/Localizable.strings")
      << "\"Illegal character for hexadecimal string (%@)\" = \"Keine Ziffer: %@\";\n"
      << "\"Hexadecimal string must have an even number of hex characters\" = \"Ungerade\";\n";
  const detail::MainBundleOverride german(detail::BundleFactory::bundleInFolder(folder.path(), {"de"}));
  std::string error;
  std::ignore = hexStringDataWithPadding("1x", false, &error);
  EXPECT_EQ(error, "Keine Ziffer: x");
  std::ignore = hexStringDataWithPadding("1", false, &error);  // a text of the library, not of the program
  EXPECT_EQ(error, "Hexadecimal string must have an even number of hex characters");
}

TEST(HexUtils, readsNumbersFromTheHighestByteDown) {
  const struct {
    std::string_view text;
    std::uint64_t number;
  } rows[] = {
      {"0x12", 0x1200000000000000},
      {"0102030405060708", 0x0102030405060708},
      {"0102030405060708FF", 0x0102030405060708},
      {"123", 0},
      {"", 0},
  };
  for (const auto& row : rows) EXPECT_EQ(hexStringUnsignedLongLong(row.text), row.number) << row.text;
}

template <class Number>
std::string inMemory(Number number) {
  std::string text;
  for (const std::byte byte : std::as_bytes(std::span(&number, 1))) {
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02X", std::to_integer<unsigned>(byte));
    text += digits;
  }
  return text;
}

TEST(HexUtils, writesNumbersByTheTypeThatTheyAreStoredAs) {
  const struct {
    NSNumber number;
    std::optional<std::string> text;
  } rows[] = {
      {std::int16_t{258}, "0102"},
      {std::int16_t{-2}, "FFFE"},
      {258, "00000102"},
      {-2, "FFFFFFFE"},
      {std::int64_t{-2}, "FFFFFFFFFFFFFFFE"},
      {std::numeric_limits<std::int64_t>::min(), "8000000000000000"},
      // Not swapped, unlike integers.
      {1.5F, inMemory(1.5F)},
      {-1e300, inMemory(-1e300)},
      {std::int8_t{1}, {}},
      {std::uint16_t{1}, {}},
      {1U, {}},
      {std::uint64_t{1}, {}},
      {true, {}},
  };
  for (const auto& row : rows) EXPECT_EQ(hexString(row.number), row.text) << row.number.description();
}

TEST(HexUtils, reportsRunsThatDiffer) {
  const struct {
    NSData a, b;
    std::string_view report;
  } rows[] = {
      {bytes({1, 2, 3, 4}), bytes({1, 2, 3, 4}), ""},
      {bytes({1, 2, 3, 4}), bytes({1, 0xFF, 0xFF, 4}), "{0x1, 2}: 0x0203 -> 0xFFFF\n"},
      {bytes({1, 2, 3, 4}), bytes({1, 2, 0xFF, 0xFF}),
       "{0x2, 2}: 0304 -> FFFF\n"},  // without "0x" at the end
      {bytes({1, 2, 3}), bytes({0, 2, 0, 9}),
       "Length of data differs: 3 != 4\n{0x0, 1}: 0x01 -> 0x00\n{0x2, 1}: 03 -> 00\n"},
      {bytes({1, 2}), bytes({1, 2, 3}), "Length of data differs: 2 != 3\n"},
      {bytes({}), bytes({}), ""},
  };
  for (const auto& row : rows) EXPECT_EQ(diffWithData(row.a, row.b), row.report);
}

/// Texts with or without a fault, and the bytes that they stand for, in decimal and as digits, plain and in groups of
/// 2, 4 and 8 bytes; -1 where they stand for none.
constexpr std::string_view hexTexts = R"(
import binascii, random
random.seed(16)
for n in range(4000):
  data = random.randbytes(random.randrange(200))
  text = "".join(random.choice((c, c.upper())) for c in binascii.hexlify(data).decode())
  if n % 3 == 0 and text:
    at = random.randrange(len(text))
    text = text[:at] + random.choice(["", *map(chr, range(0x21, 0x7F))]) + text[at + 1:]
  try: data = binascii.unhexlify(text)
  except binascii.Error: print("<" + text + ">", -1); continue
  print("<" + text + ">", len(data), *data)
  groups = [binascii.hexlify(data), *(binascii.hexlify(data, "_", -g) for g in (2, 4, 8))]
  print(*("<" + text.decode().upper() + ">" for text in groups)))";

TEST(HexUtils, agreesWithPythonBothWays) {
  std::istringstream peer(testing::outputOf("python3 -c '" + std::string(hexTexts) + "'"));
  int count = 0, countOfFaults = 0;
  std::string text;
  for (int size = 0; peer >> text >> size; ++count) {
    text = text.substr(1, text.size() - 2);
    const auto data = hexStringData(text);
    ASSERT_EQ(data.has_value(), size >= 0) << text;
    if (!data) {
      ++countOfFaults;
      continue;
    }
    NSData want;
    for (int number = 0; size > 0 && peer >> number; --size) want.push_back(static_cast<std::byte>(number));
    ASSERT_EQ(data, want) << text;
    for (const std::uint32_t padInterval : {QVHexNotGrouped, 1U, 2U, 3U}) {
      std::string written = hexStringWithBytes(want, padInterval);
      if (written.ends_with(' ')) written.pop_back();  // of a last group that is whole
      std::ranges::replace(written, ' ', '_');
      peer >> text;
      ASSERT_EQ("<" + written + ">", text) << padInterval;
    }
  }
  EXPECT_EQ(count, 4000);
  EXPECT_GT(countOfFaults, 500);
}

// One digit after the other, as one would write it down.
std::size_t decodePlainly(std::string_view text, NSData& data) {
  const std::string_view digits = "0123456789abcdef0123456789ABCDEF";
  for (std::size_t at = 0; at + 1 < text.size(); at += 2) {
    const std::size_t high = digits.find(text[at]);
    const std::size_t low = digits.find(text[at + 1]);
    if (high == std::string_view::npos || low == std::string_view::npos) return at / 2;
    data.push_back(static_cast<std::byte>(high % 16 * 16 + low % 16));
  }
  return text.size() / 2;
}

class HexCoders : public ::testing::TestWithParam<const detail::HexCoder*> {
protected:
  void SetUp() override {
    if (GetParam() == nullptr) GTEST_SKIP() << "this processor has no such loop";
  }
};

TEST_P(HexCoders, doWhatAPlainLoopDoes) {
  std::mt19937 random(20);
  for (int round = 0; round < 4000; ++round) {
    NSData data(random() % 200);
    for (std::byte& byte : data) byte = static_cast<std::byte>(random());
    std::string text(2 * data.size() + 1, '?');
    GetParam()->encode(data.data(), data.size(), text.data());
    ASSERT_EQ(text.back(), '?');
    text.pop_back();
    ASSERT_EQ(text, [&] {
      std::string plain;
      for (const std::byte byte : data) plain += inMemory(byte);
      return plain;
    }());

    for (char& digit : text) {
      if (digit >= 'A' && random() % 2 == 0) digit = static_cast<char>(digit + 'a' - 'A');
    }
    if (!text.empty() && random() % 4 != 0) text[random() % text.size()] = static_cast<char>(random());
    NSData want;
    const std::size_t count = decodePlainly(text, want);
    NSData got(data.size() + 1, std::byte{0x5A});
    ASSERT_EQ(GetParam()->decode(text.data(), data.size(), got.data()), count) << text;
    ASSERT_EQ(got.back(), std::byte{0x5A});
    got.resize(count);
    want.resize(count);
    ASSERT_EQ(got, want) << text;
  }
}

// Each byte in each place of a block.
TEST_P(HexCoders, knowADigitWhereverItStands) {
  for (std::size_t at = 0; at < 64; ++at) {
    for (int character = 0; character < 256; ++character) {
      std::string text(64, '0');
      text[at] = static_cast<char>(character);
      NSData want;
      NSData got(32);
      const std::size_t count = decodePlainly(text, want);
      ASSERT_EQ(GetParam()->decode(text.data(), got.size(), got.data()), count) << at << ' ' << character;
      got.resize(count);
      ASSERT_EQ(got, want) << at << ' ' << character;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(all, HexCoders, ::testing::Values(&detail::portableHexCoder, detail::wideHexCoder()),
                         [](const auto& row) { return row.index == 0 ? "portable" : "wide"; });

// More than one block, so that what joins them is looked at as well.
TEST(HexUtils, readsBackWhatItWrote) {
  NSData data(20011);
  std::mt19937 random(7);
  for (std::byte& byte : data) byte = static_cast<std::byte>(random());
  const std::string text = hexString(data);
  EXPECT_EQ(hexStringData(text), data);
  EXPECT_EQ(hexStringData(hexStringWithBytes(data, 2, true)), data);
  std::string broken = text;
  broken[12345] = 'g';
  EXPECT_EQ(hexStringData(broken), std::nullopt);
}

}  // namespace
}  // namespace QVFoundation
