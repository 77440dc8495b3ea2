#pragma once

#include <concepts>
#include <optional>
#include <type_traits>
#include <utility>

#include "QVFoundation/platform/concurrency/Task.h"
#include "QVFoundation/platform/concurrency/TaskGroupCore.h"
#include "QVFoundation/platform/concurrency/TaskState.h"
#include "QVFoundation/platform/runtime/Result.h"

namespace QVFoundation {

/// Children of a task that run side by side and are over before the function that has started them is.
///
/// ```cpp
/// Task<std::vector<Image>> thumbnails(std::vector<std::filesystem::path> files) {
///   co_return co_await withTaskGroup<Image>([&files](TaskGroup<Image>& group) -> Task<std::vector<Image>> {
///     for (const auto& file : files) group.addTask([file] { return thumbnail(file); });
///     std::vector<Image> images;
///     while (auto image = co_await group.next()) images.push_back(*std::move(image));
///     co_return images;
///   });
/// }
/// ```
///
/// A child is cancelled when the task is, and when the body throws. Children that the body has not asked for
/// are waited for, and what they give or throw is dropped.
///
/// Threads: used by the body alone; its children run on the pool.
/// Ownership: lives as long as `withTaskGroup` runs.
template <class T = void>
class TaskGroup {
public:
  TaskGroup() = default;
  TaskGroup(const TaskGroup&) = delete;
  TaskGroup& operator=(const TaskGroup&) = delete;

  /// Starts a child with what an asynchronous function does, or a plain one. In a group that is cancelled it
  /// begins cancelled.
  template <class Callable>
    requires std::invocable<std::decay_t<Callable>&> &&
             std::same_as<detail::OutputOfTask<std::decay_t<Callable>&>, T>
  void addTask(Callable&& callable) {
    addTask({}, std::forward<Callable>(callable));
  }
  template <class Callable>
    requires std::invocable<std::decay_t<Callable>&> &&
             std::same_as<detail::OutputOfTask<std::decay_t<Callable>&>, T>
  void addTask(TaskOptions options, Callable&& callable) {
    using State = detail::StartedTask<std::decay_t<Callable>>;
    const detail::TaskReference task(new State(std::move(options), std::forward<Callable>(callable), &core_));
    core_.add(*task);
  }
  /// False where the group is cancelled, and then there is no child.
  template <class Callable>
  bool addTaskUnlessCancelled(Callable&& callable) {
    return addTaskUnlessCancelled({}, std::forward<Callable>(callable));
  }
  template <class Callable>
  bool addTaskUnlessCancelled(TaskOptions options, Callable&& callable) {
    if (isCancelled()) return false;
    addTask(std::move(options), std::forward<Callable>(callable));
    return true;
  }

  /// The value of the next child to end, or what it throws; nothing where all have been asked for. Of
  /// children without a value, true.
  [[nodiscard]] auto next() { return Next<false>(core_); }
  /// The same as a result, which throws nothing.
  [[nodiscard]] auto nextResult() { return Next<true>(core_); }
  /// Waits for all that there are. The first failure is thrown, when all have ended; the others go on
  /// meanwhile.
  Task<void> waitForAll() {
    std::optional<Result<T>> failure;
    while (auto result = co_await nextResult()) {
      if (!result->hasValue() && !failure) failure = std::move(result);
    }
    if (failure) (void)failure->value();
  }

  /// Asks all children to end early, also those that are still to come.
  void cancelAll() noexcept { core_.cancelAll(); }
  /// The same, and waits until they have. What they still give or throw is dropped. Sooner than first the one
  /// and then the other: a child that is woken by it goes on on the thread of the task that waits.
  Task<void> cancelAndWaitForAll() { return waitAndDrop(Before::cancelsAll); }
  [[nodiscard]] bool isCancelled() const noexcept { return core_.isCancelled(); }
  /// Whether all children have been asked for.
  [[nodiscard]] bool isEmpty() const noexcept { return core_.isEmpty(); }

private:
  template <class U, class Body>
    requires std::invocable<Body&, TaskGroup<U>&> && (detail::givesTask<Body&, TaskGroup<U>&>)
  friend auto withTaskGroup(Body body) -> Task<typename std::invoke_result_t<Body&, TaskGroup<U>&>::Output>;

  using Before = detail::TaskGroupCore::Before;

  /// Waits for all without a look at what they give.
  Task<void> waitAndDrop(Before before = Before::nothing) {
    auto child = co_await detail::TaskGroupCore::Next(core_, before);
    while (child.get() != nullptr) child = co_await detail::TaskGroupCore::Next(core_);
  }

  template <bool givesResults>
  class Next final : public detail::TaskGroupCore::Next {
  public:
    using detail::TaskGroupCore::Next::Next;
    [[nodiscard]] auto await_resume() {
      const auto child = detail::TaskGroupCore::Next::await_resume();
      auto* const state = static_cast<detail::TaskState<T>*>(child.get());
      if constexpr (givesResults) {
        return state != nullptr ? std::optional(state->resultForOne()) : std::nullopt;
      } else if constexpr (std::is_void_v<T>) {
        if (state != nullptr) state->takeValue();
        return state != nullptr;
      } else {
        return state != nullptr ? std::optional<T>(state->takeValue()) : std::nullopt;
      }
    }
  };

  detail::TaskGroupCore core_;
};

/// Runs a body with a group of children that give a `T`, and gives what the body gives once all children have
/// ended.
///
/// Threads: awaited inside of a task, which the body is a part of.
/// Errors: what the body throws, after its children have been cancelled and have ended.
template <class T = void, class Body>
  requires std::invocable<Body&, TaskGroup<T>&> && (detail::givesTask<Body&, TaskGroup<T>&>)
auto withTaskGroup(Body body) -> Task<typename std::invoke_result_t<Body&, TaskGroup<T>&>::Output> {
  TaskGroup<T> group;
  auto result = co_await detail::callInTask(body, group).result();
  if (!result.hasValue()) co_await group.cancelAndWaitForAll();
  co_await group.waitAndDrop();
  co_return detail::valueOf(std::move(result));
}

}  // namespace QVFoundation
