#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstdint>

#include "QVFoundation/platform/text/FormatFixed_p.h"

namespace QVFoundation::detail {

namespace {

__extension__ using UInt128 = unsigned __int128;

constexpr int mantissaBits = 52;
constexpr int exponentBias = 1075;  // of a mantissa that is taken as an integer
constexpr int mostDecimals = 15;
constexpr std::uint64_t greatestScaled = 9'999'999'999'999'999'999U;

constexpr auto powersOfTen = [] {
  std::array<std::uint64_t, mostDecimals + 1> powers{1};
  for (std::size_t i = 1; i < powers.size(); ++i) powers[i] = powers[i - 1] * 10;
  return powers;
}();

/// A double is mantissa * 2^-shift. This is mantissa * factor * 2^-shift, rounded to an integer, ties to
/// even. The product has at most 53 + 50 bits, so nothing is lost.
UInt128 scaled(std::uint64_t mantissa, int shift, std::uint64_t factor) noexcept {
  const UInt128 product = UInt128{mantissa} * factor;
  if (shift >= 120) return 0;  // less than a half
  const UInt128 quotient = product >> shift;
  const UInt128 remainder = product - (quotient << shift);
  const UInt128 half = UInt128{1} << (shift - 1);
  const bool up = remainder > half || (remainder == half && (quotient & 1) != 0);
  return quotient + (up ? 1 : 0);
}

}  // namespace

char* writeFixed(char* first, double number, int precision) noexcept {
  if (precision < 0 || precision > mostDecimals) return nullptr;
  constexpr std::uint64_t leadingOne = std::uint64_t{1} << mantissaBits;
  const auto bits = std::bit_cast<std::uint64_t>(number);
  const auto exponent = static_cast<int>(bits >> mantissaBits);
  const std::uint64_t mantissa = (bits & (leadingOne - 1)) | (exponent > 0 ? leadingOne : 0);
  const int shift = exponentBias - std::max(exponent, 1);
  if (shift <= 0) return nullptr;  // Integers from 2^53 on are rare enough to leave to others.

  const std::uint64_t unit = powersOfTen[static_cast<std::size_t>(precision)];
  const UInt128 value = scaled(mantissa, shift, unit);
  if (value > greatestScaled) return nullptr;

  const std::uint64_t whole = static_cast<std::uint64_t>(value) / unit;
  std::uint64_t fraction = static_cast<std::uint64_t>(value) % unit;
  char* const point = std::to_chars(first, first + longestFixed, whole).ptr;
  if (precision == 0) return point;
  *point = '.';
  char* const end = point + 1 + precision;
  for (char* at = end; --at != point; fraction /= 10) *at = static_cast<char>('0' + fraction % 10);
  return end;
}

}  // namespace QVFoundation::detail
