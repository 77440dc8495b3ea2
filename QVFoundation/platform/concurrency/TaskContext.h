#pragma once

#include <atomic>
#include <coroutine>
#include <cstddef>
#include <memory>
#include <new>
#include <optional>
#include <stop_token>
#include <string>
#include <utility>
#include <vector>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/concurrency/CancellationRecord.h"
#include "QVFoundation/platform/concurrency/QualityOfService.h"
#include "QVFoundation/platform/concurrency/TaskFrames.h"
#include "QVFoundation/platform/concurrency/ThreadSafety.h"
#include "QVFoundation/platform/concurrency/UnfairLock.h"

namespace QVFoundation {

class DispatchQueue;

/// What a task may be told before it begins.
///
/// Threads: a value.
struct TaskOptions {
  /// For call stacks and messages.
  std::string name = {};
  /// That of the task that starts it, unless given; outside of tasks `standard`.
  std::optional<QualityOfService> qualityOfService = {};
  /// Where it begins, and comes back to after each wait; none for the pool.
  std::shared_ptr<DispatchQueue> queue = {};
  /// Cancels the task when it is stopped.
  std::stop_token stopToken = {};
};

namespace detail {

class TaskContext;
class TaskPromise;
class TaskGroupCore;

/// Somebody who waits for the end of a task.
///
/// Threads: `taskHasEnded` is called once, on any thread. The waiter may be gone when it returns.
class QV_EXPORT TaskEndWaiter {
public:
  TaskEndWaiter() noexcept = default;
  TaskEndWaiter(const TaskEndWaiter&) = delete;
  TaskEndWaiter& operator=(const TaskEndWaiter&) = delete;
  /// Gives the coroutine that goes on now, where there is one.
  [[nodiscard]] virtual TaskPromise* taskHasEnded() noexcept = 0;

protected:
  virtual ~TaskEndWaiter();

private:
  friend class TaskContext;
  TaskEndWaiter* next_ = nullptr;
};

/// What a thread knows of the task that it just runs.
struct TaskStretch {
  TaskContext* task = nullptr;

  // What comes next, once the one that runs has come to a wait or an end; one of these.
  TaskPromise* next = nullptr;
  TaskPromise* elsewhere = nullptr;  // on another queue
  TaskPromise* waiting = nullptr;    // this one waits for what is no coroutine
  bool (*wait)(void* awaited, TaskPromise& coroutine) noexcept = nullptr;  // false where it goes on at once
  void* awaited = nullptr;
  bool bodyHasEnded = false;

  // Of another task: goes on in place of the one that has come to a wait.
  TaskPromise* inPlace = nullptr;
};

/// A task: coroutines that wait for each other, of which one runs or waits at a time, and that are cancelled
/// together.
///
/// A coroutine that another one waits for runs inside of that one, up to a depth, so that one that comes to
/// its end without a wait costs little more than a call. All others only say what comes next, and the loop in
/// `goOn` sees to it. So no depth of calls, and no number of awaits, takes more of the thread's stack; and
/// when a coroutine begins to wait for others, all that wait for it are asleep already.
///
/// | state | `run` | `cancel` | the body ends |
/// |---|---|---|---|
/// | not begun | begins | will begin cancelled | – |
/// | runs | – | handlers are called | ended: the frame goes, then those hear who wait |
/// | waits | goes on | handlers are called, which may end the wait | – |
/// | ended | – | marks it, and does nothing | – |
///
/// Internal: installed because other headers need it.
///
/// Threads: any; what says "own" only inside of the task.
/// Ownership: counted. It keeps itself until it has ended.
class QV_EXPORT TaskContext {
public:
  TaskContext(const TaskContext&) = delete;
  TaskContext& operator=(const TaskContext&) = delete;

  static void* operator new(std::size_t size) { return takeFrame(size); }
  static void operator delete(void* place, std::size_t size) noexcept { giveFrameBack(place, size); }
  /// The memory is aligned for usual types: give a body, or a value, of another kind by pointer.
  static void* operator new(std::size_t size, std::align_val_t alignment) = delete;

