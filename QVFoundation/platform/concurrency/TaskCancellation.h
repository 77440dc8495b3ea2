#pragma once

#include <concepts>
#include <functional>
#include <optional>
#include <stop_token>
#include <utility>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/concurrency/CancellationError.h"
#include "QVFoundation/platform/concurrency/CancellationRecord.h"
#include "QVFoundation/platform/concurrency/Task.h"
#include "QVFoundation/platform/concurrency/TaskHandle.h"
#include "QVFoundation/platform/concurrency/TaskState.h"
#include "QVFoundation/platform/concurrency/TaskSuspension.h"

/// How a task learns that it has been cancelled.
///
/// A task that is cancelled stays so, and so do its children. Nothing ends by itself: waits that say so end
/// with `CancellationError`, and the task's own code asks where it can stop.
///
/// ```cpp
/// for (const Page& page : pages) {
///   checkTaskCancellation();
///   co_await send(page);
/// }
/// ```
///
/// Threads: these ask about the task that the calling thread runs; plain functions that it calls may ask too.
namespace QVFoundation {

/// The task that the caller runs in; none outside of tasks.
[[nodiscard]] QV_EXPORT std::optional<AnyTaskHandle> currentTask();
/// False outside of tasks.
[[nodiscard]] QV_EXPORT bool currentTaskIsCancelled() noexcept;
/// Throws `CancellationError` where the task has been cancelled.
QV_EXPORT void checkTaskCancellation();
/// Stopped when the task is cancelled, for functions that take such a token. Outside of tasks one that never
/// is.
[[nodiscard]] QV_EXPORT std::stop_token currentTaskStopToken();

namespace detail {

/// A handler for cancellation, while an operation runs.
class QV_EXPORT CancellationScope : public TaskAwaitable {
public:
  explicit CancellationScope(std::function<void()> handler);

  // Awaited at the end: the handler is not called any more, and no call runs.
  [[nodiscard]] bool await_ready() noexcept;
  [[nodiscard]] bool await_suspend(TaskPromise& caller) noexcept;
  void await_resume() const noexcept {}

private:
  TaskContext& task_;
  CancellationHandler handler_;
  TaskSuspension wait_;
};

}  // namespace detail

/// Runs an asynchronous operation, and calls a handler if the task is cancelled before it has ended: once, at
/// once where the task is cancelled already, on the thread that cancels, side by side with the operation;
/// where that ends sooner, in the task. Gives what the operation gives, when the handler has returned too.
///
/// ```cpp
/// co_await withTaskCancellationHandler([&] { return download(request); }, [&] { request->abort(); });
/// ```
///
/// Threads: awaited inside of a task. The handler runs under no lock.
/// Errors: what the operation throws. What the handler throws ends the process.
template <class Operation, class Handler>
  requires std::invocable<Operation&> &&
           (detail::givesTask<Operation&>) && std::invocable<Handler&> && std::copy_constructible<Handler>
Task<detail::OutputOfTask<Operation&>> withTaskCancellationHandler(Operation operation, Handler onCancel) {
  detail::CancellationScope scope(std::move(onCancel));
  auto result = co_await detail::callInTask(operation).result();
  co_await scope;
  co_return detail::valueOf(std::move(result));
}

}  // namespace QVFoundation
