#include "QVFoundation/platform/concurrency/TaskSleep.h"

#include <algorithm>
#include <atomic>
#include <ctime>

#include "QVFoundation/platform/concurrency/CancellationError.h"
#include "QVFoundation/platform/concurrency/DispatchQueue.h"
#include "QVFoundation/platform/concurrency/SteadyTime_p.h"
#include "QVFoundation/platform/concurrency/TaskContext.h"
#include "QVFoundation/platform/concurrency/TimerThread_p.h"

namespace QVFoundation {

using std::chrono::nanoseconds;

ContinuousClock::time_point ContinuousClock::now() noexcept {
  timespec now{};
  ::clock_gettime(CLOCK_BOOTTIME, &now);
  return time_point(std::chrono::seconds(now.tv_sec) + nanoseconds(now.tv_nsec));
}

detail::SleepAwaiter ContinuousClock::sleepUntil(time_point time, std::optional<duration> tolerance) {
  return {detail::SleepAwaiter::Clock::continuous, time.time_since_epoch(),
          tolerance.value_or(duration::zero())};
}

detail::SleepAwaiter sleepFor(nanoseconds duration, nanoseconds tolerance) {
  const auto delay = std::clamp(duration, nanoseconds::zero(), detail::century);
  return sleepUntil(ContinuousClock::now() + delay, tolerance);
}

namespace detail {

/// The timer keeps it as long as it waits; whoever comes first, time or cancellation, settles the wait.
class SleepAwaiter::Event final : public TimedEvent {
public:
  explicit Event(TaskSuspension& suspension) : suspension_(suspension) {}

  [[nodiscard]] bool settle() noexcept { return !isSettled_.exchange(true, std::memory_order_acq_rel); }
  void fire() noexcept override {
    if (settle()) suspension_.resume();
  }

private:
  TaskSuspension& suspension_;
  std::atomic<bool> isSettled_{false};
};

SleepAwaiter::~SleepAwaiter() = default;

TimerThread& SleepAwaiter::timer() const {
  return clock_ == Clock::steady ? TimerThread::steady() : TimerThread::continuous();
}

bool SleepAwaiter::await_suspend(TaskPromise& caller) {
  task_ = &caller.context();
  isCancelled_ = task_->isCancelled();
  const nanoseconds now = timer().now();
  if (isCancelled_ || time_ <= now) return false;
  suspension_.prepareFor(caller);
  event_ = std::make_shared<Event>(suspension_);
  task_->beginWait(*this);
  try {
    timer().schedule(event_, wakingTime(caller, now), tolerance_);
  } catch (...) {
    task_->endWait(*this);
    throw;
  }
  return suspension_.sleep();
}

nanoseconds SleepAwaiter::wakingTime(const TaskPromise& caller, nanoseconds now) const noexcept {
  const bool wakesEarly = tolerance_ <= nanoseconds::zero() && caller.queue().runsSideBySide();
  return wakesEarly ? std::max(time_ - timeToWakePool, now) : time_;
}

CancellationOutcome SleepAwaiter::noteCancellation() noexcept {
  isCancelled_ = event_->settle();
  return {.woken = isCancelled_ ? suspension_.takeSleeper() : nullptr};
}

void SleepAwaiter::await_resume() {
  if (event_ != nullptr) {
    task_->endWait(*this);
    if (isCancelled_) timer().cancel(*event_);
  }
  if (isCancelled_) throw CancellationError();
  if (event_ != nullptr) timer().sleepUntil(time_);  // what is left of it
}

}  // namespace detail

}  // namespace QVFoundation
