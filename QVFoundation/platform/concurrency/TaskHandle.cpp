#include "QVFoundation/platform/concurrency/TaskHandle.h"

namespace QVFoundation::detail {

TaskEndAwaiter::TaskEndAwaiter(TaskReference<> task) noexcept : task_(std::move(task)) {}
TaskEndAwaiter::~TaskEndAwaiter() = default;

bool TaskEndAwaiter::await_suspend(TaskPromise& caller) noexcept {
  suspension_.prepareFor(caller);
  return task_->addWaiter(*this) && suspension_.sleep();
}

TaskPromise* TaskEndAwaiter::taskHasEnded() noexcept { return suspension_.takeSleeper(); }

}  // namespace QVFoundation::detail
