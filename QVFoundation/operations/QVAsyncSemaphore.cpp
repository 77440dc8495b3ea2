#include "QVFoundation/operations/QVAsyncSemaphore.h"

#include <optional>
#include <string>
#include <utility>

#include "QVFoundation/platform/concurrency/CancellationError.h"
#include "QVFoundation/platform/concurrency/StepPoint_p.h"
#include "QVFoundation/platform/concurrency/TaskContext.h"
#include "QVFoundation/platform/runtime/FatalError.h"
#include "QVFoundation/platform/text/Format.h"
#include "QVFoundation/platform/tracing/OSLogger.h"

namespace QVFoundation {

namespace {

const OSLogger& semaphoreLog() {
  static const OSLogger& log = *new OSLogger("org.qvfoundation", "semaphore");
  return log;
}

}  // namespace

QVAsyncSemaphore::QVAsyncSemaphore(std::int64_t value) : value_(value) {
  if (value < 0) fatalError("A semaphore cannot begin with " + std::to_string(value) + " permits");
}

QVAsyncSemaphore::~QVAsyncSemaphore() {
  const UnfairLockGuard guard(lock_);
  if (oldest_ != nullptr) fatalError("A semaphore was destroyed while tasks wait for it");
}

void QVAsyncSemaphore::trace(Operation operation, std::int64_t newValue) const {
  if (!semaphoreLog().isEnabled(OSLogType::debug)) return;
  static constexpr const char* names[] = {"wait", "waitUnlessCancelled", "signal"};
  semaphoreLog().log(
      OSLogType::debug,
      stringWithFormat("<QVAsyncSemaphore: %p> %s, new value %ld", static_cast<const void*>(this),
                       names[static_cast<std::size_t>(operation)], newValue));
}

std::int64_t QVAsyncSemaphore::count(std::int64_t change) noexcept {
  std::int64_t newValue = 0;
  if (__builtin_add_overflow(value(), change, &newValue)) fatalError("A semaphore has counted too far");
  value_.store(newValue, std::memory_order_relaxed);
  return newValue;
}

void QVAsyncSemaphore::enlist(Wait& wait) noexcept {
  wait.state_ = Wait::State::listed;
  wait.older_ = newest_;
  (newest_ != nullptr ? newest_->newer_ : oldest_) = &wait;
  newest_ = &wait;
}

void QVAsyncSemaphore::unlist(Wait& wait) noexcept {
  (wait.older_ != nullptr ? wait.older_->newer_ : oldest_) = wait.newer_;
  (wait.newer_ != nullptr ? wait.newer_->older_ : newest_) = wait.older_;
}

bool QVAsyncSemaphore::signal() {
  std::int64_t newValue = 0;
  Wait* wait = nullptr;
  detail::stepPoint("signals");
  {
    const UnfairLockGuard guard(lock_);
    newValue = count(+1);
    wait = oldest_;
    if (wait != nullptr) {
      unlist(*wait);
      wait->state_ = Wait::State::served;
    }
  }
  trace(Operation::signal, newValue);
  if (wait == nullptr) return false;
  detail::stepPoint("wakes");
  wait->coroutine_->context().resume(*wait->coroutine_);
  return true;
}

QVAsyncSemaphore::Wait::~Wait() = default;

// Cancellation is listened to before the wait is listed: from then on it may be over, and gone, at any
// moment.
bool QVAsyncSemaphore::Wait::await_suspend(detail::TaskPromise& caller) {
  coroutine_ = &caller;
  for (;;) {
    detail::stepPoint("looks for a permit");
    if (endsWhenCancelled_ && !isTold_ && semaphore_.value() <= 0) {
      isTold_ = true;
      caller.context().beginWait(*this);
    }
    detail::stepPoint("takes a permit");
    const auto sleeps = enter();
    detail::stepPoint("goes on, or sleeps");
    if (sleeps) return *sleeps;
  }
}

std::optional<bool> QVAsyncSemaphore::Wait::enter() {
  QVAsyncSemaphore& semaphore = semaphore_;
  const auto operation = endsWhenCancelled_ ? Operation::waitUnlessCancelled : Operation::wait;
  std::int64_t newValue = 0;
  {
    const UnfairLockGuard guard(semaphore.lock_);
    if (endsWhenCancelled_ && coroutine_->context().isCancelled()) state_ = State::cancelled;
    if (state_ == State::cancelled) return false;
    if (endsWhenCancelled_ && !isTold_ && semaphore.value() <= 0) return {};
    newValue = semaphore.count(-1);
    if (newValue < 0) {
      semaphore.enlist(*this);
    } else {
      state_ = State::served;
    }
  }
  semaphore.trace(operation, newValue);
  return newValue < 0;
}

detail::CancellationOutcome QVAsyncSemaphore::Wait::noteCancellation() noexcept {
  const UnfairLockGuard guard(semaphore_.lock_);
  const State before = state_;
  if (before != State::served) state_ = State::cancelled;
  if (before != State::listed) return {};
  semaphore_.unlist(*this);
  (void)semaphore_.count(+1);
  return {.woken = coroutine_};
}

void QVAsyncSemaphore::Wait::await_resume() {
  if (isTold_) coroutine_->context().endWait(*this);
  if (state_ == State::cancelled) throw CancellationError();
}

}  // namespace QVFoundation
