#include "QVFoundation/platform/concurrency/NSRecursiveLock.h"

namespace QVFoundation {

void NSRecursiveLock::lock() {
  if (!isHeldByThisThread()) mutex_.lock();
  taken();
}

bool NSRecursiveLock::try_lock() {
  if (!isHeldByThisThread() && !mutex_.try_lock()) return false;
  taken();
  return true;
}

void NSRecursiveLock::unlock() noexcept {
  if (--depth_ > 0) return;
  owner_.store({}, std::memory_order_relaxed);
  mutex_.unlock();
}

void NSRecursiveLock::taken() noexcept {
  owner_.store(std::this_thread::get_id(), std::memory_order_relaxed);
  ++depth_;
}

}  // namespace QVFoundation
