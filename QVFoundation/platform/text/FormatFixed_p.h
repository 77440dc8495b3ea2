#pragma once

#include "QVFoundation/platform/Export.h"

namespace QVFoundation::detail {

/// The longest that `writeFixed` writes: the digits of 64 bits and a point.
inline constexpr int longestFixed = 24;

/// Writes "%.*f" of a number that is neither negative nor infinite, exactly as printf does, where 128 bits
/// are enough to work it out: up to 15 decimals, and 19 digits in all. Gives the end of what it wrote, or
/// null for other numbers.
///
/// Threads: any.
[[nodiscard]] QV_TEST_EXPORT char* writeFixed(char* first, double number, int precision) noexcept;

}  // namespace QVFoundation::detail
