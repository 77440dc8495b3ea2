#include "QVFoundation/platform/concurrency/NSOperation.h"

#include <atomic>
#include <functional>
#include <latch>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "QVFoundation/platform/runtime/NSKeyValueObserving.h"
#include "tests/platform/concurrency/OnThreads.h"
#include "tests/platform/concurrency/Operations.h"
#include "tests/platform/runtime/RaisedException.h"

namespace QVFoundation {
namespace {

using testing::BlockOperation;
using ::testing::ContainsRegex;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::OpenOperation;
using testing::raisedBy;

using Steps = std::vector<std::string>;

/// Writes down what observers and the completion block of an operation hear.
struct StepsOf {
  explicit StepsOf(std::shared_ptr<NSOperation> its) : operation(std::move(its)) {
    for (const char* key : {"isCancelled", "isReady", "isExecuting", "isFinished"}) {
      observations.push_back(observe(*operation, key, NSKeyValueObservingOptionNew,
                                     [this, key](NSOperation&, const NSKeyValueChange& change) {
                                       steps.push_back(key +
                                                       (change.newValue() == true ? "" : std::string(" no")));
                                     }));
    }
    operation->setCompletionBlock([this] { steps.emplace_back("completed"); });
  }
  Steps take() { return std::exchange(steps, {}); }

