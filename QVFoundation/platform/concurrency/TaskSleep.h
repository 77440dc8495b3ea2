#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/concurrency/CancellationRecord.h"
#include "QVFoundation/platform/concurrency/ContinuousClock.h"
#include "QVFoundation/platform/concurrency/TaskPromise.h"
#include "QVFoundation/platform/concurrency/TaskSuspension.h"

namespace QVFoundation {

namespace detail {

class TimerThread;

/// A task that waits for a time, or for its cancellation.
///
/// Internal: installed because other headers need it.
///
/// Threads: its task's.
class QV_EXPORT SleepAwaiter final : public TaskAwaitable, private CancellationRecord {
public:
  enum class Clock : unsigned char { steady, continuous };

  /// The time counts from the start of the clock.
  SleepAwaiter(Clock clock, std::chrono::nanoseconds time, std::chrono::nanoseconds tolerance) noexcept
      : clock_(clock), time_(time), tolerance_(tolerance) {}
  ~SleepAwaiter() override;

  [[nodiscard]] bool await_ready() const noexcept { return false; }
  [[nodiscard]] bool await_suspend(TaskPromise& caller);
  void await_resume();

private:
  class Event;

  CancellationOutcome noteCancellation() noexcept override;
  [[nodiscard]] TimerThread& timer() const;
  [[nodiscard]] std::chrono::nanoseconds wakingTime(const TaskPromise& caller,
                                                    std::chrono::nanoseconds now) const noexcept;

  const Clock clock_;
  const std::chrono::nanoseconds time_;
  const std::chrono::nanoseconds tolerance_;
  TaskContext* task_ = nullptr;
  std::shared_ptr<Event> event_;  // none where there was nothing to wait for
  bool isCancelled_ = false;
  TaskSuspension suspension_;
};

}  // namespace detail

/// Awaited, has the task sleep until a time: without a thread, and at once awake where the time is over or
/// the task is cancelled. The tolerance is how much later it may wake, together with others, to spare the
/// machine; without one, the last microseconds, 25 at the most, keep a processor busy.
///
/// ```cpp
/// co_await sleepFor(2s);
/// co_await sleepUntil(ContinuousClock::now() + 1h, 1min);
/// ```
///
/// Threads: awaited inside of a task.
/// Errors: `CancellationError` where the task has been, or is, cancelled; `std::system_error` where the
/// system has no thread or descriptor for a clock.
[[nodiscard]] inline detail::SleepAwaiter sleepUntil(
    ContinuousClock::time_point time, std::chrono::nanoseconds tolerance = std::chrono::nanoseconds::zero()) {
  return ContinuousClock::sleepUntil(time, tolerance);
}
/// By the clock that stands still while the machine sleeps.
[[nodiscard]] inline detail::SleepAwaiter sleepUntil(
    std::chrono::steady_clock::time_point time,
    std::chrono::nanoseconds tolerance = std::chrono::nanoseconds::zero()) noexcept {
  return {detail::SleepAwaiter::Clock::steady, time.time_since_epoch(), tolerance};
}
/// By the clock that goes on.
[[nodiscard]] QV_EXPORT detail::SleepAwaiter sleepFor(
    std::chrono::nanoseconds duration, std::chrono::nanoseconds tolerance = std::chrono::nanoseconds::zero());

}  // namespace QVFoundation
