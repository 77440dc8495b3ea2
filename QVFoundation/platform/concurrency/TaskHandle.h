#pragma once

#include <concepts>
#include <string>
#include <type_traits>
#include <utility>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/concurrency/Task.h"
#include "QVFoundation/platform/concurrency/TaskContext.h"
#include "QVFoundation/platform/concurrency/TaskState.h"
#include "QVFoundation/platform/concurrency/TaskSuspension.h"
#include "QVFoundation/platform/runtime/Result.h"

namespace QVFoundation {

/// A task that somebody has started, whatever it gives.
///
/// Threads: any.
/// Ownership: copies stand for the same task. It runs to its end also when nobody has a handle.
class QV_EXPORT AnyTaskHandle {
public:
  explicit AnyTaskHandle(detail::TaskReference<> task) noexcept : task_(std::move(task)) {}

  /// Asks the task and its children to end early. How soon it does is up to it.
  void cancel() const noexcept { task_->cancel(); }
  [[nodiscard]] bool isCancelled() const noexcept { return task_->isCancelled(); }
  /// Whether its result is there, and all else that it had is gone.
  [[nodiscard]] bool hasEnded() const noexcept { return task_->hasEnded(); }
  [[nodiscard]] const std::string& name() const noexcept { return task_->name(); }

  friend bool operator==(const AnyTaskHandle& a, const AnyTaskHandle& b) noexcept {
    return a.task_.get() == b.task_.get();
  }

protected:
  [[nodiscard]] detail::TaskContext& task() const noexcept { return *task_; }

private:
  detail::TaskReference<> task_;
};

namespace detail {

/// Waits for the end of a task that runs on its own.
class QV_EXPORT TaskEndAwaiter : public TaskAwaitable, private TaskEndWaiter {
public:
  [[nodiscard]] bool await_ready() const noexcept { return task_->hasEnded(); }
  [[nodiscard]] bool await_suspend(TaskPromise& caller) noexcept;

protected:
  explicit TaskEndAwaiter(TaskReference<> task) noexcept;
  ~TaskEndAwaiter() override;
  [[nodiscard]] TaskContext& task() const noexcept { return *task_; }

private:
  TaskPromise* taskHasEnded() noexcept override;

  const TaskReference<> task_;
  TaskSuspension suspension_;
};

template <class T>
class TaskValueAwaiter final : public TaskEndAwaiter {
public:
  explicit TaskValueAwaiter(TaskState<T>& task) : TaskEndAwaiter(TaskReference<>::retaining(task)) {}
  T await_resume() { return static_cast<TaskState<T>&>(task()).takeValue(); }
};

template <class T>
class TaskEndResultAwaiter final : public TaskEndAwaiter {
public:
  explicit TaskEndResultAwaiter(TaskState<T>& task) : TaskEndAwaiter(TaskReference<>::retaining(task)) {}
  [[nodiscard]] Result<T> await_resume() { return static_cast<TaskState<T>&>(task()).resultForOne(); }
};

}  // namespace detail

/// A task that somebody has started, and that gives a `T`.
///
/// ```cpp
/// const TaskHandle<Image> job = startTask([=] { return thumbnail(file); });
/// ...
/// show(co_await job);        // in an asynchronous function
/// show(job.wait());          // on a thread that may block
/// job.cancel();              // from anywhere
/// ```
///
/// Whoever awaits it is not what it belongs to: cancelling that one does not cancel this one. For children
/// use a `TaskGroup`.
///
/// Threads: any; any number may wait for it.
/// Errors: what the task has thrown is thrown to each who waits. A value that cannot be copied goes to the
/// first; the next gets an `NSException` named `NSInternalInconsistencyException`.
template <class T>
class TaskHandle : public AnyTaskHandle, public detail::TaskAwaitable {
public:
  explicit TaskHandle(const detail::TaskReference<detail::TaskState<T>>& task) noexcept
      : AnyTaskHandle(detail::TaskReference<>::retaining(*task)) {}

  [[nodiscard]] auto operator co_await() const { return detail::TaskValueAwaiter<T>(state()); }
  /// Awaited, gives the failure as a value.
  [[nodiscard]] auto result() const { return detail::TaskEndResultAwaiter<T>(state()); }

  /// Blocks until the task has ended. On the main thread the blocks of the main queue run meanwhile.
  T wait() const {
    state().waitForEnd();
    return state().takeValue();
  }

private:
  detail::TaskState<T>& state() const noexcept { return static_cast<detail::TaskState<T>&>(task()); }
};

/// Starts a task that nobody has to wait for: what an asynchronous function does, or what a plain one does,
/// on the pool unless the options say otherwise. The callable and all that it holds live until the task has
/// ended.
///
/// ```cpp
/// startTask([file] { return upload(file); });
/// startTask({.name = "index", .qualityOfService = QualityOfService::utility}, [=] { return index(folder); });
/// ```
///
/// Threads: any.
/// Errors: `std::bad_alloc`, `std::system_error` where there is no first thread. What the task throws is kept
/// for who waits for it.
template <class Callable>
  requires std::invocable<std::decay_t<Callable>&>
auto startTask(TaskOptions options, Callable&& callable) {
  using State = detail::StartedTask<std::decay_t<Callable>>;
  using Output = detail::OutputOfTask<std::decay_t<Callable>&>;
  const detail::TaskReference<detail::TaskState<Output>> task(
      new State(std::move(options), std::forward<Callable>(callable)));
  task->start();
  return TaskHandle<Output>(task);
}

template <class Callable>
  requires std::invocable<std::decay_t<Callable>&>
auto startTask(Callable&& callable) {
  return startTask(TaskOptions(), std::forward<Callable>(callable));
}

template <class T>
TaskHandle<T> startTask(TaskOptions options, Task<T> task) {
  return startTask(std::move(options), [task = std::move(task)]() mutable { return std::move(task); });
}
template <class T>
TaskHandle<T> startTask(Task<T> task) {
  return startTask(TaskOptions(), std::move(task));
}

}  // namespace QVFoundation
