#include "QVFoundation/platform/concurrency/UnfairLock.h"

#include <cerrno>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "QVFoundation/platform/concurrency/ProcessorPause_p.h"

namespace QVFoundation {

namespace {

// About two microseconds, which is what a write of one line to a file takes. Longer only keeps the holder
// from its core.
constexpr int spins = 100;

}  // namespace

bool UnfairLock::spinAndTake() noexcept {
  for (int i = 0; i < spins; ++i) {
    const std::uint32_t state = state_.load(std::memory_order_relaxed);
    if (state == takenWithSleepers) return false;
    if (state == free && tryTake()) return true;
    detail::pauseProcessor();
  }
  return false;
}

// Taking a lock must not disturb the `errno` of whoever takes it.
void UnfairLock::waitAndTake() noexcept {
  if (spinAndTake()) return;
  const int savedErrno = errno;
  // Taken this way the lock says that somebody sleeps even when nobody does any more; one needless wake-up
  // settles it.
  while (state_.exchange(takenWithSleepers, std::memory_order_acquire) != free) {
    syscall(SYS_futex, &state_, FUTEX_WAIT_PRIVATE, takenWithSleepers, nullptr, nullptr, 0);
  }
  errno = savedErrno;
}

void UnfairLock::wakeOne() noexcept {
  const int savedErrno = errno;
  syscall(SYS_futex, &state_, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
  errno = savedErrno;
}

}  // namespace QVFoundation
