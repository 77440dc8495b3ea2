#include "QVFoundation/platform/concurrency/DispatchTimerSource.h"

#include <atomic>
#include <future>
#include <latch>
#include <memory>
#include <optional>
#include <stdexcept>
#include <thread>
#include <utility>

#include <gmock/gmock.h>

#include "tests/platform/concurrency/OnThreads.h"
#include "tests/platform/runtime/RaisedException.h"

namespace QVFoundation {
namespace {

using namespace std::chrono_literals;
using testing::raisedBy;
using ::testing::StartsWith;
using Clock = std::chrono::steady_clock;

/// Waits until all timers have been handed on whose time has come.
void awaitDueTimers() {
  std::promise<void> handedOn;
  DispatchQueue::global()->after(0ns, [&] { handedOn.set_value(); });
  handedOn.get_future().wait();
}

/// A serial queue that runs nothing while a function does.
template <class Function>
void whileBusy(DispatchQueue& queue, const Function& function) {
  std::promise<void> isBusy, mayEnd;
  queue.async([&, end = mayEnd.get_future().share()] {
    isBusy.set_value();
    end.wait();
  });
  isBusy.get_future().wait();
  function();
  mayEnd.set_value();
  queue.sync([] {});
}

TEST(DispatchTimerSource, firesOnceOrAgainAndAgainAndNeverEarly) {
  for (const auto& [queue, repeats] :
       {std::pair(DispatchQueue::serial("timer"), false), std::pair(DispatchQueue::serial("timer"), true),
        std::pair(DispatchQueue::global(), false), std::pair(DispatchQueue::global(), true)}) {
    const int want = repeats ? 3 : 1;
    std::atomic<int> calls = 0;
    std::latch done(want);
    DispatchTimerSource timer(queue);
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

TEST(DispatchTimerSource, skipsTimesWhileItsQueueIsBusyOrItsHandlerRuns) {
  const auto queue = DispatchQueue::serial("busy");
  std::atomic<int> calls = 0, inside = 0;
  DispatchTimerSource timer(queue);
  timer.setEventHandler([&] {
    if (++calls == 1) timer.suspend();
  });
  whileBusy(*queue, [&] {
    timer.schedule(0ns, 0ns);  // as often as can be
    timer.resume();
    for (int i = 0; i < 10; ++i) awaitDueTimers();
  });
  queue->sync([] {});
  EXPECT_EQ(calls, 1);

  std::promise<void> done;
  DispatchTimerSource slow(DispatchQueue::global());
  slow.setEventHandler([&] {
    EXPECT_EQ(++inside, 1) << "it runs beside itself";
    for (int i = 0; i < 3; ++i) awaitDueTimers();
    --inside;
    if (++calls == 4) done.set_value();
  });
  slow.schedule(0ns, 1us);
  slow.resume();
  done.get_future().wait();
}

TEST(DispatchTimerSource, callsForWhatWasScheduledLast) {
  const auto queue = DispatchQueue::serial("busy");
  int calls = 0;
  DispatchTimerSource timer(queue);
  timer.setEventHandler([&] {
    if (++calls > 2) return;
    timer.schedule(0ns);  // from inside, and due before it ends
    awaitDueTimers();
  });
  whileBusy(*queue, [&] {
    timer.schedule(0ns);
    timer.resume();
    awaitDueTimers();
    timer.suspend();
  });
  EXPECT_EQ(calls, 0) << "it is suspended";
  timer.resume();
  for (int i = 0; i < 3; ++i) queue->sync([] {});
  EXPECT_EQ(calls, 3);
  whileBusy(*queue, [&] {
    timer.schedule(0ns);
    awaitDueTimers();
    timer.schedule(1h);
  });
  EXPECT_EQ(calls, 3) << "what is on the queue belongs to another time";
}

// The thread for the handler is woken some microseconds before its time.
TEST(DispatchTimerSource, isNotEarlyWhereItsTimeChangesJustBeforeItComes) {
  for (auto change = 0us; change < 100us; change += 2us) {
    DispatchTimerSource timer(DispatchQueue::global());
    std::promise<Clock::time_point> called;
    timer.setEventHandler([&] { called.set_value(Clock::now()); });
    const auto start = Clock::now();
    timer.schedule(100us);
    timer.resume();
    while (Clock::now() < start + change) std::this_thread::yield();
    timer.suspend();
    auto due = start + 100us;
    if (change.count() % 4 == 0 && Clock::now() < due) {
      due = Clock::now() + 200us;
      timer.schedule(200us);
    }
    timer.resume();
    EXPECT_GE(called.get_future().get(), due);
    timer.cancel();
  }
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
  struct Owner {
    DispatchTimerSource timer{DispatchQueue::global()};
  };
  std::promise<void> isCancelled;
  auto own = std::make_shared<Owner>();
  const std::weak_ptr<Owner> watch = own;
  own->timer.setEventHandler([owner = own, &isCancelled] {
    owner->timer.cancel();
    EXPECT_TRUE(owner->timer.isCancelled()) << "the handler is still there";
    isCancelled.set_value();
  });
  own->timer.schedule(0ns, 1us);
  std::exchange(own, nullptr)->timer.resume();
  isCancelled.get_future().wait();
  while (!watch.expired()) std::this_thread::yield();

  std::latch isInside(1);
  std::atomic<bool> hasEnded = false;
  auto other = std::make_shared<Owner>();
  const std::weak_ptr<Owner> watchOther = other;
  other->timer.setEventHandler([&, owner = other] {
    if (!isInside.try_wait()) isInside.count_down();
    std::this_thread::yield();
    hasEnded = true;
  });
  other->timer.schedule(0ns);
  other->timer.resume();
  isInside.wait();
  other->timer.cancel();
  EXPECT_TRUE(hasEnded) << "who cancels waits for the handler";
  EXPECT_EQ(watchOther.use_count(), 1) << "which does not keep what it held";
  const auto late = std::make_shared<int>();
  other->timer.setEventHandler([late] {});
  EXPECT_EQ(late.use_count(), 1);
  EXPECT_THAT(raisedBy([&] { other->timer.setEventHandler({}); }), StartsWith("NSInvalidArgumentException"));
}

TEST(DispatchTimerSource, bearsChangesFromAllThreadsWhileItFires) {
  std::atomic<int> calls = 0;
  for (int round = 0; round < 50; ++round) {
    const auto held = std::make_shared<int>();
    auto timer = std::make_shared<DispatchTimerSource>(DispatchQueue::global());
    timer->setEventHandler([&, held] { ++calls; });
    testing::onThreads(4, [&](int thread) {
      for (int i = 0; i < 20; ++i) {
        if (thread == 0) timer->schedule(0ns, 1us);
        if (thread == 1) timer->resume();
        if (thread == 2) timer->suspend();
        if (thread == 3 && round % 2 == 0 && i == 10) timer->cancel();
      }
    });
    timer->resume();
    timer->cancel();
    EXPECT_EQ(held.use_count(), 1);
    const int last = calls;
    timer.reset();
    EXPECT_EQ(calls, last);
  }
}

TEST(DispatchTimerSourceDeathTest, endsTheProcessForAnEscapedException) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        DispatchTimerSource timer(DispatchQueue::serial("mine"));
        timer.setEventHandler([] { throw std::runtime_error("oh"); });
        timer.schedule(0ns);
        timer.resume();
        for (;;) std::this_thread::yield();
      },
      "The handler of a timer on the queue \"mine\" let out an exception: .*oh");
}

}  // namespace
}  // namespace QVFoundation
