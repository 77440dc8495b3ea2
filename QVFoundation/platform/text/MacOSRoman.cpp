#include "QVFoundation/platform/text/MacOSRoman.h"

#include <algorithm>
#include <array>
#include <limits>

#include "QVFoundation/platform/text/Unicode.h"

namespace QVFoundation {

namespace {

/// What the bytes from 0x80 on stand for; those before are ASCII.
constexpr std::array<char16_t, 128> upperCharacters{
    0x00C4, 0x00C5, 0x00C7, 0x00C9, 0x00D1, 0x00D6, 0x00DC, 0x00E1,  // 80
    0x00E0, 0x00E2, 0x00E4, 0x00E3, 0x00E5, 0x00E7, 0x00E9, 0x00E8,  // 88
    0x00EA, 0x00EB, 0x00ED, 0x00EC, 0x00EE, 0x00EF, 0x00F1, 0x00F3,  // 90
    0x00F2, 0x00F4, 0x00F6, 0x00F5, 0x00FA, 0x00F9, 0x00FB, 0x00FC,  // 98
    0x2020, 0x00B0, 0x00A2, 0x00A3, 0x00A7, 0x2022, 0x00B6, 0x00DF,  // A0
    0x00AE, 0x00A9, 0x2122, 0x00B4, 0x00A8, 0x2260, 0x00C6, 0x00D8,  // A8
    0x221E, 0x00B1, 0x2264, 0x2265, 0x00A5, 0x00B5, 0x2202, 0x2211,  // B0
    0x220F, 0x03C0, 0x222B, 0x00AA, 0x00BA, 0x03A9, 0x00E6, 0x00F8,  // B8
    0x00BF, 0x00A1, 0x00AC, 0x221A, 0x0192, 0x2248, 0x2206, 0x00AB,  // C0
    0x00BB, 0x2026, 0x00A0, 0x00C0, 0x00C3, 0x00D5, 0x0152, 0x0153,  // C8
    0x2013, 0x2014, 0x201C, 0x201D, 0x2018, 0x2019, 0x00F7, 0x25CA,  // D0
    0x00FF, 0x0178, 0x2044, 0x20AC, 0x2039, 0x203A, 0xFB01, 0xFB02,  // D8
    0x2021, 0x00B7, 0x201A, 0x201E, 0x2030, 0x00C2, 0x00CA, 0x00C1,  // E0
    0x00CB, 0x00C8, 0x00CD, 0x00CE, 0x00CF, 0x00CC, 0x00D3, 0x00D4,  // E8
    0xF8FF, 0x00D2, 0x00DA, 0x00DB, 0x00D9, 0x0131, 0x02C6, 0x02DC,  // F0
    0x00AF, 0x02D8, 0x02D9, 0x02DA, 0x00B8, 0x02DD, 0x02DB, 0x02C7,  // F8
};

struct EncodedCharacter {
  char32_t character = 0;
  std::byte byte{};
};

/// The same in the order of the characters.
constexpr auto upperBytes = [] {
  std::array<EncodedCharacter, upperCharacters.size()> bytes;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = {upperCharacters[i], static_cast<std::byte>(0x80 + i)};
  }
  std::ranges::sort(bytes, {}, &EncodedCharacter::character);
  return bytes;
}();

std::optional<std::byte> byteOfCharacter(char32_t character) noexcept {
  if (character < 0x80) return static_cast<std::byte>(character);
  const auto* const found = std::ranges::lower_bound(upperBytes, character, {}, &EncodedCharacter::character);
  if (found == upperBytes.end() || found->character != character) return {};
  return found->byte;
}

}  // namespace

std::string stringFromMacOSRoman(std::span<const std::byte> bytes) {
  std::string text;
  text.reserve(bytes.size());
  for (const std::byte byte : bytes) {
    const auto code = std::to_integer<unsigned char>(byte);
    appendUTF8(text, code < 0x80 ? char32_t{code} : char32_t{upperCharacters[code - 0x80U]});
  }
  return text;
}

std::optional<NSData> macOSRomanFromString(std::string_view text) {
  NSData bytes;
  bytes.reserve(text.size());
  while (!text.empty()) {
    const DecodedCodePoint decoded = decodeUTF8(text);
    const auto byte = byteOfCharacter(decoded.codePoint);
    if (!decoded.isValid || !byte) return {};
    bytes.push_back(*byte);
    text.remove_prefix(decoded.length);
  }
  return bytes;
}

bool getPascalString(std::string_view text, std::span<unsigned char> buffer) {
  const auto bytes = macOSRomanFromString(text);
  if (!bytes || bytes->size() > std::numeric_limits<unsigned char>::max()) return false;
  if (bytes->size() >= buffer.size()) return false;
  buffer[0] = static_cast<unsigned char>(bytes->size());
  std::ranges::transform(*bytes, buffer.begin() + 1,
                         [](std::byte byte) { return std::to_integer<unsigned char>(byte); });
  return true;
}

}  // namespace QVFoundation
