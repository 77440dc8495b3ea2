#include <cerrno>
#include <ctime>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "QVFoundation/platform/concurrency/WakeUp_p.h"

namespace QVFoundation::detail {

void WakeUp::await() noexcept { (void)sleepUntil(nullptr); }

bool WakeUp::awaitUntil(std::chrono::steady_clock::time_point time) noexcept {
  const auto sinceStart = time.time_since_epoch();
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(sinceStart);
  const timespec kernelTime{.tv_sec = seconds.count(), .tv_nsec = (sinceStart - seconds).count()};
  return sleepUntil(&kernelTime);
}

// The kernel's monotonic clock is the steady one.
bool WakeUp::sleepUntil(const timespec* time) noexcept {
  std::uint32_t state = unsent;
  if (!state_.compare_exchange_strong(state, awaited, std::memory_order_acquire) && state == sent)
    return true;
  const int savedErrno = errno;
  bool isTimeUp = false;
  while (!isTimeUp && !hasCome()) {
    const long result = syscall(SYS_futex, &state_, FUTEX_WAIT_BITSET_PRIVATE, awaited, time, nullptr,
                                FUTEX_BITSET_MATCH_ANY);
    isTimeUp = result == -1 && errno == ETIMEDOUT;
  }
  errno = savedErrno;
  return hasCome();
}

void WakeUp::wake(std::atomic<std::uint32_t>* state) noexcept {
  const int savedErrno = errno;
  syscall(SYS_futex, state, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
  errno = savedErrno;
}

}  // namespace QVFoundation::detail
