#include <algorithm>
#include <charconv>
#include <cmath>
#include <concepts>
#include <cstdint>
#include <limits>

#include "QVFoundation/platform/text/FormatFixed_p.h"
#include "QVFoundation/platform/text/FormatWriters_p.h"
#include "QVFoundation/platform/text/ReadableNumber_p.h"

namespace QVFoundation::detail {

namespace {

constexpr int defaultPrecision = 6;

/// As the directive says, but within bounds.
int precisionOf(const FormatSpec& spec) {
  return spec.hasPrecision() ? std::min(spec.precision, static_cast<std::int32_t>(greatestWidth))
                             : defaultPrecision;
}

/// What writes the digits of a number that is neither negative nor infinite. The buffer is large enough.
struct DigitsWriter {
  const FormatSpec& spec;
  char* first;
  char* last;

  template <class T>
  char* write(T number) const {
    switch (spec.conversion) {
      case 'f':
      case 'F': return writeFixed(number);
      case 'e':
      case 'E': return write(number, std::chars_format::scientific, precisionOf(spec));
      case 'g':
      case 'G':
        return spec.alternate ? writeGeneralWithZeros(number)
                              : write(number, std::chars_format::general, precisionOf(spec));
      case 'a':
      case 'A':
        return spec.hasPrecision() ? write(number, std::chars_format::hex, precisionOf(spec))
                                   : write(number, std::chars_format::hex);
      default: return writeReadable(first, last, number);
    }
  }

  template <class T, class... Precision>
  char* write(T number, std::chars_format notation, Precision... precision) const {
    return std::to_chars(first, last, number, notation, precision...).ptr;
  }

  template <class T>
  char* writeFixed(T number) const {
    if constexpr (!std::same_as<T, long double>) {
      if (char* end = detail::writeFixed(first, number, precisionOf(spec))) return end;
    }
    return write(number, std::chars_format::fixed, precisionOf(spec));
  }

  /// "%#g": as "%g", but keeps the zeros at the end. The exponent decides between the notations once the
  /// number is rounded to its significant digits.
  template <class T>
  char* writeGeneralWithZeros(T number) const {
    const int significant = std::max(precisionOf(spec), 1);
    char* const end = write(number, std::chars_format::scientific, significant - 1);
    const char* const digits = std::find(first, end, 'e') + 1;
    int exponent = 0;
    std::from_chars(*digits == '+' ? digits + 1 : digits, end, exponent);
    if (exponent < -4 || exponent >= significant) return end;
    return write(number, std::chars_format::fixed, significant - 1 - exponent);
  }
};

/// Tells the digits before the separator from those behind it and the exponent.
NumberParts takeApart(const FormatSpec& spec, std::string_view digits) {
  const bool isHexadecimal = spec.conversion == 'a' || spec.conversion == 'A';
  const std::size_t wholeSize = std::min(digits.find_first_of(isHexadecimal ? ".pP" : ".eE"), digits.size());
  const bool hasSeparator = wholeSize < digits.size() && digits[wholeSize] == '.';
  NumberParts parts;
  parts.whole = digits.substr(0, wholeSize);
  parts.rest = digits.substr(hasSeparator ? wholeSize + 1 : wholeSize);
  parts.hasSeparator = hasSeparator || spec.alternate;
  if (isHexadecimal) parts.base = spec.conversion == 'A' ? "0X" : "0x";
  parts.canBeGrouped = !isHexadecimal;
  return parts;
}

/// Whether the digits need nothing but a sign.
bool areReady(const FormatSpec& spec) {
  return spec.width == 0 && !spec.alternate && spec.locale == nullptr && spec.conversion != 'a' &&
         spec.conversion != 'A';
}

bool wantsCapitals(const FormatSpec& spec) {
  return spec.conversion >= 'A' && spec.conversion <= 'G' && spec.conversion != 'C';
}

template <class T>
void appendFinite(FormatOutput& out, const FormatSpec& spec, std::string_view sign, T number, char* buffer,
                  std::size_t size) {
  char* const end = DigitsWriter{spec, buffer, buffer + size}.write(number);
  if (wantsCapitals(spec)) capitalize(buffer, end);
  const std::string_view digits(buffer, end);
  if (areReady(spec)) {
    out.append(sign);
    return out.append(digits);
  }
  NumberParts parts = takeApart(spec, digits);
  parts.sign = sign;
  appendNumber(out, spec, parts);
}

/// "inf" or "nan". These are no digits, so no zeros precede them.
void appendNonFinite(FormatOutput& out, const FormatSpec& spec, std::string_view sign, bool isInfinite) {
  NumberParts parts;
  parts.sign = sign;
  parts.whole = wantsCapitals(spec) ? (isInfinite ? "INF" : "NAN") : (isInfinite ? "inf" : "nan");
  parts.canBeFilledWithZeros = false;
  appendNumber(out, spec, parts);
}

template <class T>
void append(FormatOutput& out, const FormatSpec& spec, T number) {
  const std::string_view sign = signOf(spec, std::signbit(number));
  if (!std::isfinite(number)) return appendNonFinite(out, spec, sign, std::isinf(number));

  // Digits before the separator, digits behind it, and room for the separator and an exponent.
  const int behind =
      spec.hasPrecision() ? std::min(spec.precision, static_cast<std::int32_t>(greatestWidth)) : 30;
  const std::size_t needed = std::numeric_limits<T>::max_exponent10 + static_cast<std::size_t>(behind) + 40;
  char buffer[512];
  if (needed <= sizeof buffer) return appendFinite(out, spec, sign, std::abs(number), buffer, sizeof buffer);
  std::string large(needed, '\0');
  appendFinite(out, spec, sign, std::abs(number), large.data(), large.size());
}

/// The greatest integers that are exact as doubles, and so need no wider type.
constexpr std::int64_t greatestExact = std::int64_t{1} << std::numeric_limits<double>::digits;

}  // namespace

void appendFloating(FormatOutput& out, const FormatSpec& spec, const FormatArgument& number) {
  if (number.kind() == FormatArgument::Kind::longFloating) return append(out, spec, number.longFloating());
  // Only the shortest digits differ between a float and the double of the same value.
  number.bits() == 32 ? append(out, spec, static_cast<float>(number.floating()))
                      : append(out, spec, number.floating());
}

void appendIntegerAsFloating(FormatOutput& out, const FormatSpec& spec, const FormatArgument& integer) {
  if (integer.kind() == FormatArgument::Kind::unsignedInteger ||
      integer.kind() == FormatArgument::Kind::boolean) {
    const std::uint64_t value = integer.unsignedInteger();
    return value <= greatestExact ? append(out, spec, static_cast<double>(value))
                                  : append(out, spec, static_cast<long double>(value));
  }
  const std::int64_t value = integer.signedInteger();
  const bool isExact = value >= -greatestExact && value <= greatestExact;
  isExact ? append(out, spec, static_cast<double>(value))
          : append(out, spec, static_cast<long double>(value));
}

}  // namespace QVFoundation::detail
