#pragma once

#include <chrono>
#include <concepts>
#include <mutex>
#include <optional>
#include <string>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/concurrency/LockGuard.h"
#include "QVFoundation/platform/concurrency/ThreadSafety.h"
#include "QVFoundation/platform/concurrency/UnfairLock.h"
#include "QVFoundation/platform/runtime/Value.h"

namespace QVFoundation {

/// A lock with a way to wait, while holding it, for somebody to signal.
///
/// ```cpp
/// const NSConditionGuard guard(condition);
/// condition.wait([&] { return isReady; });
/// ```
///
/// A wait ends for a signal or when its time is up, and for nothing else. A signal wakes the one who has
/// waited longest; one that nobody waits for is lost.
///
/// Threads: any. Waiting takes the lock; who signals should hold it, so that nobody is just about to wait.
class QV_EXPORT QV_CAPABILITY("condition") NSCondition {
public:
  NSCondition() = default;
  NSCondition(const NSCondition&) = delete;
  NSCondition& operator=(const NSCondition&) = delete;

  void lock() QV_ACQUIRE() { mutex_.lock(); }
  [[nodiscard]] bool try_lock() QV_TRY_ACQUIRE(true) { return mutex_.try_lock(); }
  void unlock() QV_RELEASE() { mutex_.unlock(); }

  void wait() QV_REQUIRES(this);
  /// False where the time was up before a signal came.
  bool waitFor(std::chrono::nanoseconds patience) QV_REQUIRES(this);
  bool waitUntilDate(NSDate date) QV_REQUIRES(this);

  /// Waits until a predicate holds. It is asked while the lock is held, at the beginning and after each
  /// signal.
  template <std::predicate Predicate>
  void wait(Predicate predicate) QV_REQUIRES(this) {
    while (!predicate()) wait();
  }
  /// False where the time is up and the predicate still does not hold.
  template <std::predicate Predicate>
  bool waitFor(std::chrono::nanoseconds patience, Predicate predicate) QV_REQUIRES(this) {
    const Time end = endOf(patience);
    while (!predicate()) {
      if (!waitUntil(end)) return predicate();
    }
    return true;
  }

  /// Wakes one that waits. False where nobody does.
  bool signal() noexcept;
  /// Wakes all that wait now.
  void broadcast() noexcept;

  /// For debugging; set before others know the condition.
  [[nodiscard]] const std::string& name() const noexcept { return name_; }
  void setName(std::string name) { name_ = std::move(name); }

private:
  struct Waiter;
  using Time = std::chrono::steady_clock::time_point;

  [[nodiscard]] static Time endOf(std::chrono::nanoseconds patience) noexcept;
  bool waitUntil(std::optional<Time> time) QV_REQUIRES(this);
  void add(Waiter& waiter);
  /// False where a signal has taken it out already.
  [[nodiscard]] bool removeIfListed(Waiter& waiter);
  [[nodiscard]] Waiter* takeFirst() noexcept;

  std::mutex mutex_;
  UnfairLock waitersLock_;
  Waiter* first_ QV_GUARDED_BY(waitersLock_) = nullptr;
  Waiter* last_ QV_GUARDED_BY(waitersLock_) = nullptr;
  std::string name_;
};

using NSConditionGuard = LockGuard<NSCondition>;

}  // namespace QVFoundation
