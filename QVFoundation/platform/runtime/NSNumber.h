#pragma once

#include <bit>
#include <compare>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <type_traits>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/text/Described.h"

namespace QVFoundation {

class NSLocale;

/// A number that remembers the type that it was stored as.
///
/// Numbers compare by what they are worth, whatever their types: `NSNumber(1) == NSNumber(1.0)`, exactly,
/// without a detour through `double`. Not-a-number equals itself and stands below all others, so that numbers
/// can be sorted and used as keys.
///
/// Threads: a value; reading it from several threads is safe.
class QV_EXPORT NSNumber {
public:
  enum class Type : std::uint8_t {
    boolean,
    int8,
    int16,
    int32,
    int64,
    uint8,
    uint16,
    uint32,
    uint64,
    float32,
    float64,
  };

  template <class T>
    requires std::is_arithmetic_v<T>
  constexpr NSNumber(T number) noexcept : type_(typeOf<T>()) {
    if constexpr (std::floating_point<T>) {
      bits_ = std::bit_cast<std::uint64_t>(static_cast<double>(number));
    } else if constexpr (std::is_signed_v<T>) {
      bits_ = static_cast<std::uint64_t>(std::int64_t{number});
    } else {
      bits_ = number;
    }
  }

  [[nodiscard]] constexpr Type type() const noexcept { return type_; }
  [[nodiscard]] constexpr bool isBoolean() const noexcept { return type_ == Type::boolean; }
  [[nodiscard]] constexpr bool isFloatingPoint() const noexcept { return type_ >= Type::float32; }
  [[nodiscard]] constexpr bool isUnsigned() const noexcept {
    return isBoolean() || (type_ >= Type::uint8 && type_ <= Type::uint64);
  }

  /// The number as a `T`, or nothing where `T` cannot hold it exactly. Any number converts to a floating
  /// type, to the nearest, and to `bool`, where all but zero is true.
  template <class T>
    requires std::is_arithmetic_v<T>
  [[nodiscard]] std::optional<T> exactly() const noexcept {
    if constexpr (std::same_as<T, bool>) {
      return boolValue();
    } else if constexpr (std::floating_point<T>) {
      return nearest<T>();
    } else if constexpr (std::is_signed_v<T>) {
      const auto wide = exactSigned();
      if (!wide || *wide < std::numeric_limits<T>::min() || *wide > std::numeric_limits<T>::max()) return {};
      return static_cast<T>(*wide);
    } else {
      const auto wide = exactUnsigned();
      if (!wide || *wide > std::numeric_limits<T>::max()) return {};
      return static_cast<T>(*wide);
    }
  }

  [[nodiscard]] bool boolValue() const noexcept;  ///< False for zero only.
  /// The number without its fraction, the nearest that 64 bits with a sign hold; 0 for not-a-number.
  [[nodiscard]] std::int64_t integerValue() const noexcept;
  [[nodiscard]] double doubleValue() const noexcept { return nearest<double>(); }

  /// Decimal text: integers as they are, booleans as 1 or 0, floating numbers with the fewest digits that
  /// read back as the same number, and with an exponent below 0.0001 and from 1e16. A locale supplies the
  /// decimal separator.
  [[nodiscard]] std::string description(const NSLocale* locale = nullptr) const;

  [[nodiscard]] std::weak_ordering compare(const NSNumber& other) const noexcept;
  [[nodiscard]] std::size_t hash() const noexcept;
  friend bool operator==(const NSNumber& a, const NSNumber& b) noexcept { return a.compare(b) == 0; }
  friend std::weak_ordering operator<=>(const NSNumber& a, const NSNumber& b) noexcept {
    return a.compare(b);
  }

private:
  template <class T>
  static constexpr Type typeOf() noexcept {
    if constexpr (std::same_as<T, bool>) return Type::boolean;
    if constexpr (std::floating_point<T>) return sizeof(T) == sizeof(float) ? Type::float32 : Type::float64;
    constexpr auto first = static_cast<int>(std::is_signed_v<T> ? Type::int8 : Type::uint8);
    constexpr int step = sizeof(T) == 1 ? 0 : sizeof(T) == 2 ? 1 : sizeof(T) == 4 ? 2 : 3;
    return static_cast<Type>(first + step);
  }

  // Straight from the integer: a detour through `double` would round twice.
  template <std::floating_point T>
  [[nodiscard]] T nearest() const noexcept {
    if (isFloatingPoint()) return static_cast<T>(asFloating());
    return isUnsigned() ? static_cast<T>(bits_) : static_cast<T>(asSigned());
  }
  [[nodiscard]] std::optional<std::int64_t> exactSigned() const noexcept;
  [[nodiscard]] std::optional<std::uint64_t> exactUnsigned() const noexcept;

  [[nodiscard]] constexpr std::int64_t asSigned() const noexcept { return static_cast<std::int64_t>(bits_); }
  [[nodiscard]] constexpr double asFloating() const noexcept { return std::bit_cast<double>(bits_); }

  std::uint64_t bits_ = 0;  // the number itself; sign-extended, or the pattern of a double, by its type
  Type type_;
};

}  // namespace QVFoundation
