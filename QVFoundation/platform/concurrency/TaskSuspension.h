#pragma once

#include <atomic>

#include "QVFoundation/platform/Export.h"

namespace QVFoundation::detail {

class TaskPromise;

/// One wait of a task, and whoever ends it.
///
/// | event | the task is about to wait | it waits | it was resumed |
/// |---|---|---|---|
/// | `sleep` | waits; true | – | goes on at once; false |
/// | `resume` | `sleep` will give false | goes on, through the queue that it runs on | – |
///
/// Who resumes may be any thread, and may do so before the task has come to wait. It does not touch the wait
/// after that: the task may have gone on, and the wait with it.
///
/// Internal: installed because other headers need it.
///
/// Threads: `sleep` on that of the task, `resume` on any; each once.
class QV_EXPORT TaskSuspension {
public:
  TaskSuspension() noexcept = default;
  TaskSuspension(const TaskSuspension&) = delete;
  TaskSuspension& operator=(const TaskSuspension&) = delete;

  /// Before others can find it.
  void prepareFor(TaskPromise& coroutine) noexcept { coroutine_ = &coroutine; }
  /// The last word of `await_suspend`. Where it is true, nothing there may be touched any more.
  [[nodiscard]] bool sleep() noexcept {
    State expected = State::arriving;
    return state_.compare_exchange_strong(expected, State::asleep, std::memory_order_acq_rel);
  }
  void resume() noexcept {
    if (TaskPromise* const coroutine = takeSleeper()) wake(*coroutine);
  }
  /// What `resume` does, but for waking the coroutine; null where there is none to wake.
  [[nodiscard]] TaskPromise* takeSleeper() noexcept {
    return state_.exchange(State::resumed, std::memory_order_acq_rel) == State::asleep ? coroutine_ : nullptr;
  }

private:
  enum class State : unsigned char { arriving, asleep, resumed };

  static void wake(TaskPromise& coroutine) noexcept;

  TaskPromise* coroutine_ = nullptr;
  std::atomic<State> state_{State::arriving};
};

}  // namespace QVFoundation::detail
