#pragma once

#include <atomic>
#include <concepts>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "QVFoundation/operations/QVAsyncSemaphore.h"
#include "QVFoundation/operations/QVOperation.h"
#include "QVFoundation/operations/QVOperationProtocol.h"
#include "QVFoundation/operations/QVProgressSegmentName.h"
#include "QVFoundation/operations/QVTimingName.h"
#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/concurrency/Task.h"
#include "QVFoundation/platform/concurrency/TaskHandle.h"
#include "QVFoundation/platform/concurrency/ThreadSafety.h"
#include "QVFoundation/platform/concurrency/UnfairLock.h"

namespace QVFoundation {

/// An operation whose body is an asynchronous function: while it waits it has no thread.
///
/// ```cpp
/// class SyncAlbum : public QVAsyncOperation, public QVAsyncOperationProtocol<int> {
/// public:
///   explicit SyncAlbum(Album album) : QVAsyncOperation("SyncAlbum"), album_(std::move(album)) {}
///
///   Task<int> perform() override {
///     const auto list = co_await fetch(album_.address());
///     progress()->setTotalUnitCount(std::ssize(list));
///     for (const Track& track : list) {
///       co_await checkForCancellationAsync();   // waits here while paused, throws once cancelled
///       co_await performSubOperation(std::make_shared<Download>(track), 1);
///     }
///     co_return list.size();
///   }
///   ...
/// };
/// ```
///
/// It is started, queued, observed, cancelled and paused as any other one; its parts may be of either kind,
/// and so may what it is a part of. What differs:
///
/// - `pause` takes hold through the main queue: "isPaused" becomes true there, and then checks wait. Nothing
///   is paused as long as nobody serves that queue.
/// - Cancelling cancels the task of the body too, so waits in it end with `CancellationError`, which is then
///   the operation's error, as that of a user who has cancelled; the reason that was given is its
///   `cancellationDescription`. One that was cancelled before it started begins all the same, and its first
///   check throws the error 1002.
/// - A body that fails leaves the progress where the work has stopped.
/// - Its parts have no super-operation. A blocking one runs, and blocks, on the thread of the body, inside of
///   its task.
/// - It counts as executing as long as it knows its task, so also when it has finished; and it knows none in
///   `runOperation`, which runs the body in the task of the caller. There `cancel` ends pauses, and the next
///   check throws the error 1002.
///
/// At its start, observers hear of "isExecuting"; at its end of "isFinished", then of "isExecuting".
///
/// Threads: any may start, cancel, pause, resume and read. The body runs on the pool, or where it goes by
/// itself. Observers and the completion block are told on the thread that has run the end of it.
/// Ownership: it keeps itself while it runs.
/// Errors: what leaves the body or a hook is the operation's failure; an `NSException` is so as the error
/// 1003.
class QV_EXPORT QVAsyncOperation : public QVOperation {
public:
  static const NSClass& staticClass();
  const NSClass& dynamicClass() const override { return staticClass(); }

  explicit QVAsyncOperation(QVTimingName timingName);
  ~QVAsyncOperation() override;

  [[nodiscard]] bool isAsynchronous() const final { return true; }
  [[nodiscard]] bool isExecuting() const final { return hasTask_.load(std::memory_order_acquire); }
  [[nodiscard]] bool isFinished() const final { return isFinished_.load(std::memory_order_acquire); }

  /// Starts the body in a task of its own, and returns. Raises `NSInvalidArgumentException` where it has been
  /// started, or depends on operations that have not finished.
  void start() override;
  /// The same: it needs no queue.
  void startInBackground() override;
  /// Runs the body in the task that awaits this, and the completion block too. Cancelling the task cancels
  /// what the body waits for, but not the operation. One that has ended already only gives what it ended in.
  [[nodiscard]] Task<> runOperation() override;
  void cancel() override;

  /// The same as `pause` but for the part that it runs, awaited until it has taken hold. Throws
  /// `CancellationError` where the task is cancelled before; then nothing is paused unless others want it.
  [[nodiscard]] Task<> pauseAsync();

  /// Awaited, waits while the operation is paused, which nothing else here does; then throws where it is
  /// cancelled. Call it often.
  [[nodiscard]] Task<> checkForCancellationAsync();

  /// Awaited, runs another operation within this one and gives its value, or throws its error: see
  /// `QVOperation`. It loses its completion block. Several may run side by side, as children of a group.
  template <std::derived_from<QVOperation> Operation>
  [[nodiscard]] Task<typename Operation::ResultType> performSubOperation(std::shared_ptr<Operation> operation,
                                                                         std::int64_t withUnitCount) {
    co_await runSubOperationAsync(operation, withUnitCount);
    co_return resultOf(*operation);
  }
  template <std::derived_from<QVOperation> Operation>
  [[nodiscard]] Task<typename Operation::ResultType> performSubOperation(std::shared_ptr<Operation> operation,
                                                                         QVProgressSegmentName asSegment) {
    co_return co_await performSegment(
        asSegment, 1, [this, &operation](NSProgress&) { return performSubOperation(operation, 1); });
  }

protected:
  /// Makes the task that the body runs in.
  virtual TaskHandle<void> createTask(std::function<Task<>()> block);

private:
  // Whether checks wait. Who pauses takes the one permit of the semaphore.
  enum class Gate : unsigned char { open, closing, closed };

  /// The gate from when it is asked to close until it opens.
  struct Closing {
    QVAsyncSemaphore isOver{0};  // the closing: whoever takes the permit gives it back
    unsigned askers = 0;         // under `gateLock_`; without any the gate opens
  };

  Task<> runInOwnTask();
  Task<> mainAsync();
  Task<> runBody();
  void keepTask(TaskHandle<void> task);
  void noteExecuting();
  void noteFinished();
  void finish(QVAnyResult result);

  void applyPause(bool pauses) override;
  void setGate() override {}
  void tellResumption();
  [[nodiscard]] std::shared_ptr<Closing> askForClosing();
  static Task<> close(std::weak_ptr<QVAsyncOperation> weak, std::shared_ptr<Closing> closing,
                      std::uint64_t turn);
  Task<> takePermit(std::uint64_t turn);
  void withdrawFrom(Closing& closing);
  void openGate();
  [[nodiscard]] bool turnOpen() QV_REQUIRES(gateLock_);
  void cancelTask() const;

  Task<> runSubOperationAsync(std::shared_ptr<QVOperation> operation, std::int64_t unitCount);
  Task<> executeSubOperationAsync(std::shared_ptr<QVOperation> operation);

  std::atomic<bool> hasTask_{false};
  std::atomic<bool> isFinished_{false};
  std::atomic<Gate> gate_{Gate::open};  // written under `gateLock_`
  QVAsyncSemaphore pauseSemaphore_{1};

  mutable UnfairLock gateLock_;
  std::optional<TaskHandle<void>> task_ QV_GUARDED_BY(gateLock_);
  std::shared_ptr<Closing> closing_ QV_GUARDED_BY(gateLock_);  // null where the gate is open
  std::uint64_t turn_ QV_GUARDED_BY(gateLock_) = 0;            // grows whenever the gate opens
};

}  // namespace QVFoundation
