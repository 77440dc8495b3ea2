#include "QVFoundation/platform/concurrency/NSConditionLock.h"

#include <utility>

#include "QVFoundation/platform/runtime/NSException.h"

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
  const NSConditionGuard guard(changed_);
  while (!mayTake(condition)) changed_.wait();
  isLocked_ = true;
}

bool NSConditionLock::lockWhenCondition(std::int64_t condition, const std::function<bool()>& givesUp) {
  if (!givesUp) throw NSException(NSInvalidArgumentException, "There is no question whether to give up");
  while (const auto changes = takeOrCountChanges(condition)) {
    if (givesUp()) return false;
    awaitChangeSince(*changes);
  }
  return true;
}

std::optional<std::uint64_t> NSConditionLock::takeOrCountChanges(std::int64_t condition) {
  const NSConditionGuard guard(changed_);
  if (!mayTake(condition)) return changes_;
  isLocked_ = true;
  return {};
}

void NSConditionLock::awaitChangeSince(std::uint64_t changes) {
  const NSConditionGuard guard(changed_);
  while (changes_ == changes) changed_.wait();
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
  ++changes_;
  changed_.broadcast();
}

void NSConditionLock::wake() {
  const NSConditionGuard guard(changed_);
  ++changes_;
  changed_.broadcast();
}

}  // namespace QVFoundation
