#pragma once

#include <chrono>
#include <optional>

#include "QVFoundation/platform/Export.h"

namespace QVFoundation {

namespace detail {
class SleepAwaiter;
}

/// A clock that is never set and goes on while the machine sleeps: deadlines in it mean what a person's watch
/// shows. It counts from when the machine was started.
///
/// Threads: any.
class QV_EXPORT ContinuousClock {
public:
  using duration = std::chrono::nanoseconds;
  using rep = duration::rep;
  using period = duration::period;
  using time_point = std::chrono::time_point<ContinuousClock>;
  static constexpr bool is_steady = true;

  [[nodiscard]] static time_point now() noexcept;
  /// Awaited, see `TaskSleep.h`.
  [[nodiscard]] static detail::SleepAwaiter sleepUntil(time_point time,
                                                       std::optional<duration> tolerance = std::nullopt);
};

}  // namespace QVFoundation
