#pragma once

#include <atomic>
#include <chrono>
#include <concepts>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <variant>

#include "QVFoundation/errors/OptionalText.h"
#include "QVFoundation/logging/QVLogger.h"
#include "QVFoundation/observation/QVObservationManager.h"
#include "QVFoundation/operations/QVAnyResult.h"
#include "QVFoundation/operations/QVOperationConditionName.h"
#include "QVFoundation/operations/QVOperationProtocol.h"
#include "QVFoundation/operations/QVProgressMirror.h"
#include "QVFoundation/operations/QVProgressSegmentName.h"
#include "QVFoundation/operations/QVTimingInfo.h"
#include "QVFoundation/operations/QVTimingName.h"
#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/application/NSProgress.h"
#include "QVFoundation/platform/application/NSProgressReporting.h"
#include "QVFoundation/platform/concurrency/DispatchTimerSource.h"
#include "QVFoundation/platform/concurrency/NSConditionLock.h"
#include "QVFoundation/platform/concurrency/NSOperation.h"
#include "QVFoundation/platform/concurrency/Task.h"
#include "QVFoundation/platform/concurrency/TaskState.h"
#include "QVFoundation/platform/runtime/NSError.h"

namespace QVFoundation {

namespace detail {

class NamedCondition;

/// Fits wherever a handler takes a reference or a shared pointer to its own class of operations.
class AnyOperation {
public:
  explicit AnyOperation(const std::shared_ptr<QVOperation>& operation) noexcept : operation_(operation) {}

  template <std::derived_from<QVOperation> Operation>
  operator Operation&() const {
    return dynamic_cast<Operation&>(*operation_);
  }
  template <std::derived_from<QVOperation> Operation>
  operator std::shared_ptr<Operation>() const {
    return std::dynamic_pointer_cast<Operation>(operation_);
  }

private:
  const std::shared_ptr<QVOperation>& operation_;
};

/// A value, or that there is none to give.
template <class T>
using ValueOrNothing = std::conditional_t<std::is_void_v<T>, std::monostate, std::remove_cvref_t<T>>;
/// What a callable returns, or that it has returned.
template <class Callable>
using Returned = ValueOrNothing<std::invoke_result_t<Callable>>;

/// A callable that is no asynchronous function, and one that is.
template <class Callable, class... Arguments>
concept BlockingBlock = std::invocable<Callable, Arguments...> && !givesTask<Callable, Arguments...>;
template <class Callable, class... Arguments>
concept AsyncBlock = std::invocable<Callable, Arguments...> && givesTask<Callable, Arguments...>;

}  // namespace detail

/// A piece of background work that reports a weighted tree of progress, can be paused, cancelled and timed
/// out at any moment from any thread, and ends exactly once, in a value or an error.
///
/// ```cpp
/// class ImportTracks : public QVOperation, public QVSyncOperationProtocol<std::size_t> {
/// public:
///   explicit ImportTracks(std::filesystem::path file) : QVOperation("ImportTracks"), file_(std::move(file)) {}
///
///   void calculateSegmentCosts() override {
///     setCost(10, reading);
///     setCost(90, storing);
///   }
///
///   std::size_t perform() override {
///     const auto rows = performSegment(reading, 1, [&](NSProgress&) { return readRows(file_); });
///     return performSegment(storing, std::ssize(rows), [&](NSProgress& progress) {
///       for (const Row& row : rows) {
///         checkForCancellationAndReturnError();  // waits here while paused, throws once cancelled
///         store(row);
///         progress.addCompletedUnitCount(1);
///       }
///       return rows.size();
///     });
///   }
///   ...
/// };
///
/// const auto job = std::make_shared<ImportTracks>("tracks.csv");
/// job->startInBackgroundWithMainThreadCompletionHandler([](ImportTracks& job) {
///   if (const auto rows = job.result()) report(*rows);
///   else present(rows.error());
/// });
/// ```
///
/// What may happen to it, beside the states of an `NSOperation`:
///
/// | state | `start` | `cancel` | `pause` | time-out | body returns or throws |
/// |---|---|---|---|---|---|
/// | not started | runs; where it is cancelled, ends without | is cancelled, and ends as not run | pauses at its first check | calls its handler | – |
/// | runs | raises | the body's next check gives the error 1002 | waits at its next check | calls its handler | ended, with result or error |
/// | paused, waits in a check | raises | wakes, and the check gives the error 1002 | stays so | calls its handler | – |
/// | ended | nothing | is cancelled; the result stays | nothing but the state | calls its handler | – |
///
/// Observable, beside what an `NSOperation` has: "completionDuration", "logger", "logDebugMarker",
/// "currentSegmentProgress", "progress", "mainThreadProgress", "enableMainThreadProgress", "isPaused",
/// "operationResult", "operationError".
///
/// Threads: any may start, cancel, pause, resume, time out, wait and read. The hooks and the body run on the
/// thread that runs the operation; segments, sub-operations and waits for conditions belong into the body.
/// "isPaused" and "mainThreadProgress" change on the main thread.
/// Ownership: held by `std::shared_ptr`. It owns its progress, its conditions and its sub-operation; a
/// sub-operation does not keep the one that runs it.
/// Errors: what leaves the body or a hook as an exception is the operation's failure; an `NSException` is
/// so as the error 1003. What leaves a hook, and an `NSException` also from the body, ends the run there:
/// then the progress is not shown complete. What leaves a completion block or a time-out handler ends the
/// process.
class QV_EXPORT QVOperation : public NSOperation, public NSProgressReporting {
public:
  static const NSClass& staticClass();
  const NSClass& dynamicClass() const override { return staticClass(); }

