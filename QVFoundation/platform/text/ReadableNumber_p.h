#pragma once

#include <charconv>
#include <cmath>
#include <concepts>

/// How a floating number reads where no format says otherwise: "%@" prints it so, and so a number
/// describes itself.
///
/// Threads: any.
namespace QVFoundation::detail {

/// Writes the fewest digits that read back as the same number, with an exponent below 0.0001 and from 1e16
/// on, where people would use one. Returns the end of the text; 32 characters hold any `double`.
template <std::floating_point T>
char* writeReadable(char* first, char* last, T number) {
  const T size = std::abs(number);
  const bool isPlain = size == 0 || (size >= T(1e-4L) && size < T(1e16L));
  return std::to_chars(first, last, number,
                       isPlain ? std::chars_format::fixed : std::chars_format::scientific)
      .ptr;
}

}  // namespace QVFoundation::detail
