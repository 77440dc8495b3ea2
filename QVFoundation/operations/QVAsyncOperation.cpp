#include "QVFoundation/operations/QVAsyncOperation.h"

#include <chrono>
#include <exception>
#include <utility>

#include "QVFoundation/errors/QVErrorConstructors.h"
#include "QVFoundation/operations/QVOperationState_p.h"
#include "QVFoundation/platform/concurrency/DispatchQueue.h"
#include "QVFoundation/platform/concurrency/TaskCancellation.h"
#include "QVFoundation/platform/runtime/ChangeNotice.h"
#include "QVFoundation/platform/runtime/NSException.h"

namespace QVFoundation {

namespace {

/// What leaves a body, as the failure that is kept: an `NSException` as the error that it stands for.
QVAnyResult failureToKeep(const std::exception_ptr& thrown) {
  try {
    std::rethrow_exception(thrown);
  } catch (const NSException& exception) {
    return QVAnyResult::failure(asNSError(exception));
  } catch (...) {
    return QVAnyResult::failure(thrown);
  }
}

}  // namespace

const NSClass& QVAsyncOperation::staticClass() {
  static const NSClass& cls = *new NSClass("QVAsyncOperation", QVOperation::staticClass());
  return cls;
}

QVAsyncOperation::QVAsyncOperation(QVTimingName timingName) : QVOperation(timingName) {}
QVAsyncOperation::~QVAsyncOperation() = default;

// Running

void QVAsyncOperation::start() {
  const auto self = std::static_pointer_cast<QVAsyncOperation>(shared_from_this());
  if (!beginStart()) return;
  const bool wasCancelled = isCancelled();
  noteExecuting();
  try {
    keepTask(createTask([self] { return self->runInOwnTask(); }));
  } catch (...) {
    setResultStorage(failureToKeep(std::current_exception()));
    return noteFinished();
  }
  if (!wasCancelled && isCancelled()) cancelTask();  // who has cancelled may have found none
}

void QVAsyncOperation::keepTask(TaskHandle<void> task) {
  {
    const UnfairLockGuard guard(gateLock_);
    task_ = std::move(task);
  }
  hasTask_.store(true, std::memory_order_release);
}

void QVAsyncOperation::startInBackground() { start(); }

TaskHandle<void> QVAsyncOperation::createTask(std::function<Task<>()> block) {
  return startTask({.name = nameOrNull()}, std::move(block));
}

Task<> QVAsyncOperation::runInOwnTask() {
  co_await mainAsync();
  noteFinished();
}

Task<> QVAsyncOperation::runOperation() {
  const auto self = shared_from_this();
  const bool begins = beginStart();
  if (begins) {
    noteExecuting();
    co_await mainAsync();
  }
  const QVAnyResult result = resultStorage();
  if (begins) noteFinished();
  if (!result.hasValue()) std::rethrow_exception(result.exception());
}

// Told before there is a task, so it still reads false.
void QVAsyncOperation::noteExecuting() { const ChangeNotice executing(*this, "isExecuting"); }

void QVAsyncOperation::noteFinished() {
  openGate();
  {
    const ChangeNotice finished(*this, "isFinished");
    isFinished_.store(true, std::memory_order_release);
  }
  const ChangeNotice executing(*this, "isExecuting");
}

// What the body throws is stored when all else has been done: until then a failed operation has no result.
Task<> QVAsyncOperation::mainAsync() {
  const auto timing = timingInfo();
  nameLane(*timing);
  const auto start = std::chrono::steady_clock::now();
  timing->startTiming(timingName());
  const auto result = co_await runBody().result();
  setCompletionDuration(std::chrono::steady_clock::now() - start);
  timing->endTiming(timingName());
  if (!result) setResultStorage(failureToKeep(result.exception()));
}

Task<> QVAsyncOperation::runBody() {
  std::exception_ptr failure;
  try {
    mainSetup();
    auto* const body = dynamic_cast<detail::AsyncBody*>(this);
    if (body == nullptr) {
      finish(QVAnyResult::failure(errorWithDescription("QVAsyncOperation subclass " + className() +
                                                       " does not conform to QVAsyncOperationProtocol")));
      co_return;
    }
    auto result = co_await body->performForAnyResult().result();
    if (result) {
      finish(*std::move(result));
      co_return;
    }
    failure = result.exception();
    logFinish();
  } catch (...) {
    failure = std::current_exception();
  }
  if (failure) std::rethrow_exception(failure);
}

void QVAsyncOperation::finish(QVAnyResult result) {
  setResultStorage(std::move(result));
  completeProgress();
  mainFinish();
}

// Cancelling

void QVAsyncOperation::cancel() {
  const auto self = weak_from_this().lock();
  isBeingCancelled_ = true;  // so that the task leaves the parts to what follows
  cancelTask();
  QVOperation::cancel();
  cancelTask();  // meanwhile it may have got one
  openGate();
}

void QVAsyncOperation::cancelTask() const {
  std::optional<TaskHandle<void>> task;
  {
    const UnfairLockGuard guard(gateLock_);
    task = task_;
  }
  if (task) task->cancel();
}

Task<> QVAsyncOperation::checkForCancellationAsync() {
  if (gate_.load(std::memory_order_acquire) == Gate::closed && !hasToEnd()) {
    co_await pauseSemaphore_.waitUnlessCancelled();
    pauseSemaphore_.signal();
  } else {
    checkTaskCancellation();
  }
  checkForCancellationAndReturnError();
}

// Pausing

void QVAsyncOperation::applyPause(bool pauses) {
  if (pauses) {
    (void)askForClosing();
    pauseOrResumeParts(true);
  } else {
    openGate();
    pauseOrResumeParts(false);
    tellResumption();
  }
}

/// Unless somebody pauses it again, whose step may be on its way to the main thread already.
void QVAsyncOperation::tellResumption() {
  const UnfairLockGuard guard(gateLock_);
  if (gate_ != Gate::open) return;
  DispatchQueue::main()->async([weak = weakSelf()] {
    if (const auto self = weak.lock(); self != nullptr && self->isPaused()) self->setIsPaused(false);
  });
}

/// Begins on the main thread, so the steps of several pauses and resumptions come there in the order in which
/// they were asked for.
std::shared_ptr<QVAsyncOperation::Closing> QVAsyncOperation::askForClosing() {
  const auto weak = std::weak_ptr(std::static_pointer_cast<QVAsyncOperation>(shared_from_this()));
  const UnfairLockGuard guard(gateLock_);
  if (gate_ == Gate::open) {
    closing_ = std::make_shared<Closing>();
    startTask({.queue = DispatchQueue::main()},
              [weak, closing = closing_, turn = turn_] { return close(weak, closing, turn); });
    gate_.store(Gate::closing, std::memory_order_release);
  }
  ++closing_->askers;
  return closing_;
}

Task<> QVAsyncOperation::close(std::weak_ptr<QVAsyncOperation> weak, std::shared_ptr<Closing> closing,
                               std::uint64_t turn) {
  if (const auto self = weak.lock(); self != nullptr && !self->isPaused()) self->setIsPaused(true);
  co_await DispatchQueue::global();
  if (const auto self = weak.lock()) co_await self->takePermit(turn);
  closing->isOver.signal();
}

Task<> QVAsyncOperation::takePermit(std::uint64_t turn) {
  co_await pauseSemaphore_.wait();
  bool isKept = false;
  {
    const UnfairLockGuard guard(gateLock_);
    isKept = turn == turn_ && !hasToEnd();
    if (isKept) gate_.store(Gate::closed, std::memory_order_release);
  }
  if (!isKept) pauseSemaphore_.signal();
}

void QVAsyncOperation::openGate() {
  {
    const UnfairLockGuard guard(gateLock_);
    if (!turnOpen()) return;
  }
  pauseSemaphore_.signal();
}

/// True where it was closed: then the permit is to be given back.
bool QVAsyncOperation::turnOpen() {
  ++turn_;
  closing_.reset();
  return gate_.exchange(Gate::open, std::memory_order_acq_rel) == Gate::closed;
}

Task<> QVAsyncOperation::pauseAsync() {
  const auto self = shared_from_this();
  checkTaskCancellation();
  const auto closing = askForClosing();
  try {
    co_await closing->isOver.waitUnlessCancelled();
  } catch (const CancellationError&) {
    withdrawFrom(*closing);
    throw;
  }
  closing->isOver.signal();  // for others who wait for it
}

void QVAsyncOperation::withdrawFrom(Closing& closing) {
  bool wasClosed = false;
  {
    const UnfairLockGuard guard(gateLock_);
    if (closing_.get() != &closing || --closing.askers > 0) return;
    wasClosed = turnOpen();
  }
  if (wasClosed) pauseSemaphore_.signal();
  tellResumption();
}

// Parts

Task<> QVAsyncOperation::runSubOperationAsync(std::shared_ptr<QVOperation> operation,
                                              std::int64_t unitCount) {
  refuseUnlessFree(operation.get());
  std::exception_ptr failure;
  try {
    setupSuboperation(operation, unitCount);
    co_await executeSubOperationAsync(operation);
  } catch (...) {
    failure = std::current_exception();
  }
  teardownSuboperation(operation, unitCount);
  if (failure) std::rethrow_exception(failure);
  throwIfKeptFromRunning(*operation);
}

Task<> QVAsyncOperation::executeSubOperationAsync(std::shared_ptr<QVOperation> operation) {
  if (operation->isFinished()) co_return;
  // The task may be that of somebody who runs this operation, which is not cancelled itself then; otherwise
  // its parts hear of that in any case.
  co_await withTaskCancellationHandler(
      [&operation] { return operation->untilEnded([&operation] { operation->start(); }); },
      [this, &operation] {
        if (!hasToEnd()) operation->cancel();
      });
}

}  // namespace QVFoundation