  /// The name under which the whole run is timed.
  explicit QVOperation(QVTimingName timingName);
  ~QVOperation() override;

  // The result

  /// The value of the last run as an object; nothing before it, and after a failure.
  [[nodiscard]] Value operationResult() const;
  /// Why there is no value.
  [[nodiscard]] std::optional<NSError> operationError() const;
  [[nodiscard]] QVAnyResult resultStorage() const;

  // Running

  /// Hands the operation to the queue that all share in the background. Raises `NSInvalidArgumentException`
  /// where it has been started, or is on a queue.
  virtual void startInBackground();
  /// Runs a block on the main thread when the operation has finished, in place of any completion block.
  /// Raises `NSInvalidArgumentException` where it is empty.
  void setMainThreadCompletionBlock(std::function<void()> block);
  /// The same with the operation itself, by reference or `std::shared_ptr` to its own class, and starts it in
  /// the background. The operation is kept until the handler has run.
  template <std::invocable<detail::AnyOperation> Handler>
  void startInBackgroundWithMainThreadCompletionHandler(Handler handler) {
    const auto self = std::static_pointer_cast<QVOperation>(shared_from_this());
    if constexpr (requires { handler == nullptr; }) {
      if (handler == nullptr) setMainThreadCompletionBlock({});  // raises
    }
    setMainThreadCompletionBlock(
        [self, handler = std::move(handler)]() mutable { handler(detail::AnyOperation(self)); });
    try {
      startInBackground();
    } catch (...) {
      setCompletionBlock({});  // which would keep the operation for ever
      throw;
    }
  }

  /// Awaited, runs the operation in the background, and throws its error if it fails. Cancelling the task
  /// that awaits it cancels the operation. It takes the place of any completion block. One that was cancelled
  /// before it ran throws the error 1002.
  [[nodiscard]] virtual Task<> runOperation();

  /// The run: `mainSetup`, the body, `mainFinish`. It looks at no cancellation: that is for the body.
  void main() override;
  /// How long the last run took.
  [[nodiscard]] std::chrono::duration<double> completionDuration() const noexcept;
  void setCompletionDuration(std::chrono::duration<double> duration);

  // Cancelling

  /// Asks the body, and that of a sub-operation, to end: waits for conditions and pauses end, and checks give
  /// the error 1002 of `QVErrorDomain`.
  void cancel() override;
  /// The same with a description for the error.
  void cancelWithLocalizedDescription(std::string description);
  [[nodiscard]] std::optional<std::string> cancellationDescription() const;

  /// Waits while the operation is paused, as long as its body blocks; then the error where it is cancelled,
  /// else nothing. Call it often: it takes some nanoseconds.
  [[nodiscard]] std::optional<NSError> checkForCancellation();
  /// Throws that error.
  void checkForCancellationAndReturnError();
  /// The same, after a block, if there is one.
  void checkForCancellation(const std::function<void()>& cleanupBlock);

