#pragma once

#include <concepts>
#include <coroutine>
#include <cstddef>
#include <exception>
#include <memory>
#include <source_location>
#include <type_traits>
#include <utility>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/concurrency/TaskContext.h"
#include "QVFoundation/platform/concurrency/TaskFrames.h"
#include "QVFoundation/platform/concurrency/TaskOutcome.h"
#include "QVFoundation/platform/runtime/Result.h"

namespace QVFoundation {

class DispatchQueue;
template <class T>
class Task;

namespace detail {

class TaskPromise;

/// What a coroutine of a task can await beside other coroutines and queues. It has
///
/// - `bool await_ready()`: whether there is nothing to wait for;
/// - `bool await_suspend(TaskPromise& caller)`: false where the caller is to go on at once; afterwards
///   whatever wakes it resumes it through a `TaskSuspension`;
/// - `await_resume()`, which gives what `co_await` does;
///
/// or `operator co_await`, which gives such a one.
///
/// Internal: installed because other headers need it.
///
/// Threads: awaited inside of a task.
struct TaskAwaitable {};

[[noreturn]] QV_EXPORT void refuseMovedTask() noexcept;

/// What a result has, as a function that gives it would return it.
template <class T>
T valueOf(Result<T>&& result) {
  if constexpr (std::is_void_v<T>) {
    (void)std::move(result).value();
  } else {
    return std::move(result).value();
  }
}

/// The side of a coroutine that its task knows: who waits for it, and where it runs.
///
/// Threads: its task's.
class QV_EXPORT TaskPromise {  // NOLINT(*-member-init): set when it begins
public:
  static void* operator new(std::size_t size) { return takeFrame(size); }
  static void operator delete(void* frame, std::size_t size) noexcept { giveFrameBack(frame, size); }

  TaskPromise(const TaskPromise&) = delete;
  TaskPromise& operator=(const TaskPromise&) = delete;

  /// Goes on with what waits for the coroutine. One that runs inside of its caller lets go of itself.
  struct Ending {
    bool runsInCaller;

    [[nodiscard]] bool await_ready() const noexcept { return runsInCaller; }
    template <std::derived_from<TaskPromise> Promise>
    void await_suspend(std::coroutine_handle<Promise> handle) const noexcept {
      static_cast<TaskPromise&>(handle.promise()).handOver();
    }
    void await_resume() const noexcept {}
  };

  std::suspend_always initial_suspend() const noexcept { return {}; }
  Ending final_suspend() const noexcept { return {depth_ > 0}; }

  /// As the outermost of a task.
  void beginIn(TaskContext& context, DispatchQueue& queue) noexcept {
    caller_ = nullptr;
    context_ = &context;
    queue_ = &queue;
    depth_ = 0;
  }
  /// Another one is to wait for it.
  void prepareFor(TaskPromise& caller) noexcept { caller_ = &caller; }
  /// False where it is not to run inside of its caller, but to go on next.
  [[nodiscard]] bool beginInCaller() noexcept {
    const TaskPromise& caller = *caller_;
    context_ = caller.context_;
    queue_ = caller.queue_;
    if (caller.depth_ == deepest) [[unlikely]] {
      depth_ = 0;
      context_->stretch().next = this;
      return false;
    }
    depth_ = caller.depth_ + 1;
    context_->noteRunning(*this);
    return true;
  }
  /// One that ran inside of this one has come to its end.
  void goOnInside() noexcept { context_->noteRunning(*this); }
  /// It has come to a wait inside of its caller, which now has to sleep.
  void noteWaitInCaller() noexcept { depth_ = 0; }
  /// The coroutine waits for what is no coroutine, as soon as all that wait for it sleep.
  void waitFor(void* awaited, bool (*wait)(void* awaited, TaskPromise& coroutine) noexcept) noexcept {
    TaskStretch& stretch = context_->stretch();
    stretch.waiting = this;
    stretch.wait = wait;
    stretch.awaited = awaited;
  }
  /// Goes on on another queue; at home there too after each wait.
  void moveTo(DispatchQueue& queue) noexcept { queue_ = &queue; }

  [[nodiscard]] TaskContext& context() const noexcept { return *context_; }
  [[nodiscard]] DispatchQueue& queue() const noexcept { return *queue_; }
  /// Of the coroutine, whatever it gives: its own class of promise adds nothing that would stand before this.
  [[nodiscard]] std::coroutine_handle<> handle() noexcept {
    return std::coroutine_handle<TaskPromise>::from_promise(*this);
  }
  /// Null for the outermost.
  [[nodiscard]] TaskPromise* caller() noexcept { return caller_; }
  [[nodiscard]] const TaskPromise* caller() const noexcept { return caller_; }

  /// For call stacks: the last thing that it has awaited.
  [[nodiscard]] const std::source_location& place() const noexcept { return place_; }

protected:
  TaskPromise() noexcept = default;  // NOLINT(*-member-init)
  ~TaskPromise() = default;

