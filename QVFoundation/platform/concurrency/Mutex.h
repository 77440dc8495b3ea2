#pragma once

#include <mutex>

#include "QVFoundation/platform/concurrency/LockGuard.h"
#include "QVFoundation/platform/concurrency/ThreadSafety.h"

namespace QVFoundation {

/// `std::mutex`, known to clang's thread safety analysis. For sections that may take a while; short ones
/// use `UnfairLock`.
///
/// Threads: safe from any thread; not recursive.
class QV_CAPABILITY("mutex") Mutex {
public:
  void lock() QV_ACQUIRE() { mutex_.lock(); }
  [[nodiscard]] bool try_lock() QV_TRY_ACQUIRE(true) { return mutex_.try_lock(); }
  void unlock() QV_RELEASE() { mutex_.unlock(); }

private:
  std::mutex mutex_;
};

using MutexLock = LockGuard<Mutex>;

}  // namespace QVFoundation
