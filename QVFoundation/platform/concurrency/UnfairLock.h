#pragma once

#include <atomic>
#include <cstdint>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/concurrency/LockGuard.h"
#include "QVFoundation/platform/concurrency/ThreadSafety.h"

namespace QVFoundation {

/// A lock of four bytes for short sections, such as handing one line to the kernel.
///
/// A thread that finds it taken spins for about as long as such a section lasts and then sleeps. It is not
/// handed over: a running thread may take it before one that has waited longer, which is what keeps the
/// throughput up under contention.
///
/// Threads: safe from any thread. Not recursive: a thread that takes it twice waits for itself, for ever.
class QV_EXPORT QV_CAPABILITY("lock") UnfairLock {
public:
  UnfairLock() noexcept = default;
  UnfairLock(const UnfairLock&) = delete;
  UnfairLock& operator=(const UnfairLock&) = delete;

  void lock() noexcept QV_ACQUIRE() {
    if (!tryTake()) waitAndTake();
  }
  [[nodiscard]] bool try_lock() noexcept QV_TRY_ACQUIRE(true) { return tryTake(); }
  void unlock() noexcept QV_RELEASE() {
    if (state_.exchange(free, std::memory_order_release) == takenWithSleepers) wakeOne();
  }

private:
  // `takenWithSleepers` means that somebody may sleep, so that whoever unlocks has to ask the kernel.
  enum State : std::uint32_t { free, taken, takenWithSleepers };

  [[nodiscard]] bool tryTake() noexcept {
    std::uint32_t expected = free;
    return state_.compare_exchange_strong(expected, taken, std::memory_order_acquire,
                                          std::memory_order_relaxed);
  }
  [[nodiscard]] bool spinAndTake() noexcept;
  void waitAndTake() noexcept;
  void wakeOne() noexcept;

  std::atomic<std::uint32_t> state_{free};
};

using UnfairLockGuard = LockGuard<UnfairLock>;

}  // namespace QVFoundation
