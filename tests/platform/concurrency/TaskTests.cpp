#include "QVFoundation/platform/concurrency/Task.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <latch>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "QVFoundation/platform/concurrency/Continuation.h"
#include "QVFoundation/platform/concurrency/MainActor.h"
#include "QVFoundation/platform/concurrency/MainQueue.h"
#include "QVFoundation/platform/concurrency/TaskCancellation.h"
#include "QVFoundation/platform/concurrency/TaskHandle.h"
#include "QVFoundation/platform/concurrency/TaskSleep.h"
#include "QVFoundation/platform/concurrency/TaskYield.h"
#include "tests/platform/concurrency/OnThreads.h"
#include "tests/platform/concurrency/TaskTesting.h"
#include "tests/platform/runtime/RaisedException.h"
#include "tests/platform/runtime/SmallStack.h"

namespace QVFoundation {
namespace {

using namespace std::chrono_literals;
using testing::Gate;
using testing::ManualQueue;
using testing::raisedBy;
using ::testing::StartsWith;

struct Refusal {
  int code;
};

template <class T>
Task<T> given(T value) {
  co_return value;
}
template <class T = void>
Task<T> refused(int code) {
  throw Refusal(code);
  co_return T();
}
template <>
Task<void> refused(int code) {
  throw Refusal(code);
  co_return;
}

TEST(Task, givesWhatItsBodyGivesOrThrowsAsItWasThrown) {
  const auto body = [](int& steps) -> Task<std::unique_ptr<std::string>> {
    EXPECT_EQ(co_await given(7), 7);
    co_await given(std::make_unique<int>(1));
    const Result<void> failure = co_await refused(3).result();
    EXPECT_THROW(failure.value(), Refusal);
    const Result<std::string> text = co_await given<std::string>("text").result();
    EXPECT_EQ(*text, "text");
    try {
      co_await refused<std::unique_ptr<int>>(4);
      ADD_FAILURE() << "nothing was thrown";
    } catch (const Refusal& refusal) {
      steps += refusal.code;
    }
    co_return std::make_unique<std::string>("end");
  };
  int steps = 0;
  EXPECT_EQ(*body(steps).wait(), "end");
  EXPECT_EQ(steps, 4);
  EXPECT_THROW(refused(5).wait(), Refusal);
  EXPECT_THROW(startTask([]() -> int { throw Refusal(6); }).wait(), Refusal);
  // One whose function throws before there is a coroutine.
  EXPECT_THROW(startTask([]() -> Task<int> { throw Refusal(7); }).wait(), Refusal);
}

TEST(Task, failsWhereWhatItHoldsThrowsAfterItHasGivenItsValue) {
  struct ThrowsAtItsEnd {
    ~ThrowsAtItsEnd() noexcept(false) { throw Refusal(8); }
  };
  const auto gives = []() -> Task<std::string> {
    const ThrowsAtItsEnd held;
    co_return std::string(100, 'x');
  };
  const auto awaits = [&]() -> Task<std::string> { co_return co_await gives(); };
  EXPECT_THROW(gives().wait(), Refusal);
  EXPECT_THROW(awaits().wait(), Refusal);
}

TEST(Task, runsWhenItIsAwaitedOnlyAndFreesWhatItHolds) {
  bool hasRun = false;
  const auto held = std::make_shared<int>(1);
  const auto body = [](std::shared_ptr<int> /*holds*/, bool& runs) -> Task<> {
    runs = true;
    co_return;
  };
  {
    const Task<> unused = body(held, hasRun);
    Task<> moved = body(held, hasRun);
    moved = body(held, hasRun);
    const auto runsAnother = [&]() -> Task<> {
      const Task<> dropped = body(held, hasRun);
      co_return;
    };
    runsAnother().wait();
    EXPECT_EQ(held.use_count(), 3);
  }
  EXPECT_TRUE(held.use_count() == 1 && !hasRun);
}

enum class Deepest { ends, waits, throws };

Task<int> countDown(int levels, Deepest deepest) {
  if (levels > 0) {
    const int below = co_await countDown(levels - 1, deepest);
    co_return below + 1;
  }
  if (deepest == Deepest::throws) throw Refusal(1);
  if (deepest == Deepest::waits) co_await sleepFor(1ms);
  co_return 0;
}

TEST(Task, takesNoStackHoweverDeepAndOftenItAwaits) {
  static constexpr int levels = 100'000, turns = 1'000'000;
  testing::onSmallStack([] {
    const auto queue = std::make_shared<ManualQueue>();
    const TaskHandle<int> task = startTask({.queue = queue}, []() -> Task<int> {
      int sum = 0;
      for (int i = 0; i < turns; ++i) sum += co_await given(1);
      for (int i = 0; i < turns / 10; ++i) {
        // An answer that is there already.
        sum += co_await withContinuation<int>([](const Continuation<int>& waiting) { waiting.resume(1); });
      }
      sum += co_await countDown(levels, Deepest::ends);
      sum += co_await countDown(levels, Deepest::waits);
      const Result<int> failure = co_await countDown(levels, Deepest::throws).result();
      co_return failure.hasValue() ? 0 : sum;
    });
    queue->runUntilEndOf(task);
    EXPECT_EQ(task.wait(), turns + turns / 10 + 2 * levels);
  });
}

TEST(Task, hasLetGoOfAllWhenItIsSaidToHaveEnded) {
  const auto held = std::make_shared<int>(1);
  const auto body = [held]() -> Task<> {
    const std::vector<std::shared_ptr<int>> local(1, held);
    co_await given(local);
    throw Refusal(1);
  };
  for (int i = 0; i < 300; ++i) {
    const AnyTaskHandle polled = startTask(body);
    while (!polled.hasEnded()) std::this_thread::yield();
    const TaskHandle waitedFor = startTask(body), awaited = startTask(body);
    EXPECT_THROW(waitedFor.wait(), Refusal);
    const TaskHandle plain = startTask([its = held] { return *its; });
    plain.wait();
    const auto awaits = [&]() -> Task<long> {
      const Result<void> end = co_await awaited.result();
      co_return held.use_count() + (end ? 1 : 0);
    };
    ASSERT_EQ(awaits().wait(), 2);  // the test's, and its `body`'s
  }
}

TEST(TaskHandle, givesTheEndToAllWhoWait) {
  Gate gate;
  const auto toEach = [&](auto task, int value) -> Task<> {
    const auto awaits = [](auto its) -> Task<int> { co_return *co_await its; };
    const TaskHandle<int> one = startTask([=] { return awaits(task); });
    const TaskHandle<int> other = startTask([=] { return awaits(task); });
    gate.awaitArrivals();
    gate.open();
    EXPECT_EQ(*co_await task, value);
    EXPECT_EQ(co_await one + co_await other, 2 * value);
  };
  const TaskHandle shared = startTask([&]() -> Task<std::shared_ptr<int>> {
    co_await gate.pass();
    co_return std::make_shared<int>(5);
  });
  toEach(shared, 5).wait();
  EXPECT_TRUE(shared.hasEnded() && !shared.isCancelled() && shared == AnyTaskHandle(shared));
}

TEST(TaskHandle, givesWhatCannotBeCopiedToTheFirstAndAFailureToAll) {
  const auto fails = [] { return refused<std::unique_ptr<int>>(3); };
  const TaskHandle failing = startTask(fails);
  for (int i = 0; i < 2; ++i) EXPECT_THROW(failing.wait(), Refusal);

  const TaskHandle task = startTask({.name = "unique"}, given(std::make_unique<int>(5)));
  EXPECT_EQ(*task.wait(), 5);
  EXPECT_THAT(raisedBy([&] { task.wait(); }),
              StartsWith("NSInternalInconsistencyException: The task \"unique"));
  const auto next = [&]() -> Task<bool> {
    const Result<std::unique_ptr<int>> result = co_await task.result();
    co_return result.hasValue();
  };
  EXPECT_FALSE(next().wait());
}

TEST(Task, goesOnWhereItWantsToAndComesBackForWhoAwaitsIt) {
  const auto first = DispatchQueue::serial("first"), second = DispatchQueue::serial("second");
  Gate gate;
  const auto elsewhere = [&]() -> Task<std::string> {
    std::string where = first->isCurrent() ? "first " : "";
    co_await second;
    where += second->isCurrent() ? "second " : "";
    co_await gate.pass();
    where += second->isCurrent() ? "second " : "";
    co_await given(1);
    co_return where + (second->isCurrent() ? "second" : "");
  };
  const auto onOneOfItsOwn = []() -> Task<bool> {
    auto queue = DispatchQueue::serial("own");
    const auto* const its = queue.get();
    co_await std::exchange(queue, nullptr);
    co_return its->isCurrent();
  };
  const TaskHandle task = startTask({.queue = first}, [&]() -> Task<bool> {
    for (int i = 0; i < 100; ++i) EXPECT_TRUE(co_await onOneOfItsOwn() && first->isCurrent());
    const std::string where = co_await elsewhere();
    EXPECT_EQ(where, "first second second second");
    co_await first;
    co_return first->isCurrent();
  });
  gate.awaitArrivals();
  std::thread([&] { gate.open(); }).join();
  EXPECT_TRUE(task.wait());
}

TEST(Task, givesWayToWhatWaitsOnItsQueue) {
  const auto queue = DispatchQueue::serial("line");
  const auto order = [&]() -> Task<std::string> {
    std::string log;
    co_await queue;
    queue->async([&log] { log += "a"; });
    log += "t";
    co_await yieldTask();
    co_return log + "t";
  };
  EXPECT_EQ(order().wait(), "tat");
}

TEST(Task, keepsFewOfTheQueuesThatItHasLeft) {
  const auto moves = []() -> Task<std::ptrdiff_t> {
    std::vector<std::weak_ptr<DispatchQueue>> queues;
    for (int i = 0; i < 1'000; ++i) {
      auto queue = DispatchQueue::serial("one of many");
      queues.emplace_back(queue);
      co_await std::move(queue);
    }
    co_return std::ranges::count_if(queues, [](const auto& queue) { return !queue.expired(); });
  };
  EXPECT_LE(moves().wait(), 32);
}

TEST(TaskDeathTest, endsTheProcessWhereItWasMovedAway) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto moved = []() -> Task<> {
    auto task = []() -> Task<> { co_return; }();
    const auto its = std::move(task);
    co_await std::move(task);  // NOLINT(bugprone-use-after-move)
  };
  EXPECT_DEATH(moved().wait(), "moved away before");
}

TEST(Task, passesItsQualityOfServiceOn) {
  const TaskOptions options{.qualityOfService = QualityOfService::utility};
  const TaskHandle task = startTask(options, [] {
    return startTask([] { return detail::TaskContext::current()->qualityOfService(); }).wait();
  });
  EXPECT_EQ(task.wait(), QualityOfService::utility);
}

TEST(MainActor, runsOnTheMainThreadWhichMayWaitMeanwhile) {
  const auto asks = []() -> Task<bool> {
    const auto waits = []() -> Task<bool> {
      co_await sleepFor(1ms);
      co_return isMainThread();
    };
    bool isThere = !isMainThread();
    isThere = co_await MainActor::run([] { return isMainThread(); }) && isThere;
    isThere = co_await MainActor::run(waits) && isThere;
    const auto refuses = [] { return refused(1); };
    const Result<void> failure = co_await MainActor::run(refuses).result();
    co_return isThere && !failure && !isMainThread();
  };
  EXPECT_TRUE(asks().wait());
  EXPECT_TRUE(startTask(asks).wait());
  // A block of the main queue waits too.
  EXPECT_TRUE(startTask({.queue = DispatchQueue::main()}, [&] { return asks().wait(); }).wait());
  const TaskHandle stops = startTask([&]() -> Task<bool> {
    const bool isThere = co_await asks();
    stopMainQueue();
    co_return isThere;
  });
  runMainQueue();
  EXPECT_TRUE(stops.wait());
}

/// Starts, awaits, cancels and drops tasks as the dice fall. All of them hold something while they run.
Task<int> disturbed(std::shared_ptr<int> held, unsigned seed, int levels) {
  std::minstd_rand dice(seed);
  std::vector<TaskHandle<int>> tasks;
  int ended = 1;
  for (int i = 0; i < 4 && levels > 0; ++i) {
    const auto next = static_cast<unsigned>(dice());
    TaskHandle<int> task = startTask([held, next, levels] { return disturbed(held, next, levels - 1); });
    if (next % 3 == 0) task.cancel();
    if (next % 5 != 0) tasks.push_back(std::move(task));
  }
  const auto sleeps = [](unsigned number) -> Task<> { co_await sleepFor(1us * (number % 300)); };
  const auto cancels = [tasks] {
    for (const auto& task : tasks) task.cancel();
  };
  const auto number = static_cast<unsigned>(dice());
  (void)co_await withTaskCancellationHandler([&] { return sleeps(number); }, cancels).result();
  for (const auto& task : tasks) ended += co_await task;
  co_return ended;
}

TEST(MainActor, bearsManyBlocksThatWaitInsideOfEachOther) {
  static constexpr int count = 10'000;
  const auto hops = []() -> Task<> { co_await DispatchQueue::global(); };
  int ended = 0;
  for (int i = 0; i < count; ++i) {
    DispatchQueue::main()->async([&] {
      hops().wait();
      if (++ended == count) stopMainQueue();
    });
  }
  runMainQueue();
  EXPECT_EQ(ended, count);
}

TEST(Task, bearsThreadsThatStartCancelAwaitAndDropAtRandom) {
  auto held = std::make_shared<int>(0);
  testing::onThreads(4, [&](int number) {
    std::minstd_rand dice(static_cast<unsigned>(number + 1));
    for (int i = 0; i < 30; ++i) {
      const auto seed = static_cast<unsigned>(dice());
      std::stop_source source;
      const TaskHandle task = startTask({.stopToken = source.get_token()}, disturbed(held, seed, 3));
      if (seed % 4 == 0) std::thread([&] { task.cancel(); }).join();
      if (seed % 4 == 1) source.request_stop();
      if (seed % 4 == 2) continue;
      EXPECT_GE(task.wait(), 1);
    }
  });
  const std::weak_ptr<int> stillHeld = std::exchange(held, nullptr);
  while (!stillHeld.expired()) std::this_thread::yield();
}

}  // namespace
}  // namespace QVFoundation
