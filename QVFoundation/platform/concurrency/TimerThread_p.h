#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

namespace QVFoundation::detail {

/// What the timer thread calls when its time has come.
///
/// Threads: `fire` on the timer thread; it hands on what is to be done and returns at once.
class TimedEvent {
public:
  using Time = std::chrono::steady_clock::time_point;

  TimedEvent() = default;
  TimedEvent(const TimedEvent&) = delete;
  TimedEvent& operator=(const TimedEvent&) = delete;
  virtual ~TimedEvent();

  virtual void fire() noexcept = 0;

private:
  friend class TimerThread;
  // Under the timer thread's lock.
  Time time_{};
  std::uint64_t number_ = 0;  // 0 where it does not wait
};

/// The one thread that waits for all timers, as exactly as the kernel allows.
///
/// Threads: any.
class TimerThread {
public:
  /// That of the process, started with the first event. It is never destroyed.
  static TimerThread& shared();

  /// Has an event fired once, in place of an earlier time.
  void schedule(const std::shared_ptr<TimedEvent>& event, TimedEvent::Time time);
  /// The event does not fire any more, unless it does just now.
  void cancel(TimedEvent& event) noexcept;

private:
  using Key = std::pair<TimedEvent::Time, std::uint64_t>;

  TimerThread() = default;
  [[noreturn]] void run();
  std::shared_ptr<TimedEvent> awaitNext();

  // The standard library's own, which its condition variables want.
  std::mutex mutex_;
  std::condition_variable earlier_;  // one comes before all others
  std::map<Key, std::shared_ptr<TimedEvent>> events_;
  std::uint64_t lastNumber_ = 0;
  bool isRunning_ = false;
};

}  // namespace QVFoundation::detail
