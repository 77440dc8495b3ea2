#include "QVFoundation/platform/concurrency/TaskPromise.h"

#include "QVFoundation/platform/concurrency/DispatchQueue.h"
#include "QVFoundation/platform/concurrency/TaskYield.h"
#include "QVFoundation/platform/runtime/FatalError.h"
#include "QVFoundation/platform/runtime/NSException.h"

namespace QVFoundation::detail {

void refuseMovedTask() noexcept {
  fatalError("A task is awaited or started that has been moved away before");
}

QueueAwaiter::QueueAwaiter(std::shared_ptr<DispatchQueue> queue) : queue_(std::move(queue)) {
  if (queue_ == nullptr) throw NSException(NSInvalidArgumentException, "A task cannot go on on no queue");
}

bool QueueAwaiter::await_suspend(TaskPromise& coroutine) {
  if (&coroutine.queue() == queue_.get()) return false;
  DispatchQueue& queue = *queue_;
  coroutine.context().keep(std::move(queue_));
  coroutine.moveTo(queue);
  coroutine.context().resume(coroutine);
  return true;
}

bool YieldAwaiter::await_suspend(TaskPromise& caller) {
  caller.context().resume(caller);
  return true;
}

}  // namespace QVFoundation::detail
