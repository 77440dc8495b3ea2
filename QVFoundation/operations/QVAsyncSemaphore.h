#pragma once

#include <atomic>
#include <cstdint>
#include <optional>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/concurrency/CancellationRecord.h"
#include "QVFoundation/platform/concurrency/TaskPromise.h"
#include "QVFoundation/platform/concurrency/ThreadSafety.h"
#include "QVFoundation/platform/concurrency/UnfairLock.h"

namespace QVFoundation {

/// Counts permits for tasks: who finds none waits, without a thread, and goes on in the order of arrival.
///
/// ```cpp
/// QVAsyncSemaphore downloads(4);                    // at most four at a time
/// co_await downloads.waitUnlessCancelled();
/// const auto page = co_await load(address).result();
/// downloads.signal();
/// ```
///
/// A wait that is cancelled takes no permit. It is either resumed by a signal or ended by the cancellation,
/// whichever comes first, never both and never neither. A wait takes no memory of its own, and its end no
/// longer where many wait.
///
/// Threads: waits inside of tasks; `signal` and `value` from any thread. A waiter goes on through its own
/// queue, not inside of `signal`.
/// Ownership: whoever uses it sees to it that it outlives its waiters.
/// Errors: a negative value to begin with, counting beyond 64 bits, and destroying it while somebody waits
/// end the process.
class QV_EXPORT QVAsyncSemaphore {
public:
  class Wait;

  explicit QVAsyncSemaphore(std::int64_t value);
  QVAsyncSemaphore(const QVAsyncSemaphore&) = delete;
  QVAsyncSemaphore& operator=(const QVAsyncSemaphore&) = delete;
  ~QVAsyncSemaphore();

  /// Awaited, takes a permit; cancelling the task does not end the wait.
  [[nodiscard]] Wait wait() noexcept;
  /// The same, but throws `CancellationError`, and takes no permit, where the task is cancelled before it has
  /// one.
  [[nodiscard]] Wait waitUnlessCancelled() noexcept;
  /// Gives a permit back, or out. True where somebody waited for it.
  bool signal();

  /// How many permits are free; less than 0, how many wait.
  [[nodiscard]] std::int64_t value() const noexcept { return value_.load(std::memory_order_relaxed); }

private:
  enum class Operation : unsigned char { wait, waitUnlessCancelled, signal };

  void trace(Operation operation, std::int64_t newValue) const;
  [[nodiscard]] std::int64_t count(std::int64_t change) noexcept QV_REQUIRES(lock_);
  void enlist(Wait& wait) noexcept QV_REQUIRES(lock_);
  void unlist(Wait& wait) noexcept QV_REQUIRES(lock_);

  mutable UnfairLock lock_;          // taken after that of a task
  std::atomic<std::int64_t> value_;  // written under the lock
  Wait* oldest_ QV_GUARDED_BY(lock_) = nullptr;
  Wait* newest_ QV_GUARDED_BY(lock_) = nullptr;
};

/// One wait: awaited at once, where it was asked for.
///
/// | event | fresh | listed | served or cancelled |
/// |---|---|---|---|
/// | it comes to the semaphore | served where a permit is free, else listed | – | goes on |
/// | `signal` takes it | – | served, and goes on | – |
/// | its task is cancelled | cancelled | cancelled: what it had claimed is given back, and it goes on | nothing at all |
///
/// Threads: its task's.
class QV_EXPORT QVAsyncSemaphore::Wait final : public detail::TaskAwaitable,
                                               private detail::CancellationRecord {
public:
  ~Wait() override;

  [[nodiscard]] bool await_ready() const noexcept { return false; }
  [[nodiscard]] bool await_suspend(detail::TaskPromise& caller);
  void await_resume();

private:
  friend class QVAsyncSemaphore;
  enum class State : unsigned char { fresh, listed, served, cancelled };

  Wait(QVAsyncSemaphore& semaphore, bool endsWhenCancelled) noexcept
      : semaphore_(semaphore), endsWhenCancelled_(endsWhenCancelled) {}

  /// Whether it has to sleep; others may have woken it by then. Nothing where it has to listen first.
  [[nodiscard]] std::optional<bool> enter();
  detail::CancellationOutcome noteCancellation() noexcept override;

  QVAsyncSemaphore& semaphore_;
  const bool endsWhenCancelled_;
  bool isTold_ = false;  // of cancellation
  detail::TaskPromise* coroutine_ = nullptr;
  // Under the semaphore's lock.
  State state_ = State::fresh;
  Wait* older_ = nullptr;
  Wait* newer_ = nullptr;
};

inline QVAsyncSemaphore::Wait QVAsyncSemaphore::wait() noexcept { return {*this, false}; }
inline QVAsyncSemaphore::Wait QVAsyncSemaphore::waitUnlessCancelled() noexcept { return {*this, true}; }

}  // namespace QVFoundation
