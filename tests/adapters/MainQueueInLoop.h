#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <numeric>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "QVFoundation/platform/concurrency/DispatchQueue.h"
#include "QVFoundation/platform/runtime/NSException.h"

namespace QVFoundation {

/// What every main loop does with the main queue. A `Loop` is one of them:
///
/// - `MainQueue`, and `attach()`, which makes one for it;
/// - `run()` until `quit()`, which what runs within it calls;
/// - `runWithin()` until `quitWithin()`, a loop within a block of the main queue;
/// - `afterwards(function)`, which has the loop itself call a function, once, in a moment.
template <class Loop>
class MainQueueInLoop : public testing::Test {
protected:
  Loop loop_;
  std::vector<int> ran_;

  static std::vector<int> upTo(int count) {
    std::vector<int> numbers(static_cast<std::size_t>(count));
    std::iota(numbers.begin(), numbers.end(), 0);
    return numbers;
  }
  void send(int number) {
    DispatchQueue::main()->async([this, number] { ran_.push_back(number); });
  }
  void sendQuit() {
    DispatchQueue::main()->async([this] { loop_.quit(); });
  }
};

TYPED_TEST_SUITE_P(MainQueueInLoop);

// Each test is a class, by its own name.
// NOLINTBEGIN(readability-identifier-naming)

TYPED_TEST_P(MainQueueInLoop, runsInOrderWhatOtherThreadsSend) {
  constexpr int count = 10000;
  const auto attached = this->loop_.attach();
  const std::jthread sender([this] {
    for (int number = 0; number < count; ++number) this->send(number);
    this->sendQuit();
  });
  this->loop_.run();
  EXPECT_EQ(this->ran_, this->upTo(count));
}

TYPED_TEST_P(MainQueueInLoop, runsNothingWhileTheLoopIsBlockedAndAllOfItAfterwards) {
  constexpr int count = 1000;
  const auto attached = this->loop_.attach();
  this->loop_.afterwards([this] {
    std::jthread([this] {
      for (int number = 0; number < count; ++number) this->send(number);
    }).join();
    EXPECT_TRUE(this->ran_.empty());
    this->sendQuit();
  });
  this->loop_.run();
  EXPECT_EQ(this->ran_, this->upTo(count));
}

TYPED_TEST_P(MainQueueInLoop, leavesTheLoopItsOwnWorkWhileBlocksSendThemselvesAgain) {
  const auto attached = this->loop_.attach();
  bool isOver = false;
  int rounds = 0;
  std::function<void()> again = [&] {
    ++rounds;
    if (!isOver) DispatchQueue::main()->async(again);
  };
  again();
  this->loop_.afterwards([&] {
    isOver = true;
    this->sendQuit();
  });
  this->loop_.run();
  EXPECT_GT(rounds, 1);
}

TYPED_TEST_P(MainQueueInLoop, belongsToTheMainThreadWhereverOtherLoopsRun) {
  const auto attached = this->loop_.attach();
  std::thread::id ranOn;
  const std::jthread second([&] {
    TypeParam own;
    EXPECT_THROW(static_cast<void>(own.attach()), NSException);
    own.afterwards([&] {
      DispatchQueue::main()->async([&] {
        ranOn = std::this_thread::get_id();
        this->loop_.quit();
      });
      own.quit();
    });
    own.run();
  });
  this->loop_.run();
  EXPECT_EQ(ranOn, std::this_thread::get_id());
}

TYPED_TEST_P(MainQueueInLoop, isServedByALoopWithinABlock) {
  const auto attached = this->loop_.attach();
  DispatchQueue::main()->async([this] {
    const std::jthread sender([this] {
      this->send(1);
      DispatchQueue::main()->async([this] { this->loop_.quitWithin(); });
    });
    this->loop_.runWithin();
    this->ran_.push_back(2);
  });
  this->send(0);  // waits in the same drain as the block that runs a loop
  this->sendQuit();
  this->loop_.run();
  EXPECT_THAT(this->ran_, testing::ElementsAre(0, 1, 2));
}

TYPED_TEST_P(MainQueueInLoop, keepsWhatNoLoopHasRunForTheNextOne) {
  auto attached = this->loop_.attach();
  this->sendQuit();
  this->loop_.run();
  this->send(0);

  attached.reset();
  this->send(1);
  this->loop_.afterwards([this] { this->loop_.quit(); });
  this->loop_.run();
  EXPECT_TRUE(this->ran_.empty()) << "nothing is attached";

  attached = this->loop_.attach();
  this->send(2);
  this->sendQuit();
  this->loop_.run();
  EXPECT_EQ(this->ran_, this->upTo(3));
}

// NOLINTEND(readability-identifier-naming)

REGISTER_TYPED_TEST_SUITE_P(MainQueueInLoop, runsInOrderWhatOtherThreadsSend,
                            runsNothingWhileTheLoopIsBlockedAndAllOfItAfterwards,
                            leavesTheLoopItsOwnWorkWhileBlocksSendThemselvesAgain,
                            belongsToTheMainThreadWhereverOtherLoopsRun, isServedByALoopWithinABlock,
                            keepsWhatNoLoopHasRunForTheNextOne);

}  // namespace QVFoundation
