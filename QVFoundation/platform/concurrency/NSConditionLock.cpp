#include "QVFoundation/platform/concurrency/NSConditionLock.h"

#include <utility>

namespace QVFoundation {

void NSConditionLock::lock() {
  const NSConditionGuard guard(changed_);
  while (isLocked_) changed_.wait();
  isLocked_ = true;
}

bool NSConditionLock::try_lock() {
  const NSConditionGuard guard(changed_);
  return !std::exchange(isLocked_, true);
}

void NSConditionLock::lockWhenCondition(std::int64_t condition) {
  (void)lockWhenCondition(condition, [] { return false; });
}

bool NSConditionLock::lockWhenCondition(std::int64_t condition, const std::function<bool()>& givesUp) {
  const NSConditionGuard guard(changed_);
  while (!mayTake(condition)) {
    if (givesUp()) return false;
    changed_.wait();
  }
  isLocked_ = true;
  return true;
}

bool NSConditionLock::lockWhenCondition(std::int64_t condition, NSDate beforeDate) {
  const NSConditionGuard guard(changed_);
  while (!mayTake(condition)) {
    if (!changed_.waitUntilDate(beforeDate)) return false;
  }
  isLocked_ = true;
  return true;
}

void NSConditionLock::unlock() { unlockWithCondition(condition()); }

void NSConditionLock::unlockWithCondition(std::int64_t condition) {
  const NSConditionGuard guard(changed_);
  isLocked_ = false;
  condition_.store(condition, std::memory_order_release);
  changed_.broadcast();
}

void NSConditionLock::wake() {
  const NSConditionGuard guard(changed_);
  changed_.broadcast();
}

}  // namespace QVFoundation
