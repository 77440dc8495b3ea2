#pragma once

#include <functional>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/concurrency/NSOperation.h"
#include "QVFoundation/platform/runtime/NSClass.h"

namespace QVFoundation {

/// An operation whose work is a block: so a block can wait for others, have a priority, be cancelled before
/// it runs.
///
/// ```cpp
/// const auto read = std::make_shared<NSBlockOperation>([=] { *pages = load(file); });
/// const auto index = std::make_shared<NSBlockOperation>([=] { words->insert(*pages); });
/// index->addDependency(read);
/// queue->addOperations({read, index});
/// ```
///
/// Threads: as for `NSOperation`.
/// Ownership: the block goes with what it holds once it has run; one that does not run goes with the
/// operation.
/// Errors: an empty block raises `NSInvalidArgumentException`.
class QV_EXPORT NSBlockOperation : public NSOperation {
public:
  static const NSClass& staticClass();
  const NSClass& dynamicClass() const override { return staticClass(); }

  explicit NSBlockOperation(std::function<void()> block);
  ~NSBlockOperation() override;

  /// Runs the block, the first time.
  void main() override;

private:
  std::function<void()> block_;
};

}  // namespace QVFoundation
