// What operations and their progress cost beside the work that they do.

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <mutex>
#include <semaphore>
#include <thread>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include "QVFoundation/operations/QVOperation.h"
#include "QVFoundation/operations/QVProgressMirror.h"
#include "QVFoundation/operations/QVTimingInfo.h"
#include "QVFoundation/platform/application/NSProgress.h"
#include "QVFoundation/platform/concurrency/DispatchQueue.h"
#include "QVFoundation/platform/concurrency/MainQueue.h"
#include "QVFoundation/platform/runtime/NSKeyValueObserving.h"

#ifdef QV_PEER_KJOB
#include <KJob>

#include <QtCore/QCoreApplication>
#endif

namespace {

using namespace QVFoundation;
using Clock = std::chrono::steady_clock;

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
    benchmark::DoNotOptimize(Clock::now());
    benchmark::DoNotOptimize(Clock::now());
  }
}
BENCHMARK(timerClockReads)->Name("operations/timer/two-clock-reads");

// A unit that is reported at the bottom of a tree. What is reported never reaches the end.

struct Branch {
  Branch() {
    for (int level = 1; level < 4; ++level) {
      auto child = std::make_shared<NSProgress>(100);
      bottom->addChild(child, 100);
      bottom = std::move(child);
    }
    bottom->setTotalUnitCount(std::numeric_limits<std::int64_t>::max());
  }

  void report(benchmark::State& state) const {
    for (auto _ : state) bottom->addCompletedUnitCount(1);
  }

  const std::shared_ptr<NSProgress> root = std::make_shared<NSProgress>(100);
  std::shared_ptr<NSProgress> bottom = root;
};

void reportOurs(benchmark::State& state) { Branch().report(state); }
BENCHMARK(reportOurs)->Name("operations/progress-report/ours");

void reportMirroredOurs(benchmark::State& state) {
  const Branch branch;
  const auto shown = std::make_shared<NSProgress>();
  const auto mirror = std::make_shared<QVProgressMirror>(branch.root, shown, DispatchQueue::global());
  branch.report(state);
}
BENCHMARK(reportMirroredOurs)->Name("operations/progress-report-mirrored/ours");

void reportFetchAdd(benchmark::State& state) {
  std::atomic<std::int64_t> completed = 0;
  for (auto _ : state) completed.fetch_add(1);
  benchmark::DoNotOptimize(completed.load());
}
BENCHMARK(reportFetchAdd)->Name("operations/progress-report/fetch-add");
BENCHMARK(reportFetchAdd)->Name("operations/progress-report-mirrored/fetch-add");

void reportObservedOurs(benchmark::State& state) {
  const Branch branch;
  double last = 0;
  const auto observation =
      observe(*branch.root, "fractionCompleted",
              [&last](NSProgress& root, const NSKeyValueChange&) { last = root.fractionCompleted(); });
  branch.report(state);
  benchmark::DoNotOptimize(last);
}
BENCHMARK(reportObservedOurs)->Name("operations/progress-report-observed/ours");

#ifdef QV_PEER_KJOB
/// A job wants an application.
class Application {
private:
  std::array<char, 11> name_{"operations"};
  std::array<char*, 2> arguments_{name_.data(), nullptr};
  int count_ = 1;
  const QCoreApplication application_{count_, arguments_.data()};
};

// One that is on its own: it has no tree.
class Job : private Application, public KJob {
public:
  void start() override {}
  void report(benchmark::State& state) {
    setTotalAmount(Files, std::numeric_limits<qulonglong>::max());
    qulonglong completed = 0;
    for (auto _ : state) setProcessedAmount(Files, ++completed);
  }
};

void reportJob(benchmark::State& state) { Job().report(state); }
BENCHMARK(reportJob)->Name("operations/progress-report/kjob");
BENCHMARK(reportJob)->Name("operations/progress-report-mirrored/kjob");

void reportObservedJob(benchmark::State& state) {
  Job job;
  qulonglong last = 0;
  QObject::connect(&job, &KJob::processedAmountChanged, &job,
                   [&last](KJob*, KJob::Unit, qulonglong completed) { last = completed; });
  job.report(state);
  benchmark::DoNotOptimize(last);
}
BENCHMARK(reportObservedJob)->Name("operations/progress-report-observed/kjob");
#endif

