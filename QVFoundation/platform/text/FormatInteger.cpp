#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>

#include "QVFoundation/platform/text/FormatWriters_p.h"

namespace QVFoundation::detail {

namespace {

constexpr std::size_t mostDigits = 24;  // of 64 bits in octal, and some room

/// The digits of one number.
class Digits {
public:
  Digits(std::uint64_t number, int base)
      : end_(std::to_chars(begin(), begin() + mostDigits, number, base).ptr) {}

  char* begin() noexcept { return digits_.data(); }
  char* end() const noexcept { return end_; }
  [[nodiscard]] std::string_view view() const noexcept { return {digits_.data(), end_}; }

private:
  std::array<char, mostDigits> digits_{};
  char* end_;
};

bool isNegative(const FormatArgument& integer) {
  using Kind = FormatArgument::Kind;
  const bool isSigned = integer.kind() == Kind::signedInteger || integer.kind() == Kind::character;
  return isSigned && integer.signedInteger() < 0;
}

/// The number without its sign: 2^63 for the least of 64 bits.
std::uint64_t magnitudeOf(const FormatArgument& integer) {
  return isNegative(integer) ? 0 - integer.unsignedInteger() : integer.unsignedInteger();
}

/// The bits of the number in the width of its own type.
std::uint64_t bitPatternOf(const FormatArgument& integer) {
  const unsigned unused = 64 - integer.bits();
  return integer.unsignedInteger() << unused >> unused;
}

/// Lays out digits. As in printf, a precision is the least number of digits, and one of 0 prints nothing
/// of zero.
void appendDigits(FormatOutput& out, const FormatSpec& spec, std::string_view digits, NumberParts parts) {
  parts.whole = spec.precision == 0 && digits == "0" ? std::string_view() : digits;
  const std::size_t least =
      spec.hasPrecision() ? std::min<std::size_t>(static_cast<std::size_t>(spec.precision), greatestWidth)
                          : 0;
  parts.leadingZeros = least > parts.whole.size() ? least - parts.whole.size() : 0;
  parts.canBeFilledWithZeros = !spec.hasPrecision();
  if (spec.conversion == 'o' && spec.alternate && parts.leadingZeros == 0 && !parts.whole.starts_with('0')) {
    parts.leadingZeros = 1;
  }
  appendNumber(out, spec, parts);
}

void appendHexadecimal(FormatOutput& out, const FormatSpec& spec, std::uint64_t bits) {
  const bool capitals = spec.conversion == 'X';
  NumberParts parts;
  if (spec.alternate && bits != 0) parts.base = capitals ? "0X" : "0x";
  Digits digits(bits, 16);
  if (capitals) capitalize(digits.begin(), digits.end());
  appendDigits(out, spec, digits.view(), parts);
}

void appendDecimal(FormatOutput& out, const FormatSpec& spec, std::string_view sign,
                   std::uint64_t magnitude) {
  if (spec.isPlain) {
    out.append(sign);
    char* const digits = out.room(mostDigits);
    return out.setEnd(std::to_chars(digits, digits + mostDigits, magnitude).ptr);
  }
  NumberParts parts;
  parts.sign = sign;
  parts.canBeGrouped = true;
  appendDigits(out, spec, Digits(magnitude, 10).view(), parts);
}

}  // namespace

[[gnu::hot]] void appendDecimal(FormatOutput& out, std::int64_t number) {
  char* const digits = out.room(mostDigits);
  out.setEnd(std::to_chars(digits, digits + mostDigits, number).ptr);
}

void appendInteger(FormatOutput& out, const FormatSpec& spec, const FormatArgument& integer) {
  switch (spec.conversion) {
    case 'x':
    case 'X': return appendHexadecimal(out, spec, bitPatternOf(integer));
    case 'o': return appendDigits(out, spec, Digits(bitPatternOf(integer), 8).view(), {});
    case 'u': return appendDecimal(out, spec, {}, bitPatternOf(integer));
    case 'd':
    case 'i': return appendDecimal(out, spec, signOf(spec, isNegative(integer)), magnitudeOf(integer));
    default: {
      // Under a conversion for something else, a precision is not meant for digits.
      FormatSpec natural = spec;
      natural.precision = -1;
      return appendDecimal(out, natural, signOf(spec, isNegative(integer)), magnitudeOf(integer));
    }
  }
}

void appendAddress(FormatOutput& out, const FormatSpec& spec, const void* address) {
  NumberParts parts;
  parts.base = "0x";
  appendDigits(out, spec, Digits(reinterpret_cast<std::uintptr_t>(address), 16).view(), parts);
}

}  // namespace QVFoundation::detail