  void retain() noexcept { references_.fetch_add(1, std::memory_order_relaxed); }
  void release() noexcept {
    if (references_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
  }

  /// The task that the calling thread just runs; null outside of tasks.
  [[nodiscard]] static TaskContext* current() noexcept;
  /// The same for who is of no use outside of tasks: ends the process there.
  [[nodiscard]] static TaskContext& ofCaller(const char* who) noexcept;

  /// Once: has it run on its queue.
  void start();

  [[nodiscard]] bool isCancelled() const noexcept { return isCancelled_.load(std::memory_order_acquire); }
  void cancel() noexcept;
  /// Marks the task as cancelled and puts it in front of a list of those that are still to hear of it.
  /// Nothing where it is cancelled already. For who has to cancel many, or holds a lock; `tell` does the
  /// rest.
  void claim(TaskContext*& list) noexcept;
  /// Where that is the last thing that a coroutine does before it waits, one of those that are woken goes on
  /// in its place.
  static void tell(TaskContext* list, TaskPromise* resting = nullptr) noexcept;
  /// Has the record told when the task is cancelled; at once, before this returns, where it is so already.
  void add(CancellationRecord& record) noexcept;
  /// Afterwards it is not told any more.
  void remove(CancellationRecord& record) noexcept;
  /// Has the handler called when the task is cancelled, after all records have been told.
  void add(CancellationHandler& handler) noexcept;
  /// Afterwards it is not called any more; where whoever cancels has not come to it yet, it is called here.
  /// False where it is just called elsewhere.
  [[nodiscard]] bool removeOrCall(CancellationHandler& handler) noexcept;
  /// The same for the one record of the wait that the task is just coming to. Where it is told, `endWait`
  /// comes after.
  void beginWait(CancellationRecord& record) noexcept;
  void endWait(CancellationRecord& record) noexcept;
  /// False where it is not called at this moment; else resumes the wait once it has been.
  [[nodiscard]] bool resumeAfterCall(CancellationHandler& handler, TaskSuspension& wait) noexcept;
  [[nodiscard]] std::stop_token stopToken();

  [[nodiscard]] bool hasEnded() const noexcept { return hasEnded_.load(std::memory_order_acquire); }
  /// False where it has ended already.
  [[nodiscard]] bool addWaiter(TaskEndWaiter& waiter) noexcept;
  /// Blocks the calling thread; the main thread runs the blocks of the main queue meanwhile.
  void waitForEnd();
  /// Starts it and waits for its end. Where the calling thread runs a task, its cancellation is handed on.
  void runAsChild();

  [[nodiscard]] const std::string& name() const noexcept { return name_; }
  [[nodiscard]] QualityOfService qualityOfService() const noexcept { return qualityOfService_; }

  // Own: which coroutine goes on next, and where.

  /// As long as a coroutine is on it.
  void keep(std::shared_ptr<DispatchQueue> queue);

  [[nodiscard]] TaskStretch& stretch() noexcept { return *stretch_; }
  /// For call stacks: which coroutine runs.
  void noteRunning(TaskPromise& coroutine) noexcept { innermost_ = &coroutine; }
  [[nodiscard]] const TaskPromise* innermost() const noexcept { return innermost_; }

  /// From any thread: a coroutine of this task that waits goes on, on its queue.
  void resume(TaskPromise& coroutine);

protected:
  explicit TaskContext(TaskOptions options, TaskGroupCore* group = nullptr);
  virtual ~TaskContext();

  [[nodiscard]] DispatchQueue& queue() const noexcept { return *queue_; }
  /// Begins the body: what it gives runs first. Null where there is no body, and the task has ended.
  [[nodiscard]] virtual TaskPromise* begin() noexcept = 0;
  /// Takes the result of the body, and lets go of it.
  virtual void takeResult() noexcept = 0;

private:
  friend class TaskGroupCore;

  struct StopLink;

  static void run(TaskContext* task, TaskPromise* coroutine) noexcept;
  /// Until the task waits, goes elsewhere or ends. Gives a coroutine of another task that has waited for the
  /// end and may go on on this thread.
  [[nodiscard]] TaskPromise* runStretch(TaskPromise* coroutine) noexcept;
  /// Runs what comes next until nothing does.
  void goOn(TaskStretch& stretch) noexcept;
  [[nodiscard]] TaskPromise* end(const DispatchQueue& queue) noexcept;
  /// False where nobody is left who has to hear.
  [[nodiscard]] bool noteCancellation(CancellationOutcome& outcome) noexcept;
  static void carryOut(const CancellationOutcome& outcome, TaskContext*& list,
                       TaskPromise* resting = nullptr) noexcept;
  static void wake(TaskPromise& coroutine, TaskPromise* resting) noexcept;
  /// Who was to go on in place of a coroutine that waits goes on elsewhere.
  static void wakeElsewhere(TaskStretch& stretch) noexcept;
  [[nodiscard]] CancellationHandler* takeHandler() noexcept;
  void callHandlers(TaskPromise* resting) noexcept;
  void call(CancellationHandler& handler) noexcept;
  void forgetQueues();
  void unlist(CancellationRecord& record) noexcept QV_REQUIRES(lock_);
  [[nodiscard]] std::stop_source* existingStopSource();

  std::atomic<unsigned> references_{1};
  std::atomic<bool> isCancelled_{false};
  std::atomic<bool> hasEnded_{false};
  const QualityOfService qualityOfService_;
  DispatchQueue* const queue_;
  TaskStretch* stretch_ = nullptr;
  TaskPromise* innermost_ = nullptr;
  TaskGroupCore* const group_;
  TaskContext* nextInGroup_ = nullptr;      // the group's
  TaskContext* previousInGroup_ = nullptr;  // the group's
  TaskContext* nextClaimed_ = nullptr;      // whose cancellation is being told

  // Either who waits sees that the task is cancelled, or who cancels sees the wait.
  std::atomic<CancellationRecord*> wait_{nullptr};
  UnfairLock lock_;
  CancellationRecord* records_ QV_GUARDED_BY(lock_) = nullptr;
  CancellationHandler* handlers_ QV_GUARDED_BY(lock_) = nullptr;  // the innermost first
  TaskEndWaiter* waiters_ QV_GUARDED_BY(lock_) = nullptr;
  std::unique_ptr<std::stop_source> stopSource_ QV_GUARDED_BY(lock_);

  std::unique_ptr<StopLink> stopLink_;
  std::vector<std::shared_ptr<DispatchQueue>> keptQueues_;  // on which coroutines are, or were
  std::size_t mostKeptQueues_ = 16;
  const std::string name_;
};

/// Keeps a task.
///
/// Threads: a value.
template <class Context = TaskContext>
class TaskReference {
public:
  TaskReference() noexcept = default;
  /// Takes over the reference that a new task is born with.
  explicit TaskReference(Context* adopted) noexcept : context_(adopted) {}
  TaskReference(const TaskReference& other) noexcept : context_(other.context_) {
    if (context_ != nullptr) context_->retain();
  }
  TaskReference(TaskReference&& other) noexcept : context_(std::exchange(other.context_, nullptr)) {}
  TaskReference& operator=(TaskReference other) noexcept {
    std::swap(context_, other.context_);
    return *this;
  }
  ~TaskReference() {
    if (context_ != nullptr) context_->release();
  }

  [[nodiscard]] static TaskReference retaining(Context& context) noexcept {
    context.retain();
    return TaskReference(&context);
  }
  [[nodiscard]] Context* get() const noexcept { return context_; }
  Context& operator*() const noexcept { return *context_; }
  Context* operator->() const noexcept { return context_; }

private:
  Context* context_ = nullptr;
};

}  // namespace detail

}  // namespace QVFoundation
