#pragma once

#include <memory>
#include <utility>

namespace QVFoundation {

class QVUndoableOperation;

/// Holds what undoes an operation, once that is known: an undo action is registered before the operation has
/// run.
///
/// Threads: the main thread.
/// Ownership: keeps the operation.
class QVUndoableOperationPlaceholder {
public:
  explicit QVUndoableOperationPlaceholder(
      std::shared_ptr<QVUndoableOperation> undoOperation = nullptr) noexcept
      : undoOperation_(std::move(undoOperation)) {}

  /// Null as long as it is not known.
  [[nodiscard]] const std::shared_ptr<QVUndoableOperation>& undoOperation() const noexcept {
    return undoOperation_;
  }
  void setUndoOperation(std::shared_ptr<QVUndoableOperation> operation) noexcept {
    undoOperation_ = std::move(operation);
  }

private:
  std::shared_ptr<QVUndoableOperation> undoOperation_;
};

}  // namespace QVFoundation
