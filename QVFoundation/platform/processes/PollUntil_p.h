#pragma once

#include <chrono>
#include <optional>
#include <poll.h>
#include <span>

namespace QVFoundation::detail {

using SteadyTime = std::chrono::steady_clock::time_point;

/// The time after so long; nothing for what is more than a century, or for ever.
[[nodiscard]] std::optional<SteadyTime> steadyTimeAfter(std::optional<std::chrono::nanoseconds> delay);

/// Sleeps until one of the descriptors is ready, or the time has come; or a signal, or nothing, has woken it.
/// Another thread of the pool takes over meanwhile. True where something is ready.
///
/// Threads: any.
/// Errors: descriptors that cannot be waited for count as ready.
bool pollUntil(std::span<pollfd> descriptors, std::optional<SteadyTime> end);

}  // namespace QVFoundation::detail
