#include <cstdint>
#include <cstring>

#include "QVFoundation/values/HexCoding_p.h"

namespace QVFoundation::detail {

namespace {

// Sixteen bytes side by side, which compilers make of whatever a processor has: every x86-64 and every 64-bit
// ARM has registers of that size.
using Bytes = std::uint8_t __attribute__((vector_size(16)));
constexpr std::size_t width = sizeof(Bytes);

Bytes load(const void* from) {
  Bytes bytes;
  std::memcpy(&bytes, from, sizeof bytes);
  return bytes;
}

void store(void* to, Bytes bytes) { std::memcpy(to, &bytes, sizeof bytes); }

// True is a byte of all ones.
Bytes isAtMost(Bytes bytes, std::uint8_t limit) { return reinterpret_cast<Bytes>(bytes <= limit); }

Bytes digitsOf(Bytes halves) { return halves + '0' + (~isAtMost(halves, 9) & ('A' - '9' - 1)); }

/// The numbers that characters stand for. Takes from `areDigits` what is no digit.
Bytes numbersOf(Bytes text, Bytes& areDigits) {
  const Bytes figures = text - '0';
  const Bytes letters = (text | 0x20) - 'a';
  const Bytes areFigures = isAtMost(figures, 9);
  const Bytes areLetters = isAtMost(letters, 5);
  areDigits &= areFigures | areLetters;
  return (figures & areFigures) | ((letters + 10) & areLetters);
}

bool areAll(Bytes truths) {
  std::uint64_t words[2];
  std::memcpy(words, &truths, sizeof truths);
  return (words[0] & words[1]) == ~std::uint64_t{0};
}

/// The number of a digit, or more than 15.
unsigned numberOf(char digit) {
  const unsigned figure = static_cast<unsigned char>(digit) - unsigned{'0'};
  if (figure <= 9) return figure;
  const unsigned letter = (static_cast<unsigned char>(digit) | 0x20U) - unsigned{'a'};
  return letter <= 5 ? letter + 10 : 16;
}

void encodePortably(const std::byte* bytes, std::size_t count, char* text) {
  for (; count >= width; count -= width, bytes += width, text += 2 * width) {
    const Bytes all = load(bytes);
    const Bytes high = digitsOf(all >> 4);
    const Bytes low = digitsOf(all & 0x0F);
    store(text, __builtin_shufflevector(high, low, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23));
    store(text + width,
          __builtin_shufflevector(high, low, 8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15, 31));
  }
  constexpr char digits[] = "0123456789ABCDEF";
  for (; count > 0; --count, ++bytes) {
    *text++ = digits[std::to_integer<unsigned>(*bytes >> 4)];
    *text++ = digits[std::to_integer<unsigned>(*bytes & std::byte{0x0F})];
  }
}

std::size_t decodePortably(const char* text, std::size_t count, std::byte* bytes) {
  std::size_t done = 0;
  for (; count - done >= width; done += width) {
    Bytes areDigits = ~Bytes{};
    const Bytes first = numbersOf(load(text + 2 * done), areDigits);
    const Bytes second = numbersOf(load(text + 2 * done + width), areDigits);
    if (!areAll(areDigits)) break;
    const Bytes high =
        __builtin_shufflevector(first, second, 0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30);
    const Bytes low =
        __builtin_shufflevector(first, second, 1, 3, 5, 7, 9, 11, 13, 15, 17, 19, 21, 23, 25, 27, 29, 31);
    store(bytes + done, high << 4 | low);
  }
  // What is left is less than a register, or has the fault in it.
  for (; done < count; ++done) {
    const unsigned high = numberOf(text[2 * done]);
    const unsigned low = numberOf(text[2 * done + 1]);
    if ((high | low) > 15) return done;
    bytes[done] = static_cast<std::byte>(high << 4 | low);
  }
  return done;
}

}  // namespace

const HexCoder portableHexCoder{encodePortably, decodePortably};

const HexCoder& hexCoder() noexcept {
  static const HexCoder& best = wideHexCoder() != nullptr ? *wideHexCoder() : portableHexCoder;
  return best;
}

}  // namespace QVFoundation::detail
