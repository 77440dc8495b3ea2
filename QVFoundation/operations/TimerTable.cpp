#include <algorithm>
#include <string_view>

#include "QVFoundation/operations/TimerTable_p.h"

namespace QVFoundation::detail {

namespace {

/// Mostly a timer is named by the same literal as before, so that nobody has to look at the text.
bool isSameLiteral(QVTimingName a, QVTimingName b) noexcept {
  return a.rawValue().data() == b.rawValue().data();
}

}  // namespace

void TimerTable::start(QVTimingName name, Instant now) { findOrAdd(name).started = now; }

bool TimerTable::end(QVTimingName name, Instant now) noexcept {
  const std::size_t place = placeOf(name);
  if (!stands(name, place)) return false;
  Timer& timer = timers_[place];
  if (!timer.started) return false;
  timer.total = (now - *timer.started) + timer.total.value_or(Seconds::zero());
  timer.started.reset();
  return true;
}

void TimerTable::add(const TimerTotal& total) {
  Timer& timer = findOrAdd(total.name);
  timer.total = total.elapsed + timer.total.value_or(Seconds::zero());
}

TimerTable::Seconds TimerTable::elapsed(QVTimingName name) const noexcept {
  const std::size_t place = placeOf(name);
  return stands(name, place) ? timers_[place].total.value_or(Seconds::zero()) : Seconds::zero();
}

std::vector<TimerTotal> TimerTable::totals() const {
  std::vector<TimerTotal> totals;
  totals.reserve(timers_.size());
  for (const Timer& timer : timers_) {
    if (timer.total) totals.push_back({timer.name, *timer.total});
  }
  return totals;
}

std::size_t TimerTable::placeOf(QVTimingName name) const noexcept {
  const std::size_t few = std::min<std::size_t>(timers_.size(), 16);
  for (std::size_t place = 0; place < few; ++place) {
    if (isSameLiteral(timers_[place].name, name)) return place;
  }
  const auto isBefore = [](const Timer& timer, std::string_view text) {
    return timer.name.rawValue().view() < text;
  };
  const auto place = std::lower_bound(timers_.begin(), timers_.end(), name.rawValue().view(), isBefore);
  return static_cast<std::size_t>(place - timers_.begin());
}

bool TimerTable::stands(QVTimingName name, std::size_t place) const noexcept {
  if (place >= timers_.size()) return false;
  return isSameLiteral(timers_[place].name, name) || timers_[place].name == name;
}

TimerTable::Timer& TimerTable::findOrAdd(QVTimingName name) {
  const std::size_t place = placeOf(name);
  if (!stands(name, place)) {
    timers_.insert(timers_.begin() + static_cast<std::ptrdiff_t>(place), {name, std::nullopt, std::nullopt});
  }
  return timers_[place];
}

}  // namespace QVFoundation::detail
