#include "QVFoundation/platform/concurrency/TaskContext.h"

#include <algorithm>
#include <functional>
#include <poll.h>
#include <string>
#include <unordered_set>

#include "QVFoundation/platform/concurrency/CurrentTask_p.h"
#include "QVFoundation/platform/concurrency/DispatchQueue.h"
#include "QVFoundation/platform/concurrency/MainQueue.h"
#include "QVFoundation/platform/concurrency/StepPoint_p.h"
#include "QVFoundation/platform/concurrency/TaskGroupCore.h"
#include "QVFoundation/platform/concurrency/TaskPromise.h"
#include "QVFoundation/platform/concurrency/TaskState.h"
#include "QVFoundation/platform/concurrency/TaskSuspension.h"
#include "QVFoundation/platform/concurrency/ThreadPool_p.h"
#include "QVFoundation/platform/concurrency/WakeUp_p.h"
#include "QVFoundation/platform/runtime/FatalError.h"
#include "QVFoundation/platform/runtime/NSException.h"

namespace QVFoundation::detail {

namespace {

constinit thread_local TaskStretch* stretchOfThread = nullptr;

QualityOfService inheritedQuality() {
  const TaskContext* const task = TaskContext::current();
  return task != nullptr ? task->qualityOfService() : QualityOfService::standard;
}

std::string describe(const TaskContext& task) {
  return task.name().empty() ? "The task" : "The task \"" + task.name() + '"';
}

/// A thread that waits for a task.
class BlockedThread final : public TaskEndWaiter {
public:
  void wait() {
    const ThreadIsBlocked blocked;
    end_.await();
  }

private:
  TaskPromise* taskHasEnded() noexcept override {
    end_.send();
    return nullptr;
  }
  WakeUp end_;
};

/// The main thread, which goes on with the blocks of the main queue. The last of them tells it of the end.
class ServingMainThread final : public TaskEndWaiter {
public:
  /// Blocks that wait stand on each other on the stack. So many may.
  [[nodiscard]] static bool mayServe() noexcept { return depth_ < 100; }

  void wait() {
    ++depth_;
    serveUntilEnd();
    --depth_;
  }

private:
  void serveUntilEnd() const {
    while (!hasEnded_) {
      drainMainQueue();
      if (hasEnded_) return;
      pollfd readable{.fd = mainQueueFileDescriptor(), .events = POLLIN, .revents = 0};
      (void)::poll(&readable, 1, -1);  // an interruption only has the queue looked at once more
    }
  }
  TaskPromise* taskHasEnded() noexcept override {
    DispatchQueue::main()->async([this] { hasEnded_ = true; });
    return nullptr;
  }
  bool hasEnded_ = false;             // the main thread's
  static inline unsigned depth_ = 0;  // likewise
};

/// Hands the cancellation of the task that this thread runs, if any, on to another one.
class CancellationOfChild final : public CancellationRecord {
public:
  explicit CancellationOfChild(TaskContext& child) : parent_(TaskContext::current()), child_(child) {
    if (parent_ != nullptr) parent_->add(*this);
  }
  ~CancellationOfChild() override {
    if (parent_ != nullptr) parent_->remove(*this);
  }

private:
  CancellationOutcome noteCancellation() noexcept override {
    CancellationOutcome outcome;
    child_.claim(outcome.claimed);
    return outcome;
  }

