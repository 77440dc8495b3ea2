#include "QVFoundation/operations/QVOperation.h"

#include <exception>
#include <functional>
#include <utility>

#include "QVFoundation/operations/QVAsyncBlockOperation.h"
#include "QVFoundation/operations/QVOperationState_p.h"
#include "QVFoundation/platform/concurrency/TaskCancellation.h"
#include "QVFoundation/platform/concurrency/TaskPromise.h"
#include "QVFoundation/platform/concurrency/TaskSuspension.h"

namespace QVFoundation {

Task<> QVOperation::runOperation() {
  const auto self = std::static_pointer_cast<QVOperation>(shared_from_this());
  co_await withTaskCancellationHandler([this] { return runInBackground(); }, [this] { cancel(); });
}

Task<> QVOperation::runInBackground() {
  refuseIfTaken();
  co_await untilEnded([this] { startInBackground(); });
  throwIfKeptFromRunning(*this);
  if (const QVAnyResult result = resultStorage(); !result.hasValue())
    std::rethrow_exception(result.exception());
}

/// A coroutine that waits for the end of an operation, which it starts.
class QVOperation::Run final : public detail::TaskAwaitable, private EndListener {
public:
  Run(QVOperation& operation, const std::function<void()>& start) noexcept
      : operation_(operation), start_(start) {}

  [[nodiscard]] bool await_ready() const noexcept { return false; }
  [[nodiscard]] bool await_suspend(detail::TaskPromise& caller) {
    suspension_.prepareFor(caller);
    const bool listens = operation_.addEndListener(*this);
    try {
      start_();
    } catch (...) {
      failure_ = std::current_exception();
    }
    if (!listens || (failure_ != nullptr && operation_.removeEndListener(*this))) return false;
    return suspension_.sleep();
  }
  void await_resume() {
    if (failure_ != nullptr) std::rethrow_exception(failure_);
  }

private:
  void noteEnd() noexcept override { suspension_.resume(); }

  QVOperation& operation_;
  const std::function<void()>& start_;
  std::exception_ptr failure_;
  detail::TaskSuspension suspension_;
};

Task<> QVOperation::untilEnded(std::function<void()> start) {
  setCompletionBlock({});
  Run run(*this, start);
  co_await run;
}

QVAnyResult QVOperation::runAsyncBlock(std::function<Task<QVAnyResult>()> block) {
  return performSubOperation(std::make_shared<QVAsyncBlockOperation<QVAnyResult>>(std::move(block)), 0);
}

}  // namespace QVFoundation
