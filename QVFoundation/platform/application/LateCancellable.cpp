#include "QVFoundation/platform/application/LateCancellable.h"

#include <utility>

namespace QVFoundation::detail {

void LateCancellable::hold(Cancellable subscription) {
  const MutexLock guard(lock_);
  if (!isCancelled()) held_ = std::move(subscription);
}  // what is not held is cancelled when the parameter goes, after the lock

void LateCancellable::cancel() {
  Cancellable subscription;
  {
    const MutexLock guard(lock_);
    isCancelled_.store(true, std::memory_order_release);
    std::swap(subscription, held_);
  }
  subscription.cancel();
}

}  // namespace QVFoundation::detail
