#pragma once

#include <atomic>

#include "QVFoundation/logging/QVLoggerLevel.h"

namespace QVFoundation::detail {

/// Internal: installed because other headers need it.
///
/// The levels that a logger drops before it does anything else. It stands beside the logger, not inside of
/// its filter, so that it can be read without a lock while the filter is being replaced.
///
/// Threads: safe from any thread.
class LevelGate {
public:
  [[nodiscard]] bool drops(QVLoggerLevel level) const noexcept {
    return QVLogLevelSet::fromBits(dropped_.load(std::memory_order_relaxed)).contains(level);
  }
  void set(QVLogLevelSet dropped) noexcept { dropped_.store(dropped.bits(), std::memory_order_relaxed); }

private:
  std::atomic<std::uint32_t> dropped_{QVLogLevelSet::all().bits()};  // without a filter nothing is written
};

}  // namespace QVFoundation::detail
