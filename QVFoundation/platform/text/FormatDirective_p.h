#pragma once

#include <cstdint>
#include <string_view>

namespace QVFoundation {

class NSLocale;

namespace detail {

/// How one argument is to be written.
///
/// Threads: a value.
struct FormatSpec {
  bool left = false;       ///< '-'
  bool plus = false;       ///< '+'
  bool space = false;      ///< ' '
  bool alternate = false;  ///< '#'
  bool zero = false;       ///< '0'
  bool group = false;      ///< '\''

  bool isPlain = true;  ///< Whether there are neither flags nor a width nor a precision.

  /// 0 where the directive could not be read to its end.
  char conversion = 0;

  std::uint32_t width = 0;
  std::int32_t precision = -1;  ///< Negative where there is none.
  const NSLocale* locale = nullptr;

  [[nodiscard]] bool hasPrecision() const noexcept { return precision >= 0; }

  [[nodiscard]] bool takesText() const noexcept {
    return conversion == '@' || conversion == 's' || conversion == 'S';
  }
};

/// Widths, and precisions of numbers, go no further: a format cannot ask for more memory than that.
inline constexpr std::uint32_t greatestWidth = 4096;

/// A place in the list of arguments, counted from 1, or the next one.
struct ArgumentPlace {
  std::uint32_t number = 0;  ///< 0 for the next one.
};

/// What stands between '%' and the letter of the conversion.
struct FormatDirective {
  FormatSpec spec;
  ArgumentPlace argument;
  bool widthIsArgument = false;
  bool precisionIsArgument = false;
  ArgumentPlace width;
  ArgumentPlace precision;
};

/// Reads what follows a '%', and moves `at` behind it. Where it is no directive, `spec.conversion` is 0 and
/// `at` stands at the first character that does not fit, or at `end`.
FormatDirective readDirective(const char*& at, const char* end);

}  // namespace detail
}  // namespace QVFoundation
