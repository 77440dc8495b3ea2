#include "QVFoundation/operations/QVAsyncSemaphore.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "QVFoundation/platform/concurrency/CancellationError.h"
#include "QVFoundation/platform/concurrency/DispatchQueue.h"
#include "QVFoundation/platform/concurrency/TaskHandle.h"
#include "QVFoundation/platform/text/Format.h"
#include "QVFoundation/platform/tracing/OSLogger.h"
#include "tests/platform/concurrency/OnThreads.h"
#include "tests/platform/tracing/RecordingSink.h"

namespace QVFoundation {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::onThreads;
using testing::RecordingSink;
using testing::SinkInPlace;

/// A task that waits; whether it gets a permit.
TaskHandle<bool> startWait(QVAsyncSemaphore& semaphore, const std::shared_ptr<DispatchQueue>& queue = {}) {
  return startTask({.queue = queue}, [&semaphore]() -> Task<bool> {
    try {
      co_await semaphore.waitUnlessCancelled();
      co_return true;
    } catch (const CancellationError&) {
      co_return false;
    }
  });
}

void awaitValue(const QVAsyncSemaphore& semaphore, std::int64_t value) {
  while (semaphore.value() != value) std::this_thread::yield();
}

TEST(AsyncSemaphore, hasOneWaitWhereThereIsNoPermit) {
  QVAsyncSemaphore semaphore(1);
  EXPECT_TRUE(startWait(semaphore).wait());
  EXPECT_EQ(semaphore.value(), 0);
  const auto second = startWait(semaphore);
  awaitValue(semaphore, -1);
  EXPECT_FALSE(second.hasEnded());
  EXPECT_TRUE(semaphore.signal());
  EXPECT_TRUE(second.wait());
  EXPECT_FALSE(semaphore.signal());
  EXPECT_EQ(semaphore.value(), 1);
}

TEST(AsyncSemaphore, servesInTheOrderOfArrivalWhoHasNotBeenCancelled) {
  QVAsyncSemaphore semaphore(0);
  const auto queue = DispatchQueue::serial("in order");
  std::vector<int> order;  // the queue's
  std::vector<TaskHandle<void>> tasks;
  for (int i = 0; i < 5; ++i) {
    tasks.push_back(startTask({.queue = queue}, [&semaphore, &order, i]() -> Task<> {
      co_await semaphore.waitUnlessCancelled();
      order.push_back(i);
    }));
    awaitValue(semaphore, -1 - i);
  }
  for (const std::size_t cancelled : {2U, 0U}) {
    tasks[cancelled].cancel();
    EXPECT_THROW(tasks[cancelled].wait(), CancellationError);
  }
  EXPECT_EQ(semaphore.value(), -3);
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(semaphore.signal());
  EXPECT_FALSE(semaphore.signal());
  for (const std::size_t served : {1U, 3U, 4U}) tasks[served].wait();
  EXPECT_THAT(order, ElementsAre(1, 3, 4));
}

TEST(AsyncSemaphore, isToldOfEachCancellationOfManyInAnyOrder) {
  constexpr int count = 100'000;
  QVAsyncSemaphore semaphore(0);
  std::vector<TaskHandle<bool>> tasks;
  tasks.reserve(count);
  for (int i = 0; i < count; ++i) tasks.push_back(startWait(semaphore));
  awaitValue(semaphore, -count);
  std::ranges::shuffle(tasks, std::mt19937(1));
  for (const auto& task : tasks) task.cancel();
  EXPECT_EQ(semaphore.value(), 0);
  for (const auto& task : tasks) EXPECT_FALSE(task.wait());
}

// What a permit guards is seen by the next who has it.
TEST(AsyncSemaphore, keepsItsPermitWhileThreadsCancelAndSignal) {
  constexpr int threads = 4, rounds = 2'000;
  QVAsyncSemaphore lock(1);
  int guarded = 0;
  std::atomic<int> served = 0;
  onThreads(threads, [&](int thread) {
    std::vector<TaskHandle<void>> tasks;
    for (int round = 0; round < rounds; ++round) {
      tasks.push_back(startTask([&]() -> Task<> {
        co_await lock.waitUnlessCancelled();
        ++guarded;
        lock.signal();
        ++served;
      }));
      if ((round + thread) % 2 == 0) tasks.back().cancel();
    }
    for (const auto& task : tasks) {
      try {
        task.wait();
      } catch (const CancellationError&) {
        EXPECT_TRUE(task.isCancelled());
      }
    }
  });
  EXPECT_EQ(lock.value(), 1);
  EXPECT_EQ(guarded, served);
  EXPECT_GE(served, threads * rounds / 2);
}

TEST(AsyncSemaphore, tracesWhatItDoesWhereThatIsAskedFor) {
  const SinkInPlace<RecordingSink> sink;
  QVAsyncSemaphore semaphore(1);
  const auto queue = DispatchQueue::serial("traced");
  const auto use = [&] {
    [&]() -> Task<> { co_await semaphore.wait(); }().wait();
    semaphore.signal();
    EXPECT_TRUE(startWait(semaphore).wait());
    const auto waits = startWait(semaphore, queue);
    awaitValue(semaphore, -1);
    queue->sync([] {});  // until it has told so, too
    waits.cancel();
    EXPECT_FALSE(waits.wait());
    semaphore.signal();
  };
  use();
  EXPECT_THAT(sink->take(), IsEmpty());
  setOSLogMinimumType("org.qvfoundation", "semaphore", OSLogType::debug);
  use();
  setOSLogMinimumType("org.qvfoundation", "semaphore", OSLogType::info);
  std::vector<std::string> lines;
  for (const auto& entry : sink->take()) {
    EXPECT_EQ(entry.type, OSLogType::debug);
    EXPECT_EQ(entry.subsystem + ' ' + entry.category, "org.qvfoundation semaphore");
    const std::string start =
        stringWithFormat("<QVAsyncSemaphore: %p> ", static_cast<const void*>(&semaphore));
    EXPECT_TRUE(entry.message.starts_with(start)) << entry.message;
    lines.push_back(entry.message.substr(std::min(start.size(), entry.message.size())));
  }
  EXPECT_THAT(lines,
              ElementsAre("wait, new value 0", "signal, new value 1", "waitUnlessCancelled, new value 0",
                          "waitUnlessCancelled, new value -1", "signal, new value 1"));
}

TEST(AsyncSemaphoreDeathTest, endsTheProcessForWhatNobodyCouldMend) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(QVAsyncSemaphore(-1), "cannot begin with -1 permits");
  EXPECT_DEATH(QVAsyncSemaphore(std::numeric_limits<std::int64_t>::max()).signal(), "counted too far");
  EXPECT_DEATH(
      {
        std::optional<QVAsyncSemaphore> semaphore(0);
        const auto task = startWait(*semaphore);
        awaitValue(*semaphore, -1);
        semaphore.reset();
      },
      "destroyed while tasks wait");
}

}  // namespace
}  // namespace QVFoundation
