#include "QVFoundation/operations/QVOperation.h"

#include <utility>

#include "QVFoundation/operations/QVAsyncBlockOperation.h"
#include "QVFoundation/operations/QVOperationState_p.h"
#include "QVFoundation/platform/concurrency/Continuation.h"
#include "QVFoundation/platform/concurrency/TaskCancellation.h"

namespace QVFoundation {

Task<> QVOperation::runOperation() {
  const auto self = std::static_pointer_cast<QVOperation>(shared_from_this());
  co_await withTaskCancellationHandler([this] { return runInBackground(); }, [this] { cancel(); });
}

Task<> QVOperation::runInBackground() {
  refuseIfTaken();  // the completion block is that of who has taken it
  co_await untilEnded([this] { startInBackground(); }, "runOperation()");
  throwIfKeptFromRunning(*this);
  if (const QVAnyResult result = resultStorage(); !result.hasValue())
    std::rethrow_exception(result.exception());
}

Task<> QVOperation::untilEnded(std::function<void()> start, const char* label) {
  co_await withContinuation<void>(
      [this, &start](const Continuation<void>& waiting) {
        setCompletionBlock([waiting] { waiting.resume(); });
        try {
          start();
        } catch (...) {
          setCompletionBlock({});
          throw;
        }
      },
      label);
}

QVAnyResult QVOperation::runAsyncBlock(std::function<Task<QVAnyResult>()> block) {
  return performSubOperation(std::make_shared<QVAsyncBlockOperation<QVAnyResult>>(std::move(block)), 0);
}

}  // namespace QVFoundation
