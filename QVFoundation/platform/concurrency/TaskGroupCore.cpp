#include "QVFoundation/platform/concurrency/TaskGroupCore.h"

#include <utility>

#include "QVFoundation/platform/runtime/FatalError.h"

namespace QVFoundation::detail {

TaskGroupCore::TaskGroupCore() : parent_(TaskContext::ofCaller("A task group")) { parent_.add(*this); }
TaskGroupCore::~TaskGroupCore() {
  parent_.remove(*this);
  const UnfairLockGuard guard(lock_);
  if (running_ != nullptr) fatalError("A task group has gone while its children run: use withTaskGroup");
}

void TaskGroupCore::add(TaskContext& child) {
  child.retain();  // until it is taken
  {
    const UnfairLockGuard guard(lock_);
    child.nextInGroup_ = running_;
    if (running_ != nullptr) running_->previousInGroup_ = &child;
    running_ = &child;
  }
  if (isCancelled()) child.cancel();
  try {
    child.start();
  } catch (...) {
    {
      const UnfairLockGuard guard(lock_);
      unlist(child);
    }
    child.release();
    throw;
  }
}

void TaskGroupCore::unlist(TaskContext& child) noexcept {
  if (child.nextInGroup_ != nullptr) child.nextInGroup_->previousInGroup_ = child.previousInGroup_;
  (child.previousInGroup_ != nullptr ? child.previousInGroup_->nextInGroup_ : running_) = child.nextInGroup_;
  child.previousInGroup_ = child.nextInGroup_ = nullptr;
}

// The group may be gone as soon as the lock is.
TaskPromise* TaskGroupCore::childHasEnded(TaskContext& child) noexcept {
  child.release();  // what it held of itself; the group keeps it still
  TaskSuspension* waits = nullptr;
  {
    const UnfairLockGuard guard(lock_);
    unlist(child);
    (lastEnded_ != nullptr ? lastEnded_->nextInGroup_ : firstEnded_) = &child;
    lastEnded_ = &child;
    waits = std::exchange(waits_, nullptr);
  }
  return waits != nullptr ? waits->takeSleeper() : nullptr;
}

void TaskGroupCore::cancelAll() noexcept { TaskContext::tell(claimAll()); }

CancellationOutcome TaskGroupCore::noteCancellation() noexcept { return {.claimed = claimAll()}; }

TaskContext* TaskGroupCore::claimAll() noexcept {
  TaskContext* claimed = nullptr;
  const UnfairLockGuard guard(lock_);
  isCancelled_ = true;
  for (TaskContext* child = running_; child != nullptr; child = child->nextInGroup_) child->claim(claimed);
  return claimed;
}

// Who cancels the task may not have come to the group yet.
bool TaskGroupCore::isCancelled() const noexcept {
  if (parent_.isCancelled()) return true;
  const UnfairLockGuard guard(lock_);
  return isCancelled_;
}

bool TaskGroupCore::isEmpty() const noexcept {
  const UnfairLockGuard guard(lock_);
  return running_ == nullptr && firstEnded_ == nullptr;
}

TaskReference<> TaskGroupCore::takeEnded() noexcept {
  const UnfairLockGuard guard(lock_);
  TaskContext* const child = firstEnded_;
  if (child == nullptr) return {};
  firstEnded_ = std::exchange(child->nextInGroup_, nullptr);
  if (firstEnded_ == nullptr) lastEnded_ = nullptr;
  return TaskReference<>(child);
}

bool TaskGroupCore::Next::await_suspend(TaskPromise& caller) noexcept {
  if (before_ == Before::cancelsAll) TaskContext::tell(group_.claimAll(), &caller);
  suspension_.prepareFor(caller);
  {
    const UnfairLockGuard guard(group_.lock_);
    if (group_.firstEnded_ != nullptr || group_.running_ == nullptr) return false;
    group_.waits_ = &suspension_;
  }
  return suspension_.sleep();
}

}  // namespace QVFoundation::detail
