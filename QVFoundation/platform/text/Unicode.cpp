#include "QVFoundation/platform/text/Unicode.h"

#include <cstdint>
#include <cstring>

namespace QVFoundation {

namespace {

/// Whether the eight bytes there are ASCII.
bool isASCIIWord(const char* bytes) noexcept {
  constexpr std::uint64_t highBits = 0x8080808080808080;
  std::uint64_t word = 0;
  std::memcpy(&word, bytes, sizeof word);
  return (word & highBits) == 0;
}

/// How many bytes at the start are ASCII. Most text is nothing else, so it is looked at a word at a time.
std::size_t asciiPrefixLength(std::string_view text) noexcept {
  constexpr std::size_t wordSize = sizeof(std::uint64_t);
  std::size_t length = 0;
  while (text.size() - length >= wordSize && isASCIIWord(text.data() + length)) length += wordSize;
  // The last word may overlap the one before it.
  if (length > 0 && text.size() - length < wordSize && isASCIIWord(text.data() + text.size() - wordSize))
    return text.size();
  while (length < text.size() && static_cast<unsigned char>(text[length]) < 0x80) ++length;
  return length;
}

bool isContinuation(char byte) noexcept { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

/// What a first byte promises: the number of bytes that follow, its share of the code point, and the range of
/// the second byte, which alone tells overlong forms, surrogates and too large values from good ones.
struct Lead {
  unsigned following = 0;
  char32_t bits = 0;
  unsigned char lowest = 0x80;
  unsigned char highest = 0xBF;
};

constexpr Lead leadOf(unsigned char byte) {
  const auto bits = static_cast<char32_t>(byte);
  if (byte < 0xC2 || byte > 0xF4) return {0, 0};
  if (byte < 0xE0) return {1, bits & 0x1F};
  if (byte == 0xE0) return {2, 0, 0xA0, 0xBF};
  if (byte == 0xED) return {2, 0xD, 0x80, 0x9F};
  if (byte < 0xF0) return {2, bits & 0xF};
  if (byte == 0xF0) return {3, 0, 0x90, 0xBF};
  if (byte == 0xF4) return {3, 4, 0x80, 0x8F};
  return {3, bits & 0x7};
}

/// Calls `see(position, const DecodedCodePoint&)` for each code point that is not ASCII, until it
/// answers false.
template <class See>
void forEachBeyondASCII(std::string_view text, See see) {
  for (std::size_t at = asciiPrefixLength(text); at < text.size(); at += asciiPrefixLength(text.substr(at))) {
    const DecodedCodePoint next = decodeUTF8(text.substr(at));
    if (!see(at, next)) return;
    at += next.length;
  }
}

using UnitsOf = std::size_t (*)(char32_t codePoint);

std::size_t unitsOfUTF32(char32_t) { return 1; }
std::size_t unitsOfUTF16(char32_t codePoint) { return codePoint > 0xFFFF ? 2 : 1; }

template <UnitsOf unitsOf>
std::size_t unitCount(std::string_view text) noexcept {
  std::size_t units = text.size();
  forEachBeyondASCII(text, [&](std::size_t, const DecodedCodePoint& next) {
    units -= next.length - unitsOf(next.codePoint);
    return true;
  });
  return units;
}

template <UnitsOf unitsOf>
std::string_view prefixOfUnits(std::string_view text, std::size_t room) noexcept {
  if (text.size() <= room) return text;  // No code point has more units than bytes.
  std::size_t at = 0;
  while (true) {
    const std::size_t run = asciiPrefixLength(text.substr(at, room));
    at += run;
    room -= run;
    if (room == 0 || at == text.size()) break;
    const DecodedCodePoint next = decodeUTF8(text.substr(at));
    const std::size_t units = unitsOf(next.codePoint);
    if (units > room) break;
    at += next.length;
    room -= units;
  }
  return text.substr(0, at);
}

constexpr bool isHighSurrogate(char16_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
constexpr bool isLowSurrogate(char16_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

/// Appends `size` units, which `unitAt(index)` gives, and joins surrogates on the way.
template <class UnitAt>
void appendUnits(std::string& out, std::size_t size, UnitAt unitAt) {
  for (std::size_t index = 0; index < size; ++index) {
    const char16_t unit = unitAt(index);
    if (isHighSurrogate(unit) && index + 1 < size && isLowSurrogate(unitAt(index + 1))) {
      ++index;
      appendUTF8(out, char32_t{0x10000U + ((unit - 0xD800U) << 10) + (unitAt(index) - 0xDC00U)});
    } else {
      appendUTF8(out, char32_t{unit});
    }
  }
}

}  // namespace

DecodedCodePoint decodeUTF8(std::string_view text) noexcept {
  const auto byteAt = [&](std::size_t index) { return static_cast<unsigned char>(text[index]); };
  if (byteAt(0) < 0x80) return {byteAt(0), 1, true};

  const Lead lead = leadOf(byteAt(0));
  if (lead.following == 0) return {replacementCharacter, 1, false};
  char32_t codePoint = lead.bits;
  for (std::size_t index = 1; index <= lead.following; ++index) {
    const unsigned char lowest = index == 1 ? lead.lowest : 0x80;
    const unsigned char highest = index == 1 ? lead.highest : 0xBF;
    if (index == text.size() || byteAt(index) < lowest || byteAt(index) > highest) {
      return {replacementCharacter, index, false};
    }
    codePoint = codePoint << 6 | (byteAt(index) & 0x3FU);
  }
  return {codePoint, lead.following + std::size_t{1}, true};
}

bool isValidUTF8(std::string_view text) noexcept {
  bool valid = true;
  forEachBeyondASCII(text, [&](std::size_t, const DecodedCodePoint& next) { return valid = next.isValid; });
  return valid;
}

std::string replacingInvalidUTF8(std::string_view text) {
  std::string out;
  std::size_t copied = 0;
  forEachBeyondASCII(text, [&](std::size_t at, const DecodedCodePoint& next) {
    if (next.isValid) return true;
    out += text.substr(copied, at - copied);
    appendUTF8(out, replacementCharacter);
    copied = at + next.length;
    return true;
  });
  out += text.substr(copied);
  return out;
}

std::size_t codePointCount(std::string_view text) noexcept { return unitCount<unitsOfUTF32>(text); }

std::size_t utf16UnitCount(std::string_view text) noexcept { return unitCount<unitsOfUTF16>(text); }

std::string_view prefixOfCodePoints(std::string_view text, std::size_t count) noexcept {
  return prefixOfUnits<unitsOfUTF32>(text, count);
}

std::string_view prefixOfBytes(std::string_view text, std::size_t count) noexcept {
  if (text.size() <= count) return text;
  // The code point at the cut begins at most three bytes before it.
  std::size_t begin = count;
  while (begin > 0 && count - begin < 3 && isContinuation(text[begin])) --begin;
  const bool isSplit = begin + decodeUTF8(text.substr(begin)).length > count;
  return text.substr(0, isSplit ? begin : count);
}

std::string_view prefixOfUTF16Units(std::string_view text, std::size_t count) noexcept {
  return prefixOfUnits<unitsOfUTF16>(text, count);
}

void appendUTF8(std::string& out, char32_t codePoint) {
  if (!isValidCodePoint(codePoint)) codePoint = replacementCharacter;
  const auto following = [&](unsigned shift) {
    return static_cast<char>(0x80U | ((codePoint >> shift) & 0x3FU));
  };
  if (codePoint < 0x80) {
    out += static_cast<char>(codePoint);
  } else if (codePoint < 0x800) {
    out.append({static_cast<char>(0xC0U | codePoint >> 6), following(0)});
  } else if (codePoint < 0x10000) {
    out.append({static_cast<char>(0xE0U | codePoint >> 12), following(6), following(0)});
  } else {
    out.append({static_cast<char>(0xF0U | codePoint >> 18), following(12), following(6), following(0)});
  }
}

void appendUTF8(std::string& out, std::u16string_view text) {
  appendUnits(out, text.size(), [&](std::size_t index) { return text[index]; });
}

std::string stringFromUTF16(std::span<const std::byte> bytes, std::endian order) {
  const std::size_t high = order == std::endian::big ? 0 : 1;
  std::string out;
  out.reserve(bytes.size() / 2);
  appendUnits(out, bytes.size() / 2, [&](std::size_t index) {
    const auto highByte = std::to_integer<unsigned>(bytes[2 * index + high]);
    const auto lowByte = std::to_integer<unsigned>(bytes[2 * index + 1 - high]);
    return static_cast<char16_t>(highByte << 8 | lowByte);
  });
  if (bytes.size() % 2 != 0) appendUTF8(out, replacementCharacter);
  return out;
}

}  // namespace QVFoundation