  TaskContext* const parent_;
  TaskContext& child_;
};

}  // namespace

TaskEndWaiter::~TaskEndWaiter() = default;

NoTask::NoTask() noexcept : outer_(std::exchange(stretchOfThread, nullptr)) {}
NoTask::~NoTask() { stretchOfThread = outer_; }

std::exception_ptr valueIsTaken(const TaskContext& task) {
  return std::make_exception_ptr(
      NSException(NSInternalInconsistencyException,
                  describe(task) + " has given its value, which cannot be copied, to somebody else"));
}

TaskContext* TaskContext::current() noexcept {
  return stretchOfThread != nullptr ? stretchOfThread->task : nullptr;
}

TaskContext& TaskContext::ofCaller(const char* who) noexcept {
  if (TaskContext* const task = current()) return *task;
  fatalError(std::string(who) + " belongs into a task, and none runs here");
}

/// Cancels a task when somebody else's token is stopped.
struct TaskContext::StopLink {
  StopLink(const std::stop_token& token, TaskContext& task) : callback(token, [&task] { task.cancel(); }) {}
  std::stop_callback<std::function<void()>> callback;
};

TaskContext::TaskContext(TaskOptions options, TaskGroupCore* group)
    : qualityOfService_(options.qualityOfService.value_or(inheritedQuality())),
      queue_(options.queue != nullptr ? options.queue.get() : DispatchQueue::global(qualityOfService_).get()),
      group_(group),
      name_(std::move(options.name)) {
  if (options.queue != nullptr) keep(std::move(options.queue));
  if (!options.stopToken.stop_possible()) return;
  stopLink_ = std::make_unique<StopLink>(options.stopToken, *this);
}

TaskContext::~TaskContext() = default;

// Running

void TaskContext::start() {
  retain();  // until it has ended
  try {
    queue_->async([this] { run(this, nullptr); });
  } catch (...) {
    stopLink_.reset();  // which might still cancel what is just destroyed
    release();
    throw;
  }
}

void TaskContext::keep(std::shared_ptr<DispatchQueue> queue) {
  if (std::ranges::find(keptQueues_, queue) != keptQueues_.end()) return;
  if (keptQueues_.size() >= mostKeptQueues_) forgetQueues();
  keptQueues_.push_back(std::move(queue));
}

// Those on which none of the coroutines is. Rarely, so that a task may move as often as it likes.
void TaskContext::forgetQueues() {
  std::unordered_set<const DispatchQueue*> used{queue_};
  for (const TaskPromise* coroutine = innermost_; coroutine != nullptr; coroutine = coroutine->caller())
    used.insert(&coroutine->queue());
  std::erase_if(keptQueues_, [&](const auto& queue) { return !used.contains(queue.get()); });
  mostKeptQueues_ = std::max<std::size_t>(16, 2 * keptQueues_.size());
}

void TaskContext::resume(TaskPromise& coroutine) {
  coroutine.queue().async([this, &coroutine] { run(this, &coroutine); });
}

void TaskContext::run(TaskContext* task, TaskPromise* coroutine) noexcept {
  do {
    coroutine = task->runStretch(coroutine);
    if (coroutine != nullptr) task = &coroutine->context();
  } while (coroutine != nullptr);
}

// Whoever else resumes the task may already be at it on another thread when a coroutine has come to a wait:
// from then on only what stands here is looked at.
TaskPromise* TaskContext::runStretch(TaskPromise* coroutine) noexcept {
  TaskStretch stretch{.task = this};
  TaskStretch* const outer = std::exchange(stretchOfThread, &stretch);
  const DispatchQueue& queue = coroutine != nullptr ? coroutine->queue() : *queue_;
  stretch_ = &stretch;
  if (coroutine == nullptr) coroutine = begin();
  stretch.bodyHasEnded = coroutine == nullptr;
  if (coroutine != nullptr) {
    stretch.next = coroutine;
    goOn(stretch);
    if (stretch.bodyHasEnded) takeResult();
  }
  stretchOfThread = outer;
  if (stretch.bodyHasEnded) return end(queue);
  if (stretch.elsewhere != nullptr) resume(*stretch.elsewhere);
  return stretch.inPlace;
}

void TaskContext::goOn(TaskStretch& stretch) noexcept {
  while (stretch.next != nullptr) {
    innermost_ = std::exchange(stretch.next, nullptr);
    innermost_->handle().resume();
    if (stretch.waiting == nullptr) continue;
    TaskPromise& coroutine = *std::exchange(stretch.waiting, nullptr);
    if (stretch.wait(stretch.awaited, coroutine)) continue;
    stretch.next = &coroutine;
    wakeElsewhere(stretch);
  }
}

TaskPromise* TaskContext::end(const DispatchQueue& queue) noexcept {
  stopLink_.reset();
  TaskEndWaiter* waiter = nullptr;
  {
    const UnfairLockGuard guard(lock_);
    hasEnded_.store(true, std::memory_order_release);
    waiter = std::exchange(waiters_, nullptr);
  }
  // One of those who waited goes on right here, in place of this task. On a serial queue others may stand
  // before it.
  TaskPromise* here = nullptr;
  const auto wake = [&](TaskPromise* coroutine) {
    if (coroutine == nullptr) return;
    if (here == nullptr && &coroutine->queue() == &queue && queue.runsSideBySide()) {
      here = coroutine;
    } else {
      coroutine->context().resume(*coroutine);
    }
  };
  while (waiter != nullptr) wake(std::exchange(waiter, waiter->next_)->taskHasEnded());
  if (group_ != nullptr) {
    wake(group_->childHasEnded(*this));  // takes the reference over
  } else {
    release();
  }
  return here;
}

// Cancelling

void TaskContext::cancel() noexcept {
  TaskContext* list = nullptr;
  stepPoint("marks the task as cancelled");
  claim(list);
  tell(list);
}

void TaskContext::claim(TaskContext*& list) noexcept {
  if (isCancelled_.exchange(true)) return;
  retain();
  nextClaimed_ = std::exchange(list, this);
}

// Handlers come last: they are foreign, and may take long, while waits and children could hear already.
void TaskContext::tell(TaskContext* list, TaskPromise* resting) noexcept {
  TaskContext* told = nullptr;
  while (list != nullptr) {
    TaskContext& task = *std::exchange(list, list->nextClaimed_);
    CancellationOutcome outcome;
    stepPoint("tells of the cancellation");
    while (task.noteCancellation(outcome)) carryOut(outcome, list, resting);
    task.nextClaimed_ = std::exchange(told, &task);
  }
  while (told != nullptr) {
    TaskContext& task = *std::exchange(told, told->nextClaimed_);
    task.callHandlers(resting);
    task.release();
  }
}

void TaskContext::callHandlers(TaskPromise* resting) noexcept {
  const auto beforeCall = [resting] {
    if (resting != nullptr) wakeElsewhere(resting->context().stretch());
  };
  while (CancellationHandler* const handler = takeHandler()) {
    beforeCall();
    call(*handler);
  }
  if (std::stop_source* const stopSource = existingStopSource()) {
    beforeCall();
    stopSource->request_stop();
  }
}

bool TaskContext::noteCancellation(CancellationOutcome& outcome) noexcept {
  const UnfairLockGuard guard(lock_);
  CancellationRecord* record = wait_.exchange(nullptr);
  if (record == nullptr) {
    record = records_;
    if (record == nullptr) return false;
    unlist(*record);
  }
  outcome = record->noteCancellation();
  return true;
}

void TaskContext::carryOut(const CancellationOutcome& outcome, TaskContext*& list,
                           TaskPromise* resting) noexcept {
  if (outcome.woken != nullptr) wake(*outcome.woken, resting);
  for (TaskContext* claimed = outcome.claimed; claimed != nullptr;) {
    TaskContext& task = *std::exchange(claimed, claimed->nextClaimed_);
    task.nextClaimed_ = std::exchange(list, &task);
  }
}

void TaskContext::wake(TaskPromise& coroutine, TaskPromise* resting) noexcept {
  stepPoint("wakes");
  if (resting != nullptr) {
    TaskPromise*& inPlace = resting->context().stretch().inPlace;
    if (inPlace == nullptr && &coroutine.queue() == &resting->queue() && resting->queue().runsSideBySide()) {
      inPlace = &coroutine;
      return;
    }
  }
  coroutine.context().resume(coroutine);
}

void TaskContext::wakeElsewhere(TaskStretch& stretch) noexcept {
  if (TaskPromise* const coroutine = std::exchange(stretch.inPlace, nullptr))
    coroutine->context().resume(*coroutine);
}

CancellationHandler* TaskContext::takeHandler() noexcept {
  const UnfairLockGuard guard(lock_);
  CancellationHandler* const handler = handlers_;
  if (handler == nullptr) return nullptr;
  handlers_ = handler->next_;
  handler->isListed_ = false;
  handler->isInCall_ = true;
  return handler;
}

void TaskContext::call(CancellationHandler& handler) noexcept {
  handler.call();
  TaskSuspension* waits = nullptr;
  {
    const UnfairLockGuard guard(lock_);
    handler.isInCall_ = false;
    waits = std::exchange(handler.waits_, nullptr);
  }
  if (waits != nullptr) waits->resume();
}

// Who marks the task as cancelled takes the lock afterwards, to look for records. So none is missed, and none
// told twice.
void TaskContext::add(CancellationRecord& record) noexcept {
  CancellationOutcome outcome;
  {
    const UnfairLockGuard guard(lock_);
    if (!isCancelled()) {
      record.isListed_ = true;
      record.next_ = records_;
      if (records_ != nullptr) records_->previous_ = &record;
      records_ = &record;
      return;
    }
    outcome = record.noteCancellation();
  }
  TaskContext* list = nullptr;
  carryOut(outcome, list);
  tell(list);
}

void TaskContext::remove(CancellationRecord& record) noexcept {
  const UnfairLockGuard guard(lock_);
  if (record.isListed_) unlist(record);
}

void TaskContext::add(CancellationHandler& handler) noexcept {
  {
    const UnfairLockGuard guard(lock_);
    if (!isCancelled()) {
      handler.isListed_ = true;
      handler.next_ = std::exchange(handlers_, &handler);
      return;
    }
  }
  handler.call();
}

// Others who are told may have ended what it is for meanwhile.
bool TaskContext::removeOrCall(CancellationHandler& handler) noexcept {
  {
    const UnfairLockGuard guard(lock_);
    if (!handler.isListed_) return !handler.isInCall_;
    CancellationHandler** its = &handlers_;
    while (*its != &handler) its = &(*its)->next_;
    *its = handler.next_;
    handler.isListed_ = false;
    if (!isCancelled()) return true;
  }
  handler.call();
  return true;
}

void TaskContext::beginWait(CancellationRecord& record) noexcept {
  stepPoint("begins a wait");
  wait_.store(&record);
  stepPoint("looks for a cancellation");
  if (!isCancelled_.load()) return;
  CancellationRecord* expected = &record;
  if (!wait_.compare_exchange_strong(expected, nullptr)) return;  // who cancels has it
  stepPoint("hears of the cancellation");
  TaskContext* list = nullptr;
  carryOut(record.noteCancellation(), list);
  tell(list);
}

void TaskContext::endWait(CancellationRecord& record) noexcept {
  stepPoint("ends a wait");
  CancellationRecord* expected = &record;
  if (wait_.compare_exchange_strong(expected, nullptr)) return;
  const UnfairLockGuard guard(lock_);  // until it has been told
}

void TaskContext::unlist(CancellationRecord& record) noexcept {
  record.isListed_ = false;
  if (record.next_ != nullptr) record.next_->previous_ = record.previous_;
  (record.previous_ != nullptr ? record.previous_->next_ : records_) = record.next_;
  record.previous_ = record.next_ = nullptr;
}

bool TaskContext::resumeAfterCall(CancellationHandler& handler, TaskSuspension& wait) noexcept {
  const UnfairLockGuard guard(lock_);
  if (handler.isInCall_) handler.waits_ = &wait;
  return handler.isInCall_;
}

std::stop_source* TaskContext::existingStopSource() {
  const UnfairLockGuard guard(lock_);
  return stopSource_.get();  // which stays
}

std::stop_token TaskContext::stopToken() {
  auto made = std::make_unique<std::stop_source>();
  std::stop_source* source = nullptr;
  {
    const UnfairLockGuard guard(lock_);
    if (stopSource_ == nullptr) stopSource_.swap(made);
    source = stopSource_.get();
  }
  if (isCancelled()) source->request_stop();  // who has cancelled may have looked before
  return source->get_token();
}

// Waiting for its end

bool TaskContext::addWaiter(TaskEndWaiter& waiter) noexcept {
  const UnfairLockGuard guard(lock_);
  if (hasEnded()) return false;
  waiter.next_ = std::exchange(waiters_, &waiter);
  return true;
}

void TaskContext::waitForEnd() {
  if (isMainThread() && ServingMainThread::mayServe()) {
    ServingMainThread waiter;
    if (addWaiter(waiter)) waiter.wait();
  } else {
    BlockedThread waiter;
    if (addWaiter(waiter)) waiter.wait();
  }
}

void TaskContext::runAsChild() {
  const CancellationOfChild link(*this);  // first, so that a child of a cancelled task begins cancelled
  start();
  waitForEnd();
}

}  // namespace QVFoundation::detail
