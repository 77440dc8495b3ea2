#include "QVFoundation/operations/QVTimingInfo.h"

#include <vector>

#include "QVFoundation/operations/TimerTable_p.h"
#include "QVFoundation/platform/runtime/Dictionary.h"
#include "QVFoundation/platform/text/Format.h"
#include "QVFoundation/platform/tracing/OSSignposter.h"

namespace QVFoundation {

namespace {

constexpr OSSignposter signposts("org.qvfoundation.QVTimingInfo", "QVTimingInfo");

}  // namespace

QVTimingInfo::QVTimingInfo() : id_(OSSignpostID::unique()), lane_(id_) {}

QVTimingInfo::~QVTimingInfo() = default;

void QVTimingInfo::startTiming(QVTimingName name) { startTiming(name, std::chrono::steady_clock::now()); }

void QVTimingInfo::startTiming(QVTimingName name, Instant now) {
  {
    const UnfairLockGuard guard(lock_);
    timers().start(name, now);
  }
  const OSSignpostID lane = signpostLane();
  signposts.mark(OSSignpostType::event, name.rawValue(), id_, lane);
  signposts.mark(OSSignpostType::begin, name.rawValue(), id_, lane);
}

void QVTimingInfo::endTiming(QVTimingName name) noexcept {
  endTiming(name, std::chrono::steady_clock::now());
}

void QVTimingInfo::endTiming(QVTimingName name, Instant now) noexcept {
  if (endInterval(name, now)) signposts.mark(OSSignpostType::end, name.rawValue(), id_, signpostLane());
}

void QVTimingInfo::addTimingInfo(const QVTimingInfo& other) {
  const std::vector<detail::TimerTotal> totals = other.totals();  // first, since it may be this one
  const UnfairLockGuard guard(lock_);
  for (const detail::TimerTotal& total : totals) timers().add(total);
}

QVTimingInfo::Seconds QVTimingInfo::elapsedTime(QVTimingName name) const noexcept {
  const UnfairLockGuard guard(lock_);
  return timers_ ? timers_->elapsed(name) : Seconds::zero();
}

std::string QVTimingInfo::timingInfoString() const {
  std::string report;
  for (const auto& [name, elapsed] : totals()) {
    if (!report.empty()) report += '\n';
    report += stringWithFormat(name.stringValue() + " -> %.4f", elapsed.count());
  }
  return report;
}

std::string QVTimingInfo::description() const {
  Dictionary seconds;
  for (const auto& [name, elapsed] : totals()) seconds.set(name.stringValue(), elapsed.count());
  return NSObject::description() + ": " + seconds.description();
}

detail::TimerTable& QVTimingInfo::timers() {
  if (!timers_) timers_ = std::make_unique<detail::TimerTable>();
  return *timers_;
}

/// Whether it was running.
bool QVTimingInfo::endInterval(QVTimingName name, Instant now) noexcept {
  const UnfairLockGuard guard(lock_);
  return timers_ && timers_->end(name, now);
}

std::vector<detail::TimerTotal> QVTimingInfo::totals() const {
  const UnfairLockGuard guard(lock_);
  return timers_ ? timers_->totals() : std::vector<detail::TimerTotal>();
}

}  // namespace QVFoundation
