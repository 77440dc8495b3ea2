#include <algorithm>
#include <cerrno>
#include <limits>

#include "QVFoundation/platform/concurrency/ThreadPool_p.h"
#include "QVFoundation/platform/files/SystemCalls_p.h"
#include "QVFoundation/platform/processes/PollUntil_p.h"

namespace QVFoundation::detail {

std::optional<SteadyTime> steadyTimeAfter(std::optional<std::chrono::nanoseconds> delay) {
  constexpr std::chrono::hours century(24 * 36525);
  if (!delay || *delay > century) return {};
  return std::chrono::steady_clock::now() + std::max(*delay, std::chrono::nanoseconds(0));
}

bool pollUntil(std::span<pollfd> descriptors, std::optional<SteadyTime> end) {
  int timeout = -1;
  if (end) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*end - std::chrono::steady_clock::now());
    timeout = static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, std::numeric_limits<int>::max()));
  }
  const ThreadIsBlocked blocked;
  const int count = systemCalls().poll(descriptors.data(), descriptors.size(), timeout);
  if (count < 0 && errno != EINTR) {
    for (pollfd& descriptor : descriptors) descriptor.revents = POLLERR;
    return true;
  }
  return count > 0;
}

}  // namespace QVFoundation::detail
