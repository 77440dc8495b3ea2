#pragma once

#include <algorithm>
#include <chrono>

namespace QVFoundation::detail {

// No delay lasts beyond a century, so that no sum of times overflows.
inline constexpr std::chrono::nanoseconds century = std::chrono::days(36525);

/// The time when a delay from now is over. One that is negative is over now.
[[nodiscard]] inline std::chrono::steady_clock::time_point timeAfter(
    std::chrono::nanoseconds delay) noexcept {
  return std::chrono::steady_clock::now() + std::clamp(delay, std::chrono::nanoseconds::zero(), century);
}

/// How long it takes until a date, by the clock as it is set now; at the most a century, at the least
/// nothing.
[[nodiscard]] inline std::chrono::nanoseconds timeUntil(std::chrono::system_clock::time_point date) noexcept {
  const auto now = std::chrono::system_clock::now();
  if (date <= now) return std::chrono::nanoseconds::zero();
  return date < now + century ? date - now : century;
}

}  // namespace QVFoundation::detail
