#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/concurrency/OperationOwner.h"
#include "QVFoundation/platform/concurrency/QualityOfService.h"
#include "QVFoundation/platform/concurrency/UnfairLock.h"
#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/runtime/NSObject.h"

namespace QVFoundation {

namespace detail {
class OperationQueueCore;
}

/// What a queue of operations starts first among those that are ready.
///
/// Threads: a plain value.
enum class NSOperationQueuePriority : signed char {
  veryLow = -8,
  low = -4,
  normal = 0,
  high = 4,
  veryHigh = 8
};

/// One piece of work that runs once: on its own, or on an `NSOperationQueue`, after those that it depends on.
///
/// A subclass does its work in `main`. One whose work goes on after `start` has returned overrides `start`,
/// `isAsynchronous`, `isExecuting` and `isFinished`, and gives a `ChangeNotice` for the keys of the last two
/// when they change: queues, completion blocks, dependents and those that wait act on the notice of
/// "isFinished" and on nothing else.
///
/// | state | `start` | `cancel` | `main` returns |
/// |---|---|---|---|
/// | waiting: what it depends on is not finished | raises | ready | – |
/// | ready | executing; where it is cancelled, finished without having run | stays ready, cancelled | – |
/// | executing | raises | is told, and goes on until its work sees to it | finished |
/// | finished | nothing | nothing but that it is cancelled | – |
///
/// It finishes exactly once. Then, in this order: observers of "isFinished" hear, those that wait go on,
/// those that depend on it become ready, its queue starts others, and the completion block runs.
///
/// Observable: "isCancelled", "isExecuting", "isFinished", "isReady", "dependencies", "queuePriority",
/// "name".
///
/// Threads: any. `main` and the completion block run where the operation is started or finishes.
/// Ownership: held by `std::shared_ptr` when others wait for it or it is on a queue. A queue keeps its
/// operations until they have finished; an operation keeps those that it depends on as long.
/// Errors: what `main` or the completion block throws ends the process.
class QV_EXPORT NSOperation : public NSObject {
public:
  static const NSClass& staticClass();
  const NSClass& dynamicClass() const override { return staticClass(); }

  NSOperation();
  ~NSOperation() override;

  /// Runs the operation on this thread. Raises `NSInvalidArgumentException` where it waits for another one,
  /// or executes already.
  virtual void start();
  /// The work; here there is none.
  virtual void main();
  /// Asks the work to end early. One that has not begun is ready from now on, and finishes without it.
  virtual void cancel();

  [[nodiscard]] virtual bool isAsynchronous() const { return false; }
  [[nodiscard]] virtual bool isExecuting() const { return state_ == State::executing; }
  [[nodiscard]] virtual bool isFinished() const { return state_ == State::finished; }
  [[nodiscard]] bool isCancelled() const noexcept { return isCancelled_.load(std::memory_order_acquire); }
  /// Whether nothing that it depends on is left to finish, or it is cancelled.
  [[nodiscard]] bool isReady() const noexcept { return isCancelled() || unfinished_ == 0; }

  /// This operation becomes ready when that one has finished, whether it was cancelled or not. Raises
  /// `NSInvalidArgumentException` where that one waits for this one.
  void addDependency(const std::shared_ptr<NSOperation>& operation);
  void removeDependency(const NSOperation& operation);
  [[nodiscard]] std::vector<std::shared_ptr<NSOperation>> dependencies() const;

  [[nodiscard]] NSOperationQueuePriority queuePriority() const noexcept { return queuePriority_; }
  /// Counts until the operation starts. Among those that are ready already with a priority, the last to get
  /// it comes last.
  void setQueuePriority(NSOperationQueuePriority priority);
  /// Absent where its queue decides.
  [[nodiscard]] std::optional<QualityOfService> qualityOfService() const noexcept {
    return qualityOfService_;
  }
  /// Counts where it is set before the operation becomes ready on its queue.
  void setQualityOfService(std::optional<QualityOfService> qualityOfService) noexcept {
    qualityOfService_ = qualityOfService;
  }
  [[nodiscard]] std::optional<std::string> name() const;
  void setName(std::optional<std::string> name);

