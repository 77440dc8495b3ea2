#pragma once

#include <atomic>
#include <mutex>
#include <thread>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/concurrency/LockGuard.h"
#include "QVFoundation/platform/concurrency/ThreadSafety.h"

namespace QVFoundation {

/// A lock that the thread which holds it may take again; it is free once it has been given back as often.
///
/// Prefer a plain lock: this one is for operations that are made of others which lock for themselves. Works
/// with `std::lock_guard` and `std::unique_lock`; clang's thread safety analysis knows
/// `NSRecursiveLockGuard`.
///
/// Threads: any; given back by the thread that took it.
class QV_EXPORT QV_CAPABILITY("recursive lock") NSRecursiveLock {
public:
  NSRecursiveLock() = default;
  NSRecursiveLock(const NSRecursiveLock&) = delete;
  NSRecursiveLock& operator=(const NSRecursiveLock&) = delete;

  void lock() QV_ACQUIRE();
  [[nodiscard]] bool try_lock() QV_TRY_ACQUIRE(true);
  void unlock() noexcept QV_RELEASE();

  [[nodiscard]] bool isHeldByThisThread() const noexcept {
    return owner_.load(std::memory_order_relaxed) == std::this_thread::get_id();
  }

private:
  void taken() noexcept;

  std::mutex mutex_;
  std::atomic<std::thread::id> owner_{};  // others may read it, and never see their own id there
  unsigned depth_ = 0;                    // of the owner's
};

using NSRecursiveLockGuard = LockGuard<NSRecursiveLock>;

}  // namespace QVFoundation
