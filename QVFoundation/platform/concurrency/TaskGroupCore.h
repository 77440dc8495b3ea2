#pragma once

#include <cstddef>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/concurrency/CancellationRecord.h"
#include "QVFoundation/platform/concurrency/TaskContext.h"
#include "QVFoundation/platform/concurrency/TaskPromise.h"
#include "QVFoundation/platform/concurrency/TaskSuspension.h"
#include "QVFoundation/platform/concurrency/UnfairLock.h"

namespace QVFoundation::detail {

/// The children of a task: those that run, and those that have ended and were not taken yet, in the order in
/// which they ended.
///
/// Internal: installed because other headers need it.
///
/// Threads: children end on any; all else belongs to the task that has the group.
/// Ownership: keeps its children until they are taken. It goes when all have been.
class QV_EXPORT TaskGroupCore final : private CancellationRecord {
public:
  /// Of the task that runs.
  TaskGroupCore();
  ~TaskGroupCore() override;

  /// Starts one, cancelled where the group is.
  void add(TaskContext& child);
  /// Gives the coroutine that has waited for that, where it sleeps.
  [[nodiscard]] TaskPromise* childHasEnded(TaskContext& child) noexcept;
  void cancelAll() noexcept;

  [[nodiscard]] bool isCancelled() const noexcept;
  /// Whether none runs and none is left to be taken.
  [[nodiscard]] bool isEmpty() const noexcept;

  enum class Before : unsigned char { nothing, cancelsAll };

  /// Waits for one that has ended; null where there is none any more.
  class QV_EXPORT Next : public TaskAwaitable {
  public:
    explicit Next(TaskGroupCore& group, Before before = Before::nothing) noexcept
        : group_(group), before_(before) {}
    [[nodiscard]] bool await_ready() const noexcept { return false; }
    [[nodiscard]] bool await_suspend(TaskPromise& caller) noexcept;
    [[nodiscard]] TaskReference<> await_resume() noexcept { return group_.takeEnded(); }

  private:
    TaskGroupCore& group_;
    const Before before_;
    TaskSuspension suspension_;
  };

private:
  CancellationOutcome noteCancellation() noexcept override;
  [[nodiscard]] TaskContext* claimAll() noexcept;
  void unlist(TaskContext& child) noexcept QV_REQUIRES(lock_);
  [[nodiscard]] TaskReference<> takeEnded() noexcept;

  TaskContext& parent_;
  mutable UnfairLock lock_;  // taken after that of the parent
  bool isCancelled_ QV_GUARDED_BY(lock_) = false;
  TaskContext* running_ QV_GUARDED_BY(lock_) = nullptr;
  TaskContext* firstEnded_ QV_GUARDED_BY(lock_) = nullptr;
  TaskContext* lastEnded_ QV_GUARDED_BY(lock_) = nullptr;
  TaskSuspension* waits_ QV_GUARDED_BY(lock_) = nullptr;
};

}  // namespace QVFoundation::detail
