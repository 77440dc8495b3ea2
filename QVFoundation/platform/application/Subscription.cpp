#include "QVFoundation/platform/application/Subscription.h"

#include <utility>

namespace QVFoundation::detail {

void Subscription::setUpstream(Cancellable upstream) {
  const UnfairLockGuard guard(lock_);
  // Else `upstream` is cancelled as this returns, after the lock is let go.
  if (!isRemoved()) std::swap(upstream_, upstream);
}

void Subscription::cancel() {
  remove();
  takeUpstream().cancel();
  awaitCalls();
}

void Subscription::finish() {
  remove();
  takeUpstream().cancel();
}

Cancellable Subscription::takeUpstream() {
  const UnfairLockGuard guard(lock_);
  return std::move(upstream_);
}

}  // namespace QVFoundation::detail