  // Pausing

  /// Has the body, and that of a sub-operation, wait at its next check until `resume`. Two pauses are undone
  /// by one `resume`. A progress that is paused or resumed does the same, but knows of its own calls alone:
  /// one that was never paused has nothing to resume.
  virtual void pause();
  virtual void resume();
  /// Follows on the main thread.
  [[nodiscard]] bool isPaused() const noexcept { return isPaused_; }

  // Time-outs

  /// Calls a handler once on a background thread when the time is up, unless it is cancelled before; a
  /// later time-out takes its place. It is the handler that does something about it, such as `cancel`. A
  /// time is clamped to 0 to 100 years; NaN is 100 years. Replacing, cancelling and destroying it wait for
  /// a handler that is running elsewhere, so a handler must not wait for the operation.
  void addTimeout(std::chrono::duration<double> seconds, std::function<void()> handler);
  void cancelTimeout();

  // Progress

  [[nodiscard]] std::shared_ptr<NSProgress> progress() const override;
  /// Raises `NSInvalidArgumentException` where it is null.
  void setProgress(std::shared_ptr<NSProgress> progress);
  /// A new progress in place of the old one, before `main` is called for another run.
  void resetProgress();
  /// That of the segment that is running; null outside of segments.
  [[nodiscard]] std::shared_ptr<NSProgress> currentSegmentProgress() const;
  /// What the body reports to at this moment: that of the segment, else the operation's.
  [[nodiscard]] std::shared_ptr<NSProgress> topLevelProgress() const;

  /// Whether there is a copy of the progress that changes on the main thread alone. Setting it waits for the
  /// main thread, which makes the copy or lets it go.
  [[nodiscard]] bool enableMainThreadProgress() const noexcept { return enableMainThreadProgress_; }
  void setEnableMainThreadProgress(bool enabled);
  [[nodiscard]] std::shared_ptr<NSProgress> mainThreadProgress() const;
  void setMainThreadProgress(std::shared_ptr<NSProgress> progress);
  [[nodiscard]] std::shared_ptr<QVProgressMirror> mainThreadProgressMirror() const;

  // Parts of an operation, and the whole

  [[nodiscard]] std::shared_ptr<QVOperation> subOperation() const;
  /// The one that had been there loses its logger and its super-operation; the new one gets this one's
  /// logger, and this one as its super-operation.
  void setSubOperation(std::shared_ptr<QVOperation> operation);
  [[nodiscard]] std::shared_ptr<QVOperation> superOperation() const;
  /// Raises `NSInvalidArgumentException` for one that is this one, or a part of it.
  void setSuperOperation(const std::shared_ptr<QVOperation>& operation);
  /// The top of the chain of super-operations; maybe this one.
  [[nodiscard]] std::shared_ptr<QVOperation> rootOperation();

  // Logging and looking

  [[nodiscard]] std::shared_ptr<QVLogger> logger() const;
  void setLogger(std::shared_ptr<QVLogger> logger);
  /// Whether a run begins with a marker in the log.
  [[nodiscard]] bool logDebugMarker() const noexcept { return logDebugMarker_; }
  void setLogDebugMarker(bool logs);

  [[nodiscard]] std::shared_ptr<QVTimingInfo> timingInfo() const;
  void setTimingInfo(std::shared_ptr<QVTimingInfo> timingInfo);
  [[nodiscard]] QVTimingName timingName() const noexcept { return timingName_; }
  /// For observations that last as long as the operation. A subclass whose tasks use members of its own ends
  /// them in its destructor, with `removeAllObservers`.
  [[nodiscard]] std::shared_ptr<QVObservationManager> observationManager() const;

  /// "self" and "name".
  [[nodiscard]] Dictionary debugDictionary() const override;
  [[nodiscard]] std::string description() const override;
  [[nodiscard]] std::string descriptionWithLocale(const NSLocale* locale, unsigned indent) const override;

  // What the body uses

