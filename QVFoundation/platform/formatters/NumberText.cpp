#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>

#include <unicode/decimfmt.h>
#include <unicode/rbnf.h>

#include "QVFoundation/platform/formatters/ICUText_p.h"
#include "QVFoundation/platform/formatters/NumberText_p.h"

namespace QVFoundation::detail {

namespace {

using NumberStyle = NSNumberFormatterStyle;

UNumberFormatStyle icuStyle(NumberStyle style) {
  switch (style) {
    case NumberStyle::currencyStyle: return UNUM_CURRENCY;
    case NumberStyle::percentStyle: return UNUM_PERCENT;
    case NumberStyle::scientific: return UNUM_SCIENTIFIC;
    case NumberStyle::none:
    case NumberStyle::decimalStyle:
    case NumberStyle::spellOutStyle: break;
  }
  return UNUM_DECIMAL;
}

std::unique_ptr<icu::NumberFormat> formatOfStyle(NumberStyle style, const icu::Locale& locale) {
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<icu::NumberFormat> format;
  if (style == NumberStyle::spellOutStyle) {
    format = std::make_unique<icu::RuleBasedNumberFormat>(icu::URBNF_SPELLOUT, locale, status);
  } else {
    format.reset(icu::NumberFormat::createInstance(locale, icuStyle(style), status));
  }
  checkStatus(status);
  if (style == NumberStyle::none) {
    format->setGroupingUsed(0);
    format->setMaximumFractionDigits(0);
  }
  return format;
}

std::unique_ptr<const icu::NumberFormat> icuFormat(const NumberFormat& settings) {
  constexpr int mostWrittenDigits = 340;  // more than any number has
  const auto digits = [&](int wanted) { return std::clamp(wanted, 0, mostWrittenDigits); };
  auto format = formatOfStyle(settings.style, icuLocale(settings.locale));
  // Of two digits that contradict each other ICU takes the one that comes last.
  if (settings.maximumFractionDigits)
    format->setMaximumFractionDigits(digits(*settings.maximumFractionDigits));
  if (settings.minimumFractionDigits)
    format->setMinimumFractionDigits(digits(*settings.minimumFractionDigits));
  if (settings.minimumIntegerDigits) format->setMinimumIntegerDigits(digits(*settings.minimumIntegerDigits));
  if (settings.usesGroupingSeparator)
    format->setGroupingUsed(static_cast<UBool>(*settings.usesGroupingSeparator));
  format->setLenient(static_cast<UBool>(settings.isLenient));
  return format;
}

/// A number as words can say it. ICU's Polish rules never come to an end over a fraction that is smaller.
double sayable(double number) {
  constexpr double smallestFraction = 1e-10;
  const double whole = std::trunc(number);
  return std::abs(number - whole) < smallestFraction ? whole : number;
}

template <class Integer>
std::optional<NSNumber> integerOf(std::string_view digits) {
  Integer number = 0;
  const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  const bool isAll = result.ec == std::errc() && result.ptr == digits.data() + digits.size();
  return isAll ? std::optional<NSNumber>(number) : std::nullopt;
}

/// "1.5E+3" without its point and exponent, where it is an integer: "1500".
std::string plainDigits(std::string_view text) {
  const std::size_t end = std::min(text.find('E'), text.size());
  const std::size_t point = std::min(text.find('.'), end);
  std::int64_t exponent = 0;
  if (end < text.size()) {
    const std::string_view power = text.substr(end + (text.substr(end + 1).starts_with('+') ? 2 : 1));
    std::from_chars(power.data(), power.data() + power.size(), exponent);
  }
  std::string digits(text.substr(0, point));
  if (point < end) digits += text.substr(point + 1, end - point - 1);
  exponent -= static_cast<std::int64_t>(end - point) - (point < end ? 1 : 0);
  constexpr std::int64_t mostZeros = 20;  // more than an integer has
  if (exponent < 0 || exponent > mostZeros) return std::string(text);
  return digits.append(static_cast<std::size_t>(exponent), '0');
}

/// The number that ICU has read, with all its digits where it is an integer.
NSNumber numberOf(icu::Formattable& read) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::StringPiece text = read.getDecimalNumber(status);
  const double number = read.getDouble(status);
  if (U_FAILURE(status) || !std::isfinite(number)) return number;
  const std::string digits = plainDigits({text.data(), static_cast<std::size_t>(text.length())});
  if (const auto integer = integerOf<std::int64_t>(digits)) return *integer;
  return integerOf<std::uint64_t>(digits).value_or(number);
}

}  // namespace

NumberText::NumberText(const NumberFormat& format)
    : isInWords_(format.style == NumberStyle::spellOutStyle),
      isLenient_(format.isLenient),
      format_(icuFormat(format)) {}

std::string NumberText::string(const NSNumber& number) const {
  const MutexLock guard(lock_);
  icu::UnicodeString text;
  if (number.isFloatingPoint()) {
    const double floating = number.doubleValue();
    return utf8(format_->format(isInWords_ ? sayable(floating) : floating, text));
  }
  if (const auto integer = number.exactly<std::int64_t>()) return utf8(format_->format(*integer, text));
  const std::string digits = number.description();
  UErrorCode status = U_ZERO_ERROR;
  format_->format(icu::StringPiece(digits), text, nullptr, status);
  if (status == U_UNSUPPORTED_ERROR) return utf8(format_->format(number.doubleValue(), text.remove()));
  checkStatus(status);
  return utf8(text);
}

std::optional<NSNumber> NumberText::number(std::string_view text) const {
  if (text.size() > mostBytesOfICUText) return {};
  const icu::UnicodeString wide = utf16(text);
  // Lenient with words, ICU takes more than a second for a thousand letters. No integer has so many as these.
  constexpr std::int32_t mostLettersOfWords = 400;
  if (isInWords_ && isLenient_ && wide.length() > mostLettersOfWords) return {};
  icu::ParsePosition position(0);
  icu::Formattable read;
  const MutexLock guard(lock_);
  format_->parse(wide, read, position);
  if (position.getErrorIndex() >= 0 || position.getIndex() != wide.length() || wide.isEmpty()) return {};
  return numberOf(read);
}

}  // namespace QVFoundation::detail
