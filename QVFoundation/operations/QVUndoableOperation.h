#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "QVFoundation/operations/QVOperation.h"
#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/application/NSUndoManager.h"
#include "QVFoundation/platform/concurrency/Task.h"

namespace QVFoundation {

/// An operation that another operation can take back.
///
/// ```cpp
/// class Move : public QVOperation, public QVSyncOperationProtocol<void>, public QVUndoableOperation {
/// public:
///   void perform() override { ... }
///   std::shared_ptr<QVUndoableOperation> makeUndoOperation() override {
///     return operationError() ? nullptr : std::make_shared<Move>(to_, from_);
///   }
///   ...
/// };
///
/// perform(std::make_shared<Move>(from, to), undoManager, document, "Move", [](QVUndoableOperation&) { ... });
/// undoManager->undo();   // runs the move back, and what that gives is redone by redo()
/// ```
///
/// Threads: asked on the main thread.
class QV_EXPORT QVUndoableOperation {
public:
  QVUndoableOperation(const QVUndoableOperation&) = delete;
  QVUndoableOperation& operator=(const QVUndoableOperation&) = delete;

  /// What takes back what this one has done, asked once it has finished; null where nothing does, such as
  /// after a failure.
  [[nodiscard]] virtual std::shared_ptr<QVUndoableOperation> makeUndoOperation() = 0;

protected:
  QVUndoableOperation() = default;
  virtual ~QVUndoableOperation();
};

/// Runs an operation in the background so that it can be undone, and redone: first registers with the undo
/// manager how to undo it, then starts it. When it has finished, the handler is called, if there is one, and
/// then the operation is asked what undoes it. Undoing runs that in the same way, which registers how to redo
/// it.
///
/// Undoing one that has not finished yet, or that nothing undoes, does nothing, and its place on the undo
/// manager is gone. The operation's own completion block is replaced.
///
/// Threads: where the undo manager is used, which is the main thread; the handler runs there.
/// Ownership: the operation is kept until it has finished, what undoes it as long as the undo manager can
/// call it. The target is not kept; without it nothing is undone.
/// Errors: `NSInvalidArgumentException` where the operation is no `QVOperation`, has been started before, or
/// is on a queue, or there is no target; that of `registerUndo` where there is no group. Then nothing is
/// registered, and nothing started. What leaves the handler or `makeUndoOperation` ends the process.
QV_EXPORT void perform(const std::shared_ptr<QVUndoableOperation>& operation,
                       const std::shared_ptr<NSUndoManager>& undoManager, const std::shared_ptr<void>& target,
                       const std::optional<std::string>& actionName,
                       std::function<void(QVUndoableOperation&)> completionHandler);
/// Awaited, the same until the operation has finished. It throws nothing of the operation's, which says
/// itself how it has ended. Unlike in `runOperation()`, cancelling the task that awaits it does not cancel
/// the operation. Awaited on the main thread, as in `MainActor::run`.
[[nodiscard]] QV_EXPORT Task<> perform(std::shared_ptr<QVUndoableOperation> operation,
                                       std::shared_ptr<NSUndoManager> undoManager,
                                       std::shared_ptr<void> target, std::optional<std::string> actionName);

}  // namespace QVFoundation
