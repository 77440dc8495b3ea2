#include <atomic>
#include <latch>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include <gmock/gmock.h>

#include "QVFoundation/errors/QVErrorConstructors.h"
#include "QVFoundation/operations/QVProcessOperation.h"
#include "QVFoundation/operations/QVProgressUtilities.h"
#include "QVFoundation/platform/concurrency/MainActor.h"
#include "QVFoundation/platform/concurrency/MainQueue.h"
#include "QVFoundation/platform/concurrency/TaskCancellation.h"
#include "tests/logging/LogTesting.h"
#include "tests/operations/TestOperations.h"

namespace QVFoundation {
namespace {

using testing::AsyncBodyOperation;
using testing::asyncOf;
using testing::BodyOperation;
using testing::codeThrownBy;
using ::testing::ElementsAre;
using testing::KeepingWriter;
using testing::operationOf;

Task<> failLater() {
  co_await DispatchQueue::global();
  throw NSError("Domain", 5);
}

std::shared_ptr<QVProcessOperation> shellOperation(std::string script) {
  return std::make_shared<QVProcessOperation>("/bin/sh", std::vector<std::string>{"-c", std::move(script)});
}

TEST(AwaitedOperationTest, endsTheWaitAsItEndsItself) {
  const auto working = operationOf<int>([](auto&) { return 7; });
  working->runOperation().wait();
  EXPECT_EQ(working->result().value(), 7);
  const auto failing = operationOf([](auto&) { throw NSError("Domain", 5); });
  EXPECT_EQ(codeThrownBy(failing->runOperation()), 5);
  const auto cancelled = operationOf([](auto&) { FAIL(); });
  cancelled->cancel();
  EXPECT_EQ(codeThrownBy(cancelled->runOperation()), 1002);
  shellOperation("true")->runAsync().wait();
  const auto kept = shellOperation("exit 4");
  kept->cancel();
  EXPECT_EQ(codeThrownBy(kept->runAsync()), 1002);
  const auto failed = asyncOf([](auto&) { return failLater(); });
  const auto process = shellOperation("exit 3");
  for (int i = 0; i < 2; ++i) {  // then they have ended in that
    EXPECT_EQ(codeThrownBy(failed->runOperation()), 5);
    EXPECT_EQ(codeThrownBy(process->runAsync()), 3);
  }
}

TEST(AwaitedOperationTest, isCancelledWithTheTaskThatAwaitsItAndAwaitedByOne) {
  std::latch runs(1);
  const auto blocking = operationOf([&](BodyOperation<>& self) {
    runs.count_down();
    self.performBlock("never", [&] { self.wait("never"); });
    self.checkForCancellationAndReturnError();
  });
  const auto process = shellOperation("exec sleep 60");
  const auto run = startTask([&] { return blocking->runOperation(); });
  const auto runOfProcess = startTask([&] { return process->runAsync(); });
  runs.wait();
  while (!process->isExecuting()) std::this_thread::yield();
  EXPECT_EQ(codeThrownBy(blocking->runOperation()), 1003);
  EXPECT_EQ(codeThrownBy(process->runAsync()), 1003);
  run.cancel();
  runOfProcess.cancel();
  EXPECT_EQ(codeThrownBy([&] { run.wait(); }), 1002);
  EXPECT_NE(codeThrownBy([&] { runOfProcess.wait(); }), 0);
}

TEST(AwaitedOperationTest, isRunForOneOfThoseThatAwaitItAtOnceWhateverIsSetMeanwhile) {
  for (int round = 0; round < 200; ++round) {
    const auto operation = operationOf([](auto&) {});
    std::latch bothRun(2);
    std::atomic<int> refused = 0;
    const auto run = [&] {
      bothRun.arrive_and_wait();
      const int code = codeThrownBy(operation->runOperation());
      EXPECT_TRUE(code == 0 || code == 1003);
      refused += code == 0 ? 0 : 1;
      operation->setCompletionBlock([] {});
    };
    std::jthread other(run);
    run();
    other.join();
    EXPECT_EQ(refused, 1);
  }
}

// Asynchronous functions in a blocking body

TEST(AwaitedOperationTest, blocksForAnAsynchronousBlockOrPartOfABlockingBody) {
  const auto part = asyncOf<int>([](AsyncBodyOperation<int>& self) -> Task<int> {
    EXPECT_NE(self.superOperation(), nullptr);
    co_await DispatchQueue::global();
    co_return 3;
  });
  const auto operation = operationOf<int>([&](BodyOperation<int>& self) {
    self.progress()->setTotalUnitCount(2);
    const int value = self.async([&]() -> Task<int> {
      EXPECT_EQ(self.subOperation()->name(), "QVAsyncBlockOperation");
      co_await DispatchQueue::global();
      co_return 4;
    });
    EXPECT_EQ(codeThrownBy([&] { self.async([] { return failLater(); }); }), 5);
    EXPECT_EQ(self.progress()->completedUnitCount(), 0);
    const int sum = value + self.performSubOperation(part, 2) + self.performSubOperation(part, 0);
    EXPECT_EQ(self.progress()->completedUnitCount(), 2);
    return sum;
  });
  operation->start();
  EXPECT_EQ(operation->result().value(), 10);
  EXPECT_GT(operation->timingInfo()->elapsedTime("QVAsyncBlockOperation").count(), 0);
}

TEST(AwaitedOperationTest, servesTheMainQueueWhereItBlocksTheMainThread) {
  const auto operation = operationOf<bool>(
      [](auto& self) { return self.async([] { return MainActor::run([] { return isMainThread(); }); }); });
  operation->start();
  EXPECT_TRUE(operation->result().value());
}

// Segments

TEST(AsyncSegmentTest, standsForItsCostAndIsNotTimed) {
  const auto external = std::make_shared<NSProgress>(5);
  const auto operation = asyncOf<int>([&](AsyncBodyOperation<int>& self) -> Task<int> {
    self.setCost(10, "scan");
    self.setCost(90, "copy");
    self.progress()->setTotalUnitCount(100);
    auto scan = [&](NSProgress& segment) -> Task<int> {
      EXPECT_EQ(self.topLevelProgress().get(), &segment);
      EXPECT_THAT(nameChain(segment), ElementsAre("AsyncBodyOperation", "segment:scan"));
      co_await DispatchQueue::global();
      segment.setCompletedUnitCount(250);
      EXPECT_DOUBLE_EQ(self.progress()->fractionCompleted(), 0.05);
      co_return 3;
    };
    const int scanned = co_await self.performSegment("scan", 500, scan);
    EXPECT_EQ(self.progress()->completedUnitCount(), 10);
    auto copy = [&]() {
      EXPECT_EQ(self.topLevelProgress(), external);
      return failLater();
    };
    const auto copied = co_await self.performSegment("copy", external, copy).result();
    EXPECT_EQ(copied.error().code(), 5);
    EXPECT_EQ(self.progress()->completedUnitCount(), 100);
    EXPECT_EQ(self.currentSegmentProgress(), nullptr);
    co_return scanned;
  });
  operation->runOperation().wait();
  EXPECT_EQ(operation->result().value(), 3);
  EXPECT_EQ(operation->timingInfo()->elapsedTime("scan").count(), 0);
}

// Logging

TEST(AsyncLoggingTest, logsWhatAnAsynchronousBlockThrowsUnlessTheUserHasCancelled) {
  const auto writer = std::make_shared<KeepingWriter>();
  // What it gives, what it throws, and how many lines it logs.
  const auto resultOf = [&](bool hasLogger, void (*ends)()) {
    const auto operation = operationOf([](auto&) {});
    if (hasLogger) operation->setLogger(testing::loggerTo(writer));
    auto block = [ends]() -> Task<int> {
      co_await DispatchQueue::global();
      ends();
      co_return 7;
    };
    const auto logging = startTask(operation->logErrorOrThrowWithBlock(block));
    std::optional<int> value;
    const int code = codeThrownBy([&] { value = logging.wait(); });
    return std::tuple(value.value_or(0), code, writer->take().size());
  };
  const auto fail = [] { throw errorWithDescription("Full"); };
  EXPECT_EQ(resultOf(true, [] {}), std::tuple(7, 0, 0U));
  EXPECT_EQ(resultOf(true, fail), std::tuple(0, 0, 1U));
  EXPECT_EQ(resultOf(false, fail), std::tuple(0, 0, 0U));
  EXPECT_EQ(resultOf(true, [] { throw CancellationError(); }), std::tuple(0, 3072, 0U));
}

}  // namespace
}  // namespace QVFoundation
