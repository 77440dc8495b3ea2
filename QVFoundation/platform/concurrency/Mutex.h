#pragma once

#include <mutex>

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

/// Holds a mutex for its scope.
///
/// Threads: belongs to the thread that made it.
class QV_SCOPED_CAPABILITY [[nodiscard]] MutexLock {
public:
  explicit MutexLock(Mutex& mutex) QV_ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
  ~MutexLock() QV_RELEASE() { mutex_.unlock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

private:
  Mutex& mutex_;
};

}  // namespace QVFoundation
