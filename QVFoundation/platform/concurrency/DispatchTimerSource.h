#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/concurrency/DispatchQueue.h"

namespace QVFoundation {

/// Calls a handler on a queue, once or again and again.
///
/// ```cpp
/// DispatchTimerSource blink(DispatchQueue::main());
/// blink.schedule(0s, 500ms);
/// blink.setEventHandler([=] { cursor->toggle(); });
/// blink.resume();
/// ```
///
/// It begins suspended. The handler never runs beside itself: where it has not ended when its next time
/// comes, that one is skipped. A call that is due when the timer is suspended comes when it is resumed; one
/// that is due when the timer is scheduled anew does not come.
///
/// Threads: any; `cancel` also from inside the handler.
/// Ownership: the timer owns the handler until it is cancelled and no call is left, so a handler may hold
/// what the timer belongs to. It is cancelled when it is destroyed.
/// Errors: what the handler throws ends the process.
class QV_EXPORT DispatchTimerSource {
public:
  explicit DispatchTimerSource(std::shared_ptr<DispatchQueue> queue);
  DispatchTimerSource(const DispatchTimerSource&) = delete;
  DispatchTimerSource& operator=(const DispatchTimerSource&) = delete;
  /// Cancels.
  ~DispatchTimerSource();

  /// Fires after a delay, and from then on at an interval, if there is one. The time is steady: it does not
  /// jump when somebody sets the clock. A negative delay is none; more than a century is a century.
  void schedule(std::chrono::nanoseconds delay,
                std::optional<std::chrono::nanoseconds> interval = std::nullopt);
  /// To be set before the first `resume`. Raises `NSInvalidArgumentException` where it is empty.
  void setEventHandler(std::function<void()> handler);
  void resume();
  void suspend();

  /// Fires no more. When this returns, no other thread is still in the handler; from inside a handler, an
  /// observer or a subscriber it does not wait. The handler goes before this returns, or with its last call.
  void cancel() noexcept;
  [[nodiscard]] bool isCancelled() const noexcept;

private:
  class State;
  const std::shared_ptr<State> state_;
};

}  // namespace QVFoundation