// A flat tree whose leaves finish one after the other, while somebody looks at the whole. The time is that of
// a leaf, from the making of the tree until it is let go of.
void treeOurs(benchmark::State& state) {
  const auto leafCount = state.range(0);
  while (state.KeepRunningBatch(leafCount)) {
    const auto root = std::make_shared<NSProgress>(leafCount);
    std::vector<std::shared_ptr<NSProgress>> leaves;
    leaves.reserve(static_cast<std::size_t>(leafCount));
    for (std::int64_t i = 0; i < leafCount; ++i) {
      root->addChild(leaves.emplace_back(std::make_shared<NSProgress>(1)), 1);
    }
    for (const auto& leaf : leaves) {
      leaf->setCompletedUnitCount(1);
      benchmark::DoNotOptimize(root->fractionCompleted());
    }
    if (!root->isFinished()) state.SkipWithError("units are missing");
  }
}
BENCHMARK(treeOurs)->Name("operations/progress-tree/ours")->Arg(10'000)->Arg(100'000);

// A look at whether to go on.
void checkOurs(benchmark::State& state) {
  const auto operation = std::make_shared<QVOperation>(QVTimingName("Check"));
  for (auto _ : state) {
    if (operation->checkForCancellation()) state.SkipWithError("cancelled");
  }
}
BENCHMARK(checkOurs)->Name("operations/check/ours");

// How soon a body that waits goes on. Each repetition is one event, so the median is that of many.

/// A body that waits for something and says when it has gone on.
class Sleeper : public QVOperation, public QVSyncOperationProtocol<int> {
public:
  using Wait = std::function<void(Sleeper&)>;
  explicit Sleeper(Wait wait) : QVOperation("Sleeper"), wait_(std::move(wait)) {}
  int perform() override {
    isThere.release();
    wait_(*this);
    awake = Clock::now();
    return 1;
  }

  std::binary_semaphore isThere{0};
  Clock::time_point awake;

private:
  const Wait wait_;
};

/// The time until a sleeper goes on, which has had time to fall asleep.
template <class Wake>
void timeWaking(benchmark::State& state, const std::shared_ptr<Sleeper>& sleeper, Wake wake) {
  for (auto _ : state) {
    sleeper->startInBackground();
    sleeper->isThere.acquire();
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    const auto begin = Clock::now();
    wake(*sleeper);
    sleeper->waitUntilFinished();
    state.SetIterationTime(std::chrono::duration<double>(sleeper->awake - begin).count());
  }
  drainMainQueue();
}

void cancelLatencyOurs(benchmark::State& state) {
  const auto sleeper = std::make_shared<Sleeper>([](Sleeper& self) {
    const QVOperationConditionName name("answer");
    self.performBlock(name, [&] { self.wait(name); });
  });
  timeWaking(state, sleeper, [](Sleeper& operation) { operation.cancel(); });
}

void resumeLatencyOurs(benchmark::State& state) {
  const auto sleeper = std::make_shared<Sleeper>([](Sleeper& self) { (void)self.checkForCancellation(); });
  sleeper->pause();
  timeWaking(state, sleeper, [](Sleeper& operation) { operation.resume(); });
}

// What the machine takes to wake a thread.
void latencyConditionVariable(benchmark::State& state) {
  std::mutex mutex;
  std::condition_variable condition;
  bool isOver = false;
  const auto sleeper = std::make_shared<Sleeper>([&](Sleeper&) {
    std::unique_lock guard(mutex);
    condition.wait(guard, [&] { return isOver; });
  });
  timeWaking(state, sleeper, [&](Sleeper&) {
    const std::lock_guard guard(mutex);
    isOver = true;
    condition.notify_one();
  });
}

void oneEvent(benchmark::internal::Benchmark* row) {
  row->Iterations(1)->Repetitions(250)->UseManualTime()->Unit(benchmark::kMicrosecond);
}
BENCHMARK(cancelLatencyOurs)->Name("operations/cancel-latency/ours")->Apply(oneEvent);
BENCHMARK(latencyConditionVariable)->Name("operations/cancel-latency/condition-variable")->Apply(oneEvent);
BENCHMARK(resumeLatencyOurs)->Name("operations/resume-latency/ours")->Apply(oneEvent);
BENCHMARK(latencyConditionVariable)->Name("operations/resume-latency/condition-variable")->Apply(oneEvent);

}  // namespace
