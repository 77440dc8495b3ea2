#pragma once

#include <atomic>
#include <concepts>
#include <exception>
#include <functional>
#include <optional>
#include <type_traits>
#include <utility>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/concurrency/TaskContext.h"
#include "QVFoundation/platform/concurrency/TaskOutcome.h"
#include "QVFoundation/platform/concurrency/TaskPromise.h"
#include "QVFoundation/platform/runtime/Result.h"

namespace QVFoundation::detail {

/// For who asks for a value that somebody else has got.
[[nodiscard]] QV_EXPORT std::exception_ptr valueIsTaken(const TaskContext& task);

template <class T>
struct TaskOutput {
  using Type = std::remove_cvref_t<T>;
  static constexpr bool isTask = false;
};
template <class T>
struct TaskOutput<Task<T>> {
  using Type = T;
  static constexpr bool isTask = true;
};

template <class Callable, class... Arguments>
inline constexpr bool givesTask = TaskOutput<std::invoke_result_t<Callable, Arguments...>>::isTask;
/// What a callable gives, or the task that it gives does.
template <class Callable, class... Arguments>
using OutputOfTask = typename TaskOutput<std::invoke_result_t<Callable, Arguments...>>::Type;

/// A task that gives a `T`.
///
/// Internal: installed because other headers need it.
///
/// Threads: the result may be read by any once the task has ended.
template <class T>
class TaskState : public TaskContext {
public:
  [[nodiscard]] const Result<T>& result() const noexcept { return *result_; }

  /// For one who asks. A value that cannot be copied goes to the first.
  T takeValue() { return valueOf(resultForOne()); }
  [[nodiscard]] Result<T> resultForOne() {
    if constexpr (std::is_void_v<T> || std::copy_constructible<T>) {
      return *result_;
    } else {
      if (!result_->hasValue()) return Result<T>::failure(result_->exception());
      if (isTaken_.exchange(true)) return Result<T>::failure(valueIsTaken(*this));
      return *std::move(result_);
    }
  }

protected:
  using TaskContext::TaskContext;

  template <std::invocable Make>
  void setResult(Make make) noexcept {
    try {
      result_.emplace(make());
    } catch (...) {
      result_.emplace(Result<T>::failure(std::current_exception()));
    }
  }

private:
  std::optional<Result<T>> result_;
  std::atomic<bool> isTaken_{false};
};

/// One with its body: what a callable gives, or does.
template <class Callable>
class StartedTask final : public TaskState<OutputOfTask<Callable&>> {
  using Output = OutputOfTask<Callable&>;

public:
  StartedTask(TaskOptions options, Callable callable, TaskGroupCore* group = nullptr)
      : TaskState<Output>(std::move(options), group), callable_(std::move(callable)) {}

private:
  TaskPromise* begin() noexcept override {
    if constexpr (givesTask<Callable&>) {
      try {
        body_.emplace(std::invoke(*callable_));
        return &body_->task.beginIn(*this, this->queue(), body_->outcome);
      } catch (...) {
        this->setResult([] { return Result<Output>::failure(std::current_exception()); });
      }
    } else {
      this->setResult([this] { return Result<Output>::of(*callable_); });
    }
    callable_.reset();
    return nullptr;
  }

  void takeResult() noexcept override {
    if constexpr (givesTask<Callable&>) {
      this->setResult([this] { return body_->outcome.takeResult(); });
      body_.reset();
      callable_.reset();
    }
  }

  struct Body {
    explicit Body(Task<Output> its) noexcept : task(std::move(its)) {}
    Task<Output> task;
    TaskOutcome<Output> outcome;
  };
  struct Nothing {};

  std::optional<Callable> callable_;
  [[no_unique_address]] std::conditional_t<givesTask<Callable&>, std::optional<Body>, Nothing> body_;
};

}  // namespace QVFoundation::detail
