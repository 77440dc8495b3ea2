#include "QVFoundation/platform/concurrency/NSCondition.h"

#include <utility>

#include "QVFoundation/platform/concurrency/SteadyTime_p.h"
#include "QVFoundation/platform/concurrency/ThreadPool_p.h"
#include "QVFoundation/platform/concurrency/WakeUp_p.h"

namespace QVFoundation {

/// One that waits, on its own stack.
struct NSCondition::Waiter {
  detail::WakeUp signal;
  bool isListed = false;
  Waiter* previous = nullptr;
  Waiter* next = nullptr;
};

void NSCondition::wait() { (void)waitUntil(std::nullopt); }

bool NSCondition::waitFor(std::chrono::nanoseconds patience) { return waitUntil(endOf(patience)); }

NSCondition::Time NSCondition::endOf(std::chrono::nanoseconds patience) noexcept {
  return detail::timeAfter(patience);
}

bool NSCondition::waitUntilDate(NSDate date) { return waitFor(detail::timeUntil(date)); }

// The capability is given back while this waits, which the analysis cannot follow through the mutex inside.
bool NSCondition::waitUntil(std::optional<Time> time) {
  Waiter self;
  add(self);
  mutex_.unlock();
  bool isSignalled = true;
  {
    const detail::ThreadIsBlocked blocked;
    if (!time) {
      self.signal.await();
    } else if (!self.signal.awaitUntil(*time)) {
      isSignalled = !removeIfListed(self);
      if (isSignalled) self.signal.await();  // which is just about to be sent
    }
  }
  mutex_.lock();
  return isSignalled;
}

bool NSCondition::signal() noexcept {
  Waiter* const waiter = takeFirst();
  if (waiter != nullptr) waiter->signal.send();
  return waiter != nullptr;
}

void NSCondition::broadcast() noexcept {
  Waiter* waiter = nullptr;
  {
    const UnfairLockGuard guard(waitersLock_);
    waiter = std::exchange(first_, nullptr);
    last_ = nullptr;
    for (Waiter* each = waiter; each != nullptr; each = each->next) each->isListed = false;
  }
  while (waiter != nullptr) std::exchange(waiter, waiter->next)->signal.send();
}

void NSCondition::add(Waiter& waiter) {
  const UnfairLockGuard guard(waitersLock_);
  waiter.isListed = true;
  waiter.previous = last_;
  (last_ != nullptr ? last_->next : first_) = &waiter;
  last_ = &waiter;
}

bool NSCondition::removeIfListed(Waiter& waiter) {
  const UnfairLockGuard guard(waitersLock_);
  if (!waiter.isListed) return false;
  (waiter.previous != nullptr ? waiter.previous->next : first_) = waiter.next;
  (waiter.next != nullptr ? waiter.next->previous : last_) = waiter.previous;
  return true;
}

NSCondition::Waiter* NSCondition::takeFirst() noexcept {
  const UnfairLockGuard guard(waitersLock_);
  Waiter* const waiter = first_;
  if (waiter == nullptr) return nullptr;
  waiter->isListed = false;
  first_ = waiter->next;
  (first_ != nullptr ? first_->previous : last_) = nullptr;
  return waiter;
}

}  // namespace QVFoundation
