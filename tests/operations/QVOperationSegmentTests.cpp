#include "QVFoundation/operations/QVOperation.h"

#include <atomic>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "QVFoundation/operations/QVProgressUtilities.h"
#include "QVFoundation/platform/runtime/NSKeyValueObserving.h"
#include "tests/logging/LogTesting.h"
#include "tests/operations/TestOperations.h"
#include "tests/platform/runtime/RaisedException.h"

namespace QVFoundation {
namespace {

using testing::BodyOperation;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using testing::KeepingWriter;
using testing::OpenOperation;
using testing::operationOf;
using testing::raisedBy;
using testing::runMainQueueUntil;

/// Scans for a tenth of its time and copies for the rest.
class CopyOperation : public QVOperation, public QVSyncOperationProtocol<int> {
public:
  using Body = std::function<int(CopyOperation&)>;
  explicit CopyOperation(Body body) : QVOperation("CopyOperation"), body_(std::move(body)) {}
  void calculateSegmentCosts() override {
    setCost(10, scan);
    setCost(1, copy);
    setCost(90, copy);  // the last one counts
  }
  int perform() override { return body_(*this); }

  static constexpr QVProgressSegmentName scan{"scan"}, copy{"copy"};

private:
  const Body body_;
};

std::shared_ptr<CopyOperation> copyOf(CopyOperation::Body body) {
  return std::make_shared<CopyOperation>(std::move(body));
}

TEST(QVOperationSegmentTest, standsForItsCostInTheProgressOfTheOperation) {
  const auto operation = copyOf([](CopyOperation& self) {
    const auto progress = self.progress();
    EXPECT_EQ(progress->totalUnitCount(), 100);
    EXPECT_EQ(self.topLevelProgress(), progress);
    const int scanned = self.performSegment(CopyOperation::scan, 500, [&](NSProgress& segment) {
      EXPECT_EQ(&segment, self.topLevelProgress().get());
      EXPECT_THAT(nameChain(segment), ElementsAre("CopyOperation", "segment:scan"));
      segment.setCompletedUnitCount(250);
      EXPECT_DOUBLE_EQ(progress->fractionCompleted(), 0.05);
      return 3;
    });
    EXPECT_EQ(progress->completedUnitCount(), 10);
    EXPECT_EQ(self.currentSegmentProgress(), nullptr);
    self.performSegment("of no cost", 0,
                        [&](NSProgress& segment) { EXPECT_EQ(segment.totalUnitCount(), 1); });
    EXPECT_EQ(progress->completedUnitCount(), 10);
    self.performSegment(CopyOperation::copy, 5, [&](NSProgress& segment) { segment.setTotalUnitCount(0); });
    EXPECT_EQ(progress->completedUnitCount(), 100);  // though the segment forgot its size
    return scanned;
  });
  operation->start();
  EXPECT_EQ(operation->result().value(), 3);
  EXPECT_GT(operation->timingInfo()->elapsedTime("scan").count(), 0);
}

TEST(QVOperationSegmentTest, isCountedAlsoWhenItFails) {
  const auto operation = copyOf([](CopyOperation& self) {
    EXPECT_THROW(
        self.performSegment(CopyOperation::scan, 7, [](NSProgress&) { throw std::runtime_error("full"); }),
        std::runtime_error);
    EXPECT_EQ(self.progress()->completedUnitCount(), 10);
    EXPECT_EQ(self.currentSegmentProgress(), nullptr);
    return 0;
  });
  operation->start();
  EXPECT_FALSE(operation->operationError());
}

TEST(QVOperationSegmentTest, isReportedWithinAnotherAndRuns) {
  const auto writer = std::make_shared<KeepingWriter>();
  bool hasRun = false;
  const auto operation = copyOf([&](CopyOperation& self) {
    self.performSegment(CopyOperation::scan, 1, [&](NSProgress&) {
      self.performSegment(CopyOperation::copy, 1, [&](NSProgress&) { hasRun = true; });
      EXPECT_EQ(self.currentSegmentProgress(), nullptr);
    });
    return 0;
  });
  operation->setLogger(testing::loggerTo(writer));
  operation->start();
  EXPECT_TRUE(hasRun);
  EXPECT_THAT(writer->take(),
              ElementsAre("An error occurred: Tried to start new segment copy while already in a segment"));
}

TEST(QVOperationSegmentTest, leavesTheTotalToTheBodyWhereNoCostsAreDeclared) {
  const auto operation = operationOf([](BodyOperation<>& self) {
    self.progress()->setTotalUnitCount(4);
    self.performSegment("any", 1, [](NSProgress&) {});
    EXPECT_EQ(self.progress()->completedUnitCount(), 0);
  });
  operation->start();
  EXPECT_EQ(operation->progress()->completedUnitCount(), 4);
}

TEST(QVOperationSegmentDeathTest, endsTheProcessForCostsThatNoNumberHolds) {
  class Vast : public BodyOperation<> {
  public:
    Vast() : BodyOperation([](auto&) {}) {}
    void calculateSegmentCosts() override {
      setCost(INT64_MAX, "one");
      setCost(1, "other");
    }
  };
  const auto operation = std::make_shared<Vast>();
  EXPECT_DEATH(operation->start(), "more than can be counted");
}

TEST(QVOperationSegmentTest, describesWhatGoesOnToAllAbove) {
  const auto operation = copyOf([](CopyOperation& self) {
    self.performSegment(CopyOperation::scan, 1, [&](NSProgress& segment) {
      self.updateLocalizedDescription("Scanning");
      self.updateLocalizedAdditionalDescription("9 of 10");
      EXPECT_EQ(segment.localizedDescription(), "Scanning");
    });
    EXPECT_EQ(self.progress()->localizedDescription(), "Scanning");
    EXPECT_EQ(self.progress()->localizedAdditionalDescription(), "9 of 10");
    return 0;
  });
  EXPECT_EQ(operation->progress()->localizedAdditionalDescription(), "");
  operation->start();
}

// Sub-operations

TEST(QVSubOperationTest, reportsIntoTheTreeOfTheOneThatRunsIt) {
  const auto logger = QVLogger::nullLogger();
  const auto child = operationOf<int>([&](BodyOperation<int>& self) {
    EXPECT_EQ(self.logger(), logger);
    EXPECT_EQ(self.superOperation()->name(), "CopyOperation");
    EXPECT_EQ(self.rootOperation()->name(), "CopyOperation");
    self.progress()->setTotalUnitCount(2);
    self.progress()->addCompletedUnitCount(1);
    EXPECT_DOUBLE_EQ(rootProgress(*self.progress())->fractionCompleted(), 0.45);
    return 6;
  });
  const auto operation = copyOf([&](CopyOperation& self) {
    const int result = self.performSubOperation(child, CopyOperation::copy);
    EXPECT_EQ(self.progress()->completedUnitCount(), 90);
    EXPECT_EQ(self.subOperation(), nullptr);
    return result;
  });
  operation->setLogger(logger);
  operation->start();
  EXPECT_EQ(operation->result().value(), 6);
  EXPECT_EQ(child->logger(), nullptr);
  EXPECT_EQ(child->superOperation(), nullptr);
  EXPECT_GT(operation->timingInfo()->elapsedTime("BodyOperation").count(), 0);
}

TEST(QVSubOperationTest, isCountedHoweverItEnds) {
  const auto failing = operationOf([](BodyOperation<>& self) {
    self.progress()->setTotalUnitCount(10);
    throw std::runtime_error("full");
  });
  const auto sizeless = operationOf([](BodyOperation<>&) {});
  const auto resetting = operationOf([](BodyOperation<>& self) { self.resetProgress(); });
  const auto unseen =
      operationOf([](BodyOperation<>& self) { EXPECT_EQ(self.progress()->parent(), nullptr); });
  const auto cancelled = operationOf([](BodyOperation<>&) { FAIL(); });
  cancelled->cancel();
  const auto operation = operationOf([&](BodyOperation<>& self) {
    self.progress()->setTotalUnitCount(100);
    EXPECT_THROW(self.performSubOperation(failing, 10), std::runtime_error);
    EXPECT_EQ(self.subOperation(), nullptr);
    self.performSubOperation(sizeless, 20);
    self.performSubOperation(resetting, 30);
    self.performSubOperation(unseen, 0);
    EXPECT_THROW(self.performSubOperation(cancelled, 5), NSError);
    EXPECT_EQ(self.progress()->completedUnitCount(), 65);
  });
  operation->start();
  EXPECT_FALSE(operation->operationError());
}

TEST(QVSubOperationTest, isWaitedForWhereItGoesOnElsewhere) {
  const auto child = std::make_shared<OpenOperation>();
  std::jthread elsewhere;
  child->onStart = [&] { elsewhere = std::jthread([child] { child->end(9); }); };
  const auto operation =
      operationOf<int>([&](BodyOperation<int>& self) { return self.performSubOperation(child, 1); });
  operation->start();
  EXPECT_EQ(operation->result().value(), 9);
}

TEST(QVSubOperationTest, isCancelledAndStillWaitedForWithTheOneThatRunsIt) {
  const auto child = std::make_shared<OpenOperation>();
  std::atomic<bool> hasEnded = false;
  const auto operation = operationOf<int>([&](BodyOperation<int>& self) {
    const int result = self.performSubOperation(child, 1);
    EXPECT_TRUE(hasEnded);
    return result;
  });
  operation->startInBackground();
  while (!child->isExecuting()) std::this_thread::yield();
  operation->cancel();
  EXPECT_TRUE(child->isCancelled());
  EXPECT_FALSE(operation->isFinished());
  hasEnded = true;
  child->end(3);
  operation->waitUntilFinished();
  EXPECT_EQ(operation->result().value(), 3);
}

TEST(QVSubOperationTest, doesNotRunWithinACancelledOperationThoughItIsPaused) {
  const auto child = operationOf([](auto&) { FAIL(); });
  const auto operation = operationOf([&](BodyOperation<>& self) {
    self.pause();
    self.cancelWithLocalizedDescription("Enough");
    self.performSubOperation(child, 1);
  });
  operation->start();
  EXPECT_EQ(operation->operationError()->localizedDescription(), "Enough");
  EXPECT_EQ(operation->operationError()->code(), 1002);
}

TEST(QVSubOperationTest, isPartOfOneOperationAtATime) {
  const auto whole = operationOf([](auto&) {});
  const auto other = operationOf([](auto&) {});
  const auto logger = QVLogger::nullLogger();
  whole->setLogger(logger);
  const auto child = operationOf([&](BodyOperation<>& self) {
    EXPECT_THAT(raisedBy([&] { other->performSubOperation(std::shared_ptr<BodyOperation<>>(), 1); }),
                HasSubstr("no sub-operation"));
    const auto shared = std::static_pointer_cast<BodyOperation<>>(self.shared_from_this());
    EXPECT_THAT(raisedBy([&] { other->performSubOperation(shared, 0); }),
                HasSubstr("another operation runs"));
    EXPECT_THAT(raisedBy([&] { self.performSubOperation(shared, 0); }), HasSubstr("its own"));
    EXPECT_THAT(raisedBy([&] { self.performSubOperation(whole, 1); }), HasSubstr("it is a part of"));
    EXPECT_THAT(raisedBy([&] { whole->setSuperOperation(shared); }), HasSubstr("a part of itself"));
    EXPECT_EQ(self.superOperation(), whole);
    EXPECT_EQ(self.logger(), logger);
    EXPECT_EQ(self.rootOperation(), whole);
  });
  whole->performSubOperation(child, 1);
  EXPECT_EQ(other->subOperation(), nullptr);
  const auto alone = operationOf([&](BodyOperation<>& self) {
    const auto running = std::static_pointer_cast<BodyOperation<>>(self.shared_from_this());
    self.setLogger(logger);
    EXPECT_THAT(raisedBy([&] { other->performSubOperation(running, 1); }), HasSubstr("runs already"));
    EXPECT_EQ(self.logger(), logger);
  });
  alone->start();
}

TEST(QVSubOperationTest, isLetGoOfWhereItCannotJoinTheTree) {
  const auto child = operationOf([](auto&) { FAIL(); });
  const auto elsewhere = std::make_shared<NSProgress>(1);
  elsewhere->addChild(child->progress(), 1);
  const auto operation = operationOf([](auto&) {});
  EXPECT_THAT(raisedBy([&] { operation->performSubOperation(child, 1); }), HasSubstr("has a parent already"));
  EXPECT_EQ(operation->subOperation(), nullptr);
  EXPECT_EQ(child->superOperation(), nullptr);
}

TEST(QVSubOperationTest, namesTheRootInTheErrorOfItsCancellation) {
  const auto grandchild = operationOf([](BodyOperation<>& self) {
    self.rootOperation()->cancel();
    self.checkForCancellationAndReturnError();
  });
  const auto child = operationOf([&](BodyOperation<>& self) { self.performSubOperation(grandchild, 1); });
  const auto operation = operationOf([&](BodyOperation<>& self) { self.performSubOperation(child, 1); });
  operation->setName("Whole");
  operation->start();
  EXPECT_EQ(operation->operationError()->localizedDescription(), "The Whole operation was cancelled");
}

// The copy for the main thread

TEST(QVOperationProgressTest, hasACopyForTheMainThreadThatFollowsTheProgress) {
  const auto operation = copyOf([](CopyOperation& self) {
    self.progress()->setCompletedUnitCount(33);
    return 0;
  });
  bool isFollowed = false;
  const auto observation =
      observe(*operation, "mainThreadProgress", [&](CopyOperation& self, const NSKeyValueChange&) {
        isFollowed = self.mainThreadProgressMirror() != nullptr;
      });
  operation->setEnableMainThreadProgress(true);
  const auto shown = operation->mainThreadProgress();
  EXPECT_TRUE(isFollowed) << "once it is there";
  EXPECT_EQ(name(*shown), "null (main)");
  operation->calculateSegmentCosts();
  operation->progress()->setTotalUnitCount(3);
  operation->progress()->setCompletedUnitCount(1);
  operation->progress()->setLocalizedDescription("Copying");
  runMainQueueUntil([&] { return shown->completedUnitCount() == 3333; });
  EXPECT_EQ(shown->totalUnitCount(), 10000);
  EXPECT_EQ(shown->localizedDescription(), "Copying");

  const auto before = operation->progress();
  operation->resetProgress();
  EXPECT_NE(operation->progress(), before);
  EXPECT_EQ(operation->mainThreadProgress(), shown);
  bool isToldElsewhere = false;
  const auto naming = observe(*shown, "userInfo", [&](NSProgress&, const NSKeyValueChange&) {
    isToldElsewhere = isToldElsewhere || !isMainThread();
  });
  operation->startInBackground();
  runMainQueueUntil([&] { return name(*shown) == "CopyOperation: (main)"; });
  EXPECT_FALSE(isToldElsewhere);
  runMainQueueUntil([&] { return shown->isFinished(); });
  operation->setEnableMainThreadProgress(false);
  EXPECT_EQ(operation->mainThreadProgress(), nullptr);
  EXPECT_EQ(operation->mainThreadProgressMirror(), nullptr);
}

TEST(QVOperationProgressTest, followsAProgressThatIsReplacedWhileTheCopyIsMade) {
  const auto operation = operationOf([](auto&) {});
  int resets = 0;
  const auto observation = observe(*operation, "mainThreadProgress", NSKeyValueObservingOptionPrior,
                                   [&](BodyOperation<>& self, const NSKeyValueChange& change) {
                                     if (change.isPrior() && ++resets == 1) self.resetProgress();
                                   });
  operation->setEnableMainThreadProgress(true);
  EXPECT_EQ(resets, 1);
  EXPECT_EQ(operation->mainThreadProgressMirror()->sourceProgress(), operation->progress());
}

TEST(QVOperationProgressTest, waitsForTheMainThreadToMakeTheCopy) {
  const auto operation = operationOf([](auto&) {});
  std::atomic<bool> isDone = false;
  const std::jthread other([&] {
    operation->setEnableMainThreadProgress(true);
    EXPECT_NE(operation->mainThreadProgress(), nullptr);
    isDone = true;
  });
  runMainQueueUntil([&] { return isDone.load(); });
}

}  // namespace
}  // namespace QVFoundation
