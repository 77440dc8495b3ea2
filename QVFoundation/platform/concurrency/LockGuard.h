#pragma once

#include "QVFoundation/platform/concurrency/ThreadSafety.h"

namespace QVFoundation {

/// Holds a lock for its scope, and lets clang's thread safety analysis know.
///
/// Threads: belongs to the thread that made it.
template <class Lock>
class QV_SCOPED_CAPABILITY [[nodiscard]] LockGuard {
public:
  explicit LockGuard(Lock& lock) noexcept(noexcept(lock.lock())) QV_ACQUIRE(lock) : lock_(lock) {
    lock_.lock();
  }
  ~LockGuard() QV_RELEASE() { lock_.unlock(); }
  LockGuard(const LockGuard&) = delete;
  LockGuard& operator=(const LockGuard&) = delete;

private:
  Lock& lock_;
};

}  // namespace QVFoundation
