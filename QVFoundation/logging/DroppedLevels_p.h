#pragma once

#include <atomic>
#include <memory>
#include <vector>

#include "QVFoundation/logging/LevelGate.h"
#include "QVFoundation/logging/QVLoggerLevel.h"
#include "QVFoundation/platform/concurrency/Mutex.h"
#include "QVFoundation/platform/concurrency/ThreadSafety.h"

namespace QVFoundation::detail {

/// What a filter drops unseen, and the gates of the loggers that have to know of it.
///
/// A gate is written only by the filter that it is connected to, under that filter's mutex, so a filter that
/// was just replaced cannot overwrite what its successor says.
///
/// Threads: safe from any thread. The mutex is taken after a logger's, never before one.
class DroppedLevels {
public:
  [[nodiscard]] QVLogLevelSet levels() const noexcept {
    return QVLogLevelSet::fromBits(bits_.load(std::memory_order_relaxed));
  }
  void set(QVLoggerLevel level, bool isDropped);

  void connect(const std::shared_ptr<LevelGate>& gate);
  void disconnect(const std::shared_ptr<LevelGate>& gate);

private:
  Mutex mutex_;
  std::atomic<std::uint32_t> bits_{0};
  std::vector<std::weak_ptr<LevelGate>> gates_ QV_GUARDED_BY(mutex_);
};

}  // namespace QVFoundation::detail