  /// Declares what a segment costs, compared to others, in `calculateSegmentCosts`; not less than 0.
  void setCost(std::int64_t cost, QVProgressSegmentName forSegment);
  /// Calls `setCost` for each segment, before the run begins. Here it does nothing.
  virtual void calculateSegmentCosts() {}

  /// Runs a block as a segment: it is timed under its name, gets a progress of so many units to report to,
  /// and stands for its cost in the operation's progress, which counts all of it when the block returns or
  /// throws. Returns what the block returns.
  ///
  /// Segments follow each other. One within another is reported to the log, and runs.
  template <detail::BlockingBlock<NSProgress&> Block>
  std::invoke_result_t<Block, NSProgress&> performSegment(QVProgressSegmentName name, std::int64_t unitCount,
                                                          Block&& block) {
    reportIfNested(name);
    return timingInfo()->performTimed(name, [&]() -> std::invoke_result_t<Block, NSProgress&> {
      const Segment segment(*this, name, segmentProgress(name, unitCount));
      return std::invoke(std::forward<Block>(block), segment.progress());
    });
  }

  /// The same, awaited, with an asynchronous block. It is not timed.
  template <detail::AsyncBlock<NSProgress&> Block>
  [[nodiscard]] std::invoke_result_t<Block&, NSProgress&> performSegment(QVProgressSegmentName name,
                                                                         std::int64_t unitCount,
                                                                         Block block) {
    reportIfNested(name);
    const Segment segment(*this, name, segmentProgress(name, unitCount));
    co_return co_await block(segment.progress());
  }
  /// The same with a progress that somebody else has made, and that the block knows.
  template <detail::AsyncBlock Block>
  [[nodiscard]] std::invoke_result_t<Block&> performSegment(QVProgressSegmentName name,
                                                            std::shared_ptr<NSProgress> externalProgress,
                                                            Block block) {
    reportIfNested(name);
    const Segment segment(*this, name, std::move(externalProgress));
    co_return co_await block();
  }

  /// Runs an asynchronous block from inside a blocking body, as a sub-operation without a progress, and
  /// blocks until it has ended. Returns a copy of what it gives, or throws what it throws.
  template <detail::AsyncBlock Block>
  detail::OutputOfTask<Block&> async(Block block) {
    using Output = detail::OutputOfTask<Block&>;
    const QVAnyResult result =
        runAsyncBlock([block = std::make_shared<Block>(std::move(block))] { return anyResultOf(block); });
    if constexpr (!std::is_void_v<Output>) return *result.as<Output>();
  }

  /// Runs another operation within this one, on this thread if it blocks, and returns its value or throws its
  /// error. Its progress stands for so many units of `topLevelProgress()`; of none, and then it is not seen
  /// there at all. Raises `NSInvalidArgumentException` for one that is a part of another one already, or
  /// runs. One that has finished gives what it ended in. Where this operation is cancelled a blocking one
  /// does not run, and the error 1002 is thrown; an asynchronous one runs up to its first check, and loses
  /// its completion block. On the main thread the blocks of the main queue run while it waits for such a one.
  template <std::derived_from<QVOperation> Operation>
  typename Operation::ResultType performSubOperation(const std::shared_ptr<Operation>& operation,
                                                     std::int64_t withUnitCount) {
    runSubOperation(operation, withUnitCount);
    return resultOf(*operation);
  }
  /// The same as a segment.
  template <std::derived_from<QVOperation> Operation>
  typename Operation::ResultType performSubOperation(const std::shared_ptr<Operation>& operation,
                                                     QVProgressSegmentName asSegment) {
    return performSegment(asSegment, 1, [&](NSProgress&) { return performSubOperation(operation, 1); });
  }

  /// Set a text on `topLevelProgress()` and on all above it.
  void updateLocalizedDescription(const std::optional<std::string>& text) const;
  void updateLocalizedAdditionalDescription(const std::string& text) const;