  /// Runs once when the operation has finished, and is let go of then. One that is set later does not run.
  void setCompletionBlock(std::function<void()> block);
  [[nodiscard]] std::function<void()> completionBlock() const;

  /// Returns when the operation has finished and its observers have heard, so none of these may wait here.
  /// One that nobody starts never does; nor, on the main thread, one that needs the main queue.
  void waitUntilFinished();

  /// For who is about to start it: raises where somebody has done so, or has put it on a queue.
  void refuseIfTaken() const;

protected:
  /// For a subclass with a `start` of its own, at its beginning: raises what `start` raises. False where the
  /// operation has finished already, and there is nothing to start.
  [[nodiscard]] bool beginStart();
  [[nodiscard]] bool hasStarted() const;
  /// Hears of the end, once, when observers have: on their thread, so it may only hand on.
  class QV_EXPORT EndListener {
  public:
    EndListener() noexcept = default;
    EndListener(const EndListener&) = delete;
    EndListener& operator=(const EndListener&) = delete;

  protected:
    virtual ~EndListener();

  private:
    friend class NSOperation;
    virtual void noteEnd() noexcept = 0;
    EndListener* next_ = nullptr;
  };
  /// False where it has ended already, and tells nobody any more.
  [[nodiscard]] bool addEndListener(EndListener& listener);
  /// False where it has been told, or just is.
  [[nodiscard]] bool removeEndListener(EndListener& listener) noexcept;

private:
  friend class detail::OperationQueueCore;

  enum class State : unsigned char { unstarted, executing, finished };
  struct Extras;
  class Waiter;

  /// The name of one that was never given any.
  [[nodiscard]] virtual std::optional<std::string> nameUnlessSet() const;
  void valueDidChange(std::string_view key) noexcept final;
  void runMain() noexcept;
  void tellEnd() noexcept;
  void forgetDependencies() noexcept;
  void run(const std::function<void()>& completionBlock) const noexcept;
  void noteDependencyEnded();
  /// Tells the queue where it may start this now.
  void offerIfReady();
  [[nodiscard]] Extras& extras() QV_REQUIRES(lock_);
  [[nodiscard]] std::shared_ptr<detail::OperationOwner> owner() const;
  /// False where it is on a queue already, or need not be on one any more.
  [[nodiscard]] bool join(detail::OperationOwner& owner);
  void leave();

  // What depends on what.
  void depend(const std::shared_ptr<NSOperation>& operation);
  [[nodiscard]] std::shared_ptr<NSOperation> takeDependency(const NSOperation& operation);
  /// True where this has still to end: then it tells the other one when it has.
  [[nodiscard]] bool addDependent(NSOperation& operation);
  [[nodiscard]] bool removeDependent(const NSOperation& operation);
  [[nodiscard]] bool hasDependents() const;
  /// Whether it waits for another one, at any remove. Hands over what it has looked at.
  [[nodiscard]] bool waitsFor(const NSOperation& other,
                              std::vector<std::shared_ptr<NSOperation>>& lookedAt) const;
  /// Its dependencies, as long as it has not ended.
  [[nodiscard]] std::vector<std::shared_ptr<NSOperation>> awaited() const;

  std::atomic<State> state_{State::unstarted};
  std::atomic<bool> hasBegun_{false};
  std::atomic<bool> isBeingCancelled_{false};
  std::atomic<bool> isCancelled_{false};
  std::atomic<NSOperationQueuePriority> queuePriority_{NSOperationQueuePriority::normal};
  std::atomic<std::optional<QualityOfService>> qualityOfService_{};
  std::atomic<int> unfinished_{0};  // dependencies

  mutable UnfairLock lock_;
  bool hasEnded_ QV_GUARDED_BY(lock_) = false;  // whoever waits for the end has been told, or is being told
  std::unique_ptr<Extras> extras_ QV_GUARDED_BY(lock_);  // null where there are none
  EndListener* listeners_ QV_GUARDED_BY(lock_) = nullptr;
  detail::OperationOwner* owner_ QV_GUARDED_BY(lock_) = nullptr;
  detail::PlaceOnQueue place_;  // the queue's
};

}  // namespace QVFoundation
