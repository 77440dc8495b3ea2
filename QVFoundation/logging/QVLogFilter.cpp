#include "QVFoundation/logging/QVLogFilter.h"

#include "QVFoundation/logging/DroppedLevels_p.h"

namespace QVFoundation {

namespace detail {

void DroppedLevels::set(QVLoggerLevel level, bool isDropped) {
  const MutexLock lock(mutex_);
  const QVLogLevelSet changed = levels().with(level, isDropped);
  bits_.store(changed.bits(), std::memory_order_relaxed);
  for (const auto& entry : gates_) {
    if (const auto gate = entry.lock()) gate->set(changed);
  }
}

void DroppedLevels::connect(const std::shared_ptr<LevelGate>& gate) {
  const MutexLock lock(mutex_);
  if (gates_.size() == gates_.capacity())
    std::erase_if(gates_, [](const auto& entry) { return entry.expired(); });
  gates_.push_back(gate);
  gate->set(levels());
}

void DroppedLevels::disconnect(const std::shared_ptr<LevelGate>& gate) {
  const MutexLock lock(mutex_);
  std::erase_if(gates_, [&](const auto& entry) { return entry.expired() || entry.lock() == gate; });
}

}  // namespace detail

QVLogFilter::QVLogFilter() : dropped_(std::make_shared<detail::DroppedLevels>()) {}
QVLogFilter::~QVLogFilter() = default;

[[gnu::hot]] QVLogLevelSet QVLogFilter::droppedLevels() const noexcept { return dropped_->levels(); }

void QVLogFilter::setDropped(QVLoggerLevel level, bool isDropped) { dropped_->set(level, isDropped); }

}  // namespace QVFoundation
