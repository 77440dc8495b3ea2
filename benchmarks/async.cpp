// What coroutines cost: awaiting, tasks, waiting for each other, deadlines and sleeps.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <malloc.h>
#include <memory>
#include <random>
#include <semaphore>
#include <string>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>

#include "QVFoundation/operations/QVAsyncSemaphore.h"
#include "QVFoundation/operations/QVDeadline.h"
#include "QVFoundation/platform/concurrency/CancellationError.h"
#include "QVFoundation/platform/concurrency/DispatchQueue.h"
#include "QVFoundation/platform/concurrency/Task.h"
#include "QVFoundation/platform/concurrency/TaskHandle.h"
#include "QVFoundation/platform/concurrency/TaskSleep.h"

#ifdef QV_PEER_BOOST_ASIO
#include <boost/asio/awaitable.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/experimental/channel.hpp>
#include <boost/asio/experimental/concurrent_channel.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/asio/use_awaitable.hpp>
#endif

namespace {

using namespace QVFoundation;
using Clock = std::chrono::steady_clock;

#ifdef QV_PEER_BOOST_ASIO
namespace asio = boost::asio;
using boost::system::error_code;
#endif

// A coroutine that awaits another one, which ends at once. The time is that of one such call.

constexpr int calls = 1'000'000;

[[gnu::noinline]] Task<int> successor(int number) { co_return number + 1; }
Task<std::int64_t> callOften() {
  std::int64_t sum = 0;
  for (int i = 0; i < calls; ++i) sum += co_await successor(i);
  co_return sum;
}

void awaitOurs(benchmark::State& state) {
  while (state.KeepRunningBatch(calls)) benchmark::DoNotOptimize(callOften().wait());
}
BENCHMARK(awaitOurs)->Name("async/await/ours")->UseRealTime();

#ifdef QV_PEER_BOOST_ASIO
[[gnu::noinline]] asio::awaitable<int> successorOfAsio(int number) { co_return number + 1; }
asio::awaitable<std::int64_t> callOftenByAsio() {
  std::int64_t sum = 0;
  for (int i = 0; i < calls; ++i) sum += co_await successorOfAsio(i);
  co_return sum;
}

void awaitAsio(benchmark::State& state) {
  while (state.KeepRunningBatch(calls)) {
    asio::io_context context(1);
    std::int64_t sum = 0;
    asio::co_spawn(context, callOftenByAsio(),
                   [&](const std::exception_ptr&, std::int64_t result) { sum = result; });
    context.run();
    benchmark::DoNotOptimize(sum);
  }
}
BENCHMARK(awaitAsio)->Name("async/await/asio")->UseRealTime();
#endif

// 100,000 tasks that nobody waits for, on a pool. The time is that of one, from its start until all have
// ended.

constexpr std::int64_t tasks = 100'000;

/// Counts what has ended; the one who waits sleeps.
class Countdown {
public:
  explicit Countdown(std::int64_t count) : left_(count) {}
  void countOne() {
    if (left_.fetch_sub(1, std::memory_order_acq_rel) == 1) isOver_.release();
  }
  void wait() { isOver_.acquire(); }

private:
  std::atomic<std::int64_t> left_;
  std::binary_semaphore isOver_{0};
};

Task<> count(Countdown& countdown) {
  countdown.countOne();
  co_return;
}

void taskOurs(benchmark::State& state) {
  while (state.KeepRunningBatch(tasks)) {
    Countdown countdown(tasks);
    for (std::int64_t i = 0; i < tasks; ++i) startTask([&countdown] { return count(countdown); });
    countdown.wait();
  }
}
BENCHMARK(taskOurs)->Name("async/task/ours")->UseRealTime();

#ifdef QV_PEER_BOOST_ASIO
asio::awaitable<void> countByAsio(Countdown& countdown) {
  countdown.countOne();
  co_return;
}

void taskAsio(benchmark::State& state) {
  asio::thread_pool pool(std::thread::hardware_concurrency());
  while (state.KeepRunningBatch(tasks)) {
    Countdown countdown(tasks);
    for (std::int64_t i = 0; i < tasks; ++i) asio::co_spawn(pool, countByAsio(countdown), asio::detached);
    countdown.wait();
  }
  pool.join();
}
BENCHMARK(taskAsio)->Name("async/task/asio")->UseRealTime();
#endif

// Two tasks that wait for each other in turn. The time is that from a signal until the other one goes on.

constexpr int rounds = 100'000;

Task<> answer(QVAsyncSemaphore& own, QVAsyncSemaphore& others, std::shared_ptr<DispatchQueue> queue) {
  if (queue != nullptr) co_await queue;
  for (int i = 0; i < rounds; ++i) {
    co_await own.waitUnlessCancelled();
    others.signal();
  }
}

void handOffOurs(benchmark::State& state, const std::shared_ptr<DispatchQueue>& queue) {
  while (state.KeepRunningBatch(2 * rounds)) {
    QVAsyncSemaphore one(1);
    QVAsyncSemaphore two(0);
    const auto first = startTask([&] { return answer(one, two, queue); });
    const auto second = startTask([&] { return answer(two, one, queue); });
    first.wait();
    second.wait();
  }
}
void handOffOnOneThreadOurs(benchmark::State& state) {
  handOffOurs(state, DispatchQueue::serial("hand-off"));
}
void handOffOnTwoThreadsOurs(benchmark::State& state) { handOffOurs(state, nullptr); }
BENCHMARK(handOffOnOneThreadOurs)->Name("async/hand-off/one-thread/ours")->UseRealTime();
BENCHMARK(handOffOnTwoThreadsOurs)->Name("async/hand-off/two-threads/ours")->UseRealTime();

#ifdef QV_PEER_BOOST_ASIO
template <class Channel>
asio::awaitable<void> answerByAsio(Channel& own, Channel& others) {
  for (int i = 0; i < rounds; ++i) {
    co_await own.async_receive(asio::use_awaitable);
    others.try_send(error_code());
  }
}

template <class Channel, class Context>
void playByAsio(Channel& one, Channel& two, Context& context) {
  one.try_send(error_code());
  asio::co_spawn(context, answerByAsio(one, two), asio::detached);
  asio::co_spawn(context, answerByAsio(two, one), asio::detached);
}

void handOffOnOneThreadAsio(benchmark::State& state) {
  using Channel = asio::experimental::channel<void(error_code)>;
  while (state.KeepRunningBatch(2 * rounds)) {
    asio::io_context context(1);
    Channel one(context, 1);
    Channel two(context, 1);
    playByAsio(one, two, context);
    context.run();
  }
}
BENCHMARK(handOffOnOneThreadAsio)->Name("async/hand-off/one-thread/asio")->UseRealTime();

void handOffOnTwoThreadsAsio(benchmark::State& state) {
  using Channel = asio::experimental::concurrent_channel<void(error_code)>;
  while (state.KeepRunningBatch(2 * rounds)) {
    asio::thread_pool pool(2);
    Channel one(pool, 1);
    Channel two(pool, 1);
    playByAsio(one, two, pool);
    pool.join();
  }
}
BENCHMARK(handOffOnTwoThreadsAsio)->Name("async/hand-off/two-threads/asio")->UseRealTime();
#endif

// Many tasks that wait for a semaphore, and are cancelled in random order. The time is that of one, from its
// cancellation until it has ended; the memory is what one takes while it waits beside its coroutine.

Task<bool> waitInVain(QVAsyncSemaphore& semaphore) {
  try {
    co_await semaphore.waitUnlessCancelled();
  } catch (const CancellationError&) {
    co_return true;
  }
  co_return false;
}

double bytesInUse() {
  const auto memory = mallinfo2();
  return static_cast<double>(memory.uordblks + memory.hblkhd);
}

double bytesOfCoroutine() {
  constexpr std::size_t count = 10'000;
  QVAsyncSemaphore semaphore(0);
  std::vector<Task<bool>> coroutines;
  coroutines.reserve(count);
  const double before = bytesInUse();
  for (std::size_t i = 0; i < count; ++i) coroutines.push_back(waitInVain(semaphore));
  return (bytesInUse() - before) / count;
}

void cancelledWaiters(benchmark::State& state) {
  const auto count = state.range(0);
  std::mt19937 random(1);
  const double coroutine = bytesOfCoroutine();
  double bytes = 0;
  while (state.KeepRunningBatch(count)) {
    state.PauseTiming();
    QVAsyncSemaphore semaphore(0);
    const double before = bytesInUse();
    std::vector<TaskHandle<bool>> waiters;
    waiters.reserve(static_cast<std::size_t>(count));
    for (std::int64_t i = 0; i < count; ++i)
      waiters.push_back(startTask([&] { return waitInVain(semaphore); }));
    while (semaphore.value() > -count) std::this_thread::yield();
    bytes = (bytesInUse() - before) / static_cast<double>(count) - coroutine;
    std::shuffle(waiters.begin(), waiters.end(), random);
    state.ResumeTiming();
    for (const auto& waiter : waiters) waiter.cancel();
    for (const auto& waiter : waiters) {
      if (!waiter.wait()) state.SkipWithError("was not cancelled");
    }
    state.PauseTiming();
    waiters.clear();
    state.ResumeTiming();
  }
  state.counters["bytes"] = bytes;
}
BENCHMARK(cancelledWaiters)
    ->Name("async/cancelled-waiters/ours")
    ->Arg(10'000)
    ->Arg(100'000)
    ->Arg(200'000)
    ->UseRealTime();

// A deadline that does not come, around an operation that ends at once.

constexpr int deadlines = 1'000;

Task<> meetDeadlines() {
  for (int i = 0; i < deadlines; ++i) {
    co_await withDeadline(ContinuousClock::now() + std::chrono::seconds(10), [&] { return successor(i); });
  }
}

void deadline(benchmark::State& state) {
  while (state.KeepRunningBatch(deadlines)) meetDeadlines().wait();
}
BENCHMARK(deadline)->Name("async/deadline/ours")->UseRealTime();

// How much later than asked a task goes on. Each repetition is one sleep, so the median is that of many.

constexpr auto delay = std::chrono::milliseconds(1);

void noteLateness(benchmark::State& state, Clock::duration lateness) {
  if (lateness.count() < 0) state.SkipWithError("too early");
  state.SetIterationTime(std::chrono::duration<double>(lateness).count());
}

void oneSleep(benchmark::internal::Benchmark* row) {
  row->Iterations(1)->Repetitions(250)->UseManualTime()->Unit(benchmark::kMicrosecond);
}

Task<Clock::duration> latenessOfSleep() {
  const auto begin = Clock::now();
  co_await sleepFor(delay);
  co_return Clock::now() - begin - delay;
}

Task<> sleepLong() { co_await sleepFor(std::chrono::hours(1)); }

Task<Clock::duration> latenessOfDeadline() {
  const auto begin = Clock::now();
  try {
    co_await withDeadline(ContinuousClock::now() + delay, sleepLong);
  } catch (const DeadlineExceededError&) {
  }
  co_return Clock::now() - begin - delay;
}

void sleepLateness(benchmark::State& state) {
  for (auto _ : state) noteLateness(state, latenessOfSleep().wait());
}
BENCHMARK(sleepLateness)->Name("async/sleep-lateness/ours")->Apply(oneSleep);

void deadlineLateness(benchmark::State& state) {
  for (auto _ : state) noteLateness(state, latenessOfDeadline().wait());
}
BENCHMARK(deadlineLateness)->Name("async/deadline-lateness/ours")->Apply(oneSleep);

#ifdef QV_PEER_BOOST_ASIO
asio::awaitable<Clock::duration> latenessOfAsio() {
  asio::steady_timer timer(co_await asio::this_coro::executor);
  const auto begin = Clock::now();
  timer.expires_after(delay);
  co_await timer.async_wait(asio::use_awaitable);
  co_return Clock::now() - begin - delay;
}

void latenessAsio(benchmark::State& state) {
  asio::io_context context;
  const auto work = asio::make_work_guard(context);
  std::jthread thread([&] { context.run(); });
  for (auto _ : state) {
    std::binary_semaphore isOver(0);
    Clock::duration lateness{};
    asio::co_spawn(context, latenessOfAsio(), [&](const std::exception_ptr&, Clock::duration result) {
      lateness = result;
      isOver.release();
    });
    isOver.acquire();
    noteLateness(state, lateness);
  }
  context.stop();
}
BENCHMARK(latenessAsio)->Name("async/sleep-lateness/asio")->Apply(oneSleep);
BENCHMARK(latenessAsio)->Name("async/deadline-lateness/asio")->Apply(oneSleep);
#endif

}  // namespace
