#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <vector>

#include "QVFoundation/operations/QVTimingName.h"
#include "QVFoundation/platform/Export.h"

namespace QVFoundation::detail {

struct TimerTotal {
  QVTimingName name;
  std::chrono::duration<double> elapsed;
};

/// The timers of a `QVTimingInfo`, in the order of their names, which is that of the report. There are few,
/// so they lie side by side and a name is found by bisection.
///
/// Threads: one thread at a time.
class QV_TEST_EXPORT TimerTable {
public:
  using Seconds = std::chrono::duration<double>;
  using Instant = std::chrono::steady_clock::time_point;

  /// A timer that runs starts again: its first start is forgotten.
  void start(QVTimingName name, Instant now);
  /// False where no such timer runs; nothing has changed then.
  [[nodiscard]] bool end(QVTimingName name, Instant now) noexcept;
  void add(const TimerTotal& total);

  /// Without the interval that is running.
  [[nodiscard]] Seconds elapsed(QVTimingName name) const noexcept;
  /// Of the timers that have ended once or got something added.
  [[nodiscard]] std::vector<TimerTotal> totals() const;

private:
  struct Timer {
    QVTimingName name;
    std::optional<Instant> started;  // while it runs
    std::optional<Seconds> total;
  };

  /// Where the timer stands, or would have to stand.
  [[nodiscard]] std::size_t placeOf(QVTimingName name) const noexcept;
  [[nodiscard]] bool stands(QVTimingName name, std::size_t place) const noexcept;
  Timer& findOrAdd(QVTimingName name);

  std::vector<Timer> timers_;
};

}  // namespace QVFoundation::detail
