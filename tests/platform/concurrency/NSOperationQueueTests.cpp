#include "QVFoundation/platform/concurrency/NSOperationQueue.h"

#include <algorithm>
#include <atomic>
#include <future>
#include <latch>
#include <memory>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "QVFoundation/platform/concurrency/DispatchQueue.h"
#include "QVFoundation/platform/concurrency/MainQueue.h"
#include "QVFoundation/platform/concurrency/NSBlockOperation.h"
#include "QVFoundation/platform/concurrency/NSConditionLock.h"
#include "QVFoundation/platform/runtime/NSKeyValueObserving.h"
#include "tests/platform/concurrency/OnThreads.h"
#include "tests/platform/concurrency/Operations.h"
#include "tests/platform/runtime/RaisedException.h"

namespace QVFoundation {
namespace {

using testing::BlockOperation;
using ::testing::ContainsRegex;
using ::testing::ElementsAre;
using testing::OpenOperation;
using testing::raisedBy;
using Priority = NSOperationQueuePriority;

/// Keeps all threads of the pool busy until it goes.
class BusyThreads {
public:
  BusyThreads() {
    for (unsigned i = 0; i < std::max(2U, std::thread::hardware_concurrency()); ++i) {
      ++state_->missing;
      DispatchQueue::global(QualityOfService::userInteractive)->async([state = state_] {
        --state->missing;
        while (!state->mayEnd) std::this_thread::yield();
      });
    }
    while (state_->missing > 0) std::this_thread::yield();
  }
  BusyThreads(const BusyThreads&) = delete;
  BusyThreads& operator=(const BusyThreads&) = delete;
  ~BusyThreads() { state_->mayEnd = true; }

private:
  struct State {
    std::atomic<int> missing = 0;
    std::atomic<bool> mayEnd = false;
  };
  const std::shared_ptr<State> state_ = std::make_shared<State>();
};

struct OperationQueue : ::testing::Test {
  std::shared_ptr<NSOperationQueue> queue = std::make_shared<NSOperationQueue>();
  UnfairLock lock;
  std::string order;

