#include "QVFoundation/platform/concurrency/DispatchTimerSource.h"

#include <atomic>
#include <future>
#include <latch>
#include <memory>
#include <optional>
#include <thread>

#include <gtest/gtest.h>

#include "tests/platform/concurrency/OnThreads.h"

namespace QVFoundation {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

TEST(DispatchTimerSource, firesOnceOrAgainAndAgainAndNeverEarly) {
  for (const bool repeats : {false, true}) {
    const int want = repeats ? 3 : 1;
    std::atomic<int> calls = 0;
    std::latch done(want);
    DispatchTimerSource timer(DispatchQueue::serial("timer"));
    const auto start = Clock::now();
    timer.setEventHandler([&] {
      EXPECT_GE(Clock::now() - start, 2ms + calls.load() * 1ms);
      if (++calls <= want) done.count_down();
    });
    timer.schedule(2ms, repeats ? std::optional(1ms) : std::nullopt);
    timer.resume();
    done.wait();
    timer.cancel();
    const int last = calls;
    std::this_thread::sleep_for(5ms);  // time for a call that must not come
    EXPECT_EQ(calls, last);
  }
}

TEST(DispatchTimerSource, skipsTimesWhileItsQueueIsBusy) {
  const auto queue = DispatchQueue::serial("busy");
  std::latch isBusy(1), mayEnd(1);
  std::atomic<int> calls = 0;
  queue->async([&] {
    isBusy.count_down();
    mayEnd.wait();
  });
  isBusy.wait();
  DispatchTimerSource timer(queue);
  timer.setEventHandler([&] {
    if (++calls == 1) timer.suspend();
  });
  timer.schedule(0ns, 0ns);  // as often as can be
  timer.resume();
  std::this_thread::sleep_for(5ms);  // thousands of intervals
  mayEnd.count_down();
  queue->sync([] {});
  queue->sync([] {});
  EXPECT_EQ(calls, 1);
}

TEST(DispatchTimerSource, waitsForItsTimeOnlyWhileItIsResumed) {
  std::promise<int> first;
  std::atomic<int> calls = 0;
  DispatchTimerSource timer(DispatchQueue::global());
  timer.setEventHandler([&] { first.set_value(++calls); });
  timer.resume();
  timer.schedule(1h);
  timer.schedule(-1ns);
  EXPECT_EQ(first.get_future().get(), 1);
  timer.suspend();
  timer.schedule(0ns);
  std::this_thread::sleep_for(3ms);  // time for a call that must not come
  EXPECT_EQ(calls, 1);
}

TEST(DispatchTimerSource, isCancelledForGoodFromInsideAndOutside) {
  std::promise<void> isCancelled;
  std::optional<DispatchTimerSource> own(DispatchQueue::global());
  own->setEventHandler([&] {
    own->cancel();
    isCancelled.set_value();
  });
  own->schedule(0ns, 1us);
  own->resume();
  isCancelled.get_future().wait();
  EXPECT_TRUE(own->isCancelled());

  std::latch isInside(1);
  std::atomic<bool> hasEnded = false;
  const auto held = std::make_shared<int>();
  {
    DispatchTimerSource other(DispatchQueue::global());
    other.setEventHandler([&, held] {
      if (!isInside.try_wait()) isInside.count_down();
      std::this_thread::yield();
      hasEnded = true;
    });
    other.schedule(0ns);
    other.resume();
    isInside.wait();
    other.cancel();
    EXPECT_TRUE(hasEnded) << "who cancels waits for the handler";
  }
  while (held.use_count() > 1) std::this_thread::yield();
}

TEST(DispatchTimerSource, bearsChangesFromAllThreadsWhileItFires) {
  std::atomic<int> calls = 0;
  for (int round = 0; round < 50; ++round) {
    auto timer = std::make_shared<DispatchTimerSource>(DispatchQueue::global());
    timer->setEventHandler([&] { ++calls; });
    testing::onThreads(3, [&](int thread) {
      for (int i = 0; i < 20; ++i) {
        if (thread == 0) timer->schedule(0ns, 1us);
        if (thread == 1) timer->resume();
        if (thread == 2) timer->suspend();
      }
    });
    timer->resume();
    timer->cancel();
    const int last = calls;
    timer.reset();
    EXPECT_EQ(calls, last);
  }
}

}  // namespace
}  // namespace QVFoundation
