#include "QVFoundation/platform/runtime/NSNumber.h"

#include <array>
#include <charconv>
#include <cmath>
#include <functional>

#include "QVFoundation/platform/text/NSLocale.h"
#include "QVFoundation/platform/text/ReadableNumber_p.h"

namespace QVFoundation {

namespace {

// Both bounds are powers of two and so exact as doubles: the first doubles beyond the integers' ranges.
constexpr double beyondSigned = 0x1p63;
constexpr double beyondUnsigned = 0x1p64;

template <class T>
std::string decimal(T number) {
  std::array<char, 32> buffer{};
  char* const first = buffer.data();
  char* const last = first + buffer.size();
  if constexpr (std::floating_point<T>) return {first, detail::writeReadable(first, last, number)};
  return {first, std::to_chars(first, last, number).ptr};
}

std::weak_ordering orderOf(double a, double b) noexcept {
  if (std::isnan(a) || std::isnan(b)) return std::isnan(b) <=> std::isnan(a);
  return a < b   ? std::weak_ordering::less
         : a > b ? std::weak_ordering::greater
                 : std::weak_ordering::equivalent;
}

// Compares an integer with a double that need not be exact as one: first the whole parts, then the fraction.
template <class Integer>
std::weak_ordering orderOf(Integer integer, double floating, double low, double beyond) noexcept {
  if (std::isnan(floating) || floating < low) return std::weak_ordering::greater;
  if (floating >= beyond) return std::weak_ordering::less;
  const double whole = std::trunc(floating);
  if (const auto order = integer <=> static_cast<Integer>(whole); order != 0) return order;
  return orderOf(whole, floating);
}

}  // namespace

bool NSNumber::boolValue() const noexcept { return isFloatingPoint() ? asFloating() != 0.0 : bits_ != 0; }

std::int64_t NSNumber::integerValue() const noexcept {
  using Limits = std::numeric_limits<std::int64_t>;
  if (!isFloatingPoint()) return exactSigned().value_or(Limits::max());
  const double number = asFloating();
  if (std::isnan(number)) return 0;
  if (number >= beyondSigned) return Limits::max();
  return number < -beyondSigned ? Limits::min() : static_cast<std::int64_t>(number);
}

std::optional<std::int64_t> NSNumber::exactSigned() const noexcept {
  if (isFloatingPoint()) {
    if (!(asFloating() >= -beyondSigned && asFloating() < beyondSigned) ||
        asFloating() != std::trunc(asFloating()))
      return {};
    return static_cast<std::int64_t>(asFloating());
  }
  if (isUnsigned() && bits_ > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) return {};
  return asSigned();
}

std::optional<std::uint64_t> NSNumber::exactUnsigned() const noexcept {
  if (isFloatingPoint()) {
    if (!(asFloating() >= 0 && asFloating() < beyondUnsigned) || asFloating() != std::trunc(asFloating()))
      return {};
    return static_cast<std::uint64_t>(asFloating());
  }
  if (!isUnsigned() && asSigned() < 0) return {};
  return bits_;
}

std::weak_ordering NSNumber::compare(const NSNumber& other) const noexcept {
  if (isFloatingPoint() && other.isFloatingPoint()) return orderOf(asFloating(), other.asFloating());
  if (isFloatingPoint()) return 0 <=> other.compare(*this);
  if (other.isFloatingPoint()) {
    return isUnsigned() ? orderOf(bits_, other.asFloating(), 0.0, beyondUnsigned)
                        : orderOf(asSigned(), other.asFloating(), -beyondSigned, beyondSigned);
  }
  if (isUnsigned() == other.isUnsigned()) {
    return isUnsigned() ? bits_ <=> other.bits_ : asSigned() <=> other.asSigned();
  }
  if (isUnsigned()) return 0 <=> other.compare(*this);
  if (asSigned() < 0) return std::weak_ordering::less;
  return bits_ <=> other.bits_;
}

std::size_t NSNumber::hash() const noexcept {
  if (const auto number = exactSigned()) return std::hash<std::int64_t>{}(*number);
  if (const auto number = exactUnsigned()) return std::hash<std::uint64_t>{}(*number);
  return std::isnan(asFloating()) ? 0 : std::hash<double>{}(asFloating());
}

std::string NSNumber::description(const NSLocale* locale) const {
  if (!isFloatingPoint()) return isUnsigned() ? decimal(bits_) : decimal(asSigned());
  std::string text =
      type_ == Type::float32 ? decimal(static_cast<float>(asFloating())) : decimal(asFloating());
  if (locale != nullptr) {
    if (const auto point = text.find('.'); point != std::string::npos) {
      text.replace(point, 1, locale->decimalSeparator());
    }
  }
  return text;
}

}  // namespace QVFoundation
