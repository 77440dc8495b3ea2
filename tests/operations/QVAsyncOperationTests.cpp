#include "QVFoundation/operations/QVAsyncOperation.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <latch>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "QVFoundation/operations/QVAsyncBlockOperation.h"
#include "QVFoundation/operations/QVProgressUtilities.h"
#include "QVFoundation/platform/concurrency/NSOperationQueue.h"
#include "QVFoundation/platform/concurrency/TaskCancellation.h"
#include "QVFoundation/platform/concurrency/TaskGroup.h"
#include "QVFoundation/platform/concurrency/TaskSleep.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/runtime/NSKeyValueObserving.h"
#include "QVFoundation/platform/text/Format.h"
#include "QVFoundation/platform/tracing/OSLogSink.h"
#include "QVFoundation/platform/tracing/OSSignpostSink.h"
#include "tests/logging/LogTesting.h"
#include "tests/operations/TestOperations.h"
#include "tests/platform/runtime/RaisedException.h"

namespace QVFoundation {
namespace {

using namespace std::chrono_literals;
using Async = testing::AsyncBodyOperation<>;
using Blocking = testing::BodyOperation<>;
using testing::asyncOf;
using testing::codeThrownBy;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::operationOf;
using testing::raisedBy;

constexpr int cancelledTask = 3072;
constexpr int cancelledOperation = 1002;

int failureOf(const QVOperation& operation) {
  const auto error = operation.operationError();
  return error ? static_cast<int>(error->code()) : 0;
}

/// Runs its body on a queue of its own, so that a test can tell when that waits.
class QueuedOperation : public QVAsyncOperation {
public:
  QueuedOperation() : QVAsyncOperation("QueuedOperation") {}
  void settle() const {
    queue->sync([] {});
  }
  const std::shared_ptr<DispatchQueue> queue = DispatchQueue::serial("operation");

protected:
  TaskHandle<void> createTask(std::function<Task<>()> block) override {
    return startTask({.queue = queue}, std::move(block));
  }
};

// Running

/// Writes down what happens, in the order in which it does. Observers tell whether the operation executes and
/// has finished, its error, and how far it is.
struct Chronicle : OSLogSink, OSSignpostSink {
  void write(const OSLogEntry& entry) override {
    if (entry.message.find("finishing") != std::string_view::npos) events += "finishing ";
  }
  void write(const OSSignpost& signpost) override {
    if (signpost.type == OSSignpostType::end) events += "timed ";
  }
  NSKeyValueObservation hear(QVAsyncOperation& operation, const char* key) {
    return observe(operation, key, [this, key](QVAsyncOperation& its, const NSKeyValueChange&) {
      events += stringWithFormat("%@[%d %d %d %d] ", key, its.isExecuting(), its.isFinished(), failureOf(its),
                                 its.progress()->completedUnitCount());
    });
  }
  std::string events;
};

/// Does one of three units, and then what a test says.
class ThirdOperation : public QueuedOperation, public QVAsyncOperationProtocol<int> {
public:
  explicit ThirdOperation(int (*body)()) : body_(body) {}
  Task<int> perform() override {
    progress()->setCompletedUnitCount(1);
    co_return body_();
  }

private:
  int (*const body_)();
};

TEST(QVAsyncOperationTest, tellsEachStepOnceInOrderHoweverItEnds) {
  const auto chronicle = std::make_shared<Chronicle>();
  const auto log = setOSLogSink(chronicle);
  const auto signposts = setOSSignpostSink(chronicle);
  setProgressLoggingEnabled(true);
  setOSLogMinimumType("org.qvfoundation", "", OSLogType::debug);
  const struct {
    const char* row;
    int (*body)();
    std::string events;  // "?" is whether it has a task of its own
    int code;
  } rows[] = {
      {"value", [] { return 7; },
       "operationError[? 0 0 1] finishing completionDuration[? 0 0 3] timed isFinished[? 1 0 3] "
       "completed isExecuting[? 1 0 3] ",
       0},
      {"error", []() -> int { throw NSError("Domain", 5); },
       "finishing completionDuration[? 0 -1 1] timed operationError[? 0 5 1] isFinished[? 1 5 1] "
       "completed isExecuting[? 1 5 1] ",
       5},
      {"raised", []() -> int { throw NSException(NSInvalidArgumentException, "bad"); },
       "finishing completionDuration[? 0 -1 1] timed operationError[? 0 1003 1] isFinished[? 1 1003 1] "
       "completed isExecuting[? 1 1003 1] ",
       1003},
      {"no body", nullptr,
       "operationError[? 0 -1 0] finishing completionDuration[? 0 -1 3] timed isFinished[? 1 -1 3] "
       "completed isExecuting[? 1 -1 3] ",
       -1},
  };
  for (const auto& row : rows) {
    for (const bool hasOwnTask : {true, false}) {
      SCOPED_TRACE(std::string(row.row) + (hasOwnTask ? ", started" : ", run"));
      auto operation = std::make_shared<QueuedOperation>();
      if (row.body != nullptr) operation = std::make_shared<ThirdOperation>(row.body);
      operation->progress()->setTotalUnitCount(3);
      std::vector<NSKeyValueObservation> heard;
      for (const char* key : {"isExecuting", "isFinished", "operationError", "completionDuration"})
        heard.push_back(chronicle->hear(*operation, key));
      operation->setCompletionBlock([&] { chronicle->events += "completed "; });
      if (hasOwnTask) {
        operation->queue->sync([&] { operation->start(); });  // the task comes to it afterwards
        operation->settle();
      } else {
        EXPECT_EQ(codeThrownBy(operation->runOperation()), row.code);
      }
      std::string expected = "isExecuting[0 0 -1 0] " + row.events;
      std::ranges::replace(expected, '?', hasOwnTask ? '1' : '0');
      EXPECT_EQ(std::exchange(chronicle->events, {}), expected);
      if (row.body != nullptr) continue;
      EXPECT_EQ(operation->operationError()->localizedDescription(),
                "QVAsyncOperation subclass QueuedOperation does not conform to QVAsyncOperationProtocol");
    }
  }
  setOSLogMinimumType("org.qvfoundation", "", OSLogType::info);
  setProgressLoggingEnabled(false);
  setOSLogSink(log);
  setOSSignpostSink(signposts);
}

Task<int> contentOf(std::shared_ptr<int> kept) { co_return *kept; }

TEST(QVAsyncOperationTest, letsGoOfItsBodyBeforeItHasEnded) {
  auto kept = std::make_shared<int>(7);
  const std::weak_ptr weak = kept;
  const auto operation =
      std::make_shared<QVAsyncBlockOperation<int>>([&] { return contentOf(std::exchange(kept, {})); });
  EXPECT_EQ(operation->name(), "QVAsyncBlockOperation");
  operation->setCompletionBlock([&] { EXPECT_TRUE(weak.expired()); });
  operation->runOperation().wait();
  EXPECT_EQ(operation->result().value(), 7);
  EXPECT_GT(operation->timingInfo()->elapsedTime("QVAsyncBlockOperation").count(), 0);
  operation->start();  // nothing
  EXPECT_THAT(raisedBy([] { QVAsyncBlockOperation<int>(std::function<Task<int>()>()); }),
              HasSubstr("is empty"));
}

TEST(QVAsyncOperationTest, failsWhereItCannotHaveATask) {
  struct Taskless : Async {
    using Async::Async;
    TaskHandle<void> createTask(std::function<Task<>()> /*block*/) override { throw NSError("Domain", 7); }
  };
  const auto operation = std::make_shared<Taskless>([](auto&) -> Task<> { co_return; });
  const auto queue = std::make_shared<NSOperationQueue>();
  queue->addOperation(operation);
  operation->waitUntilFinished();
  EXPECT_EQ(failureOf(*operation), 7);
}

TEST(QVAsyncOperationTest, holdsItsPlaceOnAQueueUntilItHasFinished) {
  const auto queue = std::make_shared<NSOperationQueue>();
  queue->setMaxConcurrentOperationCount(1);
  std::vector<std::shared_ptr<Async>> operations(6);
  std::atomic<int> hasBegun = 0;
  std::ranges::generate(operations, [&] {
    return asyncOf([&](Async& self) -> Task<> {
      const auto isFinished = [](const auto& operation) { return operation->isFinished(); };
      EXPECT_EQ(std::ranges::count_if(operations, isFinished), hasBegun++);
      EXPECT_NE(isFinished(operations.back()), operations.back().get() == &self) << "all depend on the last";
      co_await sleepFor(1us);
    });
  });
  for (std::size_t i = 0; i < 5; ++i) operations[i]->addDependency(operations.back());
  for (const auto& operation : operations) queue->addOperation(operation);
  queue->waitUntilAllOperationsAreFinished();
  EXPECT_EQ(hasBegun, 6);
}

// Pausing

/// Checks and goes a step whenever it is told to.
class Walker : public QueuedOperation, public QVAsyncOperationProtocol<void> {
public:
  Task<> perform() override {
    hasBegun_.count_down();
    for (;;) {
      co_await mayStep_.wait();
      if (ends_) co_return;
      co_await checkForCancellationAsync();
      ++steps_;
    }
  }
  void awaitBegin() {
    hasBegun_.wait();
    settle();
  }
  bool hasStepped() {
    settle();
    return std::exchange(steps_, 0) == 1;
  }
  bool steps() {
    mayStep_.signal();
    return hasStepped();
  }
  /// Until a pause has taken hold.
  void awaitPause() { pauseAsync().wait(); }
  void end() {
    ends_ = true;
    mayStep_.signal();
    waitUntilFinished();
    EXPECT_EQ(failureOf(*this), 0);
  }

private:
  std::latch hasBegun_{1};
  QVAsyncSemaphore mayStep_{0};
  std::atomic<bool> ends_ = false;
  int steps_ = 0;
};

std::shared_ptr<Walker> walking() {
  auto walker = std::make_shared<Walker>();
  walker->start();
  walker->awaitBegin();
  return walker;
}

TEST(QVAsyncOperationPauseTest, stopsTheBodyAtItsNextCheckUntilItIsResumedOnce) {
  const auto walker = walking();
  EXPECT_THAT(raisedBy([&] { walker->start(); }), HasSubstr("started already"));
  walker->resume();  // banks nothing
  walker->pause();
  EXPECT_TRUE(walker->steps()) << "the main queue has not been served";
  walker->pause();
  walker->awaitPause();
  EXPECT_TRUE(walker->isPaused());
  EXPECT_FALSE(walker->steps());
  walker->resume();
  EXPECT_TRUE(walker->hasStepped());
  EXPECT_TRUE(walker->steps());
  walker->end();
}

TEST(QVAsyncOperationPauseTest, isToldInTheOrderOfTheCallsAndHoldsByTheLast) {
  struct Resumed : testing::OpenOperation {
    void resume() override { onStart(); }
  };
  const auto walker = walking();
  std::vector<bool> told;
  const auto observation = observe(
      *walker, "isPaused", [&](Walker& its, const NSKeyValueChange&) { told.push_back(its.isPaused()); });
  walker->pause();
  walker->resume();
  walker->pause();
  walker->resume();
  drainMainQueue();
  EXPECT_THAT(told, ElementsAre(true, false, true, false));
  EXPECT_TRUE(walker->steps());
  walker->awaitPause();
  const auto part = std::make_shared<Resumed>();
  std::optional<TaskHandle<void>> pausing;
  part->onStart = [&] {  // while the whole is resumed too
    pausing = startTask({.queue = walker->queue}, [&] { return walker->pauseAsync(); });
    walker->settle();
  };
  walker->setSubOperation(part);
  walker->resume();
  pausing->wait();
  part->onStart = [] {};
  drainMainQueue();
  EXPECT_TRUE(walker->isPaused());
  EXPECT_FALSE(walker->steps());
  walker->resume();
  EXPECT_TRUE(walker->hasStepped());
  walker->setSubOperation(nullptr);
  walker->end();
}

TEST(QVAsyncOperationPauseTest, holdsForPartsThatRunAndThoseThatCome) {
  for (const bool isAsync : {true, false}) {
    for (const bool isPausedBefore : {false, true}) {
      SCOPED_TRACE(std::string(isAsync ? "asynchronous" : "blocking") + (isPausedBefore ? ", before" : ""));
      const auto walker = std::make_shared<Walker>();
      std::shared_ptr<QVOperation> whole =
          operationOf([=](Blocking& self) { self.performSubOperation(walker, 1); });
      if (isAsync) whole = asyncOf([=](Async& self) { return self.performSubOperation(walker, 1); });
      if (isPausedBefore) whole->pause();
      whole->startInBackground();
      walker->awaitBegin();
      if (!isPausedBefore) whole->progress()->pause();  // reaches the part twice
      walker->awaitPause();
      EXPECT_FALSE(walker->steps());
      isPausedBefore ? whole->resume() : whole->progress()->resume();
      EXPECT_TRUE(walker->hasStepped());
      walker->end();
      whole->waitUntilFinished();
      EXPECT_EQ(failureOf(*whole), 0);
    }
  }
}

TEST(QVAsyncOperationPauseTest, endsForACancellation) {
  for (const bool hasOwnTask : {true, false}) {
    SCOPED_TRACE(hasOwnTask ? "started" : "run");
    const auto walker = std::make_shared<Walker>();
    if (hasOwnTask) {
      walker->start();
    } else {
      startTask({.queue = walker->queue}, [=] { return walker->runOperation(); });
    }
    walker->awaitBegin();
    walker->awaitPause();
    EXPECT_FALSE(walker->steps());
    walker->cancel();
    walker->waitUntilFinished();
    EXPECT_EQ(failureOf(*walker), hasOwnTask ? cancelledTask : cancelledOperation);
  }
}

TEST(QVAsyncOperationPauseTest, isUndoneWhereWhoAwaitsItIsCancelledUnlessOthersWantIt) {
  enum class Others { none, ask, await };
  for (const auto others : {Others::none, Others::ask, Others::await}) {
    SCOPED_TRACE(static_cast<int>(others));
    const auto walker = walking();
    const auto pauseOf = [&] { return walker->pauseAsync(); };
    std::optional<TaskHandle<void>> awaiting;
    if (others == Others::ask) walker->pause();
    if (others == Others::await) awaiting = startTask({.queue = walker->queue}, pauseOf);
    const auto pausing = startTask({.queue = walker->queue}, pauseOf);
    walker->settle();
    pausing.cancel();
    EXPECT_THROW(pausing.wait(), CancellationError);
    drainMainQueue();
    EXPECT_EQ(walker->isPaused(), others != Others::none);
    if (awaiting) awaiting->wait();
    if (others != Others::none) walker->awaitPause();
    EXPECT_EQ(walker->steps(), others == Others::none);
    walker->resume();
    walker->settle();
    walker->end();
  }
}

TEST(QVAsyncOperationPauseTest, keepsNoOperationThatIsLetGoOf) {
  for (const bool hasRun : {false, true}) {
    auto operation = asyncOf([](auto&) -> Task<> { co_return; });
    const std::weak_ptr weak = operation;
    if (hasRun) operation->runOperation().wait();
    operation->pause();
    operation->resume();
    operation->pause();
    operation.reset();
    EXPECT_TRUE(weak.expired());
    drainMainQueue();
  }
}

// Cancelling

TEST(QVAsyncOperationCancelTest, endsAWaitWheneverItComes) {
  enum class Moment { whileItSleeps, whileItStarts, beforeItStartsToo };
  struct Starter : testing::OpenOperation {
    void cancel() override { onStart(); }
  };
  for (const auto moment : {Moment::whileItSleeps, Moment::whileItStarts, Moment::beforeItStartsToo}) {
    SCOPED_TRACE(static_cast<int>(moment));
    std::latch sleeps(1);
    const auto operation = asyncOf([&](Async&) -> Task<> {
      sleeps.count_down();
      co_await sleepFor(1h);
    });
    const auto writer = std::make_shared<testing::KeepingWriter>();
    operation->setLogger(testing::loggerTo(writer));
    const auto part = std::make_shared<Starter>();  // which starts it where it is to be cancelled
    part->onStart = [&] {
      if (!operation->isExecuting()) operation->start();
    };
    if (moment == Moment::beforeItStartsToo) operation->setSubOperation(part);
    const auto observation = observe(*operation, "isExecuting", [&](Async& its, const NSKeyValueChange&) {
      if (moment == Moment::whileItStarts) its.cancelWithLocalizedDescription("Enough");
    });
    if (moment != Moment::beforeItStartsToo) operation->start();
    if (moment == Moment::whileItSleeps) sleeps.wait();
    operation->cancelWithLocalizedDescription("Enough");
    operation->waitUntilFinished();
    EXPECT_EQ(failureOf(*operation), cancelledTask);
    EXPECT_EQ(operation->cancellationDescription(), "Enough");
    EXPECT_TRUE(operation->logError(*operation->operationError()));
    EXPECT_THAT(writer->take(), IsEmpty());
  }
}

TEST(QVAsyncOperationCancelTest, cancelsEachPartOnceHoweverDeep) {
  struct Counted : QVAsyncOperation, QVAsyncOperationProtocol<void> {
    explicit Counted(std::shared_ptr<Counted> its) : QVAsyncOperation("Counted"), part(std::move(its)) {}
    Task<> perform() override {
      begun.count_down();
      return part != nullptr ? performSubOperation(part, 1) : sleepLong();
    }
    static Task<> sleepLong() { co_await sleepFor(1h); }
    void cancel() override {
      ++cancels;
      QVAsyncOperation::cancel();
    }
    const std::shared_ptr<Counted> part;
    std::latch begun{1};
    std::atomic<int> cancels = 0;
  };
  std::shared_ptr<Counted> whole;
  for (int depth = 0; depth < 4; ++depth) whole = std::make_shared<Counted>(whole);
  whole->start();
  for (auto part = whole; part != nullptr; part = part->part) part->begun.wait();
  whole->cancel();
  whole->waitUntilFinished();
  for (auto part = whole; part != nullptr; part = part->part) EXPECT_EQ(part->cancels, 1);
}

TEST(QVAsyncOperationCancelTest, reachesPartsAndCallsHandlersOnce) {
  for (const bool hasOwnTask : {true, false}) {
    SCOPED_TRACE(hasOwnTask ? "its own task" : "the task that runs it");
    std::latch sleeps(1);
    std::atomic<int> calls = 0;
    const auto sleepLong = [&]() -> Task<> {
      sleeps.count_down();
      co_await sleepFor(1h);
    };
    const auto part =
        asyncOf([&](auto&) { return withTaskCancellationHandler(sleepLong, [&] { ++calls; }); });
    const auto whole = asyncOf([&](Async& self) { return self.performSubOperation(part, 1); });
    std::optional<TaskHandle<void>> run;
    hasOwnTask ? whole->start() : (void)run.emplace(startTask([&] { return whole->runOperation(); }));
    sleeps.wait();
    hasOwnTask ? whole->cancel() : run->cancel();
    whole->waitUntilFinished();
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(failureOf(*part), cancelledTask);
    EXPECT_EQ(failureOf(*whole), cancelledTask);
  }
}

// Parts

TEST(QVAsyncOperationPartTest, runsWithinTheBodyAndIsCountedAsOneOfABlockingOne) {
  std::thread::id thread;
  std::optional<AnyTaskHandle> task;
  const auto blocking = operationOf<int>([&](testing::BodyOperation<int>& self) {
    EXPECT_EQ(std::this_thread::get_id(), thread);
    EXPECT_EQ(currentTask(), task);
    EXPECT_EQ(self.superOperation(), nullptr);
    EXPECT_NE(self.logger(), nullptr);
    return 1;
  });
  const auto part = asyncOf<int>([&](testing::AsyncBodyOperation<int>& self) -> Task<int> {
    EXPECT_NE(currentTask(), task);
    EXPECT_EQ(self.superOperation(), nullptr);
    EXPECT_EQ(nameChain(*self.progress()).size(), 3U);
    co_return 2;
  });
  const auto whole = asyncOf<int>([&](testing::AsyncBodyOperation<int>& self) -> Task<int> {
    self.setCost(4, "segment");
    self.progress()->setTotalUnitCount(8);
    task = currentTask();
    thread = std::this_thread::get_id();
    const int one = co_await self.performSubOperation(blocking, 4);
    EXPECT_EQ(self.progress()->completedUnitCount(), 4);
    EXPECT_EQ(self.subOperation(), nullptr);
    const int two = co_await self.performSubOperation(part, "segment");
    EXPECT_EQ(self.progress()->completedUnitCount(), 8);
    const int again = co_await self.performSubOperation(part, 0);  // which has ended
    co_return one + two + again;
  });
  whole->setLogger(testing::loggerTo(std::make_shared<testing::KeepingWriter>()));
  whole->start();
  whole->waitUntilFinished();
  EXPECT_EQ(whole->result().value(), 5);
  EXPECT_GT(whole->timingInfo()->elapsedTime("BodyOperation").count(), 0);
}

TEST(QVAsyncOperationPartTest, mayRunBesideOthers) {
  const auto first = std::make_shared<Walker>(), second = std::make_shared<Walker>();
  const auto whole = asyncOf([&](Async& self) -> Task<> {
    self.progress()->setTotalUnitCount(4);
    const auto body = [&](TaskGroup<void>& group) -> Task<> {
      group.addTask([&] { return self.performSubOperation(first, 1); });
      group.addTask([&] { return self.performSubOperation(second, 3); });
      co_return;
    };
    co_await withTaskGroup(body);
    EXPECT_EQ(self.subOperation(), nullptr);
  });
  whole->setLogger(testing::loggerTo(std::make_shared<testing::KeepingWriter>()));
  whole->start();
  first->awaitBegin();
  second->awaitBegin();
  whole->pause();
  drainMainQueue();
  EXPECT_TRUE(first->isPaused() && second->isPaused());
  first->awaitPause();
  second->awaitPause();
  EXPECT_FALSE(first->steps() || second->steps());
  whole->resume();
  EXPECT_TRUE(first->hasStepped() && second->hasStepped());
  first->end();
  while (first->logger() != nullptr) std::this_thread::yield();  // until the whole has let go of it
  EXPECT_EQ(whole->progress()->completedUnitCount(), 1);
  EXPECT_TRUE(whole->subOperation() == second && second->logger() != nullptr);
  second->end();
  whole->waitUntilFinished();
  EXPECT_EQ(whole->progress()->completedUnitCount(), 4);
}

TEST(QVAsyncOperationPartTest, givesTheFailureOfItsPartOrIsRefused) {
  const auto failing = asyncOf([](auto&) -> Task<> { throw NSError("Domain", 5); });
  const auto unrun = operationOf([](auto&) { FAIL(); });
  const auto cancelled = asyncOf([](Async& self) -> Task<> {
    EXPECT_FALSE(currentTaskIsCancelled());
    co_await self.checkForCancellationAsync();
  });
  unrun->cancel();
  cancelled->cancelWithLocalizedDescription("Enough");
  const auto started = walking();
  const auto run = std::make_shared<Walker>();
  const auto running = startTask({.queue = run->queue}, [&] { return run->runOperation(); });
  run->awaitBegin();
  bool hasCompleted = false;
  run->setCompletionBlock([&] { hasCompleted = true; });
  const auto whole = asyncOf([&](Async& self) -> Task<> {
    self.progress()->setTotalUnitCount(2);
    const auto failed = co_await self.performSubOperation(failing, 1).result();
    EXPECT_EQ(failed.error().code(), 5);
    EXPECT_EQ(self.progress()->completedUnitCount(), 1);
    EXPECT_EQ(self.subOperation(), nullptr);
    const auto ofUnrun = co_await self.performSubOperation(unrun, 0).result();
    EXPECT_EQ(ofUnrun.error().localizedDescription(), "BodyOperation has not been run yet");
    const auto ofCancelled = co_await self.performSubOperation(cancelled, 0).result();
    EXPECT_EQ(ofCancelled.error().localizedDescription(), "Enough");
    const auto ofStarted = co_await self.performSubOperation(started, 0).result();
    EXPECT_THAT(ofStarted.error().localizedDescription(), HasSubstr("runs already"));
    const auto ofRun = co_await self.performSubOperation(run, 0).result();
    EXPECT_THAT(ofRun.error().localizedDescription(), HasSubstr("runs already"));
    co_await self.performSubOperation(failing, 0);  // which has ended
  });
  EXPECT_EQ(codeThrownBy(whole->runOperation()), 5);
  EXPECT_EQ(whole->progress()->completedUnitCount(), 1);
  started->end();
  run->end();
  running.wait();
  EXPECT_TRUE(hasCompleted);
}

}  // namespace
}  // namespace QVFoundation
