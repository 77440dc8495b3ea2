#include "QVFoundation/platform/concurrency/QuietThread_p.h"
#include "QVFoundation/platform/concurrency/TimerThread_p.h"

namespace QVFoundation::detail {

TimedEvent::~TimedEvent() = default;

TimerThread& TimerThread::shared() {
  static TimerThread& thread = *new TimerThread;
  return thread;
}

void TimerThread::schedule(const std::shared_ptr<TimedEvent>& event, TimedEvent::Time time) {
  std::shared_ptr<TimedEvent> replaced;  // goes after the lock
  const std::lock_guard guard(mutex_);
  if (event->number_ != 0) {
    const auto entry = events_.find({event->time_, event->number_});
    replaced = std::move(entry->second);
    events_.erase(entry);
  }
  event->time_ = time;
  event->number_ = ++lastNumber_;
  const auto entry = events_.emplace(Key(time, lastNumber_), event).first;
  if (!isRunning_) {
    startQuietThread("QV timers", [this] { run(); });
    isRunning_ = true;
  } else if (entry == events_.begin()) {
    earlier_.notify_one();
  }
}

void TimerThread::cancel(TimedEvent& event) noexcept {
  std::shared_ptr<TimedEvent> cancelled;  // goes after the lock
  const std::lock_guard guard(mutex_);
  if (event.number_ == 0) return;
  const auto entry = events_.find({event.time_, event.number_});
  cancelled = std::move(entry->second);
  events_.erase(entry);
  event.number_ = 0;
}

void TimerThread::run() {
  for (;;) awaitNext()->fire();
}

std::shared_ptr<TimedEvent> TimerThread::awaitNext() {
  std::unique_lock lock(mutex_);
  for (;;) {
    if (events_.empty()) {
      earlier_.wait(lock);
      continue;
    }
    const auto first = events_.begin();
    const auto time = first->first.first;
    if (time <= std::chrono::steady_clock::now()) {
      auto event = std::move(first->second);
      events_.erase(first);
      event->number_ = 0;
      return event;
    }
    earlier_.wait_until(lock, time);
  }
}

}  // namespace QVFoundation::detail
