#pragma once

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/concurrency/TaskPromise.h"

namespace QVFoundation {

namespace detail {

/// A task that lets others go first.
///
/// Threads: its task's.
class QV_EXPORT YieldAwaiter final : public TaskAwaitable {
public:
  [[nodiscard]] bool await_ready() const noexcept { return false; }
  [[nodiscard]] bool await_suspend(TaskPromise& caller);
  void await_resume() const noexcept {}
};

}  // namespace detail

/// Awaited, sends the task to the end of the queue that it is on, so that what waits there runs before it
/// goes on: for long computations, and on the main thread.
///
/// Threads: awaited inside of a task.
[[nodiscard]] inline detail::YieldAwaiter yieldTask() noexcept { return {}; }

}  // namespace QVFoundation
