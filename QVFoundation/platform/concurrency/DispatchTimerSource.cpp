#include "QVFoundation/platform/concurrency/DispatchTimerSource.h"

#include <algorithm>
#include <utility>

#include "QVFoundation/platform/concurrency/Listener.h"
#include "QVFoundation/platform/concurrency/SteadyTime_p.h"
#include "QVFoundation/platform/concurrency/TimerThread_p.h"
#include "QVFoundation/platform/concurrency/UnfairLock.h"

namespace QVFoundation {

using detail::TimerThread;
using std::chrono::nanoseconds;

/// What the timer thread and blocks on the queue share with the timer.
class DispatchTimerSource::State final : public detail::TimedEvent,
                                         public detail::Listener,
                                         public std::enable_shared_from_this<State> {
public:
  explicit State(std::shared_ptr<DispatchQueue> queue) noexcept : queue_(std::move(queue)) {}

  void schedule(nanoseconds delay, std::optional<nanoseconds> interval) {
    constexpr nanoseconds shortest = std::chrono::microseconds(1);
    const UnfairLockGuard guard(lock_);
    time_ = detail::timeAfter(delay);
    interval_ = interval ? std::optional(std::clamp(*interval, shortest, detail::century)) : std::nullopt;
    if (isRunning_) await();
  }

  void setEventHandler(std::function<void()> handler) { handler_ = std::move(handler); }

  void resume() {
    const UnfairLockGuard guard(lock_);
    if (!std::exchange(isRunning_, true)) await();
  }

  void suspend() {
    const UnfairLockGuard guard(lock_);
    isRunning_ = false;
    TimerThread::shared().cancel(*this);
  }

  void cancel() noexcept {
    if (remove()) TimerThread::shared().cancel(*this);
    awaitCalls();
  }

  void fire() noexcept override {
    {
      const UnfairLockGuard guard(lock_);
      const auto now = std::chrono::steady_clock::now();
      // Meanwhile somebody may have changed his mind.
      if (!isRunning_ || !time_ || *time_ > now) return;
      if (interval_) {
        *time_ += (1 + (now - *time_) / *interval_) * *interval_;
        await();
      } else {
        time_.reset();
      }
      if (std::exchange(isSent_, true)) return;
    }
    queue_->async([timer = weak_from_this()] {
      if (const auto present = timer.lock()) present->call();
    });
  }

private:
  void await() QV_REQUIRES(lock_) {
    if (time_ && !isRemoved()) TimerThread::shared().schedule(shared_from_this(), *time_);
  }

  void call() {
    {
      const UnfairLockGuard guard(lock_);
      isSent_ = false;
      if (!isRunning_) return;
    }
    const detail::ListenerCall call(*this);
    if (call && handler_) handler_();
  }

  const std::shared_ptr<DispatchQueue> queue_;
  std::function<void()> handler_;

  UnfairLock lock_;
  bool isRunning_ QV_GUARDED_BY(lock_) = false;
  bool isSent_ QV_GUARDED_BY(lock_) = false;  // to the queue, where it has not begun
  std::optional<Time> time_ QV_GUARDED_BY(lock_);
  std::optional<nanoseconds> interval_ QV_GUARDED_BY(lock_);
};

DispatchTimerSource::DispatchTimerSource(std::shared_ptr<DispatchQueue> queue)
    : state_(std::make_shared<State>(std::move(queue))) {}

DispatchTimerSource::~DispatchTimerSource() { cancel(); }

void DispatchTimerSource::schedule(nanoseconds delay, std::optional<nanoseconds> interval) {
  state_->schedule(delay, interval);
}
void DispatchTimerSource::setEventHandler(std::function<void()> handler) {
  state_->setEventHandler(std::move(handler));
}
void DispatchTimerSource::resume() { state_->resume(); }
void DispatchTimerSource::suspend() { state_->suspend(); }
void DispatchTimerSource::cancel() noexcept { state_->cancel(); }
bool DispatchTimerSource::isCancelled() const noexcept { return state_->isRemoved(); }

}  // namespace QVFoundation
