#include "QVFoundation/operations/QVOperation.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <latch>
#include <limits>
#include <memory>
#include <semaphore>
#include <stdexcept>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "QVFoundation/platform/concurrency/NSOperationQueue.h"
#include "QVFoundation/platform/runtime/NSKeyValueObserving.h"
#include "tests/operations/TestOperations.h"
#include "tests/platform/concurrency/OnThreads.h"
#include "tests/platform/runtime/RaisedException.h"

namespace QVFoundation {
namespace {

using namespace std::chrono_literals;
using testing::BodyOperation;
using ::testing::HasSubstr;
using testing::onThreads;
using testing::OpenOperation;
using testing::operationOf;
using testing::raisedBy;
using testing::runMainQueueUntil;

/// Checks as often as it can until it is told to end, and counts.
struct CheckingOperation {
  std::atomic<int> checks = 0;
  std::atomic<bool> ends = false;
  std::shared_ptr<BodyOperation<>> operation = operationOf([this](BodyOperation<>& self) {
    while (!ends) {
      self.checkForCancellationAndReturnError();
      ++checks;
      std::this_thread::yield();
    }
  });

  void awaitChecks() const {
    for (const int before = checks; checks < before + 2;) std::this_thread::yield();
  }
  /// Until the body waits, or has ended.
  void awaitStandstill() const {
    for (int before = -1; before != checks;) {
      before = checks;
      std::this_thread::sleep_for(5ms);  // time for a check that must not come
    }
  }
  void end() {
    ends = true;
    operation->waitUntilFinished();
  }
};

TEST(QVOperationPauseTest, stopsTheBodyAtItsNextCheckUntilItIsResumed) {
  CheckingOperation its;
  its.operation->startInBackground();
  its.awaitChecks();
  its.operation->pause();
  its.operation->pause();
  its.awaitStandstill();
  runMainQueueUntil([&] { return its.operation->isPaused(); });
  its.operation->resume();  // one undoes both
  its.awaitChecks();
  runMainQueueUntil([&] { return !its.operation->isPaused(); });
  its.end();
  EXPECT_FALSE(its.operation->operationError());
}

TEST(QVOperationPauseTest, endsForACancellation) {
  CheckingOperation its;
  its.operation->startInBackground();
  its.awaitChecks();
  its.operation->pause();
  its.awaitStandstill();
  its.operation->cancelWithLocalizedDescription("Enough");
  its.operation->waitUntilFinished();
  EXPECT_EQ(its.operation->operationError()->localizedDescription(), "Enough");
}

TEST(QVOperationPauseTest, holdsForAProgressAndForOperationsWithin) {
  const auto progress = std::make_shared<NSProgress>(1);
  CheckingOperation inner;
  const auto outer =
      operationOf([&](BodyOperation<>& self) { self.performSubOperation(inner.operation, 1); });
  progress->addChild(outer->progress(), 1);
  outer->startInBackground();
  inner.awaitChecks();
  progress->pause();
  EXPECT_TRUE(inner.operation->progress()->isPaused());
  inner.awaitStandstill();
  progress->resume();
  inner.awaitChecks();
  outer->pause();  // also without the progress
  inner.awaitStandstill();
  outer->resume();
  inner.awaitChecks();
  inner.ends = true;
  outer->waitUntilFinished();
}

/// Takes its time to go on, on the thread that resumes it.
struct SlowlyResumed : OpenOperation {
  void resume() override {
    isResuming.release();
    mayResume.acquire();
    OpenOperation::resume();
  }
  std::binary_semaphore isResuming{0}, mayResume{0};
};

TEST(QVOperationPauseTest, holdsAsSoonAsItIsAskedForThoughAnotherThreadResumes) {
  const auto operation = operationOf([](auto&) {});
  const auto part = std::make_shared<SlowlyResumed>();
  operation->pause();
  operation->setSubOperation(part);
  std::thread other([&] { operation->resume(); });
  part->isResuming.acquire();
  operation->pause();
  std::atomic<bool> hasPassed = false;
  std::thread checking([&] {
    (void)operation->checkForCancellation();
    hasPassed = true;
  });
  std::this_thread::sleep_for(5ms);  // time for a check that must not pass
  EXPECT_FALSE(hasPassed);
  part->mayResume.release();
  other.join();
  operation->setSubOperation(nullptr);
  operation->resume();
  checking.join();
}

TEST(QVOperationPauseTest, leavesThreadsForOthersWhileManyArePaused) {
  constexpr std::size_t many = 64;
  const auto queue = std::make_shared<NSOperationQueue>();
  const auto passes = [](BodyOperation<>& self) { self.checkForCancellationAndReturnError(); };
  std::vector<std::shared_ptr<BodyOperation<>>> paused(many);
  std::ranges::generate(paused, [&] { return operationOf(passes); });
  for (const auto& operation : paused) {
    operation->pause();
    queue->addOperation(operation);
  }
  for (const auto& operation : paused) {
    while (!operation->isExecuting()) std::this_thread::yield();
  }
  const auto other = operationOf(passes);
  queue->addOperation(other);
  other->waitUntilFinished();
  for (std::size_t i = 0; i < many; ++i) {
    EXPECT_TRUE(paused[i]->isExecuting());
    i % 2 == 0 ? paused[i]->resume() : paused[i]->cancel();
  }
  queue->waitUntilAllOperationsAreFinished();
  for (std::size_t i = 0; i < many; ++i) EXPECT_EQ(paused[i]->operationError().has_value(), i % 2 != 0);
}

TEST(QVOperationPauseTest, holdsForWhatBeginsLater) {
  CheckingOperation inner;
  const auto outer =
      operationOf([&](BodyOperation<>& self) { self.performSubOperation(inner.operation, 0); });
  outer->progress()->pause();  // before it runs
  outer->startInBackground();
  while (!inner.operation->isExecuting()) std::this_thread::yield();
  inner.awaitStandstill();
  EXPECT_EQ(inner.checks, 0);
  outer->progress()->resume();
  inner.awaitChecks();
  inner.ends = true;
  outer->waitUntilFinished();
}

TEST(QVOperationPauseTest, endsAsItWasLastToldWithAllWithin) {
  for (int round = 0; round < 100; ++round) {
    std::latch runs(2);
    CheckingOperation inner;
    const auto outer = operationOf([&](BodyOperation<>& self) {
      runs.arrive_and_wait();
      self.performSubOperation(inner.operation, 1);
    });
    outer->startInBackground();
    runs.arrive_and_wait();
    onThreads(2, [&](int thread) { thread == 0 ? outer->pause() : outer->resume(); });
    outer->resume();
    inner.awaitChecks();  // neither of the two is left behind
    inner.ends = true;
    outer->waitUntilFinished();
  }
}

// Conditions

TEST(QVOperationConditionTest, isWaitedForUntilItIsSignalled) {
  std::thread other;
  const auto operation = operationOf<int>([&](BodyOperation<int>& self) {
    std::atomic<bool> hasAnswered = false;
    return self.performBlock("answer", [&] {
      other = std::thread([&] {
        hasAnswered = true;
        self.signal("answer");
      });
      self.wait("answer", [&] { return hasAnswered.load(); });
      other.join();
      return 5;
    });
  });
  operation->start();
  EXPECT_EQ(operation->result().value(), 5);
  operation->signal("answer");  // there is none any more
}

TEST(QVOperationConditionTest, endsForWhatItsCheckerSays) {
  const auto operation = operationOf([&](BodyOperation<>& self) {
    self.performBlock("any", [&] {
      self.wait("any", [] { return true; });
      EXPECT_THROW(self.wait("any", []() -> bool { throw std::runtime_error("no"); }), std::runtime_error);
      int calls = 0;
      self.wait("any", [&] {
        self.signal("any");  // it holds no lock, and the wait has begun
        return ++calls == 3;
      });
      EXPECT_EQ(calls, 1);
      self.wait("any", [&] { return ++calls == 3; });
      EXPECT_EQ(calls, 3);
    });
  });
  operation->start();
  EXPECT_FALSE(operation->operationError());
}

TEST(QVOperationConditionTest, endsForACancellationWheneverItComes) {
  for (int round = 0; round < 50; ++round) {
    std::latch waits(2);
    const auto operation = operationOf([&](BodyOperation<>& self) {
      self.performBlock("never", [&] {
        waits.arrive_and_wait();
        self.wait("never");
      });
      self.checkForCancellationAndReturnError();
    });
    operation->startInBackground();
    waits.arrive_and_wait();
    operation->cancel();
    operation->waitUntilFinished();
    EXPECT_EQ(operation->operationError()->code(), 1002);
  }
}

TEST(QVOperationConditionTest, endsThoughItBeginsAfterTheCancellation) {
  const auto operation = operationOf([](BodyOperation<>& self) {
    self.cancel();
    self.performBlock("never", [&] { self.wait("never"); });
    self.performBlock("never", [&] { self.wait("never", [] { return false; }); });
    self.checkForCancellationAndReturnError();
  });
  operation->start();
  EXPECT_EQ(operation->operationError()->code(), 1002);
}

TEST(QVOperationConditionDeathTest, endsTheProcessWhereNobodyCanSignal) {
  const auto operation = operationOf([](BodyOperation<>& self) {
    self.performBlock("one", [] {});
    self.wait("one");
  });
  EXPECT_DEATH(operation->start(),
               "Tried to wait on condition one without calling performBlockWithConditionName: first: "
               "file QVFoundation/QVOperation, line 520");
}

// Time-outs

TEST(QVOperationTimeoutTest, callsTheLastHandlerOnce) {
  std::atomic<int> first = 0, second = 0;
  const auto operation = operationOf([&](BodyOperation<>& self) {
    self.addTimeout(60s, [&] { ++first; });
    self.addTimeout(10ms, [&] {
      ++second;
      self.cancelTimeout();  // from within
      self.cancelWithLocalizedDescription("Took too long");
    });
    self.performBlock("never", [&] { self.wait("never"); });
    self.checkForCancellationAndReturnError();
  });
  operation->start();
  EXPECT_EQ(operation->operationError()->localizedDescription(), "Took too long");
  EXPECT_EQ(first, 0);
  EXPECT_EQ(second, 1);
  operation->cancelTimeout();
  EXPECT_THAT(raisedBy([&] { operation->addTimeout(1s, {}); }), HasSubstr("needs a handler"));
}

// The handlers end what all threads wait for.
TEST(QVOperationTimeoutTest, comesThoughOperationsHaveTakenAllThreads) {
  constexpr int moreThanThereAre = 520;
  std::vector<std::shared_ptr<BodyOperation<>>> operations(moreThanThereAre);
  std::ranges::generate(operations, [] {
    return operationOf([](BodyOperation<>& self) { self.checkForCancellationAndReturnError(); });
  });
  for (const auto& operation : operations) {
    operation->pause();
    operation->startInBackground();
    operation->addTimeout(300ms, [operation = operation.get()] { operation->cancel(); });
  }
  for (const auto& operation : operations) operation->waitUntilFinished();
}

TEST(QVOperationTimeoutDeathTest, endsTheProcessForAnEscapedException) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto operation = operationOf([](auto&) {});
  operation->setName("Import");
  EXPECT_DEATH(
      {
        operation->addTimeout(0s, [] { throw std::runtime_error("no"); });
        for (;;) std::this_thread::sleep_for(1s);  // until the handler has ended the process
      },
      "time-out handler of the operation Import");
  EXPECT_DEATH(
      {
        operation->startInBackgroundWithMainThreadCompletionHandler(
            [](BodyOperation<>&) { throw std::runtime_error("no"); });
        runMainQueueUntil([] { return false; });
      },
      "completion handler of the operation Import");
}

TEST(QVOperationTimeoutTest, takesAnyTimeAndKeepsNothing) {
  const auto kept = std::make_shared<int>();
  for (const double seconds : {60.0, 1e300, std::numeric_limits<double>::infinity(), std::nan("")}) {
    const auto operation = operationOf([](auto&) {});
    operation->addTimeout(std::chrono::duration<double>(seconds), [kept] { ADD_FAILURE(); });
  }
  EXPECT_EQ(kept.use_count(), 1);  // gone with the operation
  std::atomic<bool> isCalled = false;
  std::weak_ptr<QVOperation> weak;
  {
    const auto operation = operationOf([](auto&) {});
    weak = operation;
    operation->addTimeout(std::chrono::duration<double>(-1), [&, operation] { isCalled = true; });
  }
  while (!isCalled || !weak.expired()) std::this_thread::yield();
}

}  // namespace
}  // namespace QVFoundation
