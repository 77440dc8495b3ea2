#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/concurrency/NSCondition.h"

namespace QVFoundation {

/// A lock with a number, its condition, that one can wait for: a gate between who prepares and who goes on.
///
/// ```cpp
/// NSConditionLock lock(empty);
/// // One thread:                                 Another one:
/// lock.lockWhenCondition(empty);                 lock.lockWhenCondition(full);
/// fill(buffer);                                  use(buffer);
/// lock.unlockWithCondition(full);                lock.unlockWithCondition(empty);
/// ```
///
/// Threads: any; given back by the thread that took it.
class QV_EXPORT NSConditionLock {
public:
  explicit NSConditionLock(std::int64_t condition = 0) noexcept : condition_(condition) {}
  NSConditionLock(const NSConditionLock&) = delete;
  NSConditionLock& operator=(const NSConditionLock&) = delete;

  [[nodiscard]] std::int64_t condition() const noexcept { return condition_.load(std::memory_order_acquire); }

  void lock();
  [[nodiscard]] bool try_lock();
  void lockWhenCondition(std::int64_t condition);
  /// The same unless a question is answered with yes meanwhile: then this gives up and returns false. It is
  /// asked at the beginning and after each change of the lock or `wake`, and may use the lock itself. Raises
  /// `NSInvalidArgumentException` where it is empty.
  [[nodiscard]] bool lockWhenCondition(std::int64_t condition, const std::function<bool()>& givesUp);
  [[nodiscard]] bool lockWhenCondition(std::int64_t condition, NSDate beforeDate);

  void unlock();
  void unlockWithCondition(std::int64_t condition);

  /// Has those that wait look again.
  void wake();

private:
  [[nodiscard]] bool mayTake(std::int64_t condition) const noexcept QV_REQUIRES(changed_) {
    return !isLocked_ && condition_.load(std::memory_order_relaxed) == condition;
  }
  /// Takes the lock, or tells how many changes there have been by now.
  [[nodiscard]] std::optional<std::uint64_t> takeOrCountChanges(std::int64_t condition);
  void awaitChangeSince(std::uint64_t changes);

  NSCondition changed_;
  bool isLocked_ QV_GUARDED_BY(changed_) = false;
  std::uint64_t changes_ QV_GUARDED_BY(changed_) = 0;  // after which those that wait look again
  std::atomic<std::int64_t> condition_;                // written under `changed_`
};

}  // namespace QVFoundation
