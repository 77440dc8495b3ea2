#include "QVFoundation/platform/concurrency/DispatchTimerSource.h"

#include <algorithm>
#include <utility>

#include "QVFoundation/platform/concurrency/Listener.h"
#include "QVFoundation/platform/concurrency/SteadyTime_p.h"
#include "QVFoundation/platform/concurrency/TimerThread_p.h"
#include "QVFoundation/platform/concurrency/UnfairLock.h"
#include "QVFoundation/platform/runtime/EscapedException_p.h"
#include "QVFoundation/platform/runtime/NSException.h"

namespace QVFoundation {

using detail::TimerThread;
using std::chrono::nanoseconds;

namespace {

// Where a timer fires more often than that, one time would run into the next one.
constexpr nanoseconds shortestToWakeEarly = std::chrono::milliseconds(1);

}  // namespace

/// What the timer thread and blocks on the queue share with the timer.
///
/// There is never more than one block on the queue, or in the handler. It asks whether a call is due when its
/// turn has come, so what was said meanwhile counts.
class DispatchTimerSource::State final : public detail::TimedEvent,
                                         public detail::Listener,
                                         public std::enable_shared_from_this<State> {
  using Time = std::chrono::steady_clock::time_point;

public:
  explicit State(std::shared_ptr<DispatchQueue> queue) noexcept : queue_(std::move(queue)) {}

  void schedule(nanoseconds delay, std::optional<nanoseconds> interval) {
    constexpr nanoseconds shortest = std::chrono::microseconds(1);
    const UnfairLockGuard guard(lock_);
    time_ = detail::timeAfter(delay);
    interval_ = interval ? std::optional(std::clamp(*interval, shortest, detail::century)) : std::nullopt;
    const bool wakesEarly =
        queue_->runsSideBySide() && interval_.value_or(detail::century) >= shortestToWakeEarly;
    headStart_ = wakesEarly ? detail::timeToWakePool : nanoseconds::zero();
    hasFired_ = isDue_ = false;
    if (isRunning_) await();
  }

  void setEventHandler(std::function<void()> handler) {
    const UnfairLockGuard guard(lock_);
    if (!isRemoved()) handler_.swap(handler);  // what was there goes after the lock
  }

  void resume() {
    {
      const UnfairLockGuard guard(lock_);
      if (std::exchange(isRunning_, true)) return;
      await();
      if (!mustSend()) return;
    }
    send();
  }

  void suspend() {
    const UnfairLockGuard guard(lock_);
    isRunning_ = false;
    TimerThread::steady().cancel(*this);
  }

  void cancel() noexcept {
    std::function<void()> handler;  // goes last: it may hold the timer
    {
      const UnfairLockGuard guard(lock_);
      if (remove()) TimerThread::steady().cancel(*this);
      if (!isInCall_) handler.swap(handler_);
    }
    awaitCalls();
  }

  void fire() noexcept override {
    {
      const UnfairLockGuard guard(lock_);
      const auto now = std::chrono::steady_clock::now();
      // Meanwhile somebody may have changed his mind.
      if (!isRunning_ || !time_ || *time_ - headStart_ > now) return;
      if (isSent_ && hasFired_ && *time_ > now) {  // the handler may still end in time
        awaitUntil(*time_);
        return;
      }
      const bool isRepetition = std::exchange(hasFired_, true);
      const auto due = *time_;
      if (interval_) {
        *time_ += (1 + (now - *time_) / *interval_) * *interval_;
        await();
      } else {
        time_.reset();
      }
      if (isSent_ && isRepetition) return;
      if (!std::exchange(isDue_, true)) dueTime_ = due;
      if (!mustSend()) return;
    }
    send();
  }

private:
  void await() QV_REQUIRES(lock_) {
    if (time_ && !isRemoved()) awaitUntil(*time_ - headStart_);
  }

  void awaitUntil(Time time) { TimerThread::steady().schedule(shared_from_this(), time.time_since_epoch()); }

  /// Whether a block has to be sent to the queue; it counts as sent from now on.
  [[nodiscard]] bool mustSend() QV_REQUIRES(lock_) {
    return isDue_ && isRunning_ && !isRemoved() && !std::exchange(isSent_, true);
  }

  void send() {
    queue_->async([timer = weak_from_this()] {
      if (const auto present = timer.lock()) present->call();
    });
  }

  void call() {
    Turn turn = Turn::later;
    bool isDueAgain = false;
    while (turn == Turn::later) {
      while (const auto time = timeToCome()) TimerThread::steady().sleepUntil(time->time_since_epoch());
      // To who cancels it, before the timer says that it is in a call.
      const detail::ListenerCall visible(*this);
      turn = beginCall();
      if (turn != Turn::now) continue;
      runHandler();
      isDueAgain = endCall();
    }
    if (isDueAgain) send();
  }

  /// The time of the next call where it is still to come.
  [[nodiscard]] std::optional<Time> timeToCome() {
    const UnfairLockGuard guard(lock_);
    return isToCome() ? std::optional(dueTime_) : std::nullopt;
  }

  [[nodiscard]] bool isToCome() const QV_REQUIRES(lock_) {
    return isDue_ && dueTime_ > std::chrono::steady_clock::now();
  }

  enum class Turn : char { now, later, never };

  [[nodiscard]] Turn beginCall() {
    const UnfairLockGuard guard(lock_);
    const bool isAwaited = isDue_ && isRunning_ && !isRemoved();
    if (isAwaited && isToCome()) return Turn::later;  // somebody has scheduled it anew just now
    isInCall_ = isAwaited;
    isDue_ = isDue_ && !isAwaited;
    isSent_ = isAwaited;
    return isAwaited ? Turn::now : Turn::never;
  }

  /// True where the next call has come to be due meanwhile.
  [[nodiscard]] bool endCall() {
    std::function<void()> handler;  // of a timer that has been cancelled; goes after the lock
    const UnfairLockGuard guard(lock_);
    isInCall_ = isSent_ = false;
    if (isRemoved()) handler.swap(handler_);
    return mustSend();
  }

  void runHandler() const noexcept {
    try {
      if (handler_) handler_();
    } catch (...) {
      detail::endForEscapedException("The handler of a timer on the queue \"" + queue_->label() + '"');
    }
  }

  const std::shared_ptr<DispatchQueue> queue_;
  std::function<void()> handler_;  // changed under the lock, and not while it is called

  UnfairLock lock_;
  bool isRunning_ QV_GUARDED_BY(lock_) = false;
  bool hasFired_ QV_GUARDED_BY(lock_) = false;  // since its time was set
  bool isDue_ QV_GUARDED_BY(lock_) = false;     // a call
  Time dueTime_ QV_GUARDED_BY(lock_);           // its
  bool isSent_ QV_GUARDED_BY(lock_) = false;    // a block, which has not ended
  bool isInCall_ QV_GUARDED_BY(lock_) = false;
  std::optional<Time> time_ QV_GUARDED_BY(lock_);
  std::optional<nanoseconds> interval_ QV_GUARDED_BY(lock_);
  nanoseconds headStart_ QV_GUARDED_BY(lock_) = nanoseconds::zero();
};

DispatchTimerSource::DispatchTimerSource(std::shared_ptr<DispatchQueue> queue)
    : state_(std::make_shared<State>(std::move(queue))) {}

DispatchTimerSource::~DispatchTimerSource() { cancel(); }

void DispatchTimerSource::schedule(nanoseconds delay, std::optional<nanoseconds> interval) {
  state_->schedule(delay, interval);
}
void DispatchTimerSource::setEventHandler(std::function<void()> handler) {
  if (!handler) throw NSException(NSInvalidArgumentException, "The handler of a timer is empty");
  state_->setEventHandler(std::move(handler));
}
void DispatchTimerSource::resume() { state_->resume(); }
void DispatchTimerSource::suspend() { state_->suspend(); }
void DispatchTimerSource::cancel() noexcept { state_->cancel(); }
bool DispatchTimerSource::isCancelled() const noexcept { return state_->isRemoved(); }

}  // namespace QVFoundation
