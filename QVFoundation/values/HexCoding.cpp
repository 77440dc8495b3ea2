#include <bit>
#include <cstdint>
#include <cstring>

#include "QVFoundation/values/HexCoding_p.h"

namespace QVFoundation::detail {

namespace {

constexpr std::size_t bytesInWord = 4;
constexpr std::size_t digitsInWord = 2 * bytesInWord;

/// A number for each of the eight bytes of a word.
constexpr std::uint64_t inEach(std::uint8_t number) { return 0x0101010101010101 * number; }

// The first byte in memory is the lowest of the word.
template <class Word>
constexpr Word inOrderOfMemory(Word word) {
  if constexpr (std::endian::native == std::endian::big) {
    return sizeof(Word) == sizeof(std::uint64_t) ? static_cast<Word>(__builtin_bswap64(word))
                                                 : static_cast<Word>(__builtin_bswap32(word));
  }
  return word;
}

template <class Word>
Word load(const void* bytes) {
  Word word = 0;
  std::memcpy(&word, bytes, sizeof word);
  return inOrderOfMemory(word);
}

template <class Word>
void store(void* bytes, Word word) {
  word = inOrderOfMemory(word);
  std::memcpy(bytes, &word, sizeof word);
}

std::uint64_t digitsOf(std::uint32_t bytes) {
  std::uint64_t spread = bytes;
  spread = (spread | spread << 16) & 0x0000FFFF0000FFFF;
  spread = (spread | spread << 8) & 0x00FF00FF00FF00FF;
  const std::uint64_t halves = (spread >> 4 | spread << 8) & inEach(0x0F);
  const std::uint64_t letters = (halves + inEach(0x10 - 10)) >> 4 & inEach(1);
  return halves + inEach('0') + letters * std::uint64_t{'A' - '9' - 1};
}

/// Eight digits as four bytes. False where one of them is no digit.
bool readDigits(std::uint64_t text, std::uint32_t& bytes) {
  // The top bit of each sum tells whether the character is at least the one that was taken away from 0x80.
  // Nothing is carried into the next, as no character beyond 0x7F is let through.
  const std::uint64_t ascii = text & inEach(0x7F);
  const std::uint64_t lower = ascii | inEach(0x20);
  const std::uint64_t figures = (ascii + inEach(0x80 - '0')) & ~(ascii + inEach(0x80 - '9' - 1));
  const std::uint64_t letters =
      (lower + inEach(0x80 - 'a')) & ~(lower + inEach(0x80 - 'f' - 1)) & inEach(0x80);
  if (((figures | letters) & ~text & inEach(0x80)) != inEach(0x80)) return false;
  const std::uint64_t halves = (text & inEach(0x0F)) + (letters >> 7) * 9;
  std::uint64_t packed = (halves << 4 | halves >> 8) & 0x00FF00FF00FF00FF;
  packed = (packed | packed >> 8) & 0x0000FFFF0000FFFF;
  bytes = static_cast<std::uint32_t>(packed | packed >> 16);
  return true;
}

void encodeByWords(const std::byte* bytes, std::size_t count, char* text) {
  for (; count >= bytesInWord; count -= bytesInWord, bytes += bytesInWord, text += digitsInWord) {
    store(text, digitsOf(load<std::uint32_t>(bytes)));
  }
  for (; count > 0; --count, ++bytes, text += 2) {
    store(text, static_cast<std::uint16_t>(digitsOf(std::to_integer<std::uint32_t>(*bytes))));
  }
}

std::size_t decodeByWords(const char* text, std::size_t count, std::byte* bytes) {
  std::size_t done = 0;
  std::uint32_t word = 0;
  for (; count - done >= bytesInWord && readDigits(load<std::uint64_t>(text + 2 * done), word);
       done += bytesInWord) {
    store(bytes + done, word);
  }
  // What is left is no word, or has the fault in it.
  for (; done < count; ++done) {
    if (!readDigits(inEach('0') << 16 | load<std::uint16_t>(text + 2 * done), word)) return done;
    bytes[done] = static_cast<std::byte>(word);
  }
  return done;
}

}  // namespace

const HexCoder wordHexCoder{encodeByWords, decodeByWords};

const HexCoder& hexCoder() noexcept {
  static const HexCoder& best = wideHexCoder() != nullptr ? *wideHexCoder() : wordHexCoder;
  return best;
}

}  // namespace QVFoundation::detail
