#pragma once

#include <functional>

#include "QVFoundation/platform/Export.h"

namespace QVFoundation::detail {

class CancellationHandler;
class TaskContext;
class TaskPromise;
class TaskSuspension;

/// What is still to be done, without the lock, for one who has heard of a cancellation.
///
/// Threads: a value.
struct CancellationOutcome {
  TaskPromise* woken = nullptr;           // a coroutine that slept
  TaskContext* claimed = nullptr;         // tasks that hear next: see `TaskContext::claim`
  CancellationHandler* called = nullptr;  // stays where it is until it has been
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

/// One that runs foreign code, without any lock: it may still run when the record has been removed, and has
/// then to be waited for.
///
/// Threads: as its base.
class QV_EXPORT CancellationHandler final : public CancellationRecord {
public:
  explicit CancellationHandler(std::function<void()> handler) noexcept;
  ~CancellationHandler() override;

private:
  friend class TaskContext;

  CancellationOutcome noteCancellation() noexcept override;
  void call() noexcept;

  std::function<void()> handler_;
  CancellationHandler* nextCalled_ = nullptr;  // of the thread that calls
  // Under the task's lock.
  bool isInCall_ = false;
  TaskSuspension* waits_ = nullptr;  // for the end of the call
};

}  // namespace QVFoundation::detail
