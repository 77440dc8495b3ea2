#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "QVFoundation/platform/text/Unicode.h"

/// How JSON's writer finds what needs attention inside a text.
///
/// Threads: functions without state.
namespace QVFoundation::detail {

/// ASCII that stands for itself in JSON text: all but quotes, backslashes and control characters.
inline constexpr std::array<bool, 256> isPlainInJSON = [] {
  std::array<bool, 256> table{};
  for (unsigned byte = 0x20; byte < 0x80; ++byte) table[byte] = byte != '"' && byte != '\\';
  return table;
}();

/// Where a run of such ASCII ends. Looks at eight bytes at a time: each gets its high bit set where it is not
/// plain. A borrow may set the bit of a plain byte too, but only above one that is not, so the lowest bit is
/// always right.
inline const char* endOfPlainASCII(const char* at, const char* end) noexcept {
  constexpr std::uint64_t ones = 0x0101010101010101;
  constexpr std::uint64_t highBits = 0x8080808080808080;
  if constexpr (std::endian::native == std::endian::little) {
    for (; end - at >= 8; at += 8) {
      std::uint64_t word = 0;
      std::memcpy(&word, at, sizeof word);
      const std::uint64_t quotes = word ^ (ones * '"');
      const std::uint64_t backslashes = word ^ (ones * '\\');
      const std::uint64_t marks =
          (word | (word - ones * 0x20) | (quotes - ones) | (backslashes - ones)) & highBits;
      if (marks != 0) return at + std::countr_zero(marks) / 8;
    }
  }
  while (at != end && isPlainInJSON[static_cast<unsigned char>(*at)]) ++at;
  return at;
}

/// How many bytes the character beyond ASCII takes that begins here; 0 where it is not valid.
inline std::size_t lengthOfCharacter(const char* at, const char* end) noexcept {
  const auto byteAt = [at](std::size_t index) { return static_cast<unsigned char>(at[index]); };
  const auto continues = [&](std::size_t index) { return (byteAt(index) & 0xC0U) == 0x80; };
  // Most characters have two or three bytes, and their first one is all that restricts the others.
  if (end - at >= 3) {
    const unsigned char lead = byteAt(0);
    if (lead >= 0xE1 && lead <= 0xEF && lead != 0xED && continues(1) && continues(2)) return 3;
    if (lead >= 0xC2 && lead <= 0xDF && continues(1)) return 2;
  }
  const DecodedCodePoint next = decodeUTF8({at, end});
  return next.isValid ? next.length : 0;
}

/// Where a run of characters ends that stand for themselves, those beyond ASCII included.
inline const char* endOfVerbatimText(const char* at, const char* end) noexcept {
  while (true) {
    at = endOfPlainASCII(at, end);
    if (at == end || static_cast<unsigned char>(*at) < 0x80) return at;
    while (at != end && static_cast<unsigned char>(*at) >= 0x80) {
      const std::size_t length = lengthOfCharacter(at, end);
      if (length == 0) return at;
      at += length;
    }
  }
}

}  // namespace QVFoundation::detail
