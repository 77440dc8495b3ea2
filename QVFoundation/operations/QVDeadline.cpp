#include "QVFoundation/operations/QVDeadline.h"

#include <algorithm>
#include <limits>

#include "QVFoundation/platform/concurrency/TaskCancellation.h"

namespace QVFoundation {

Task<> sleepCancellable(std::chrono::system_clock::time_point until,
                        std::chrono::duration<std::uint64_t, std::nano> cancellationCheckInterval) {
  // None at all would keep a thread busy until then.
  constexpr std::uint64_t shortest = 1000;
  constexpr std::uint64_t longest = std::numeric_limits<std::int64_t>::max();
  const std::chrono::nanoseconds interval(
      static_cast<std::int64_t>(std::clamp(cancellationCheckInterval.count(), shortest, longest)));
  while (std::chrono::system_clock::now() < until && !currentTaskIsCancelled()) co_await sleepFor(interval);
}

}  // namespace QVFoundation