  void notePlace(const std::source_location& place) noexcept { place_ = place; }

private:
  void handOver() noexcept {
    TaskStretch& stretch = context_->stretch();
    if (caller_ == nullptr) {
      stretch.bodyHasEnded = true;
    } else if (caller_->queue_ == queue_) {
      stretch.next = caller_;
    } else {
      stretch.elsewhere = caller_;
    }
  }

  static constexpr unsigned deepest = 32;  // each takes a few hundred bytes of the thread's stack

  // Set when it begins.
  TaskPromise* caller_;
  TaskContext* context_;
  DispatchQueue* queue_;
  unsigned depth_;  // of coroutines that run inside of those that wait for them, up to this one
  std::source_location place_;
};

/// Stands for an awaitable towards the compiler, which may move it before the wait. The wait itself begins
/// when all coroutines of the task sleep; what it throws then comes out of `co_await`.
template <class Awaitable>
struct Awaited {
  Awaitable awaitable;
  std::exception_ptr failure = nullptr;

  [[nodiscard]] bool await_ready() { return awaitable.await_ready(); }
  template <class Promise>
  void await_suspend(std::coroutine_handle<Promise> caller) noexcept {
    caller.promise().waitFor(this, [](void* awaited, TaskPromise& coroutine) noexcept {
      auto& its = *static_cast<Awaited*>(awaited);
      try {
        return its.awaitable.await_suspend(coroutine);
      } catch (...) {
        its.failure = std::current_exception();
        return false;
      }
    });
  }
  decltype(auto) await_resume() {
    if (failure != nullptr) [[unlikely]]
      std::rethrow_exception(std::move(failure));
    return awaitable.await_resume();
  }
};

/// Moves a coroutine to a queue.
class QV_EXPORT QueueAwaiter {
public:
  explicit QueueAwaiter(std::shared_ptr<DispatchQueue> queue);
  [[nodiscard]] bool await_ready() const noexcept { return false; }
  [[nodiscard]] bool await_suspend(TaskPromise& coroutine);
  void await_resume() const noexcept {}

private:
  std::shared_ptr<DispatchQueue> queue_;
};

/// Waits for a coroutine, which it begins.
template <class T>
class TaskAwaiter;
template <class T>
class TaskResultAwaiter;

/// A coroutine that is awaited for its result.
template <class T>
struct TaskForResult {
  Task<T> task;
};

/// What coroutines of all kinds can do with `co_await`.
template <class T>
class TaskPromiseOf;

template <class T>
class TaskPromiseBase : public TaskPromise {  // NOLINT(*-member-init): likewise
public:
  Task<T> get_return_object(std::source_location function = std::source_location::current()) noexcept;
  void unhandled_exception() noexcept { outcome_->setFailure(std::current_exception()); }
  void leaveIn(TaskOutcome<T>& outcome) noexcept { outcome_ = &outcome; }

  template <class U>
  [[nodiscard]] TaskAwaiter<U> await_transform(
      Task<U>&& task, std::source_location place = std::source_location::current()) noexcept {
    notePlace(place);
    return TaskAwaiter<U>(std::move(task), *this);
  }
  template <class U>
  [[nodiscard]] TaskResultAwaiter<U> await_transform(
      TaskForResult<U>&& its, std::source_location place = std::source_location::current()) noexcept {
    notePlace(place);
    return TaskResultAwaiter<U>(std::move(its).task, *this);
  }
  template <class U>
  void await_transform(Task<U>& task) = delete;  // is awaited once: std::move(task)

  [[nodiscard]] Awaited<QueueAwaiter> await_transform(
      std::shared_ptr<DispatchQueue> queue, std::source_location place = std::source_location::current()) {
    notePlace(place);
    return {QueueAwaiter(std::move(queue))};
  }

  template <class Awaitable>
    requires std::derived_from<std::remove_cvref_t<Awaitable>, TaskAwaitable>
  [[nodiscard]] auto await_transform(Awaitable&& awaitable,
                                     std::source_location place = std::source_location::current()) {
    notePlace(place);
    if constexpr (requires { awaitable.operator co_await(); }) {
      return Awaited<decltype(awaitable.operator co_await())>{awaitable.operator co_await()};
    } else {
      return Awaited<Awaitable&>{awaitable};
    }
  }

protected:
  TaskOutcome<T>* outcome_;  // set when it begins
};

template <class T>
class TaskPromiseOf final : public TaskPromiseBase<T> {
public:
  template <class U = T>
    requires std::convertible_to<U, T>
  void return_value(U&& value) {
    this->outcome_->setValue(std::forward<U>(value));
  }
};

template <>
class TaskPromiseOf<void> final : public TaskPromiseBase<void> {
public:
  void return_void() noexcept { outcome_->setValue(); }
};

}  // namespace detail

}  // namespace QVFoundation