  /// Runs a block while a condition of that name exists, which others can signal and the block can wait for.
  /// Returns what the block returns.
  ///
  /// ```cpp
  /// performBlock("answer", [&] {
  ///   server->ask(question, [&] { signal("answer"); });
  ///   wait("answer", [&] { return server->hasAnswered(); });
  /// });
  /// ```
  template <std::invocable Block>
  std::invoke_result_t<Block> performBlock(const QVOperationConditionName& withConditionName, Block&& block) {
    const RegisteredCondition condition(*this, withConditionName);
    return std::invoke(std::forward<Block>(block));
  }
  /// Waits until the condition is signalled, or the operation is cancelled; a wait that begins after that
  /// ends after 50 milliseconds. A name that there is no `performBlock` around for ends the process.
  void wait(const QVOperationConditionName& onConditionName);
  /// The same, or until a question is answered with yes. It is asked at the beginning and every 50
  /// milliseconds. What it throws ends the wait.
  void wait(const QVOperationConditionName& onConditionName, const std::function<bool()>& conditionChecker);
  /// Wakes one that waits; lost where nobody does, or there is no such condition.
  void signal(const QVOperationConditionName& conditionName);

  // Logging shortcuts: without a logger they do nothing and evaluate nothing

  /// Returns the error where it is none to log, that of a user who has cancelled.
  std::optional<NSError> logError(const NSError& error) const;
  void logErrorString(OptionalText text) const;
  void logInfoString(std::string_view text) const;
  /// A text that the main bundle may have in the user's language. The comment is for translators.
  void logInfo(std::string_view localized, OptionalText comment = {}) const;
  void logDebugString(std::string_view text) const;
  /// The callable returns the text; it is not called where the filter lets no debug lines pass.
  template <std::invocable Callable>
  void logDebugBlock(Callable&& callable) const {
    if (allowsDebug()) logDebugString(std::invoke(std::forward<Callable>(callable)));
  }

  /// Returns what a callable returns. What it throws is logged, as "message: " and all that it says of itself
  /// or by its description, and nothing is returned.
  template <std::invocable Callable>
  std::optional<detail::Returned<Callable>> logThrownError(OptionalText message, Callable&& callable) const {
    try {
      return valueOf(std::forward<Callable>(callable));
    } catch (...) {
      logCaughtError(message, std::current_exception());
      return std::nullopt;
    }
  }
  template <std::invocable Callable>
  std::optional<detail::Returned<Callable>> logThrownError(Callable&& callable) const {
    return logThrownError(std::nullopt, std::forward<Callable>(callable));
  }

  /// Returns what a callable returns. What it throws is logged, and nothing is returned; but that the user
  /// has cancelled is thrown on. Without a logger everything that is thrown ends here.
  template <std::invocable Callable>
  std::optional<detail::Returned<Callable>> logErrorOrThrow(Callable&& callable) const {
    try {
      return valueOf(std::forward<Callable>(callable));
    } catch (...) {
      throwUnlessLogged(std::current_exception());
      return std::nullopt;
    }
  }
  template <detail::BlockingBlock Callable>
  std::optional<detail::Returned<Callable>> logErrorOrThrowWithBlock(Callable&& callable) const {
    return logErrorOrThrow(std::forward<Callable>(callable));
  }
  /// Awaited, the same with an asynchronous block.
  template <detail::AsyncBlock Block>
  [[nodiscard]] Task<std::optional<detail::ValueOrNothing<detail::OutputOfTask<Block&>>>>
  logErrorOrThrowWithBlock(Block block) const {
    auto result = co_await detail::callInTask(block).result();
    if (result) co_return *std::move(result);
    throwUnlessLogged(result.exception());
    co_return std::nullopt;
  }

protected:
  void setResultStorage(QVAnyResult result);

  // The steps before and after the body, for subclasses that replace `main`.
  void mainSetup();
  void mainFinish();
  /// What of the last step is left to one that has failed, and whose progress stays where it was.
  void logFinish() const;
  /// Shows all as done, where somebody looks.
  void completeProgress() const;

  // The steps of `performSubOperation`.
  void setupSuboperation(const std::shared_ptr<QVOperation>& operation, std::int64_t withUnitCount);
  /// Runs the sub-operation and waits until it has ended.
  virtual void executeSubOperation(const std::shared_ptr<QVOperation>& operation);
  void teardownSuboperation(const std::shared_ptr<QVOperation>& operation, std::int64_t withUnitCount);

