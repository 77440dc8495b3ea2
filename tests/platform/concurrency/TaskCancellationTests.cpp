#include "QVFoundation/platform/concurrency/TaskCancellation.h"

#include <atomic>
#include <functional>
#include <latch>
#include <memory>
#include <optional>
#include <stop_token>
#include <thread>
#include <utility>

#include <gmock/gmock.h>

#include "QVFoundation/platform/concurrency/MainQueue.h"
#include "QVFoundation/platform/concurrency/Task.h"
#include "QVFoundation/platform/concurrency/TaskGroup.h"
#include "QVFoundation/platform/concurrency/TaskHandle.h"
#include "QVFoundation/platform/concurrency/TaskSleep.h"
#include "tests/platform/concurrency/OnThreads.h"
#include "tests/platform/concurrency/TaskTesting.h"

namespace QVFoundation {
namespace {

using namespace std::chrono_literals;
using testing::Gate;
using testing::ManualQueue;

Task<bool> seesCancellation() {
  bool isSeen = currentTaskIsCancelled() && currentTask()->isCancelled();
  for (int i = 0; i < 2; ++i) {
    const auto sleeps = []() -> Task<> { co_await sleepFor(1h); };
    const Result<void> slept = co_await sleeps().result();
    const Result<void> checked = Result<void>::of(checkTaskCancellation);
    isSeen = isSeen && !slept && !checked && currentTaskStopToken().stop_requested();
  }
  co_return isSeen;
}

TEST(TaskCancellation, staysAndIsNoBusinessOfOtherTasks) {
  Gate gate, others;
  const TaskHandle other = startTask([&]() -> Task<bool> {
    co_await others.pass();
    co_return currentTaskIsCancelled();
  });
  const TaskHandle task = startTask([&]() -> Task<bool> {
    co_await gate.pass();
    const bool awaitsOther = co_await other;
    co_return !awaitsOther && co_await seesCancellation();
  });
  gate.awaitArrivals();
  task.cancel();
  task.cancel();
  EXPECT_TRUE(task.isCancelled() && !task.hasEnded());
  gate.open();
  others.awaitArrivals();
  others.open();
  EXPECT_TRUE(task.wait());
  task.cancel();
  other.cancel();
  EXPECT_TRUE(task.isCancelled() && task.wait() && !other.wait());
}

// The handler waits for what it is said to come after.
TEST(TaskCancellation, reachesChildrenBeforeHandlersAreCalled) {
  std::latch sleeps(1), hasEnded(1);
  const auto child = [&]() -> Task<> {
    const auto sleepLong = [&]() -> Task<> {
      sleeps.count_down();
      co_await sleepFor(1h);
    };
    (void)co_await sleepLong().result();
    hasEnded.count_down();
  };
  const auto body = [&](TaskGroup<void>& group) -> Task<> {
    group.addTask(child);
    co_await withTaskCancellationHandler([&] { return group.waitForAll(); }, [&] { hasEnded.wait(); });
  };
  const TaskHandle task = startTask([&] { return withTaskGroup(body); });
  sleeps.wait();
  task.cancel();
  task.wait();
}

TEST(TaskCancellation, reachesChildrenOfGroupsAndThoseThatAreWaitedFor) {
  std::latch allSleep(4);
  const auto sleeps = [&]() -> Task<> {
    allSleep.count_down();
    co_await sleepFor(1h);
  };
  const auto inGroup = [&]() -> Task<> {
    const auto body = [&](TaskGroup<void>& group) -> Task<> {
      group.addTask(sleeps);
      group.addTask([&] { sleeps().wait(); });
      co_await group.waitForAll();
    };
    co_await withTaskGroup(body);
  };
  const auto nested = [&](TaskGroup<void>& group) -> Task<> {
    for (int i = 0; i < 2; ++i) group.addTask(inGroup);
    co_await group.waitForAll();
  };
  const TaskHandle task = startTask([&] { return withTaskGroup(nested); });
  allSleep.wait();
  task.cancel();
  EXPECT_THROW(task.wait(), CancellationError);
  // One that is cancelled hands that on to what it waits for from then on.
  const TaskHandle late = startTask([&] {
    while (!currentTaskIsCancelled()) std::this_thread::yield();
    return seesCancellation().wait();
  });
  late.cancel();
  EXPECT_TRUE(late.wait());
}

TEST(CancellationHandler, isCalledOnceAndOnTheThreadThatCancelsAndNotAfterTheEnd) {
  Gate gate;
  std::atomic<int> calls = 0;
  std::thread::id caller;
  const auto handler = [&] { ++calls, caller = std::this_thread::get_id(); };
  const auto passes = [&]() -> Task<int> {
    const int callsBefore = calls;
    co_await gate.pass();
    co_return callsBefore;
  };
  const auto handled = [&]() -> Task<int> {
    const int given = co_await withTaskCancellationHandler(passes, handler);
    co_await gate.pass();
    co_return given;
  };
  enum class When { before, during, after };
  for (const When when : {When::before, When::during, When::after}) {
    const auto queue = std::make_shared<ManualQueue>();
    calls = 0;
    const TaskHandle task = startTask({.queue = queue}, handled);
    if (when == When::before) task.cancel();
    queue->runWaiting();
    if (when == When::during) testing::onThreads(2, [&](int) { task.cancel(); });
    EXPECT_EQ(caller == std::this_thread::get_id(), when == When::before);
    for (int waits = 0; waits < 2; ++waits) {
      gate.open();
      queue->runWaiting();
      if (when == When::after) task.cancel();
    }
    EXPECT_EQ(task.wait(), when == When::before ? 1 : 0);
    EXPECT_EQ(calls, when == When::after ? 0 : 1);
  }
}

TEST(CancellationHandler, isWaitedForWithoutAThreadWhereItStillRuns) {
  Gate gate;
  const auto queue = std::make_shared<ManualQueue>();
  std::latch entered(1), mayLeave(1);
  const auto held = std::make_shared<bool>(false);
  const auto handler = [&, held] {
    entered.count_down();
    mayLeave.wait();
    *held = true;
  };
  const auto passes = [&]() -> Task<> { co_await gate.pass(); };
  const TaskHandle task = startTask({.queue = queue}, [&]() -> Task<bool> {
    co_await withTaskCancellationHandler(passes, handler);
    co_return *held;
  });
  queue->runWaiting();
  const std::jthread canceller([&] { task.cancel(); });
  entered.wait();
  gate.open();
  queue->runWaiting();  // the operation comes to its end
  EXPECT_FALSE(task.hasEnded());
  mayLeave.count_down();
  queue->runUntilEndOf(task);
  EXPECT_TRUE(task.wait());
}

TEST(CancellationHandler, isNotHeldBackByThatOfASibling) {
  for (const bool slowIsFirst : {true, false}) {
    std::latch bothSleep(2), quickHasEnded(1);
    const auto sleeps = [&]() -> Task<> {
      bothSleep.count_down();
      co_await sleepFor(1h);
    };
    const auto slow = [&] { return withTaskCancellationHandler(sleeps, [&] { quickHasEnded.wait(); }); };
    const auto quick = [&]() -> Task<> {
      (void)co_await withTaskCancellationHandler(sleeps, [] {}).result();
      quickHasEnded.count_down();
    };
    const auto body = [&](TaskGroup<void>& group) -> Task<> {
      if (slowIsFirst) group.addTask(slow);
      group.addTask(quick);
      if (!slowIsFirst) group.addTask(slow);
      co_return;
    };
    const TaskHandle task = startTask([&] { return withTaskGroup(body); });
    bothSleep.wait();
    task.cancel();
    task.wait();
  }
}

TEST(CancellationHandler, isGoneWhereTheOperationThrows) {
  for (const bool isCoroutine : {true, false}) {
    int calls = 0;
    const auto throwsLater = []() -> Task<> {
      throw std::logic_error("operation");
      co_return;
    };
    const auto operation = [=]() -> Task<> {
      return isCoroutine ? throwsLater() : throw std::logic_error("no coroutine");
    };
    const TaskHandle task = startTask([&]() -> Task<bool> {
      const Result<void> end = co_await withTaskCancellationHandler(operation, [&] { ++calls; }).result();
      currentTask()->cancel();
      co_return !end;
    });
    EXPECT_TRUE(task.wait() && calls == 0);
  }
}

TEST(TaskCancellation, comesFromStopTokensAndGoesOnToThem) {
  Gate gate;
  const auto stopping = std::make_unique<std::stop_source>();  // on the stack g++ takes it for uninitialized
  EXPECT_FALSE(startTask({.stopToken = stopping->get_token()}, currentTaskIsCancelled).wait());

  std::stop_token token;
  const TaskHandle task = startTask({.stopToken = stopping->get_token()}, [&]() -> Task<bool> {
    token = currentTaskStopToken();
    const std::stop_callback opens(token, [&] { gate.open(); });
    co_await gate.pass();
    co_return token == currentTaskStopToken() && co_await seesCancellation();
  });
  gate.awaitArrivals();
  EXPECT_TRUE(token.stop_possible() && !token.stop_requested());
  stopping->request_stop();
  EXPECT_TRUE(task.wait() && token.stop_requested());
  EXPECT_TRUE(startTask({.stopToken = stopping->get_token()}, seesCancellation()).wait());
}

TEST(CurrentTask, isSeenByWhatItCallsAndByNoBlockOfAQueue) {
  const auto isHere = [] { return currentTask().has_value(); };
  const auto isUnknown = [=] {
    return !isHere() && !currentTaskIsCancelled() && !currentTaskStopToken().stop_possible();
  };
  EXPECT_TRUE(isUnknown());
  EXPECT_NO_THROW(checkTaskCancellation());
  const auto other = DispatchQueue::serial("other");
  const TaskHandle task = startTask({.name = "mine", .queue = DispatchQueue::main()}, [&] {
    const auto its = currentTask();
    currentTask()->cancel();
    bool isUnknownToOthers = other->sync(isUnknown);
    DispatchQueue::main()->async([&] { isUnknownToOthers = isUnknown() && isUnknownToOthers; });
    const TaskHandle nested =
        startTask({.queue = DispatchQueue::main()}, [its] { return currentTask() != its; });
    drainMainQueue();
    const bool isKnown =
        its->name() == "mine" && currentTask() == its && DispatchQueue::global()->sync(isHere);
    return isUnknownToOthers && nested.hasEnded() && nested.wait() && isKnown;
  });
  EXPECT_TRUE(task.wait() && isUnknown());
}

}  // namespace
}  // namespace QVFoundation
