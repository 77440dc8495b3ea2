#include "QVFoundation/platform/application/NSProgress.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "QVFoundation/platform/runtime/NSKeyValueObserving.h"
#include "tests/platform/concurrency/OnThreads.h"

namespace QVFoundation {
namespace {

using testing::onThreads;

TEST(NSProgressThreadTest, losesNoUnitAndNoChild) {
  constexpr int threads = 4;
  constexpr int children = 300;
  constexpr int units = 20;
  const auto root = std::make_shared<NSProgress>(threads * children);
  std::atomic<bool> fractionFell = false;
  onThreads(threads + 1, [&](int thread) {
    if (thread == threads) {
      for (double last = 0; !root->isFinished();) {
        const double fraction = root->fractionCompleted();
        if (fraction < last) fractionFell = true;
        last = fraction;
      }
      return;
    }
    for (int i = 0; i < children; ++i) {
      const auto child = std::make_shared<NSProgress>(units);
      root->addChild(child, 1);
      for (int unit = 0; unit < units; ++unit) child->addCompletedUnitCount(1);
    }
  });
  EXPECT_EQ(root->completedUnitCount(), threads * children);
  EXPECT_TRUE(root->children().empty());
  EXPECT_FALSE(fractionFell);
}

TEST(NSProgressThreadTest, countsAChildOnceThatSeveralThreadsFinish) {
  for (int round = 0; round < 300; ++round) {
    const auto root = std::make_shared<NSProgress>(10);
    const auto child = std::make_shared<NSProgress>(4);
    root->addChild(child, 3);
    onThreads(3, [&](int thread) {
      if (thread == 0) root->endChild(*child);
      if (thread == 1) child->setCompletedUnitCount(4);
      if (thread == 2) child->setTotalUnitCount(-1), child->setTotalUnitCount(1);
    });
    EXPECT_EQ(root->completedUnitCount(), 3);
  }
}

TEST(NSProgressThreadTest, isSeenAsItIsByAnObserverWhoComesInBetween) {
  for (int round = 0; round < 300; ++round) {
    const auto root = std::make_shared<NSProgress>(2);
    const auto leaf = std::make_shared<NSProgress>(100);
    root->addChild(leaf, 1);
    double last = 0;
    NSKeyValueObservation observation;
    onThreads(2, [&](int thread) {
      if (thread == 1) {
        for (int i = 0; i < 50; ++i) leaf->addCompletedUnitCount(1);
        return;
      }
      observation =
          observe(*root, "fractionCompleted", NSKeyValueObservingOptionNew | NSKeyValueObservingOptionInitial,
                  [&](NSProgress& progress, const NSKeyValueChange&) {
                    std::atomic_ref(last).store(progress.fractionCompleted());
                  });
    });
    leaf->addCompletedUnitCount(1);
    EXPECT_DOUBLE_EQ(last, 51.0 / 200);
  }
}

TEST(NSProgressThreadTest, endsAsItWasLastToldInAllOfTheTree) {
  const auto root = std::make_shared<NSProgress>(1);
  for (int round = 0; round < 200; ++round) {
    const auto child = std::make_shared<NSProgress>(0);
    std::atomic<bool> runs = true;
    child->setPausingHandler([&] { runs = false; });
    child->setResumingHandler([&] { runs = true; });
    onThreads(3, [&](int thread) {
      if (thread == 0) root->pause();
      if (thread == 1) root->resume();
      if (thread == 2) root->addChild(child, 0);
    });
    // Whoever was last, handler, child and root agree.
    EXPECT_EQ(child->isPaused(), root->isPaused());
    EXPECT_EQ(runs, !child->isPaused());
    root->resume();
    root->endChild(*child);
  }
}

TEST(NSProgressThreadTest, isCancelledOnceWhoeverComesFirst) {
  for (int round = 0; round < 200; ++round) {
    const auto root = std::make_shared<NSProgress>(1);
    const auto child = std::make_shared<NSProgress>(1);
    std::atomic<int> calls = 0;
    onThreads(3, [&](int thread) {
      if (thread == 0) root->cancel();
      if (thread == 1) root->addChild(child, 1);
      if (thread == 2) child->setCancellationHandler([&] { ++calls; });
    });
    EXPECT_EQ(calls, 1);
  }
}

TEST(NSProgressThreadTest, goesWhileItsChildrenReport) {
  for (int round = 0; round < 300; ++round) {
    auto root = std::make_shared<NSProgress>(1);
    const auto middle = std::make_shared<NSProgress>(1);
    const auto leaf = std::make_shared<NSProgress>(2);
    root->addChild(middle, 1);
    middle->addChild(leaf, 1);
    auto observation = observe(*root, "fractionCompleted", [](NSProgress&, const NSKeyValueChange&) {});
    onThreads(2, [&](int thread) {
      if (thread == 0) return root.reset();
      leaf->addCompletedUnitCount(1);
      leaf->addCompletedUnitCount(1);
    });
    EXPECT_TRUE(middle->isFinished());
  }
}

}  // namespace
}  // namespace QVFoundation