  /// For subclasses that can be awaited in another way: starts it, lets go of its completion block, and waits
  /// for its end, whatever that is. Throws what `start` throws.
  [[nodiscard]] Task<> untilEnded(std::function<void()> start);
  /// Throws the error 1002 where an operation has no result because this one, or the task, is cancelled.
  void throwIfKeptFromRunning(const QVOperation& operation);

private:
  friend class QVAsyncOperation;

  using Conditions = std::map<QVOperationConditionName, std::shared_ptr<detail::NamedCondition>>;

  /// A segment while it runs.
  class QV_EXPORT Segment {
  public:
    Segment(QVOperation& operation, QVProgressSegmentName name, std::shared_ptr<NSProgress> progress);
    Segment(const Segment&) = delete;
    Segment& operator=(const Segment&) = delete;
    ~Segment();
    [[nodiscard]] NSProgress& progress() const noexcept { return *progress_; }

  private:
    QVOperation& operation_;
    const QVProgressSegmentName name_;
    const std::shared_ptr<NSProgress> parent_;
    const std::shared_ptr<NSProgress> progress_;
  };

  /// A condition while others can find it.
  class QV_EXPORT RegisteredCondition {
  public:
    RegisteredCondition(QVOperation& operation, const QVOperationConditionName& name);
    RegisteredCondition(const RegisteredCondition&) = delete;
    RegisteredCondition& operator=(const RegisteredCondition&) = delete;
    ~RegisteredCondition();

  private:
    QVOperation& operation_;
    const QVOperationConditionName& name_;
  };

  template <class Operation>
  static typename Operation::ResultType resultOf(const Operation& operation) {
    if constexpr (std::is_void_v<typename Operation::ResultType>) {
      (void)operation.result().value();
    } else {
      return operation.result().value();
    }
  }
  template <class Callable>
  static detail::Returned<Callable> valueOf(Callable&& callable) {
    if constexpr (std::is_void_v<std::invoke_result_t<Callable>>) {
      std::invoke(std::forward<Callable>(callable));
      return {};
    } else {
      return std::invoke(std::forward<Callable>(callable));
    }
  }

  template <class Block>
  static Task<QVAnyResult> anyResultOf(std::shared_ptr<Block> block) {
    if constexpr (std::is_void_v<detail::OutputOfTask<Block&>>) {
      co_await (*block)();
      co_return QVAnyResult::success();
    } else {
      auto value = co_await (*block)();
      co_return QVAnyResult::success(std::move(value));
    }
  }
  QVAnyResult runAsyncBlock(std::function<Task<QVAnyResult>()> block);

  /// A sub-operation while it runs.
  struct Part {
    std::shared_ptr<QVOperation> operation;
    OSSignpostID lane;                     // of its own, to be given back
    std::shared_ptr<NSProgress> progress;  // where it is in the tree
  };

