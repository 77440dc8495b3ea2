#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>

#include "QVFoundation/platform/time/ZoneHistory_p.h"
#include "fuzz/Require.h"

namespace QVFoundation::fuzzing {

/// What must hold of any history, at a time and the one after it.
///
/// Threads: any.
inline void checkHistory(const detail::ZoneHistory& history, std::int64_t a, std::int64_t b) {
  using namespace std::chrono;
  constexpr std::int64_t most = std::int64_t{1} << 40;
  const auto [early, late] = std::minmax({std::clamp(a, -most, most), std::clamp(b, -most, most)});
  const detail::ZonePeriod& first = history.at(sys_seconds(seconds(early)));
  const detail::ZonePeriod& last = history.at(sys_seconds(seconds(late)));
  require(first.begin <= last.begin);
  for (const detail::ZonePeriod& period : {first, last}) {
    require(abs(period.offset) < days(8) && period.saving >= seconds(0) && period.saving < days(16));
    require(history.at(period.begin).begin == period.begin);
  }
  require(last.begin <= sys_seconds(seconds(late)) || &first == &last);
  // Which of two periods a local time belongs to is for their distance to say; but it is one near it.
  const detail::ZonePeriod& local = history.atLocal(local_seconds(seconds(late)));
  if (local.begin > last.begin) require(local.begin - sys_seconds(seconds(late)) < days(8));
}

}  // namespace QVFoundation::fuzzing
