// What operations cost beside the work that they do.

#include <array>
#include <chrono>
#include <cstddef>

#include <benchmark/benchmark.h>

#include "QVFoundation/operations/QVTimingInfo.h"

namespace {

using namespace QVFoundation;

// A timer that is started and ended while nobody traces. It is another one each time, inside of one that
// runs all the time, as the segments of an operation are. Nobody can time an interval for less than two
// looks at the clock.

void timerOurs(benchmark::State& state) {
  static constexpr std::array<QVTimingName, 4> segments = {"reading", "decoding", "sorting", "storing"};
  QVTimingInfo timing;
  timing.startTiming("ImportTracks");
  std::size_t segment = 0;
  for (auto _ : state) {
    timing.startTiming(segments[segment]);
    timing.endTiming(segments[segment]);
    segment = (segment + 1) % segments.size();
  }
}
BENCHMARK(timerOurs)->Name("operations/timer/ours");

void timerClockReads(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(std::chrono::steady_clock::now());
    benchmark::DoNotOptimize(std::chrono::steady_clock::now());
  }
}
BENCHMARK(timerClockReads)->Name("operations/timer/two-clock-reads");

}  // namespace
