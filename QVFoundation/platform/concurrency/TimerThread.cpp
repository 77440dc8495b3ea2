#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <ctime>
#include <sys/timerfd.h>
#include <system_error>
#include <unistd.h>

#include "QVFoundation/platform/concurrency/ProcessorPause_p.h"
#include "QVFoundation/platform/concurrency/QuietThread_p.h"
#include "QVFoundation/platform/concurrency/TimerThread_p.h"

namespace QVFoundation::detail {

namespace {

using Time = TimedEvent::Time;

Time timeOf(clockid_t clock) noexcept {
  timespec now{};
  ::clock_gettime(clock, &now);
  return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

timespec timespecOf(Time time) noexcept {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
  return {.tv_sec = seconds.count(), .tv_nsec = (time - seconds).count()};
}

}  // namespace

/// How a timer thread sleeps.
///
/// Threads: under the lock of its thread, which `sleep` lets go of meanwhile.
class TimerThread::Alarm {
public:
  explicit Alarm(clockid_t clock) : clock_(clock) {}
  Alarm(const Alarm&) = delete;
  Alarm& operator=(const Alarm&) = delete;
  virtual ~Alarm() = default;

  [[nodiscard]] clockid_t clock() const noexcept { return clock_; }
  /// Until a time, or until it is brought forward; maybe shorter. Without a time until there is one.
  virtual void sleep(Lock& lock, std::optional<Time> until) = 0;
  /// Somebody sleeps, or is about to, and there is an earlier time.
  virtual void bringForward(Time time) noexcept = 0;

private:
  const clockid_t clock_;
};

// The kernel's monotonic clock is the steady one.
class TimerThread::SteadyAlarm final : public Alarm {
public:
  SteadyAlarm() : Alarm(CLOCK_MONOTONIC) {}
  void sleep(Lock& lock, std::optional<Time> until) override {
    if (until) {
      earlier_.wait_until(lock, std::chrono::steady_clock::time_point(*until));
    } else {
      earlier_.wait(lock);
    }
  }
  void bringForward(Time /*time*/) noexcept override { earlier_.notify_one(); }

private:
  std::condition_variable earlier_;
};

/// Only a descriptor wakes a thread when the machine wakes up. An earlier time goes to the kernel without
/// waking anybody.
class TimerThread::ContinuousAlarm final : public Alarm {
public:
  ContinuousAlarm() : Alarm(CLOCK_BOOTTIME), descriptor_(::timerfd_create(CLOCK_BOOTTIME, TFD_CLOEXEC)) {
    if (descriptor_ < 0)
      throw std::system_error(errno, std::generic_category(), "There is no clock for sleeping tasks");
  }
  ~ContinuousAlarm() override { ::close(descriptor_); }

  void sleep(Lock& lock, std::optional<Time> until) override {
    if (until) bringForward(*until);
    lock.unlock();
    std::uint64_t count = 0;
    const bool hasRung = ::read(descriptor_, &count, sizeof count) > 0;  // else it was interrupted
    lock.lock();
    if (hasRung) setFor_.reset();
  }
  void bringForward(Time time) noexcept override {
    if (setFor_ && *setFor_ <= time) return;
    setFor_ = time;
    const itimerspec ring{.it_interval = {}, .it_value = timespecOf(std::max(time, Time(1)))};  // 0 is none
    (void)::timerfd_settime(descriptor_, TFD_TIMER_ABSTIME, &ring, nullptr);
  }

private:
  const int descriptor_;
  std::optional<Time> setFor_;
};

TimedEvent::~TimedEvent() = default;

TimerThread::TimerThread(std::unique_ptr<Alarm> alarm) : alarm_(std::move(alarm)) {}
TimerThread::~TimerThread() = default;

TimerThread& TimerThread::steady() {
  static TimerThread& thread = *new TimerThread(std::make_unique<SteadyAlarm>());
  return thread;
}

TimerThread& TimerThread::continuous() {
  static TimerThread& thread = *new TimerThread(std::make_unique<ContinuousAlarm>());
  return thread;
}

Time TimerThread::now() const noexcept { return timeOf(alarm_->clock()); }

void TimerThread::sleepUntil(Time time) const noexcept {
  const Time expected(usualLateness_.load(std::memory_order_relaxed));
  if (const Time wakes = time - expected; wakes > now()) {
    const timespec until = timespecOf(wakes);
    while (::clock_nanosleep(alarm_->clock(), TIMER_ABSTIME, &until, nullptr) == EINTR) {
    }
    const Time late = std::min(now() - wakes, timeToWakePool / 2);
    usualLateness_.store((expected + (late - expected) / 8).count(), std::memory_order_relaxed);
  }
  while (now() < time) pauseProcessor();
}

void TimerThread::schedule(const std::shared_ptr<TimedEvent>& event, Time time,
                           std::chrono::nanoseconds tolerance) {
  std::shared_ptr<TimedEvent> replaced;  // goes after the lock
  const std::lock_guard guard(mutex_);
  if (!isRunning_) {
    startQuietThread("QV timers", [this] { run(); });
    isRunning_ = true;
  }
  if (event->number_ != 0) {
    const auto entry = events_.find({event->time_, event->number_});
    replaced = std::move(entry->second);
    events_.erase(entry);
    event->number_ = 0;
  }
  if (tolerance > std::chrono::nanoseconds::zero()) {
    const auto next = events_.lower_bound({time, 0});
    if (next != events_.end() && next->first.first - time <= tolerance) time = next->first.first;
  }
  const auto entry = events_.emplace(Key(time, lastNumber_ + 1), event).first;
  event->time_ = time;
  event->number_ = ++lastNumber_;
  if (entry == events_.begin()) alarm_->bringForward(time);
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
  Lock lock(mutex_);
  for (;;) {
    if (events_.empty()) {
      alarm_->sleep(lock, std::nullopt);
      continue;
    }
    const auto first = events_.begin();
    const Time time = first->first.first;
    if (time <= now()) {
      auto event = std::move(first->second);
      events_.erase(first);
      event->number_ = 0;
      return event;
    }
    alarm_->sleep(lock, time);
  }
}

}  // namespace QVFoundation::detail
