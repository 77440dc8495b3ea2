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

/// What has come first: the end of an operation, or that of the sleep until its deadline.
template <class T>
struct DeadlineState {
  enum class End : unsigned char { result, sleepWasCancelled, deadlineExceeded };

  explicit DeadlineState(End its) : end(its) {}
  explicit DeadlineState(Result<T> its) : end(End::result), result(std::move(its)) {}

  End end;
  std::optional<Result<T>> result;
};

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
Task<DeadlineState<T>> runForDeadline(Operation& operation) {
  auto result = co_await operation().result();
  co_return DeadlineState<T>(std::move(result));
}

template <class T, class Clock>
Task<DeadlineState<T>> awaitDeadline(typename Clock::time_point until,
                                     std::optional<typename Clock::duration> tolerance, const Clock& clock) {
  using State = DeadlineState<T>;
  try {
    co_await sleepBy(clock, until, tolerance);
    co_return State(State::End::deadlineExceeded);
  } catch (const CancellationError&) {
    co_return State(State::End::sleepWasCancelled);
  } catch (...) {
    co_return State(Result<T>::failure(std::current_exception()));
  }
}

}  // namespace detail

/// Runs an operation, and throws `DeadlineExceededError` where it has not ended by a time. Then the operation
/// is asked to end, and waited for; what it still gives is dropped.
///
/// ```cpp
/// const Page page = co_await withDeadline(ContinuousClock::now() + 5s, [=] { return load(address); });
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
  using State = detail::DeadlineState<T>;
  // What it ends in is thrown last, and once: with cold caches each throw takes microseconds.
  const auto race = [&](TaskGroup<State>& group) -> Task<State> {
    group.addTask([&operation] { return detail::runForDeadline<T>(operation); });
    group.addTask([&] { return detail::awaitDeadline<T>(until, tolerance, clock); });
    while (auto state = co_await group.next()) {
      if (state->end == State::End::sleepWasCancelled) continue;
      group.cancelAll();
      co_return *std::move(state);
    }
    fatalError("An operation with a deadline has come to no end");
  };
  auto state = co_await withTaskGroup<State>(race);
  if (state.end == State::End::deadlineExceeded) throw DeadlineExceededError();
  co_return detail::valueOf(*std::move(state.result));
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