  std::shared_ptr<NSOperation> writing(char letter, Priority priority = Priority::normal) {
    auto operation = std::make_shared<BlockOperation>([this, letter] {
      const UnfairLockGuard guard(lock);
      order += letter;
    });
    operation->setQueuePriority(priority);
    return operation;
  }
};

TEST_F(OperationQueue, startsTheMoreUrgentFirstAndNoMoreThanItMay) {
  queue->setMaxConcurrentOperationCount(1);
  queue->setSuspended(true);
  queue->addOperations({writing('d', Priority::low), writing('c'), writing('e', Priority::veryLow),
                        writing('a', Priority::veryHigh), writing('b', Priority::high), writing('C')});
  EXPECT_EQ(queue->operationCount(), 6U);
  EXPECT_EQ(order, "");
  queue->setSuspended(false);
  queue->waitUntilAllOperationsAreFinished();
  EXPECT_EQ(order, "abcCde");
  EXPECT_EQ(queue->operationCount(), 0U);

  queue->setMaxConcurrentOperationCount(3);
  std::atomic<int> running = 0, most = 0;
  for (int i = 0; i < 50; ++i) {
    queue->addOperationWithBlock([&] {
      for (int now = ++running, seen = most; now > seen && !most.compare_exchange_weak(seen, now);) {
      }
      std::this_thread::yield();
      --running;
    });
  }
  queue->waitUntilAllOperationsAreFinished();
  EXPECT_LE(most, 3);
}

TEST_F(OperationQueue, choosesWhatToStartWhenAThreadIsFree) {
  std::optional<BusyThreads> busy(std::in_place);
  for (int i = 0; i < 100; ++i) queue->addOperation(writing('x'));
  queue->setSuspended(true);
  busy.reset();
  std::promise<void> others;
  DispatchQueue::global()->async([&] { others.set_value(); });
  others.get_future().wait();
  EXPECT_EQ(std::exchange(order, ""), "") << "it is suspended";
  queue->setSuspended(false);
  queue->waitUntilAllOperationsAreFinished();
  EXPECT_EQ(std::exchange(order, ""), std::string(100, 'x'));

  busy.emplace();
  const auto first = writing('a'), last = writing('c');
  queue->addOperations({last, writing('b'), first});
  first->setQueuePriority(Priority::high);
  last->setQueuePriority(Priority::veryLow);
  queue->setMaxConcurrentOperationCount(1);
  busy.reset();
  queue->waitUntilAllOperationsAreFinished();
  EXPECT_EQ(order, "abc");
}

TEST_F(OperationQueue, letsUrgentOperationsPassWorkOfOthers) {
  std::optional<BusyThreads> busy(std::in_place);
  queue->setQualityOfService(QualityOfService::background);
  for (int i = 0; i < 20; ++i) queue->addOperation(writing('x'));
  std::latch others(200);
  for (int i = 0; i < 200; ++i) DispatchQueue::global()->async([&] { others.count_down(); });
  const auto urgent =
      std::make_shared<BlockOperation>([&] { EXPECT_FALSE(others.try_wait()) << "they came first"; });
  urgent->setQualityOfService(QualityOfService::userInitiated);
  queue->addOperation(urgent);
  busy.reset();
  queue->waitUntilAllOperationsAreFinished();
  others.wait();
}

TEST_F(OperationQueue, startsOthersWhileOperationsWaitInTheirBodies) {
  constexpr int waiting = 64;
  NSConditionLock gate(0);
  for (int i = 0; i < waiting; ++i) {
    queue->addOperationWithBlock([&] {
      gate.lockWhenCondition(1);
      gate.unlock();
    });
  }
  queue->addOperationWithBlock([&] {
    gate.lock();
    gate.unlockWithCondition(1);
  });
  queue->waitUntilAllOperationsAreFinished();
}

TEST_F(OperationQueue, waitsForWhatAnOperationDependsOnAlsoOnOtherQueues) {
  const auto other = std::make_shared<NSOperationQueue>();
  const auto first = writing('1'), second = writing('2'), third = writing('3');
  third->addDependency(second);
  second->addDependency(first);
  queue->addOperation(third);
  other->addOperation(second);
  EXPECT_FALSE(third->isReady());
  queue->addOperations({first}, NSOperationQueue::WaitUntilFinished::yes);
  third->waitUntilFinished();
  EXPECT_EQ(order, "123");
}

TEST_F(OperationQueue, keepsAnAsynchronousOperationUntilItSaysThatItHasFinished) {
  queue->setMaxConcurrentOperationCount(1);
  const auto open = std::make_shared<OpenOperation>();
  const auto after = writing('x');
  queue->addOperations({open, after});
  while (!open->isExecuting()) std::this_thread::yield();
  EXPECT_THAT(queue->operations(), ElementsAre(open, after));
  EXPECT_EQ(order, "");
  open->end();
  queue->waitUntilAllOperationsAreFinished();
  EXPECT_EQ(order, "x");
}

TEST_F(OperationQueue, finishesCancelledOperationsWithoutRunningThem) {
  queue->setSuspended(true);
  const auto waiting = std::make_shared<OpenOperation>();  // never starts
  const auto dependent = writing('x'), ready = writing('y');
  dependent->addDependency(waiting);
  queue->addOperations({dependent, ready});
  queue->addBarrierBlock([this] { order += '|'; });
  queue->cancelAllOperations();
  queue->setSuspended(false);
  queue->waitUntilAllOperationsAreFinished();
  EXPECT_EQ(order, "");
  EXPECT_TRUE(dependent->isFinished() && ready->isFinished());
}

TEST_F(OperationQueue, hasABarrierWaitForAllBeforeAndAllAfterWaitForIt) {
  queue->addBarrierBlock([this] { order += '|'; });
  for (int round = 0; round < 3; ++round) {
    for (int i = 0; i < 5; ++i)
      queue->addOperation(writing('x', i % 2 == 0 ? Priority::veryHigh : Priority::low));
    queue->addBarrierBlock([this] { order += '|'; });
  }
  queue->addBarrierBlock([this] { order += '|'; });
  queue->waitUntilAllOperationsAreFinished();
  EXPECT_EQ(order, "|xxxxx|xxxxx|xxxxx||");
}

TEST_F(OperationQueue, takesBackWhatComesToDependOnSomethingBeforeItStarts) {
  queue->setSuspended(true);
  const auto late = writing('b'), before = writing('a');
  queue->addOperation(late);  // ready, and waits for nothing but the queue
  late->addDependency(before);
  queue->setSuspended(false);
  queue->addOperation(before);
  queue->waitUntilAllOperationsAreFinished();
  EXPECT_EQ(order, "ab");
}

TEST_F(OperationQueue, refusesWhatItCannotStart) {
  queue->setMaxConcurrentOperationCount(1);
  const auto operation = writing('x');
  queue->setSuspended(true);
  queue->addOperation(operation);
  for (const auto& again : {queue, std::make_shared<NSOperationQueue>()}) {
    EXPECT_THAT(raisedBy([&] { again->addOperation(operation); }),
                ContainsRegex("NSInvalidArg.*on a queue already"));
  }
  EXPECT_THAT(raisedBy([&] { queue->addOperation(nullptr); }), ContainsRegex("no operation"));
  EXPECT_THAT(raisedBy([&] { queue->addOperationWithBlock({}); }), ContainsRegex("NSInvalidArg.*empty"));
  EXPECT_THAT(raisedBy([&] { queue->addBarrierBlock({}); }), ContainsRegex("NSInvalidArg.*empty"));
  operation->start();  // by hand, while it waits
  EXPECT_EQ(queue->operationCount(), 0U);
  EXPECT_THAT(raisedBy([&] { queue->addOperation(operation); }), ContainsRegex("has been started"));
  queue->addOperation(writing('y'));
  queue->setSuspended(false);
  queue->waitUntilAllOperationsAreFinished();
  EXPECT_EQ(order, "xy") << "what was started by hand takes no place";
}

TEST_F(OperationQueue, letsGoOfOperationsAndFinishesThemWhenNobodyHoldsIt) {
  std::vector<std::size_t> counts;
  std::latch told(2);  // observers may hear of the end after those who wait for it have gone on
  auto observation = observe(*queue, "operationCount", NSKeyValueObservingOptionNew,
                             [&](NSOperationQueue&, const NSKeyValueChange& change) {
                               counts.push_back(*change.newValue().as<std::size_t>());
                               told.count_down();
                             });
  auto held = std::make_shared<int>();
  auto operation = std::make_shared<NSBlockOperation>([held] { EXPECT_EQ(*held, 0); });
  const std::weak_ptr<NSOperation> watch = operation;
  queue->addOperation(operation);
  queue->waitUntilAllOperationsAreFinished();
  told.wait();
  observation.invalidate();
  EXPECT_THAT(counts, ElementsAre(1, 0));
  EXPECT_EQ(held.use_count(), 1);
  operation.reset();
  while (!watch.expired()) std::this_thread::yield();

  std::latch mayEnd(1), ended(2);
  for (int i = 0; i < 2; ++i) {
    queue->addOperationWithBlock([&] {
      mayEnd.wait();
      ended.count_down();
    });
  }
  queue->setSuspended(true);
  std::latch last(1);
  queue->addOperationWithBlock([&] { last.count_down(); });
  queue.reset();
  last.wait();
  mayEnd.count_down();
  ended.wait();
}

TEST_F(OperationQueue, startsFirstWhatHasHadItsPriorityLonger) {
  const auto& main = NSOperationQueue::mainQueue();
  const auto first = writing('a');
  for (const auto& operation : {writing('x'), first, writing('b', Priority::high)})
    main->addOperation(operation);
  first->setQueuePriority(Priority::high);
  while (order.size() < 3) drainMainQueue();
  EXPECT_EQ(order, "bax");
}

TEST_F(OperationQueue, mainRunsOnTheMainThread) {
  bool isOnMainThread = false;
  NSOperationQueue::mainQueue()->addOperationWithBlock([&] { isOnMainThread = isMainThread(); });
  EXPECT_FALSE(isOnMainThread);
  drainMainQueue();
  EXPECT_TRUE(isOnMainThread);
}

TEST_F(OperationQueue, forgetsNothingThatIsBroughtWhileItRunsEmpty) {
  std::vector<std::shared_ptr<NSOperation>> contested(1000);
  std::ranges::generate(contested, [] { return std::make_shared<BlockOperation>(); });
  testing::onThreads(4, [&](int thread) {
    for (const auto& operation : contested) {
      if (thread == 0) {
        (void)raisedBy([&] { operation->start(); });  // the queue may have been faster
      } else if (thread == 1) {
        (void)raisedBy([&] { queue->addOperation(operation); });
      } else {
        const auto own = std::make_shared<BlockOperation>();
        queue->addOperation(own);
        own->waitUntilFinished();
      }
    }
  });
  for (const auto& operation : contested) operation->waitUntilFinished();
  queue->waitUntilAllOperationsAreFinished();
  EXPECT_EQ(queue->operationCount(), 0U);
  for (auto& operation : contested) {
    const std::weak_ptr<NSOperation> watch = std::exchange(operation, nullptr);
    while (!watch.expired()) std::this_thread::yield();
  }
}

TEST_F(OperationQueue, mayBeLetGoOfByWhoWaitsWhileAnOperationEndsElsewhere) {
  for (int round = 0; round < 300; ++round) {
    auto its = std::make_shared<NSOperationQueue>();
    its->setMaxConcurrentOperationCount(1);
    const auto open = std::make_shared<OpenOperation>();
    its->addOperation(open);
    while (!open->isExecuting()) std::this_thread::yield();
    its->addOperationWithBlock([] {});
    std::thread ending([&] { open->end(); });
    its->waitUntilAllOperationsAreFinished();
    its.reset();
    ending.join();
  }
}

TEST_F(OperationQueue, startsTheNextWhateverWaitsForIt) {
  queue->setMaxConcurrentOperationCount(1);
  std::atomic<bool> waits = false, waited = false;  // an observer of the queue
  std::promise<void> secondRan;
  const auto second = secondRan.get_future().share();
  const auto observation = observe(*queue, "operationCount", [&](NSOperationQueue&, const NSKeyValueChange&) {
    if (waits.exchange(false)) second.wait(), waited = true;
  });
  queue->setSuspended(true);  // what is added does not start before observers have heard of it
  queue->addOperationWithBlock([&] { waits = true; });
  queue->addOperationWithBlock([&] { secondRan.set_value(); });
  queue->setSuspended(false);
  queue->waitUntilAllOperationsAreFinished();
  while (!waited) std::this_thread::yield();

  std::promise<void> fourthRan;
  const auto fourth = fourthRan.get_future().share();
  std::atomic<bool> hasGone = false;
  std::shared_ptr<void> whenThirdGoes(nullptr, [&](void*) {
    fourth.wait();
    hasGone = true;
  });
  auto unlimited = std::make_shared<NSOperationQueue>();
  unlimited->setSuspended(true);
  unlimited->addOperationWithBlock([kept = std::move(whenThirdGoes)] {});
  unlimited->addOperationWithBlock([&] { fourthRan.set_value(); });
  unlimited->setSuspended(false);
  unlimited->waitUntilAllOperationsAreFinished();
  while (!hasGone) std::this_thread::yield();
}

TEST_F(OperationQueue, leavesAnOperationAloneThatObserversKeepFromIt) {
  struct Throwing : NSOperationQueue {
    Value valueForKey(std::string_view key) const override {
      if (throws) throw std::runtime_error("no");
      return NSOperationQueue::valueForKey(key);
    }
    bool throws = false;
  };
  auto throwing = std::make_shared<Throwing>();
  auto observation = observe(*throwing, "operations", NSKeyValueObservingOptionOld,
                             [](Throwing&, const NSKeyValueChange&) {});
  const auto operation = writing('x');
  throwing->throws = true;
  EXPECT_THROW(throwing->addOperation(operation), std::runtime_error);
  throwing->throws = false;
  EXPECT_EQ(throwing->operationCount(), 0U);
  throwing.reset();
  operation->setQueuePriority(Priority::high);
  queue->addOperation(operation);
  queue->waitUntilAllOperationsAreFinished();
  EXPECT_EQ(order, "x");
}

TEST_F(OperationQueue, finishesAllWhateverAllThreadsDo) {
  std::atomic<int> completions = 0;
  constexpr int each = 300;
  testing::onThreads(4, [&](int thread) {
    std::mt19937 random(static_cast<unsigned>(thread));
    std::vector<std::shared_ptr<NSOperation>> mine;
    for (int i = 0; i < each; ++i) {
      auto operation = std::make_shared<BlockOperation>();
      operation->setCompletionBlock([&] { ++completions; });
      operation->setQueuePriority(random() % 2 == 0 ? Priority::high : Priority::normal);
      if (!mine.empty() && random() % 2 == 0) operation->addDependency(mine[random() % mine.size()]);
      queue->addOperation(operation);
      mine.push_back(operation);
      if (random() % 4 == 0) mine[random() % mine.size()]->cancel();
      if (random() % 4 == 0) mine[random() % mine.size()]->setQueuePriority(Priority::veryHigh);
      if (random() % 16 == 0) queue->setMaxConcurrentOperationCount(static_cast<int>(random() % 4) - 1);
      if (random() % 16 == 0) queue->setSuspended(random() % 2 == 0);
      if (random() % 32 == 0) queue->addBarrierBlock([] {});
    }
  });
  queue->setMaxConcurrentOperationCount(NSOperationQueue::defaultMaxConcurrentOperationCount);
  queue->setSuspended(false);
  queue->waitUntilAllOperationsAreFinished();
  while (completions < 4 * each) std::this_thread::yield();
  EXPECT_EQ(completions, 4 * each);
}

}  // namespace
}  // namespace QVFoundation
