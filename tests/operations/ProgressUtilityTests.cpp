#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "QVFoundation/operations/QVProgress.h"
#include "QVFoundation/operations/QVProgressMirror.h"
#include "QVFoundation/operations/QVProgressUtilities.h"
#include "QVFoundation/platform/runtime/NSKeyValueObserving.h"
#include "QVFoundation/platform/tracing/OSLogSink.h"
#include "tests/operations/TestOperations.h"
#include "tests/platform/tracing/RecordingSink.h"

namespace QVFoundation {
namespace {

using testing::BodyOperation;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using testing::operationOf;
using testing::runMainQueueUntil;
using ::testing::StartsWith;

std::shared_ptr<NSProgress> progressNamed(const char* itsName, std::int64_t total = 3) {
  auto progress = std::make_shared<NSProgress>(total);
  setName(*progress, itsName);
  return progress;
}

struct Tree {
  Tree() {
    root->addChild(child, 1);
    child->addChild(grandchild, 1);
  }
  std::shared_ptr<NSProgress> root = progressNamed("root");
  std::shared_ptr<NSProgress> child = std::make_shared<NSProgress>(3);
  std::shared_ptr<NSProgress> grandchild = progressNamed("grandchild");
};

TEST(ProgressUtilitiesTest, nameTheWayFromTheRoot) {
  const Tree tree;
  EXPECT_EQ(name(*tree.child), std::nullopt);
  EXPECT_EQ(rootProgress(*tree.grandchild), tree.root);
  EXPECT_EQ(rootProgress(*tree.root), tree.root);
  EXPECT_THAT(nameChain(*tree.grandchild), ElementsAre("root", "<unnamed>", "grandchild"));
}

TEST(ProgressUtilitiesTest, describeOneAndAll) {
  const Tree tree;
  incrementCompletedUnitCount(*tree.grandchild);
  const std::string one = customDescription(*tree.grandchild);
  for (const char* part : {R"x("completed":"1/3 (0.333333)")x", R"("name":"grandchild")",
                           R"("description":"33% completed")", R"("parent":"0x)"}) {
    EXPECT_THAT(one, HasSubstr(part));
  }
  EXPECT_EQ(one.find('\n'), std::string::npos);
  EXPECT_EQ(hierarchyDescriptionWithIndent(*tree.grandchild, 0), one);
  EXPECT_EQ(hierarchyDescriptionWithIndent(*tree.grandchild, -5), one);
  EXPECT_EQ(hierarchyDescriptionWithIndent(*tree.child, 1),
            "  " + customDescription(*tree.child) + "\n    " + one);
}

TEST(ProgressUtilitiesTest, setTextsOnAllAbove) {
  const Tree tree;
  updateLocalizedDescription(*tree.grandchild, "Copying");
  updateLocalizedAdditionalDescription(*tree.child, "1 of 3");
  EXPECT_EQ(tree.root->localizedDescription(), "Copying");
  EXPECT_EQ(tree.root->localizedAdditionalDescription(), "1 of 3");
  EXPECT_EQ(tree.grandchild->localizedAdditionalDescription(), "0 of 3");
  updateLocalizedDescription(*tree.grandchild, std::nullopt);
  EXPECT_EQ(tree.root->localizedDescription(), "0% completed");
}

/// A mirror whose copies a test makes itself.
std::shared_ptr<QVProgressMirror> stoppedMirror(const std::shared_ptr<NSProgress>& source,
                                                const std::shared_ptr<NSProgress>& destination) {
  auto mirror = std::make_shared<QVProgressMirror>(source, destination, DispatchQueue::serial("mirror"));
  mirror->invalidate();
  return mirror;
}

TEST(QVProgressMirrorTest, copiesOnAScaleOfTenThousandAndCutsOff) {
  const struct {
    std::int64_t total, completed, shownTotal, shownCompleted;
  } rows[] = {
      {3, 1, 10000, 3333}, {100, 57, 10000, 5699}, {3, 3, 10000, 10000}, {0, 0, 0, 0}, {-1, 7, -1, 7}};
  for (const auto& row : rows) {
    SCOPED_TRACE(std::to_string(row.completed) + " of " + std::to_string(row.total));
    const auto source = std::make_shared<NSProgress>(row.total);
    source->setCompletedUnitCount(row.completed);
    source->setLocalizedDescription("Copying");
    source->setLocalizedAdditionalDescription("all");
    const Tree shown;
    stoppedMirror(source, shown.child)->updateDestinationProgress();
    EXPECT_EQ(shown.child->totalUnitCount(), row.shownTotal);
    EXPECT_EQ(shown.child->completedUnitCount(), row.shownCompleted);
    EXPECT_EQ(shown.child->localizedAdditionalDescription(), "all");
  }
}

TEST(QVProgressMirrorTest, finishesNothingWhenItsSourceBeginsAnew) {
  const Tree shown;
  const auto source = std::make_shared<NSProgress>(2);
  const auto mirror = stoppedMirror(source, shown.child);
  source->setCompletedUnitCount(1);
  mirror->updateDestinationProgress();
  bool hasFinished = false;
  const auto observation = observe(*shown.child, "isFinished", [&](NSProgress& its, const NSKeyValueChange&) {
    hasFinished = hasFinished || its.isFinished();
  });
  source->setCompletedUnitCount(0);
  source->setTotalUnitCount(0);
  mirror->updateDestinationProgress();
  EXPECT_TRUE(shown.child->isIndeterminate());
  EXPECT_FALSE(hasFinished);
  EXPECT_THAT(shown.root->children(), ElementsAre(shown.child));
}

TEST(QVProgressMirrorTest, followsUntilItIsInvalidatedOrLetGoOf) {
  const auto source = std::make_shared<NSProgress>(2);
  const auto shown = std::make_shared<NSProgress>();
  auto mirror = std::make_shared<QVProgressMirror>(source, shown, DispatchQueue::main());
  EXPECT_NE(mirror->timer(), nullptr);
  source->setCompletedUnitCount(1);
  runMainQueueUntil([&] { return shown->completedUnitCount() == 5000; });
  mirror->invalidate();
  EXPECT_EQ(mirror->timer(), nullptr);
  source->setCompletedUnitCount(2);
  const std::weak_ptr<NSProgress> weak = source;
  EXPECT_THAT(mirror->description(), StartsWith("QVProgressMirror: source {"));
  mirror = std::make_shared<QVProgressMirror>(source, shown, DispatchQueue::main());
  // An observer lets go of it while it copies.
  const auto observation =
      observe(*shown, "totalUnitCount", [&](NSProgress&, const NSKeyValueChange&) { mirror.reset(); });
  runMainQueueUntil([&] { return mirror == nullptr; });
  EXPECT_EQ(source.use_count(), 1);
}

TEST(QVProgressMirrorTest, mayGoWhileItCopiesElsewhere) {
  for (int round = 0; round < 200; ++round) {
    const auto source = std::make_shared<NSProgress>(2);
    auto mirror =
        std::make_shared<QVProgressMirror>(source, std::make_shared<NSProgress>(), DispatchQueue::global());
    if (round % 2 == 0) std::this_thread::yield();
    mirror.reset();
    while (source.use_count() > 1) std::this_thread::yield();  // the copy keeps it until it is made
  }
}

TEST(QVProgressTest, showsTheDescriptionOfAProgressOrATextOfItsOwn) {
  const auto progress = std::make_shared<NSProgress>(2);
  const auto shown = QVProgress::following(progress);
  const auto fixed = std::make_shared<QVProgress>("Waiting");
  EXPECT_EQ(shown->localizedDescription(), "");
  std::vector<std::string> seen;
  const auto observation =
      observe(*shown, "localizedDescription",
              [&](QVProgress& its, const NSKeyValueChange&) { seen.push_back(its.localizedDescription()); });
  progress->addCompletedUnitCount(1);
  progress->setLocalizedDescription("Nearly there");
  progress->setLocalizedDescription(std::nullopt);
  EXPECT_THAT(seen, ElementsAre("50% completed", "Nearly there", "50% completed"));
  fixed->setLocalizedDescription("Ready");
  EXPECT_EQ(fixed->localizedDescription(), "Ready");
}

// The log of trees stays as it was when it was first asked for.
[[maybe_unused]] const OSLogger& logOfTrees = []() -> const OSLogger& {
  setProgressLoggingEnabled(true);
  const OSLogger& log = childLog();
  setProgressLoggingEnabled(false);
  return log;
}();

TEST(ProgressLogTest, tellsHowTheTreeOfAnOperationGrows) {
  const testing::SinkInPlace<testing::RecordingSink> sink;
  setProgressLoggingEnabled(true);
  setOSLogMinimumType("org.qvfoundation", "", OSLogType::debug);
  const auto operation = operationOf([](BodyOperation<>& self) {
    self.performSegment("read", 2, [](NSProgress& segment) { incrementCompletedUnitCount(segment); });
    self.performSubOperation(operationOf([](auto&) {}), 1);
  });
  operation->setName("Import");
  operation->start();
  setOSLogMinimumType("org.qvfoundation", "", OSLogType::info);
  setProgressLoggingEnabled(false);
  EXPECT_FALSE(progressLog().isEnabled(OSLogType::fault));
  std::vector<std::string> messages;
  for (const auto& entry : sink->take()) messages.push_back(entry.message);
  EXPECT_THAT(messages,
              ElementsAre("Operation Import starting with totalUnitCount 0",
                          "Segment Import:read adding child with segment unit count 2, segment cost 0",
                          StartsWith("New progress hierarchy:\n{"), StartsWith("Incremented unit count {"),
                          "Segment completed: Import:read",
                          "Operation Import adding suboperation BodyOperation child with unit count 1",
                          StartsWith("New progress hierarchy:\n{"),
                          "Operation BodyOperation starting with totalUnitCount 0",
                          "Operation BodyOperation finishing with completedUnitCount 0",
                          "Operation Import suboperation BodyOperation complete",
                          StartsWith("New progress hierarchy:\n{"),
                          "Operation Import finishing with completedUnitCount 1"));
}

}  // namespace
}  // namespace QVFoundation
