#include "QVFoundation/platform/concurrency/TaskGroup.h"

#include <atomic>
#include <functional>
#include <latch>
#include <memory>
#include <stdexcept>
#include <vector>

#include <gmock/gmock.h>

#include "QVFoundation/platform/concurrency/TaskCancellation.h"
#include "QVFoundation/platform/concurrency/TaskSleep.h"
#include "tests/platform/concurrency/TaskTesting.h"

namespace QVFoundation {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using testing::Gate;

TEST(TaskGroup, givesItsChildrenInTheOrderInWhichTheyEnd) {
  Gate gate;
  const auto line = DispatchQueue::serial("line");
  const auto body = [&](TaskGroup<std::unique_ptr<int>>& group) -> Task<std::vector<int>> {
    std::vector<int> order;
    EXPECT_TRUE(group.isEmpty() && !co_await group.next());
    for (int i = 0; i < 4; ++i) {
      group.addTask({.queue = line}, [&gate, i]() -> Task<std::unique_ptr<int>> {
        co_await gate.pass(i);
        if (i == 1) throw std::logic_error("one");
        co_return std::make_unique<int>(i);
      });
    }
    gate.awaitArrivals(4);
    for (const int i : {2, 0, 1}) gate.open(i);
    order.push_back(**co_await group.next());
    order.push_back(**co_await group.next());
    const auto failed = co_await group.nextResult();
    EXPECT_TRUE(failed && !*failed && !group.isEmpty());
    // Some have ended when others come.
    group.addTask([] { return std::make_unique<int>(7); });
    order.push_back(**co_await group.next());
    gate.open(3);
    order.push_back(**co_await group.next());
    EXPECT_TRUE(group.isEmpty() && !co_await group.next());
    co_return order;
  };
  EXPECT_THAT(withTaskGroup<std::unique_ptr<int>>(body).wait(), ElementsAre(2, 0, 7, 3));
}

enum class BodyEnd { returns, throws, throwsWithoutCoroutine };

TEST(TaskGroup, isOverWhenItsChildrenAreHoweverItsBodyEnds) {
  for (const BodyEnd how : {BodyEnd::returns, BodyEnd::throws, BodyEnd::throwsWithoutCoroutine}) {
    std::latch bodyHasEnded(1);
    std::atomic<int> ended = 0, cancelled = 0;
    const auto child = [&]() -> Task<> {
      bodyHasEnded.wait();
      if (how != BodyEnd::returns) {
        const auto sleeps = []() -> Task<> { co_await sleepFor(1h); };
        (void)co_await sleeps().result();
      }
      cancelled += currentTaskIsCancelled() ? 1 : 0;
      ++ended;
      throw std::logic_error("child");
    };
    const auto ends = [&](TaskGroup<void>& group) -> Task<int> {
      const std::unique_ptr<std::latch, void (*)(std::latch*)> atEnd(&bodyHasEnded,
                                                                     [](auto* its) { its->count_down(); });
      for (int i = 0; i < 3; ++i) group.addTask(child);
      if (how == BodyEnd::throws) throw std::logic_error("body");
      co_return 5;
    };
    const auto body = [&](TaskGroup<void>& group) -> Task<int> {
      if (how != BodyEnd::throwsWithoutCoroutine) return ends(group);
      for (int i = 0; i < 3; ++i) group.addTask(child);
      bodyHasEnded.count_down();
      throw std::logic_error("no coroutine");
    };
    const auto run = [&]() -> Task<int> {
      const Result<int> result = co_await withTaskGroup(body).result();
      EXPECT_EQ(ended, 3);
      co_return result ? *result : 0;
    };
    EXPECT_EQ(run().wait(), how == BodyEnd::returns ? 5 : 0);
    EXPECT_EQ(cancelled, how == BodyEnd::returns ? 0 : 3);
  }
}

/// Can be moved so often only.
struct Brittle {
  explicit Brittle(int howOften) : moves(howOften) {}
  Brittle(Brittle&& other) : moves(other.moves - 1) {  // NOLINT(*-noexcept-move*): that is what it is for
    if (moves < 0) throw std::logic_error("broken");
  }
  int moves;
};

struct ThrowsOnCopy {
  ThrowsOnCopy() = default;
  ThrowsOnCopy(const ThrowsOnCopy& /*other*/) { throw std::logic_error("copied"); }
  ThrowsOnCopy(ThrowsOnCopy&&) = default;
};

TEST(TaskGroup, isOverWhenItsChildrenAreHoweverValuesBearToBeMoved) {
  static constexpr int most = 60;
  int failures = 0;
  for (int moves = 0; moves < most; ++moves) {
    std::atomic<bool> childHasEnded = false;
    const auto body = [&](TaskGroup<ThrowsOnCopy>& group) -> Task<Brittle> {
      group.addTask([] { return ThrowsOnCopy(); });
      group.addTask([&]() -> Task<ThrowsOnCopy> {
        co_await DispatchQueue::serial("late");
        childHasEnded = true;
        co_return ThrowsOnCopy();
      });
      const auto give = [moves](const Continuation<Brittle>& waiting) { waiting.resume(Brittle(moves)); };
      co_return co_await withContinuation<Brittle>(give);
    };
    const auto inGroup = [&] { return withTaskGroup<ThrowsOnCopy>(body); };
    const auto handled = [&] { return withTaskCancellationHandler(inGroup, [] {}); };
    const auto result = Result<Brittle>::of([&] { return startTask(handled).wait(); });
    failures += result ? 0 : 1;
    EXPECT_TRUE(childHasEnded);
  }
  EXPECT_TRUE(0 < failures && failures < most) << failures;
}

TEST(TaskGroup, cancelsThoseThatRunAndThoseThatAreStillToCome) {
  Gate gate;
  const auto isCancelled = [] { return currentTaskIsCancelled(); };
  const auto body = [&](TaskGroup<bool>& group) -> Task<int> {
    group.addTask([&]() -> Task<bool> {
      co_await gate.pass();
      co_return currentTaskIsCancelled();
    });
    gate.awaitArrivals();
    EXPECT_TRUE(group.addTaskUnlessCancelled(isCancelled));
    EXPECT_FALSE(**co_await group.nextResult());
    group.cancelAll();
    gate.open();
    EXPECT_FALSE(group.addTaskUnlessCancelled(isCancelled));
    group.addTask(isCancelled);
    int cancelled = 0;
    while (const auto its = co_await group.next()) cancelled += *its ? 1 : 0;
    EXPECT_TRUE(group.isCancelled() && !currentTaskIsCancelled());
    co_return cancelled;
  };
  EXPECT_EQ(withTaskGroup<bool>(body).wait(), 2);
}

// The handler of one waits for the end of another, which is woken before: that one must not wait for the
// thread.
TEST(TaskGroup, cancelsItsChildrenAndWaitsForThemInOneStep) {
  std::latch bothRun(2), sleeperHasEnded(1);
  const auto sleepLong = [&]() -> Task<> {
    bothRun.count_down();
    co_await sleepFor(1h);
  };
  const auto sleeper = [&]() -> Task<> {
    (void)co_await sleepLong().result();
    sleeperHasEnded.count_down();
    throw std::logic_error("dropped");
  };
  const auto body = [&](TaskGroup<void>& group) -> Task<> {
    group.addTask([&] { return withTaskCancellationHandler(sleepLong, [&] { sleeperHasEnded.wait(); }); });
    group.addTask(sleeper);
    bothRun.wait();
    co_await group.cancelAndWaitForAll();
    EXPECT_TRUE(sleeperHasEnded.try_wait() && group.isEmpty() && group.isCancelled());
    co_await group.cancelAndWaitForAll();
  };
  withTaskGroup(body).wait();
}

TEST(TaskGroup, isCancelledAsSoonAsItsTaskIs) {
  std::latch runs(1), entered(1), mayLeave(1);
  const auto body = [&](TaskGroup<bool>& group) -> Task<bool> {
    const auto adds = [&]() -> Task<bool> {
      runs.count_down();
      entered.wait();
      const bool isAdded = group.addTaskUnlessCancelled(currentTaskIsCancelled);
      group.addTask(currentTaskIsCancelled);
      const auto isCancelled = co_await group.next();
      const bool isAsTold = group.isCancelled() && !isAdded && *isCancelled;
      mayLeave.count_down();
      co_return isAsTold;
    };
    const auto handler = [&] {
      entered.count_down();
      mayLeave.wait();
    };
    co_return co_await withTaskCancellationHandler(adds, handler);
  };
  const TaskHandle task = startTask([&] { return withTaskGroup<bool>(body); });
  runs.wait();
  task.cancel();
  EXPECT_TRUE(task.wait());
}

TEST(TaskGroup, throwsTheFirstFailureWhenAllHaveEnded) {
  Gate gate;
  std::atomic<int> ended = 0;
  const auto body = [&](TaskGroup<void>& group) -> Task<> {
    const auto line = DispatchQueue::serial("line");
    for (int i = 0; i < 3; ++i) {
      group.addTask({.queue = line}, [&gate, &ended, i]() -> Task<> {
        co_await gate.pass(i);
        ++ended;
        if (i > 0) throw std::logic_error(i == 2 ? "two" : "one");
      });
    }
    gate.awaitArrivals(3);
    for (const int i : {2, 1, 0}) gate.open(i);
    const Result<void> end = co_await group.waitForAll().result();
    EXPECT_STREQ(end.error().what(), "two");
    EXPECT_EQ(ended, 3);
    EXPECT_FALSE(co_await group.next());
  };
  withTaskGroup(body).wait();
}

}  // namespace
}  // namespace QVFoundation
