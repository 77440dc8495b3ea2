#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

namespace QVFoundation::detail {

/// What the kernel takes to wake a timer thread and then one of the pool's. Where work runs side by side, the
/// latter is woken so much earlier and sleeps for what is left: one that has just run is soon awake again.
inline constexpr std::chrono::nanoseconds timeToWakePool = std::chrono::microseconds(50);

/// What a timer thread calls when its time has come.
///
/// Threads: `fire` on the timer thread; it hands on what is to be done and returns at once.
class TimedEvent {
public:
  using Time = std::chrono::nanoseconds;  // since the start of its thread's clock

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

/// The one thread that waits for all timers of a clock, as exactly as the kernel allows.
///
/// Threads: any.
class TimerThread {
public:
  /// Those of the process, started with the first event. They are never destroyed.
  static TimerThread& steady();
  /// By the clock that goes on while the machine sleeps. `std::system_error` where there is no descriptor for
  /// it.
  static TimerThread& continuous();

  [[nodiscard]] TimedEvent::Time now() const noexcept;
  /// Blocks the calling thread. It stops sleeping so much before as the kernel has usually woken it late.
  void sleepUntil(TimedEvent::Time time) const noexcept;
  /// Has an event fired once, in place of an earlier time; so much later at the most as it tolerates, where
  /// another one fires then.
  void schedule(const std::shared_ptr<TimedEvent>& event, TimedEvent::Time time,
                std::chrono::nanoseconds tolerance = std::chrono::nanoseconds::zero());
  /// The event does not fire any more, unless it does just now.
  void cancel(TimedEvent& event) noexcept;

private:
  class Alarm;
  class SteadyAlarm;
  class ContinuousAlarm;
  using Key = std::pair<TimedEvent::Time, std::uint64_t>;
  using Lock = std::unique_lock<std::mutex>;

  explicit TimerThread(std::unique_ptr<Alarm> alarm);
  ~TimerThread();
  [[noreturn]] void run();
  std::shared_ptr<TimedEvent> awaitNext();

  const std::unique_ptr<Alarm> alarm_;
  // The standard library's own, which its condition variables want.
  std::mutex mutex_;
  std::map<Key, std::shared_ptr<TimedEvent>> events_;
  std::uint64_t lastNumber_ = 0;
  bool isRunning_ = false;
  mutable std::atomic<std::chrono::nanoseconds::rep> usualLateness_{0};  // of threads that sleep
};

}  // namespace QVFoundation::detail
