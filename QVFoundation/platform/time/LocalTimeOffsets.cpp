#include <algorithm>
#include <atomic>
#include <ctime>

#include "QVFoundation/platform/time/LocalTimeOffsets_p.h"
#include "QVFoundation/platform/time/LocalTime_p.h"

namespace QVFoundation::detail {

namespace {

using std::chrono::seconds;
using std::chrono::sys_seconds;
using std::chrono::weeks;
using std::chrono::years;

// Shorter than any two changes of a clock have ever followed each other by in a zone that still is in use:
// the closest are those of a summer time that pauses for a month.
constexpr weeks step{2};

seconds askCLibrary(sys_seconds when) noexcept {
  const std::time_t time = when.time_since_epoch().count();
  std::tm local{};
  return seconds(localtime_r(&time, &local) != nullptr ? local.tm_gmtoff : 0);
}

/// The first second of the offset that holds at `after` and not yet at `before`.
sys_seconds changeBetween(sys_seconds before, sys_seconds after, seconds newOffset) noexcept {
  while (after - before > seconds(1)) {
    const sys_seconds middle = before + (after - before) / 2;
    (askCLibrary(middle) == newOffset ? after : before) = middle;
  }
  return after;
}

std::uint64_t nextIdentifier() noexcept {
  static constinit std::atomic<std::uint64_t> last{0};
  return last.fetch_add(1, std::memory_order_relaxed) + 1;
}

}  // namespace

LocalTimeOffsets::LocalTimeOffsets(sys_seconds now) : identifier_(nextIdentifier()), end_(now + years(8)) {
  refreshTimeZone();
  sys_seconds known = now - years(2);
  periods_.push_back({known, askCLibrary(known)});
  while (known < end_) {
    const sys_seconds next = std::min<sys_seconds>(known + step, end_);
    const seconds offset = askCLibrary(next);
    if (offset != periods_.back().offset) periods_.push_back({changeBetween(known, next, offset), offset});
    known = next;
  }
}

seconds LocalTimeOffsets::at(sys_seconds when) const noexcept {
  if (when < periods_.front().begin || when >= end_) return askCLibrary(when);
  const auto following =
      std::upper_bound(periods_.begin(), periods_.end(), when,
                       [](sys_seconds time, const Period& period) { return time < period.begin; });
  return std::prev(following)->offset;
}

}  // namespace QVFoundation::detail
