#include "QVFoundation/platform/concurrency/TaskCancellation.h"

#include "QVFoundation/platform/concurrency/TaskContext.h"
#include "QVFoundation/platform/runtime/FatalError.h"

namespace QVFoundation {

using detail::TaskContext;

std::optional<AnyTaskHandle> currentTask() {
  TaskContext* const task = TaskContext::current();
  if (task == nullptr) return {};
  return AnyTaskHandle(detail::TaskReference<>::retaining(*task));
}

bool currentTaskIsCancelled() noexcept {
  const TaskContext* const task = TaskContext::current();
  return task != nullptr && task->isCancelled();
}

void checkTaskCancellation() {
  if (currentTaskIsCancelled()) throw CancellationError();
}

std::stop_token currentTaskStopToken() {
  TaskContext* const task = TaskContext::current();
  return task != nullptr ? task->stopToken() : std::stop_token();
}

namespace detail {

CancellationScope::CancellationScope(std::function<void()> handler)
    : task_(TaskContext::ofCaller("A cancellation handler")), handler_(std::move(handler)) {
  task_.add(handler_);
}

bool CancellationScope::await_ready() noexcept { return task_.removeOrCall(handler_); }

bool CancellationScope::await_suspend(TaskPromise& caller) noexcept {
  wait_.prepareFor(caller);
  return task_.resumeAfterCall(handler_, wait_) && wait_.sleep();
}

}  // namespace detail

}  // namespace QVFoundation
