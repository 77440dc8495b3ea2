// What it costs to hand work over to other threads: blocks, operations, timers.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <semaphore>
#include <thread>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include "QVFoundation/operations/QVOperation.h"
#include "QVFoundation/platform/concurrency/DispatchQueue.h"
#include "QVFoundation/platform/concurrency/DispatchTimerSource.h"
#include "QVFoundation/platform/concurrency/NSOperation.h"
#include "QVFoundation/platform/concurrency/NSOperationQueue.h"

#ifdef QV_PEER_QT
#include <QtCore/QRunnable>
#include <QtCore/QThreadPool>
#endif
#ifdef QV_PEER_BOOST_ASIO
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/thread_pool.hpp>
#endif

namespace {

using namespace QVFoundation;
using Clock = std::chrono::steady_clock;

// 100,000 pieces of work that do nothing. The time is that of one, from its making until it is let go of.

constexpr std::int64_t batch = 100'000;

/// Counts what has ended; the one who waits sleeps.
class Countdown {
public:
  explicit Countdown(std::int64_t count) : left_(count) {}
  void countOne() {
    if (left_.fetch_sub(1, std::memory_order_acq_rel) > 1) return;
    const std::lock_guard guard(mutex_);
    isOver_ = true;
    over_.notify_one();
  }
  void wait() {
    std::unique_lock guard(mutex_);
    over_.wait(guard, [this] { return isOver_; });
  }

private:
  std::atomic<std::int64_t> left_;
  std::mutex mutex_;
  std::condition_variable over_;
  bool isOver_ = false;
};

/// Hands over a batch, piece by piece, and waits until all have ended.
template <class HandOver>
void runBatches(benchmark::State& state, HandOver handOver) {
  while (state.KeepRunningBatch(batch)) {
    Countdown countdown(batch);
    for (std::int64_t i = 0; i < batch; ++i) handOver(countdown);
    countdown.wait();
  }
}

void batchOfBlocks(benchmark::State& state) {
  const auto& queue = DispatchQueue::global();
  runBatches(state, [&](Countdown& countdown) { queue->async([&countdown] { countdown.countOne(); }); });
}

/// An operation that counts when nobody holds it any more.
template <class Operation>
class Counted : public Operation {
public:
  template <class... Arguments>
  explicit Counted(Countdown& countdown, Arguments&&... arguments)
      : Operation(std::forward<Arguments>(arguments)...), countdown_(countdown) {}
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;
  ~Counted() override { countdown_.countOne(); }

private:
  Countdown& countdown_;
};

void batchOfOperations(benchmark::State& state) {
  const auto queue = std::make_shared<NSOperationQueue>();
  runBatches(state, [&](Countdown& countdown) {
    queue->addOperation(std::make_shared<Counted<NSOperation>>(countdown));
  });
}

class Nothing : public QVOperation, public QVSyncOperationProtocol<int> {
public:
  Nothing() : QVOperation("Nothing") {}
  int perform() override { return 1; }
};

/// Shows how far it is, as most do.
class Reporting : public QVOperation, public QVSyncOperationProtocol<int> {
public:
  Reporting() : QVOperation("Reporting") {}
  int perform() override {
    progress()->setTotalUnitCount(1);
    progress()->setCompletedUnitCount(1);
    return 1;
  }
};

template <class Operation>
void batchOfFullOperations(benchmark::State& state) {
  const auto queue = std::make_shared<NSOperationQueue>();
  runBatches(state, [&](Countdown& countdown) {
    queue->addOperation(std::make_shared<Counted<Operation>>(countdown));
  });
}

#ifdef QV_PEER_QT
class Runnable : public QRunnable {
public:
  Runnable() { setAutoDelete(false); }
  void run() override { countdown->countOne(); }
  Countdown* countdown = nullptr;
};

// Runnables that are made once and used again: nothing is made and let go of.
void batchOfRunnables(benchmark::State& state) {
  std::vector<Runnable> runnables(batch);
  QThreadPool pool;
  std::size_t next = 0;
  runBatches(state, [&](Countdown& countdown) {
    Runnable& runnable = runnables[next++ % runnables.size()];
    runnable.countdown = &countdown;
    pool.start(&runnable);
  });
  pool.waitForDone();
}
#endif

#ifdef QV_PEER_BOOST_ASIO
void batchOfPosts(benchmark::State& state) {
  boost::asio::thread_pool pool(std::thread::hardware_concurrency());
  runBatches(state,
             [&](Countdown& countdown) { boost::asio::post(pool, [&countdown] { countdown.countOne(); }); });
  pool.join();
}
#endif

void batchWithPeers(const char* row, benchmark::internal::Function* ours) {
  const auto add = [&](const char* side, benchmark::internal::Function* function) {
    benchmark::RegisterBenchmark((std::string("queues/") + row + "/" + side).c_str(), function)
        ->UseRealTime();
  };
  add("ours", ours);
#ifdef QV_PEER_QT
  add("qt", batchOfRunnables);
#endif
#ifdef QV_PEER_BOOST_ASIO
  add("asio", batchOfPosts);
#endif
}

[[maybe_unused]] const bool hasBatches = [] {
  batchWithPeers("block", batchOfBlocks);
  batchWithPeers("operation", batchOfOperations);
  batchWithPeers("full-operation", batchOfFullOperations<Nothing>);
  batchWithPeers("full-operation-with-progress", batchOfFullOperations<Reporting>);
  return true;
}();

// One piece of work that somebody waits for, from the handing over until the one who waits goes on.

template <class HandOver>
void waitForEach(benchmark::State& state, HandOver handOver) {
  for (auto _ : state) {
    std::binary_semaphore isDone(0);
    handOver(isDone);
    isDone.acquire();
  }
}

void blockAndWaitOurs(benchmark::State& state) {
  const auto& queue = DispatchQueue::global();
  waitForEach(state, [&](auto& isDone) { queue->async([&isDone] { isDone.release(); }); });
}
BENCHMARK(blockAndWaitOurs)->Name("queues/block-and-wait/ours")->UseRealTime();

#ifdef QV_PEER_BOOST_ASIO
void blockAndWaitAsio(benchmark::State& state) {
  boost::asio::thread_pool pool(std::thread::hardware_concurrency());
  waitForEach(state, [&](auto& isDone) { boost::asio::post(pool, [&isDone] { isDone.release(); }); });
  pool.join();
}
BENCHMARK(blockAndWaitAsio)->Name("queues/block-and-wait/asio")->UseRealTime();
#endif

// How much later than asked a handler is called. Each repetition is one timer, so the median is that of many.

constexpr auto delay = std::chrono::milliseconds(1);

/// Arms a timer with a handler that is to be called after the delay.
template <class Arm>
void timeLateness(benchmark::State& state, Arm arm) {
  for (auto _ : state) {
    std::binary_semaphore hasFired(0);
    Clock::time_point fired;
    const auto begin = Clock::now();
    arm([&] {
      fired = Clock::now();
      hasFired.release();
    });
    hasFired.acquire();
    if (fired < begin + delay) state.SkipWithError("too early");
    state.SetIterationTime(std::chrono::duration<double>(fired - begin - delay).count());
  }
}

void oneTimer(benchmark::internal::Benchmark* row) {
  row->Iterations(1)->Repetitions(250)->UseManualTime()->Unit(benchmark::kMicrosecond);
}

void latenessOurs(benchmark::State& state) {
  DispatchTimerSource timer(DispatchQueue::global());
  timeLateness(state, [&](auto handler) {
    timer.schedule(delay);
    timer.setEventHandler(std::move(handler));
    timer.resume();
  });
}
BENCHMARK(latenessOurs)->Name("queues/timer-lateness/ours")->Apply(oneTimer);

#ifdef QV_PEER_BOOST_ASIO
void latenessAsio(benchmark::State& state) {
  boost::asio::io_context context;
  const auto work = boost::asio::make_work_guard(context);
  std::jthread thread([&] { context.run(); });
  {
    boost::asio::steady_timer timer(context);
    timeLateness(state, [&](auto handler) {
      timer.expires_after(delay);
      timer.async_wait([handler = std::move(handler)](const auto&) { handler(); });
    });
  }
  context.stop();
}
BENCHMARK(latenessAsio)->Name("queues/timer-lateness/asio")->Apply(oneTimer);
#endif

}  // namespace