  static std::shared_ptr<NSProgress> segmentProgress(QVProgressSegmentName segment, std::int64_t unitCount);
  Task<> runInBackground();
  class Run;
  [[nodiscard]] std::weak_ptr<QVOperation> weakSelf();
  [[nodiscard]] std::optional<std::string> nameUnlessSet() const override;
  [[nodiscard]] std::string nameOrNull() const;
  void nameLane(const QVTimingInfo& timing) const;
  void run();
  [[nodiscard]] std::int64_t costOf(QVProgressSegmentName segment) const;
  void addUpSegmentCosts();
  void setUpProgress();
  void setUp(NSProgress& progress) const;
  void nameMainThreadProgress() const;
  void setCurrentSegmentProgress(std::shared_ptr<NSProgress> progress);
  void setupProgressPauseHandlers(NSProgress& progress) const;
  void reportIfNested(QVProgressSegmentName name) const;
  void logHierarchy() const;
  void runSubOperation(const std::shared_ptr<QVOperation>& operation, std::int64_t unitCount);
  void awaitSubOperation(const QVOperation& operation, const QVOperationConditionName& name);
  void join(QVOperation& part);
  void letGoOf(QVOperation& part) const;
  [[nodiscard]] bool runs(const std::shared_ptr<QVOperation>& part) const;
  [[nodiscard]] Part takePart(const std::shared_ptr<QVOperation>& operation);
  void hidePart(const std::shared_ptr<QVOperation>& ended);
  /// The parts that run, and the sub-operation where that is none of them.
  [[nodiscard]] std::vector<std::shared_ptr<QVOperation>> allParts() const;
  [[nodiscard]] bool isBlocking() const;
  void refuseUnlessFree(const QVOperation* operation) const;
  [[nodiscard]] bool hasToEnd() const noexcept { return isBeingCancelled_ || isCancelled(); }
  [[nodiscard]] NSError cancellationError();
  [[nodiscard]] std::shared_ptr<detail::NamedCondition> conditionNamed(
      const QVOperationConditionName& name) const;
  [[nodiscard]] std::shared_ptr<detail::NamedCondition> existingCondition(
      const QVOperationConditionName& name) const;
  void wakeAllConditions();
  void setPaused(bool paused);
  void spreadPause();
  /// What pausing means for the body; one call at a time, in the order of what was wanted.
  virtual void applyPause(bool pauses);
  void pauseOrResumeParts(bool pauses) const;
  virtual void setGate() QV_REQUIRES(lock_);
  void updateIsPaused();
  void setIsPaused(bool isPaused);
  void updateMainThreadProgress();
  void installMirror();
  [[nodiscard]] bool allowsDebug() const;
  void logCaughtError(OptionalText message, const std::exception_ptr& exception) const;
  void throwUnlessLogged(const std::exception_ptr& exception) const;
  template <class Content>
  [[nodiscard]] Content locked(Content QVOperation::* field) const;
  template <class Content>
  Content exchange(Content QVOperation::* field, Content content);

  const QVTimingName timingName_;
  std::atomic<double> completionDuration_{0};  // seconds
  std::atomic<bool> logDebugMarker_{false};
  std::atomic<bool> enableMainThreadProgress_{false};
  std::atomic<bool> isBeingCancelled_{false};
  std::atomic<bool> isPaused_{false};
  std::atomic<bool> isUpdatingPaused_{false};  // on its way to the main thread
  NSConditionLock pauseConditionLock_;

  // What threads share, under one lock that is not held while others are called. What is null is made when it
  // is first asked for.
  mutable UnfairLock lock_;
  std::optional<QVAnyResult> resultStorage_ QV_GUARDED_BY(lock_);  // none before the first run
  std::shared_ptr<QVLogger> logger_ QV_GUARDED_BY(lock_);
  mutable std::shared_ptr<NSProgress> progress_ QV_GUARDED_BY(lock_);
  bool setsUpProgress_ QV_GUARDED_BY(lock_) = false;  // one that is made now gets a name, and can be paused
  mutable std::shared_ptr<QVTimingInfo> timingInfo_ QV_GUARDED_BY(lock_);
  mutable std::shared_ptr<QVObservationManager> observationManager_ QV_GUARDED_BY(lock_);
  std::unordered_map<QVProgressSegmentName, std::int64_t> segmentCosts_ QV_GUARDED_BY(lock_);
  std::optional<std::string> cancellationDescription_ QV_GUARDED_BY(lock_);
  std::shared_ptr<NSProgress> currentSegmentProgress_ QV_GUARDED_BY(lock_);
  std::shared_ptr<NSProgress> mainThreadProgress_ QV_GUARDED_BY(lock_);
  std::shared_ptr<QVProgressMirror> mainThreadProgressMirror_ QV_GUARDED_BY(lock_);
  std::shared_ptr<QVOperation> subOperation_ QV_GUARDED_BY(lock_);
  std::vector<Part> parts_ QV_GUARDED_BY(lock_);  // that it runs, side by side where the body does so
  std::weak_ptr<QVOperation> superOperation_ QV_GUARDED_BY(lock_);
  Conditions conditionsByName_ QV_GUARDED_BY(lock_);
  std::shared_ptr<DispatchTimerSource> timeoutSource_ QV_GUARDED_BY(lock_);
  // Of several threads that pause and resume, one at a time spreads what is wanted, until all has been.
  bool wantsPause_ QV_GUARDED_BY(lock_) = false;
  bool hasPauseToSpread_ QV_GUARDED_BY(lock_) = false;
  bool isSpreadingPause_ QV_GUARDED_BY(lock_) = false;
};

}  // namespace QVFoundation
