#include "QVFoundation/platform/time/Timestamp.h"

#include <cstdint>

#include "QVFoundation/platform/time/LocalTimeOffsets_p.h"
#include "QVFoundation/platform/time/TimestampText_p.h"

namespace QVFoundation {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::sys_seconds;
using std::chrono::system_clock;

struct Instant {
  sys_seconds second;
  system_clock::duration beyond;  // not negative
};

/// As `floor` does, but even the earliest instant can be split, whose second is out of range.
Instant split(system_clock::time_point when) noexcept {
  const auto sinceEpoch = when.time_since_epoch();
  const auto second = std::chrono::duration_cast<seconds>(sinceEpoch);
  const auto beyond = sinceEpoch - second;
  if (beyond.count() >= 0) return {sys_seconds(second), beyond};
  return {sys_seconds(second - seconds(1)), beyond + seconds(1)};
}

/// The second that a thread wrote last: lines come in bursts, and only their milliseconds differ.
struct LastSecond {
  std::uint64_t zone = 0;  // that of no formatter: there is nothing to be used again
  std::uint64_t start = 0;
  detail::TimestampText text;
};

/// Whether it is the first second of the clock or the last, which ticks that wrap around take for one.
bool isAtAnEnd(sys_seconds second) noexcept {
  constexpr auto last = std::chrono::duration_cast<seconds>(system_clock::duration::max());
  return second >= sys_seconds(last) || second < sys_seconds(-last);
}

/// Ticks of the clock that wrap around, so that they can be subtracted from each other whatever the instants.
std::uint64_t ticksOf(system_clock::duration duration) noexcept {
  return static_cast<std::uint64_t>(duration.count());
}

// Reached without a call. That takes a little of the room which the loader keeps for such variables of
// libraries that come late.
[[gnu::tls_model("initial-exec")]] constinit thread_local LastSecond lastSecond;

}  // namespace

TimestampFormatter::TimestampFormatter()
    : offsets_(std::make_shared<detail::LocalTimeOffsets>(split(system_clock::now()).second)) {}

[[gnu::hot]] std::string_view TimestampFormatter::text(system_clock::time_point when) const {
  LastSecond& last = lastSecond;
  std::uint64_t beyond = ticksOf(when.time_since_epoch()) - last.start;
  if (beyond >= ticksOf(seconds(1)) || last.zone != offsets_->identifier()) {
    const Instant instant = split(when);
    last.text.setSecond(
        std::chrono::local_seconds(instant.second.time_since_epoch() + offsets_->at(instant.second)));
    last.zone = isAtAnEnd(instant.second) ? 0 : offsets_->identifier();
    beyond = ticksOf(instant.beyond);
    last.start = ticksOf(when.time_since_epoch()) - beyond;
  }
  last.text.setMilliseconds(static_cast<unsigned>(beyond / ticksOf(milliseconds(1))));
  return last.text.text();
}

}  // namespace QVFoundation
