#include "QVFoundation/platform/concurrency/TaskSleep.h"

#include <atomic>
#include <chrono>
#include <ctime>
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "QVFoundation/platform/concurrency/Task.h"
#include "QVFoundation/platform/concurrency/TaskCancellation.h"
#include "QVFoundation/platform/concurrency/TaskHandle.h"
#include "tests/platform/concurrency/TaskTesting.h"

namespace QVFoundation {
namespace {

using namespace std::chrono_literals;
using std::chrono::nanoseconds;
using std::chrono::steady_clock;
using testing::ManualQueue;

template <class Clock>
class TaskSleep : public ::testing::Test {
public:
  static Task<> until(typename Clock::time_point time, nanoseconds tolerance = 0ns) {
    co_await sleepUntil(time, tolerance);
  }
  static Task<typename Clock::time_point> timeAfter(typename Clock::time_point time,
                                                    nanoseconds tolerance = 0ns) {
    co_await sleepUntil(time, tolerance);
    co_return Clock::now();
  }
};
using Clocks = ::testing::Types<ContinuousClock, steady_clock>;
TYPED_TEST_SUITE(TaskSleep, Clocks);

TYPED_TEST(TaskSleep, endsAtOnceWhenItsTaskIsOrWasCancelled) {
  for (const bool isBefore : {true, false}) {
    for (const auto& time : {TypeParam::now() + 1h, TypeParam::time_point::max()}) {
      const auto queue = std::make_shared<ManualQueue>();
      const TaskHandle task = startTask({.queue = queue}, this->until(time));
      if (isBefore) task.cancel();
      queue->runWaiting();
      EXPECT_EQ(task.hasEnded(), isBefore);
      task.cancel();
      queue->runWaiting();
      EXPECT_TRUE(task.hasEnded());
      EXPECT_THROW(task.wait(), CancellationError);
    }
  }
}

TYPED_TEST(TaskSleep, doesNotWaitForWhatIsOver) {
  const auto queue = std::make_shared<ManualQueue>();
  for (const auto& time :
       {TypeParam::time_point::min(), typename TypeParam::time_point(), TypeParam::now()}) {
    const TaskHandle task = startTask({.queue = queue}, this->until(time, 1h));
    queue->runWaiting();
    EXPECT_TRUE(task.hasEnded());
    task.wait();
    const TaskHandle cancelled = startTask({.queue = queue}, this->until(time));
    cancelled.cancel();
    queue->runWaiting();
    EXPECT_THROW(cancelled.wait(), CancellationError);
  }
}

TYPED_TEST(TaskSleep, endsInTheOrderOfTimeWhateverIsWaitedForAlready) {
  const TaskHandle long1 = startTask(this->until(TypeParam::now() + 1h));
  // Until all of them are asleep in time, which takes a moment on a busy machine.
  for (auto delay = 20ms;; delay *= 2) {
    const auto queue = std::make_shared<ManualQueue>();
    std::string order;
    const auto start = TypeParam::now() + delay;
    std::vector<TaskHandle<void>> tasks;
    for (const int place : {5, 2, 9, 0, 7, 2}) {
      tasks.push_back(startTask({.queue = queue}, [&order, start, place]() -> Task<> {
        const auto time = start + place * 1ms;
        co_await sleepUntil(time);
        EXPECT_GE(TypeParam::now(), time);
        order += std::to_string(place);
      }));
    }
    queue->runWaiting();
    const bool allSleep = TypeParam::now() < start;
    for (const auto& task : tasks) queue->runUntilEndOf(task);
    if (!allSleep) continue;
    EXPECT_EQ(order, "022579");
    break;
  }
  EXPECT_FALSE(long1.hasEnded());
  long1.cancel();
  EXPECT_THROW(long1.wait(), CancellationError);
}

TYPED_TEST(TaskSleep, joinsALaterOneThatItTolerates) {
  for (auto delay = 20ms;; delay *= 2) {
    const auto queue = std::make_shared<ManualQueue>();
    const auto earlier = TypeParam::now() + delay, later = earlier + 50ms;
    const TaskHandle task = startTask({.queue = queue}, this->timeAfter(later));
    const TaskHandle tolerant = startTask({.queue = queue}, this->timeAfter(earlier, 50ms));
    const TaskHandle exact = startTask({.queue = queue}, this->timeAfter(earlier, 49ms));
    queue->runWaiting();
    const bool allSleep = TypeParam::now() < earlier;
    queue->runUntilEndOf(exact);
    const bool isAlone = !tolerant.hasEnded();
    queue->runUntilEndOf(tolerant);
    queue->runUntilEndOf(task);
    if (!allSleep) continue;
    EXPECT_TRUE(isAlone && exact.wait() >= earlier && tolerant.wait() >= later);
    break;
  }
}

TEST(TaskSleep, bearsThousandsAtOnceOfWhichSomeAreCancelled) {
  static constexpr int count = 5'000;
  std::minstd_rand dice(7);
  std::vector<TaskHandle<void>> tasks;
  const auto sleeps = [](nanoseconds duration, nanoseconds tolerance) -> Task<> {
    co_await sleepFor(duration, tolerance);
  };
  for (int i = 0; i < count; ++i) {
    const bool isLong = i % 3 == 0;
    tasks.push_back(
        startTask(sleeps(isLong ? nanoseconds::max() : 1us * (dice() % 20'000), 1us * (dice() % 900))));
  }
  for (std::size_t i = 0; i < tasks.size(); i += 3) tasks[i].cancel();
  int cancelled = 0;
  for (const auto& task : tasks) {
    try {
      task.wait();
    } catch (const CancellationError&) {
      ++cancelled;
    }
  }
  EXPECT_EQ(cancelled, (count + 2) / 3);
}

TEST(ContinuousClock, countsAlsoWhileTheMachineSleeps) {
  const auto inKernel = [] {
    timespec now{};
    ::clock_gettime(CLOCK_BOOTTIME, &now);
    return std::chrono::seconds(now.tv_sec) + nanoseconds(now.tv_nsec);
  };
  const auto before = inKernel();
  const auto now = ContinuousClock::now().time_since_epoch();
  EXPECT_TRUE(before <= now && now <= inKernel());
}

}  // namespace
}  // namespace QVFoundation
