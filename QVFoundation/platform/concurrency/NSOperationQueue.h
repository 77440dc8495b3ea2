#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/concurrency/NSOperation.h"
#include "QVFoundation/platform/concurrency/QualityOfService.h"
#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/runtime/NSObject.h"

namespace QVFoundation {

/// Starts operations in the background when they are ready: the more urgent first, as many at a time as it
/// may.
///
/// ```cpp
/// const auto queue = std::make_shared<NSOperationQueue>();
/// queue->setMaxConcurrentOperationCount(2);
/// for (const auto& file : files) queue->addOperation(std::make_shared<Import>(file));
/// queue->addBarrierBlock([=] { index->save(); });  // when all of them have finished
/// ```
///
/// Observable: "operations", "operationCount", "maxConcurrentOperationCount", "isSuspended", "name".
///
/// Threads: any.
/// Ownership: operations that are on a queue live until they have finished, and finish also when nobody holds
/// the queue any more.
/// Errors: an operation that is on a queue already, or has been started, and an empty block raise
/// `NSInvalidArgumentException`.
class QV_EXPORT NSOperationQueue : public NSObject {
public:
  /// As many as the pool of threads finds good.
  static constexpr int defaultMaxConcurrentOperationCount = -1;

  static const NSClass& staticClass();
  const NSClass& dynamicClass() const override { return staticClass(); }

  NSOperationQueue();
  ~NSOperationQueue() override;

  /// Runs operations one at a time on the main thread; see `MainQueue.h`.
  [[nodiscard]] static const std::shared_ptr<NSOperationQueue>& mainQueue();

  enum class WaitUntilFinished : bool { no, yes };

  void addOperation(const std::shared_ptr<NSOperation>& operation);
  /// Where one is refused, those before it are on the queue, and those behind it are not.
  void addOperations(const std::vector<std::shared_ptr<NSOperation>>& operations,
                     WaitUntilFinished waitUntilFinished = WaitUntilFinished::no);
  void addOperationWithBlock(std::function<void()> block);
  /// Runs a block when all that is on the queue now has finished; what is added later waits for it.
  void addBarrierBlock(std::function<void()> block);

  /// Those that have not finished, in the order in which they were added.
  [[nodiscard]] std::vector<std::shared_ptr<NSOperation>> operations() const;
  [[nodiscard]] std::size_t operationCount() const;

  [[nodiscard]] int maxConcurrentOperationCount() const;
  /// Negative for the default. What executes already goes on.
  void setMaxConcurrentOperationCount(int count);
  [[nodiscard]] bool isSuspended() const;
  /// A suspended queue starts nothing; what executes goes on.
  void setSuspended(bool suspended);
  [[nodiscard]] QualityOfService qualityOfService() const;
  /// Of operations that have none of their own.
  void setQualityOfService(QualityOfService qualityOfService);
  [[nodiscard]] std::optional<std::string> name() const;
  void setName(std::optional<std::string> name);

  void cancelAllOperations();
  /// Returns at a moment when there is none left.
  void waitUntilAllOperationsAreFinished();

private:
  enum class Target : bool { background, mainThread };
  explicit NSOperationQueue(Target target);

  void add(const std::shared_ptr<NSOperation>& operation, bool isBarrier);

  const std::shared_ptr<detail::OperationQueueCore> core_;
};

}  // namespace QVFoundation
