#pragma once

#include <functional>

#include "QVFoundation/platform/Export.h"

namespace QVFoundation::detail {

class TaskContext;
class TaskPromise;
class TaskSuspension;

/// What is still to be done, without the lock, for one who has heard of a cancellation.
///
/// Threads: a value.
struct CancellationOutcome {
  TaskPromise* woken = nullptr;    // a coroutine that slept
  TaskContext* claimed = nullptr;  // tasks that hear next: see `TaskContext::claim`
};

/// Somebody who is to hear, once, that a task is cancelled.
///
/// Internal: installed because other headers need it.
///
/// Threads: told on the thread that cancels.
class QV_EXPORT CancellationRecord {
public:
  CancellationRecord() noexcept = default;
  CancellationRecord(const CancellationRecord&) = delete;
  CancellationRecord& operator=(const CancellationRecord&) = delete;

protected:
  virtual ~CancellationRecord();

private:
  friend class TaskContext;

  /// Under the task's lock, so for a few steps of our own: who has been removed is not told.
  virtual CancellationOutcome noteCancellation() noexcept = 0;

  CancellationRecord* previous_ = nullptr;
  CancellationRecord* next_ = nullptr;
  bool isListed_ = false;
};

/// Foreign code that is called, once, when a task is cancelled: without any lock, and so maybe while the task
/// would leave it behind already, which then waits for the end of the call.
///
/// Threads: called on the thread that cancels, or on that of the task.
class QV_EXPORT CancellationHandler final {
public:
  explicit CancellationHandler(std::function<void()> handler) noexcept;
  CancellationHandler(const CancellationHandler&) = delete;
  CancellationHandler& operator=(const CancellationHandler&) = delete;
  ~CancellationHandler();

private:
  friend class TaskContext;

  void call() noexcept;

  std::function<void()> handler_;
  // Under the task's lock.
  CancellationHandler* next_ = nullptr;
  bool isListed_ = false;
  bool isInCall_ = false;
  TaskSuspension* waits_ = nullptr;  // for the end of the call
};

}  // namespace QVFoundation::detail
