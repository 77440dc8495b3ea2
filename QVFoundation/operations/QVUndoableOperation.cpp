#include "QVFoundation/operations/QVUndoableOperation.h"

#include <utility>

#include "QVFoundation/operations/QVUndoableOperationPlaceholder.h"
#include "QVFoundation/platform/concurrency/Continuation.h"
#include "QVFoundation/platform/runtime/NSException.h"

namespace QVFoundation {

QVUndoableOperation::~QVUndoableOperation() = default;

void perform(const std::shared_ptr<QVUndoableOperation>& operation,
             const std::shared_ptr<NSUndoManager>& undoManager, const std::shared_ptr<void>& target,
             const std::optional<std::string>& actionName,
             std::function<void(QVUndoableOperation&)> completionHandler) {
  const auto running = std::dynamic_pointer_cast<QVOperation>(operation);
  if (running == nullptr) throw NSException(NSInvalidArgumentException, "What can be undone is no operation");
  running->refuseIfTaken();
  const auto placeholder = std::make_shared<QVUndoableOperationPlaceholder>();
  const std::weak_ptr<NSUndoManager> weakManager = undoManager;
  const std::weak_ptr<void> weakTarget = target;
  undoManager->registerUndo(target, [placeholder, weakManager, weakTarget, actionName] {
    const auto manager = weakManager.lock();
    if (manager == nullptr || placeholder->undoOperation() == nullptr) return;
    perform(placeholder->undoOperation(), manager, weakTarget.lock(), actionName, {});
  });
  if (actionName) undoManager->setActionName(*actionName);
  running->startInBackgroundWithMainThreadCompletionHandler(
      [operation, placeholder, completionHandler = std::move(completionHandler)](QVOperation& /*finished*/) {
        if (completionHandler) completionHandler(*operation);
        if (auto inverse = operation->makeUndoOperation()) placeholder->setUndoOperation(std::move(inverse));
      });
}

Task<> perform(std::shared_ptr<QVUndoableOperation> operation, std::shared_ptr<NSUndoManager> undoManager,
               std::shared_ptr<void> target, std::optional<std::string> actionName) {
  co_await withContinuation<void>([&](const Continuation<void>& waiting) {
    perform(operation, undoManager, target, actionName,
            [waiting](QVUndoableOperation&) { waiting.resume(); });
  });
}

}  // namespace QVFoundation
