#include "QVFoundation/values/HexCoding_p.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace QVFoundation::detail {

#if defined(__x86_64__)

namespace {

// These functions are compiled for a processor that the rest of the library does not ask for.

constexpr std::size_t half = 16;  // bytes whose digits fill a register
constexpr std::size_t block = 2 * half;

[[gnu::target("avx2")]] __m256i loadRegister(const void* from) {
  return _mm256_loadu_si256(static_cast<const __m256i*>(from));
}

[[gnu::target("avx2")]] __m256i digitsOfHalf(const std::byte* bytes) {
  const __m256i digits = _mm256_broadcastsi128_si256(
      _mm_setr_epi8('0', '1', '2', '3', '4', '5', '6', '7', '8', '9', 'A', 'B', 'C', 'D', 'E', 'F'));
  const __m128i sixteen = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
  const __m256i spread = _mm256_cvtepu8_epi16(sixteen);
  const __m256i both = _mm256_or_si256(_mm256_srli_epi16(spread, 4), _mm256_slli_epi16(spread, 8));
  return _mm256_shuffle_epi8(digits, _mm256_and_si256(both, _mm256_set1_epi8(0x0F)));
}

/// The numbers that characters stand for, and in `areDigits` all bits of those that are digits.
[[gnu::target("avx2")]] __m256i numbersOf(__m256i text, __m256i& areDigits) {
  const __m256i figures = _mm256_sub_epi8(text, _mm256_set1_epi8('0'));
  const __m256i letters =
      _mm256_sub_epi8(_mm256_or_si256(text, _mm256_set1_epi8(0x20)), _mm256_set1_epi8('a'));
  const __m256i areFigures = _mm256_cmpeq_epi8(figures, _mm256_min_epu8(figures, _mm256_set1_epi8(9)));
  const __m256i areLetters = _mm256_cmpeq_epi8(letters, _mm256_min_epu8(letters, _mm256_set1_epi8(5)));
  areDigits = _mm256_or_si256(areFigures, areLetters);
  return _mm256_blendv_epi8(_mm256_add_epi8(letters, _mm256_set1_epi8(10)), figures, areFigures);
}

[[gnu::target("avx2")]] void encodeWide(const std::byte* bytes, std::size_t count, char* text) {
  for (; count >= block; count -= block, bytes += block, text += 2 * block) {
    auto* const out = reinterpret_cast<__m256i*>(text);
    _mm256_storeu_si256(out, digitsOfHalf(bytes));
    _mm256_storeu_si256(out + 1, digitsOfHalf(bytes + half));
  }
  portableHexCoder.encode(bytes, count, text);
}

[[gnu::target("avx2")]] std::size_t decodeWide(const char* text, std::size_t count, std::byte* bytes) {
  const __m256i weights = _mm256_set1_epi16(0x0110);  // 16 for the first digit of a pair, 1 for the second
  std::size_t done = 0;
  for (; count - done >= block; done += block) {
    __m256i firstAreDigits;
    __m256i secondAreDigits;
    const __m256i first = numbersOf(loadRegister(text + 2 * done), firstAreDigits);
    const __m256i second = numbersOf(loadRegister(text + 2 * done + block), secondAreDigits);
    if (_mm256_movemask_epi8(_mm256_and_si256(firstAreDigits, secondAreDigits)) != -1) break;
    const __m256i packed =
        _mm256_packus_epi16(_mm256_maddubs_epi16(first, weights), _mm256_maddubs_epi16(second, weights));
    // Packing takes from the two by turns, 8 bytes of each.
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(bytes + done), _mm256_permute4x64_epi64(packed, 0xD8));
  }
  return done + portableHexCoder.decode(text + 2 * done, count - done, bytes + done);
}

}  // namespace

const HexCoder* wideHexCoder() noexcept {
  static constexpr HexCoder coder{encodeWide, decodeWide};
  return __builtin_cpu_supports("avx2") != 0 ? &coder : nullptr;
}

#else

const HexCoder* wideHexCoder() noexcept { return nullptr; }

#endif

}  // namespace QVFoundation::detail
