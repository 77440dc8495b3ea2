#pragma once

#include <chrono>
#include <concepts>
#include <cstdint>
#include <exception>
#include <optional>
#include <utility>

#include "QVFoundation/operations/DeadlineExceededError.h"
#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/concurrency/CancellationError.h"
#include "QVFoundation/platform/concurrency/ContinuousClock.h"
#include "QVFoundation/platform/concurrency/Task.h"
#include "QVFoundation/platform/concurrency/TaskGroup.h"
#include "QVFoundation/platform/concurrency/TaskSleep.h"
#include "QVFoundation/platform/runtime/FatalError.h"
#include "QVFoundation/platform/runtime/Result.h"

namespace QVFoundation {

namespace detail {

/// How one of the two has ended that race each other: an operation, and the sleep until its deadline.
enum class DeadlineState : unsigned char { result, sleepWasCancelled, sleepFailed, deadlineExceeded };

/// Sleeps by any clock that a deadline may be in.
template <class Clock>
[[nodiscard]] auto sleepBy(const Clock& clock, typename Clock::time_point until,
                           std::optional<typename Clock::duration> tolerance) {
  if constexpr (std::same_as<Clock, std::chrono::steady_clock>) {
    return QVFoundation::sleepUntil(until, tolerance.value_or(Clock::duration::zero()));
  } else {
    return clock.sleepUntil(until, tolerance);
  }
}

template <class T, class Operation>
Task<DeadlineState> runForDeadline(Operation& operation, std::optional<Result<T>>& result) {
  if constexpr (givesTask<Operation&>) {
    result = co_await operation().result();
  } else {
    result = Result<T>::of(operation);
  }
  co_return DeadlineState::result;
}

template <class Clock>
Task<DeadlineState> awaitDeadline(typename Clock::time_point until,
                                  std::optional<typename Clock::duration> tolerance, const Clock& clock,
                                  std::exception_ptr& failure) {
  try {
    co_await sleepBy(clock, until, tolerance);
    co_return DeadlineState::deadlineExceeded;
  } catch (const CancellationError&) {
    co_return DeadlineState::sleepWasCancelled;
  } catch (...) {
    failure = std::current_exception();
  }
  co_return DeadlineState::sleepFailed;
}

}  // namespace detail

/// Runs an asynchronous operation, or a plain one, and throws `DeadlineExceededError` where it has not ended
/// by a time. Then the operation is asked to end, and waited for; what it still gives is dropped.
///
/// ```cpp
/// const Page page = co_await withDeadline(ContinuousClock::now() + 5s, [&] { return load(address); });
/// ```
///
/// The clock is `std::chrono::steady_clock`, or has a type `time_point`, `now()`, and `sleepUntil(time,
/// tolerance)` which gives something to await that throws `CancellationError` when the task is cancelled. How
/// much later than the time it may be is the tolerance.
///
/// Threads: awaited inside of a task. The operation runs as a child of that, on the pool.
/// Errors: what the operation throws. That the task is cancelled is no deadline: the operation is told, and
/// ends as it likes.
template <class Clock, class Operation>
  requires std::invocable<Operation&>
Task<detail::OutputOfTask<Operation&>> withDeadline(typename Clock::time_point until,
                                                    std::optional<typename Clock::duration> tolerance,
                                                    Clock clock, Operation operation) {
  using T = detail::OutputOfTask<Operation&>;
  using detail::DeadlineState;
  std::optional<Result<T>> result;
  std::exception_ptr failure;  // of the clock
  const auto race = [&](TaskGroup<DeadlineState>& group) -> Task<DeadlineState> {
    group.addTask([&] { return detail::runForDeadline(operation, result); });
    group.addTask([&] { return detail::awaitDeadline(until, tolerance, clock, failure); });
    while (const auto state = co_await group.next()) {
      if (*state == DeadlineState::sleepWasCancelled) continue;
      const DeadlineState first = *state;
      co_await group.cancelAndWaitForAll();
      co_return first;
    }
    fatalError("An operation with a deadline has come to no end");
  };
  const DeadlineState state = co_await withTaskGroup<DeadlineState>(race);
  if (state == DeadlineState::deadlineExceeded) throw DeadlineExceededError();
  if (state == DeadlineState::sleepFailed) std::rethrow_exception(failure);
  co_return detail::valueOf(*std::move(result));
}

/// By the clock that goes on while the machine sleeps.
template <class Operation>
  requires std::invocable<Operation&>
auto withDeadline(ContinuousClock::time_point until, std::optional<ContinuousClock::duration> tolerance,
                  Operation operation) {
  return withDeadline(until, tolerance, ContinuousClock(), std::move(operation));
}
template <class Operation>
  requires std::invocable<Operation&>
auto withDeadline(ContinuousClock::time_point until, Operation operation) {
  return withDeadline(until, std::nullopt, ContinuousClock(), std::move(operation));
}

/// Sleeps until a date by the wall clock, however that is set meanwhile: it is looked at again and again, and
/// so the sleep may last one interval longer. A task that is cancelled between two looks just stops sleeping;
/// one that is cancelled during an interval gets `CancellationError`.
///
/// Threads: awaited inside of a task.
QV_EXPORT Task<> sleepCancellable(std::chrono::system_clock::time_point until,
                                  std::chrono::duration<std::uint64_t, std::nano> cancellationCheckInterval);

}  // namespace QVFoundation
