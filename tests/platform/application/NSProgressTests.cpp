#include "QVFoundation/platform/application/NSProgress.h"

#include <chrono>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "QVFoundation/platform/application/NSProgressKeys.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/runtime/NSKeyValueObserving.h"
#include "tests/platform/runtime/RaisedException.h"

namespace QVFoundation {
namespace {

using ::testing::ContainsRegex;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::raisedBy;
using ::testing::UnorderedElementsAre;

using Steps = std::vector<std::string>;

std::shared_ptr<NSProgress> progressOf(std::int64_t total) { return std::make_shared<NSProgress>(total); }

std::shared_ptr<NSProgress> childOf(NSProgress& parent, std::int64_t pending, std::int64_t total) {
  const auto child = progressOf(total);
  parent.addChild(child, pending);
  return child;
}

TEST(NSProgressTest, isFinishedOrIndeterminateByItsCounts) {
  constexpr auto most = std::numeric_limits<std::int64_t>::max();
  const struct {
    std::int64_t total, completed;
    bool isIndeterminate, isFinished;
    double fraction;
  } rows[] = {
      {0, 0, true, false, 0},       {0, 1, false, true, 1},     {10, 0, false, false, 0},
      {10, 5, false, false, 0.5},   {10, 10, false, true, 1},   {10, 11, false, true, 1},
      {-1, 0, true, false, 0},      {-1, 5, true, false, 0},    {10, -1, true, false, 0},
      {most, most, false, true, 1}, {most, 0, false, false, 0}, {-5, -5, true, false, 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::to_string(row.completed) + " of " + std::to_string(row.total));
    NSProgress progress(row.total);
    progress.setCompletedUnitCount(row.completed);
    EXPECT_EQ(progress.isIndeterminate(), row.isIndeterminate);
    EXPECT_EQ(progress.isFinished(), row.isFinished);
    EXPECT_EQ(progress.fractionCompleted(), row.fraction);
  }
}

TEST(NSProgressTest, countsTheSharesOfItsDescendants) {
  const auto root = progressOf(100);
  const auto scan = childOf(*root, 10, 500);
  const auto copy = childOf(*root, 90, 3);
  const auto file = childOf(*copy, 1, 4);
  scan->setCompletedUnitCount(250);
  EXPECT_DOUBLE_EQ(root->fractionCompleted(), 0.05);
  file->setCompletedUnitCount(1);
  EXPECT_DOUBLE_EQ(root->fractionCompleted(), 0.05 + 0.9 / 12);
  copy->addCompletedUnitCount(1);
  EXPECT_DOUBLE_EQ(root->fractionCompleted(), 0.05 + 0.9 * 5 / 12);
  file->setCompletedUnitCount(0);
  EXPECT_DOUBLE_EQ(root->fractionCompleted(), 0.05 + 0.9 / 3);
  copy->setTotalUnitCount(10);
  EXPECT_DOUBLE_EQ(root->fractionCompleted(), 0.05 + 0.09);
  EXPECT_EQ(root->completedUnitCount(), 0);  // it counts what has finished
}

TEST(NSProgressTest, countsAllThatAFinishedChildStandsForAndLetsGoOfIt) {
  const auto root = progressOf(3);
  const auto child = childOf(*root, 2, 7);
  const auto grandchild = childOf(*child, 7, 1);
  EXPECT_THAT(root->children(), ElementsAre(child));
  grandchild->setCompletedUnitCount(1);  // and with it the child
  EXPECT_TRUE(child->isFinished());
  EXPECT_EQ(root->completedUnitCount(), 2);
  EXPECT_DOUBLE_EQ(root->fractionCompleted(), 2.0 / 3);
  EXPECT_THAT(root->children(), IsEmpty());
  EXPECT_EQ(child->parent(), nullptr);
  child->setCompletedUnitCount(0);  // it has been counted
  EXPECT_DOUBLE_EQ(root->fractionCompleted(), 2.0 / 3);
}

TEST(NSProgressTest, takesInChildrenThatComeLateOrNeverCount) {
  const auto root = progressOf(10);
  const auto finished = progressOf(1);
  finished->setCompletedUnitCount(1);
  root->addChild(finished, 3);
  EXPECT_EQ(root->completedUnitCount(), 3);
  EXPECT_THAT(root->children(), IsEmpty());
  const auto half = progressOf(2);
  half->setCompletedUnitCount(1);
  root->addChild(half, 4);
  EXPECT_DOUBLE_EQ(root->fractionCompleted(), 0.5);
  const auto unknown = childOf(*root, 1, 0);  // never learns its size
  EXPECT_DOUBLE_EQ(root->fractionCompleted(), 0.5);
  root->endChild(*unknown);
  root->endChild(*unknown);  // is no child any more
  EXPECT_EQ(root->completedUnitCount(), 4);
  root->addChild(unknown, 2);  // may begin again
  root->endChild(*half);
  EXPECT_EQ(root->completedUnitCount(), 8);
  root->setTotalUnitCount(8);  // complete: its children count no more
  EXPECT_EQ(root->fractionCompleted(), 1);
}

TEST(NSProgressTest, keepsItsFractionBetweenZeroAndOne) {
  const auto root = progressOf(2);
  const auto first = childOf(*root, 2, 10);
  const auto second = childOf(*root, 2, 10);  // together they stand for more than there is
  first->setCompletedUnitCount(9);
  second->setCompletedUnitCount(9);
  EXPECT_EQ(root->fractionCompleted(), 1);
  EXPECT_FALSE(root->isFinished());
  first->setCompletedUnitCount(-4);
  second->setTotalUnitCount(-1);
  EXPECT_EQ(root->fractionCompleted(), 0);
}

TEST(NSProgressTest, refusesWhatIsNoTree) {
  const auto root = progressOf(1);
  const auto child = childOf(*root, 1, 1);
  const auto grandchild = childOf(*child, 1, 1);
  const struct {
    const char* message;
    std::function<void()> adds;
  } rows[] = {
      {"cannot be the parent of nothing", [&] { root->addChild(nullptr, 1); }},
      {"has a parent already", [&] { root->addChild(grandchild, 1); }},
      {"it is the same", [&] { root->addChild(root, 1); }},
      {"stands above", [&] { grandchild->addChild(root, 1); }},
      {"less than nothing", [&] { root->addChild(progressOf(1), -1); }},
  };
  for (const auto& row : rows) EXPECT_THAT(raisedBy(row.adds), ContainsRegex(row.message));
}

TEST(NSProgressTest, outlivesItsParentAndMayGetAnother) {
  const auto child = progressOf(2);
  {
    const auto first = progressOf(1);
    first->addChild(child, 1);
    child->addCompletedUnitCount(1);
    EXPECT_EQ(first->fractionCompleted(), 0.5);
  }
  EXPECT_EQ(child->parent(), nullptr);
  const auto second = progressOf(1);
  second->addChild(child, 1);
  EXPECT_EQ(second->fractionCompleted(), 0.5);
  EXPECT_EQ(child->parent(), second);
}

TEST(NSProgressTest, isAsDeepOrAsBroadAsNeedBe) {
  constexpr int count = 100'000;
  const auto root = progressOf(1);
  auto lowest = root;
  for (int i = 0; i < count; ++i) lowest = childOf(*lowest, 1, 1);
  lowest->setTotalUnitCount(4);
  lowest->setCompletedUnitCount(1);
  EXPECT_DOUBLE_EQ(root->fractionCompleted(), 0.25);
  root->cancel();
  EXPECT_TRUE(lowest->isCancelled());
  lowest->setCompletedUnitCount(4);  // finishes all
  EXPECT_TRUE(root->isFinished());

  const auto broad = progressOf(count);
  for (int i = 0; i < count; ++i) (void)childOf(*broad, 1, 3);
  double last = 0;
  for (const auto& leaf : broad->children()) {
    leaf->addCompletedUnitCount(1);
    EXPECT_GT(broad->fractionCompleted(), last);
    leaf->addCompletedUnitCount(2);
    last = broad->fractionCompleted();
  }
  EXPECT_EQ(last, 1);
}

TEST(NSProgressTest, isReleasedFromTheTopDownHoweverDeep) {
  auto root = progressOf(1);
  std::weak_ptr<NSProgress> lowest = root;
  for (int i = 0; i < 200'000; ++i) lowest = childOf(*lowest.lock(), 1, 1);
  root.reset();
  EXPECT_TRUE(lowest.expired());
}

/// Writes down what the handlers of a progress are called for.
void noteControl(NSProgress& progress, const std::string& name, Steps& steps) {
  progress.setCancellationHandler([&steps, name] { steps.push_back(name + " cancel"); });
  progress.setPausingHandler([&steps, name] { steps.push_back(name + " pause"); });
  progress.setResumingHandler([&steps, name] { steps.push_back(name + " resume"); });
}

TEST(NSProgressTest, isCancelledPausedAndResumedWithAllBelow) {
  const auto root = progressOf(1);
  const auto child = childOf(*root, 1, 1);
  const auto grandchild = childOf(*child, 1, 1);
  Steps steps;
  noteControl(*root, "root", steps);
  noteControl(*grandchild, "grandchild", steps);
  root->pause();
  root->pause();
  EXPECT_TRUE(child->isPaused());
  root->resume();
  EXPECT_FALSE(grandchild->isPaused());
  child->cancel();
  EXPECT_FALSE(root->isCancelled());
  root->cancel();
  root->cancel();
  EXPECT_THAT(steps, ElementsAre("root pause", "grandchild pause", "root resume", "grandchild resume",
                                 "grandchild cancel", "root cancel"));
}

TEST(NSProgressTest, tellsWhatItWasToldBeforeToThoseWhoComeLate) {
  Steps steps;
  const auto root = progressOf(1);
  root->pause();
  root->cancel();
  const auto child = progressOf(1);
  const auto grandchild = childOf(*child, 1, 1);
  noteControl(*grandchild, "grandchild", steps);
  root->addChild(child, 1);
  EXPECT_THAT(steps, ElementsAre("grandchild cancel", "grandchild pause"));
  steps.clear();
  noteControl(*root, "root", steps);
  EXPECT_THAT(steps, ElementsAre("root cancel", "root pause"));
  noteControl(*root, "again", steps);
  EXPECT_EQ(steps.back(), "again cancel");  // its pausing handler takes the place of one that was called
  child->resume();                          // for itself alone
  EXPECT_TRUE(root->isPaused());
  EXPECT_FALSE(grandchild->isPaused());
}

TEST(NSProgressTest, mayBePausedFromAHandler) {
  const auto progress = progressOf(1);
  Steps steps;
  progress->setPausingHandler([&] {
    steps.emplace_back("pause");
    progress->resume();
    steps.emplace_back("paused");
  });
  progress->setResumingHandler([&] { steps.emplace_back("resume"); });
  progress->pause();
  EXPECT_THAT(steps, ElementsAre("pause", "paused", "resume"));  // one at a time
  EXPECT_FALSE(progress->isPaused());
}

TEST(NSProgressDeathTest, endsTheProcessForAnExceptionOfAHandler) {
  const auto shared = progressOf(1);
  NSProgress& progress = *shared;
  progress.setCancellationHandler([] { throw std::runtime_error("no"); });
  EXPECT_DEATH(progress.cancel(), "The cancellation handler of <NSProgress.*no");
}

/// Writes down a property of a progress whenever observers hear of it, with the value before.
NSKeyValueObservation noteChanges(NSProgress& progress, const std::string& key, Steps& steps) {
  return observe(progress, key, NSKeyValueObservingOptionOld | NSKeyValueObservingOptionNew,
                 [&steps, key](NSProgress&, const NSKeyValueChange& change) {
                   steps.push_back(key + ' ' + change.oldValue().description() + " -> " +
                                   change.newValue().description());
                 });
}

TEST(NSProgressTest, tellsObserversWhatHasChangedHereAndBelow) {
  const auto root = progressOf(4);
  const auto child = progressOf(0);
  root->addChild(child, 2);
  Steps steps;
  const auto fraction = noteChanges(*root, "fractionCompleted", steps);
  const auto completed = noteChanges(*root, "completedUnitCount", steps);
  const auto finished = noteChanges(*root, "isFinished", steps);
  const auto indeterminate = noteChanges(*child, "isIndeterminate", steps);
  child->setTotalUnitCount(2);
  EXPECT_THAT(steps, ElementsAre("isIndeterminate 1 -> 0", "fractionCompleted 0 -> 0"));
  steps.clear();
  child->addCompletedUnitCount(1);
  EXPECT_THAT(steps, ElementsAre("fractionCompleted 0 -> 0.25"));
  steps.clear();
  child->addCompletedUnitCount(1);
  EXPECT_THAT(steps, ElementsAre("completedUnitCount 0 -> 2", "fractionCompleted 0.25 -> 0.5"));
  steps.clear();
  root->addCompletedUnitCount(2);
  EXPECT_THAT(steps,
              ElementsAre("completedUnitCount 2 -> 4", "fractionCompleted 0.5 -> 1", "isFinished 0 -> 1"));
  steps.clear();
  root->endChild(*childOf(*root, 3, 0));
  EXPECT_THAT(steps, ElementsAre("fractionCompleted 1 -> 1", "fractionCompleted 1 -> 1"));
  EXPECT_EQ(root->completedUnitCount(), 4);  // it counts no more
}

TEST(NSProgressTest, isHeardByObserversThatOnlyWantToKnowAfter) {
  const auto root = progressOf(2);
  const auto middle = childOf(*root, 2, 2);
  const auto leaf = childOf(*middle, 1, 2);
  leaf->addCompletedUnitCount(1);  // before anybody observes
  std::vector<double> fractions;
  int ends = 0;
  const auto fraction =
      observe(*root, "fractionCompleted", [&](NSProgress& progress, const NSKeyValueChange&) {
        fractions.push_back(progress.fractionCompleted());
      });
  const auto finished = observe(*middle, "isFinished", [&](NSProgress&, const NSKeyValueChange&) { ++ends; });
  leaf->addCompletedUnitCount(1);
  middle->setCompletedUnitCount(2);
  EXPECT_THAT(fractions, ElementsAre(0.5, 1.0));
  EXPECT_EQ(ends, 1);
}

TEST(NSProgressTest, isObservedWhereverItComesToStand) {
  const auto root = progressOf(2);
  const auto branch = progressOf(2);
  const auto leaf = childOf(*branch, 2, 4);
  leaf->addCompletedUnitCount(1);  // when nobody stood above who was observed
  std::vector<double> fractions;
  const auto fraction =
      observe(*root, "fractionCompleted", [&](NSProgress& progress, const NSKeyValueChange&) {
        fractions.push_back(progress.fractionCompleted());
      });
  root->addChild(branch, 2);
  leaf->addCompletedUnitCount(1);
  EXPECT_THAT(fractions, ElementsAre(0.25, 0.5));
}

TEST(NSProgressTest, isHeardAlsoByWhoComesInTheMiddleOfAReport) {
  const auto root = progressOf(2);
  const auto leaf = childOf(*root, 2, 1);
  int ends = 0;
  NSKeyValueObservation finished;
  const auto completed = observe(
      *leaf, "completedUnitCount", NSKeyValueObservingOptionPrior,
      [&](NSProgress&, const NSKeyValueChange& change) {
        if (!change.isPrior()) return;
        finished = observe(*root, "isFinished",
                           [&](NSProgress& its, const NSKeyValueChange&) { ends += its.isFinished(); });
      });
  leaf->addCompletedUnitCount(1);
  EXPECT_GE(ends, 1);
}

TEST(NSProgressTest, describesItselfToPeople) {
  using namespace std::chrono_literals;
  const struct {
    const char* row;
    std::function<void(NSProgress&)> prepare;
    const char* description;
    const char* details;
  } rows[] = {
      {"nothing known", [](NSProgress&) {}, "", ""},
      {"counted", [](NSProgress& p) { p.setTotalUnitCount(20), p.setCompletedUnitCount(9); }, "45% completed",
       "9 of 20"},
      {"all but one", [](NSProgress& p) { p.setTotalUnitCount(100'000), p.setCompletedUnitCount(99'999); },
       "99% completed", "99999 of 100000"},
      {"of unknown size", [](NSProgress& p) { p.setTotalUnitCount(-1), p.setCompletedUnitCount(7); }, "",
       "7"},
      {"with an end in sight",
       [](NSProgress& p) {
         p.setTotalUnitCount(20), p.setCompletedUnitCount(20), p.setEstimatedTimeRemaining(61s);
       },
       "100% completed", "20 of 20 — about 1 minute remaining"},
      {"nearly a minute", [](NSProgress& p) { p.setEstimatedTimeRemaining(59.7s); }, "",
       "about 1 minute remaining"},
      {"nearly a day", [](NSProgress& p) { p.setEstimatedTimeRemaining(86'390s); }, "",
       "about 1 day remaining"},
      {"for ever", [](NSProgress& p) { p.setEstimatedTimeRemaining(1e300s); }, "",
       "about 36525 days remaining"},
      {"files",
       [](NSProgress& p) {
         p.setKind(std::string(NSProgressKindFile));
         p.setFileOperationKind(std::string(NSProgressFileOperationKindCopying));
         p.setFileTotalCount(3);
         p.setTotalUnitCount(5'000'000), p.setCompletedUnitCount(1'249'999);
         p.setThroughput(999), p.setEstimatedTimeRemaining(3s);
       },
       "Copying 3 files…", "1.2 MB of 5.0 MB (999 bytes per second) — a few seconds remaining"},
      {"set by hand",
       [](NSProgress& p) { p.setLocalizedDescription("Reading"), p.setLocalizedAdditionalDescription(""); },
       "Reading", ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.row);
    const auto progress = progressOf(0);
    row.prepare(*progress);
    EXPECT_EQ(progress->localizedDescription(), row.description);
    EXPECT_EQ(progress->localizedAdditionalDescription(), row.details);
  }
}

TEST(NSProgressTest, keepsUserInfoUnderKeysOfItsOwn) {
  const auto progress = progressOf(1);
  Steps steps;
  const auto throughput = noteChanges(*progress, "throughput", steps);
  const auto description = observe(*progress, "localizedAdditionalDescription",
                                   [&](NSProgress&, const NSKeyValueChange&) { steps.emplace_back("told"); });
  progress->setThroughput(5);
  EXPECT_THAT(steps, UnorderedElementsAre("told", "throughput (null) -> 5"));
  progress->setUserInfoObject("row", "name");
  EXPECT_EQ(progress->userInfo(), (Dictionary{{"name", "row"}, {std::string(NSProgressThroughputKey), 5}}));
  progress->setThroughput(std::nullopt);
  progress->setValueForKey(2.5, "estimatedTimeRemaining");
  EXPECT_EQ(progress->estimatedTimeRemaining(), std::chrono::duration<double>(2.5));
  EXPECT_FALSE(progress->throughput());
}

}  // namespace
}  // namespace QVFoundation
