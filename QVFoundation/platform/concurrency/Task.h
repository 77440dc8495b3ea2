#pragma once

#include <coroutine>
#include <exception>
#include <source_location>
#include <type_traits>
#include <utility>

#include "QVFoundation/platform/concurrency/TaskPromise.h"
#include "QVFoundation/platform/concurrency/TaskState.h"
#include "QVFoundation/platform/runtime/Result.h"

namespace QVFoundation {

/// What an asynchronous function returns. Its body begins when somebody awaits it, and is let go of when that
/// one goes on.
///
/// ```cpp
/// Task<Image> thumbnail(std::filesystem::path file) {
///   const Image image = co_await decode(file);   // waits without blocking a thread
///   checkTaskCancellation();
///   co_return image.scaledTo(64);
/// }
///
/// const TaskHandle job = startTask([=] { return thumbnail(file); });   // in the background
/// show(co_await thumbnail(file));                                      // from another asynchronous function
/// show(thumbnail(file).wait());                                        // from a thread that may block
/// ```
///
/// Such a function takes its parameters by value: a reference may be gone when the body runs. It can await
///
/// | `co_await` | |
/// |---|---|
/// | a `Task<T>` | runs it, and gives its value or throws what it throws |
/// | `std::move(task).result()` | the same as a `Result<T>`, which throws nothing |
/// | a `TaskHandle<T>` | waits for a task that runs already |
/// | a queue, `DispatchQueue::main()` | goes on there; whoever awaits this function comes back to where it was |
/// | `sleepFor`, `sleepUntil`, `yieldTask`, `withContinuation`, a group's `next()` | see there |
///
/// and nothing else: what another library would resume on a thread of its own comes in by `withContinuation`.
///
/// Neither depth nor number of awaits takes stack. While it waits it has no thread.
///
/// Threads: moved from thread to thread; its body runs on one at a time, those of the pool unless it goes
/// elsewhere.
/// Ownership: owns the coroutine and what that holds. One that nobody awaits never runs.
/// Errors: what the body throws goes to the one that awaits it, as it was thrown. Awaiting one that was moved
/// away before ends the process.
template <class T = void>
class [[nodiscard]] Task {
  static_assert(std::is_void_v<T> || (std::is_object_v<T> && !std::is_const_v<T>),
                "a task gives a value: for a reference, give a pointer");

public:
  using Output = T;
  using promise_type = detail::TaskPromiseOf<T>;

  Task(Task&& other) noexcept : coroutine_(std::exchange(other.coroutine_, nullptr)) {}
  Task& operator=(Task&& other) noexcept {
    std::swap(coroutine_, other.coroutine_);
    return *this;
  }
  ~Task() {
    if (coroutine_) coroutine_.destroy();
  }

  /// Runs it as a task of its own and blocks until it has ended; cancelled with the task that the caller runs
  /// in, if any. On the main thread the blocks of the main queue run meanwhile.
  T wait() && {
    auto body = [this]() -> Task { return std::move(*this); };
    const detail::TaskReference task(new detail::StartedTask<decltype(body)>({}, body));
    task->runAsChild();
    return task->takeValue();
  }

  /// Awaits it for its result, whether that is a value or a failure.
  [[nodiscard]] auto result() && noexcept;

private:
  friend class detail::TaskPromiseBase<T>;
  template <class>
  friend class detail::TaskAwaiter;
  template <class>
  friend class detail::StartedTask;

  explicit Task(std::coroutine_handle<promise_type> coroutine) noexcept : coroutine_(coroutine) {}

  [[nodiscard]] std::coroutine_handle<promise_type> release() && noexcept {
    if (!coroutine_) [[unlikely]]
      detail::refuseMovedTask();
    return std::exchange(coroutine_, nullptr);
  }

  detail::TaskPromise& beginIn(detail::TaskContext& context, DispatchQueue& queue,
                               detail::TaskOutcome<T>& outcome) const noexcept {
    if (!coroutine_) detail::refuseMovedTask();
    coroutine_.promise().beginIn(context, queue);
    coroutine_.promise().leaveIn(outcome);
    return coroutine_.promise();
  }

  std::coroutine_handle<promise_type> coroutine_;
};

namespace detail {

template <class T>
class TaskAwaiter {
public:
  TaskAwaiter(Task<T> task, TaskPromise& caller) noexcept : coroutine_(std::move(task).release()) {
    coroutine_.promise().prepareFor(caller);
  }
  TaskAwaiter(const TaskAwaiter&) = delete;
  TaskAwaiter& operator=(const TaskAwaiter&) = delete;
  ~TaskAwaiter() {
    if (coroutine_) coroutine_.destroy();
  }

  // Inlined wherever somebody awaits: this is nearly all that an await costs.
  [[nodiscard, gnu::always_inline]] bool await_ready() {
    auto& promise = coroutine_.promise();
    promise.leaveIn(outcome_);
    TaskPromise& caller = *promise.caller();
    if (!promise.beginInCaller()) return false;
    coroutine_.resume();
    if (outcome_.isSet()) [[likely]] {
      coroutine_ = nullptr;  // has let go of itself
      caller.goOnInside();
      return true;
    }
    promise.noteWaitInCaller();
    return false;
  }
  void await_suspend(std::coroutine_handle<> /*caller*/) const noexcept {}
  T await_resume() { return outcome_.take(); }

protected:
  TaskOutcome<T> outcome_;

private:
  std::coroutine_handle<TaskPromiseOf<T>> coroutine_;
};

template <class T>
class TaskResultAwaiter final : public TaskAwaiter<T> {
public:
  using TaskAwaiter<T>::TaskAwaiter;
  [[nodiscard]] Result<T> await_resume() { return this->outcome_.takeResult(); }
};

template <class T>
Task<T> TaskPromiseBase<T>::get_return_object(std::source_location function) noexcept {
  using Promise = TaskPromiseOf<T>;
  static_assert(alignof(Promise) == alignof(TaskPromise),
                "so that both stand at the same place of the frame");
  notePlace(function);
  return Task<T>(std::coroutine_handle<Promise>::from_promise(static_cast<Promise&>(*this)));
}

}  // namespace detail

namespace detail {

/// Calls an asynchronous function from inside of one, so that what it throws before there is a task is its
/// failure too.
template <class Callable, class... Arguments>
Task<OutputOfTask<Callable&, Arguments&...>> callInTask(Callable& callable, Arguments&... arguments) {
  co_return co_await callable(arguments...);
}

}  // namespace detail

template <class T>
auto Task<T>::result() && noexcept {
  return detail::TaskForResult<T>{std::move(*this)};
}

}  // namespace QVFoundation