  std::shared_ptr<NSOperation> operation;
  Steps steps;
  std::vector<NSKeyValueObservation> observations;
};

TEST(NSOperation, tellsEachStepOnceInOrder) {
  int runs = 0;
  StepsOf ran(std::make_shared<BlockOperation>([&] { ++runs; }));
  ran.operation->start();
  EXPECT_THAT(ran.take(), ElementsAre("isExecuting", "isExecuting no", "isFinished", "completed"));
  ran.operation->start();
  ran.operation->cancel();
  ran.operation->setCompletionBlock([&] { FAIL(); });
  ran.operation->start();
  EXPECT_THAT(ran.take(), ElementsAre("isReady", "isCancelled"));
  EXPECT_EQ(runs, 1);

  StepsOf cancelled(std::make_shared<BlockOperation>([&] { FAIL() << "it is cancelled"; }));
  cancelled.operation->cancel();
  cancelled.operation->cancel();
  EXPECT_FALSE(cancelled.operation->isFinished());
  cancelled.operation->start();
  EXPECT_THAT(cancelled.take(), ElementsAre("isReady", "isCancelled", "isFinished", "completed"));

  const auto open = std::make_shared<OpenOperation>();
  StepsOf asynchronous(open);
  open->start();
  EXPECT_THAT(asynchronous.take(), ElementsAre("isExecuting"));
  open->end();
  open->end();
  EXPECT_THAT(asynchronous.take(),
              ElementsAre("isExecuting no", "isFinished", "completed", "isExecuting no", "isFinished"))
      << "who ends twice says so twice, and ends once";
}

TEST(NSOperation, refusesToStartTwiceOrTooEarly) {
  const auto first = std::make_shared<OpenOperation>();
  const auto second = std::make_shared<BlockOperation>([&] {});
  second->addDependency(first);
  EXPECT_THAT(raisedBy([&] { second->start(); }), ContainsRegex("^NSInvalidArgumentException: .*depends"));
  std::shared_ptr<BlockOperation> self;
  self = std::make_shared<BlockOperation>([&] {
    EXPECT_THAT(raisedBy([&] { self->start(); }),
                ContainsRegex("^NSInvalidArgumentException: .*started already"));
    EXPECT_THAT(raisedBy([&] { self->addDependency(first); }), ContainsRegex("started already"));
  });
  self->start();
  EXPECT_TRUE(self->isFinished());
}

TEST(NSOperation, isReadyWhenAllThatItDependsOnHaveEndedHoweverTheyDid) {
  const auto operation = std::make_shared<BlockOperation>();
  const std::shared_ptr<NSOperation> others[] = {
      std::make_shared<BlockOperation>(), std::make_shared<OpenOperation>(),
      std::make_shared<BlockOperation>(), std::make_shared<BlockOperation>()};
  others[0]->start();
  for (const auto& other : others) {
    operation->addDependency(other);
    operation->addDependency(other);
  }
  EXPECT_EQ(operation->dependencies().size(), 4U);
  EXPECT_FALSE(operation->isReady());
  std::static_pointer_cast<OpenOperation>(others[1])->end();
  others[2]->cancel();
  others[2]->start();
  EXPECT_FALSE(operation->isReady());
  operation->removeDependency(*others[3]);
  operation->removeDependency(*others[3]);
  EXPECT_TRUE(operation->isReady());
  others[3]->start();
  std::vector<std::size_t> told;
  const auto observation =
      observe(*operation, "dependencies", NSKeyValueObservingOptionNone,
              [&](NSOperation& its, const NSKeyValueChange&) { told.push_back(its.dependencies().size()); });
  operation->start();
  EXPECT_THAT(operation->dependencies(), IsEmpty()) << "they are kept no longer than needed";
  operation->removeDependency(*others[0]);
  EXPECT_THAT(told, ElementsAre(0, 0));
}

TEST(NSOperation, bearsDependenciesThatThreadsAddAndRemoveAtOnce) {
  for (int round = 0; round < 200; ++round) {
    std::vector<std::shared_ptr<NSOperation>> ring;
    ring.reserve(3);
    for (int i = 0; i < 3; ++i) ring.push_back(std::make_shared<BlockOperation>());
    const auto operation = std::make_shared<BlockOperation>();
    std::atomic<int> refusals = 0;
    testing::onThreads(3, [&](int thread) {
      const auto& mine = ring[static_cast<std::size_t>(thread)];
      const auto& next = ring[static_cast<std::size_t>(thread + 1) % ring.size()];
      if (raisedBy([&] { mine->addDependency(next); }) != "nothing") ++refusals;
      for (int i = 0; i < 5; ++i) {
        if (thread == 0) operation->removeDependency(*ring[1]);
        if (thread == 1) operation->addDependency(ring[1]);
        if (thread == 2) operation->addDependency(ring[2]);
      }
    });
    EXPECT_EQ(refusals, 1) << "they would wait for each other";
    EXPECT_FALSE(operation->isReady());
    operation->removeDependency(*ring[1]);
    operation->removeDependency(*ring[2]);
    EXPECT_TRUE(operation->isReady());
  }
}

TEST(NSOperation, refusesCirclesAndBearsLongChains) {
  std::vector<std::shared_ptr<NSOperation>> chain = {std::make_shared<BlockOperation>()};
  for (int i = 0; i < 100'000; ++i) {
    auto next = std::make_shared<BlockOperation>();
    next->addDependency(chain.back());
    chain.push_back(std::move(next));
  }
  for (const auto& last : {chain.front(), chain.back()}) {
    EXPECT_THAT(raisedBy([&] { chain.front()->addDependency(last); }), ContainsRegex("which waits for it"));
  }
  EXPECT_THAT(raisedBy([&] { chain.front()->addDependency(nullptr); }), ContainsRegex("on nothing"));
  EXPECT_TRUE(chain.front()->isReady());
  const auto last = std::move(chain.back());
  chain.clear();
  EXPECT_FALSE(last->isReady());
}

TEST(NSOperation, letsThoseGoOnThatWaitAndLetsGoOfItsBlock) {
  const auto operation = std::make_shared<OpenOperation>();
  const std::weak_ptr<NSOperation> watch = operation;
  operation->setCompletionBlock([its = operation] { EXPECT_TRUE(its->isFinished()); });
  operation->start();
  std::latch arrived(3);
  std::vector<std::jthread> waiting;
  waiting.reserve(3);
  for (int i = 0; i < 3; ++i) {
    waiting.emplace_back([&] {
      arrived.count_down();
      operation->waitUntilFinished();
      EXPECT_TRUE(operation->isFinished());
    });
  }
  arrived.wait();
  operation->end();
  waiting.clear();
  operation->waitUntilFinished();
  EXPECT_EQ(watch.use_count(), 1) << "a block that names its operation does not keep it";
}

TEST(NSOperation, endsOnceWhateverAllThreadsDo) {
  for (int round = 0; round < 200; ++round) {
    std::atomic<int> ends = 0, cancellations = 0, completions = 0, runs = 0;
    const auto before = std::make_shared<BlockOperation>();
    const auto operation = std::make_shared<BlockOperation>([&] { ++runs; });
    operation->setCompletionBlock([&] { ++completions; });
    const auto observation = observe(*operation, "isFinished", NSKeyValueObservingOptionNone,
                                     [&](NSOperation&, const NSKeyValueChange&) { ++ends; });
    const auto cancellation = observe(*operation, "isCancelled", NSKeyValueObservingOptionNone,
                                      [&](NSOperation&, const NSKeyValueChange&) { ++cancellations; });
    operation->addDependency(before);
    testing::onThreads(5, [&](int thread) {
      if (thread == 0) before->start();
      if (thread == 1 || thread == 4) {
        operation->cancel();
        EXPECT_TRUE(operation->isCancelled());
      }
      if (thread == 2) operation->waitUntilFinished();
      if (thread == 3) {
        while (!operation->isReady()) std::this_thread::yield();
        operation->start();
      }
    });
    EXPECT_EQ(ends, 1);
    EXPECT_EQ(cancellations, 1);
    EXPECT_EQ(completions, 1);
    EXPECT_LE(runs, 1);
  }
}

}  // namespace
}  // namespace QVFoundation
