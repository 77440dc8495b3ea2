#include "QVFoundation/platform/concurrency/NSCondition.h"

#include <atomic>
#include <csignal>
#include <functional>
#include <pthread.h>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "QVFoundation/platform/concurrency/NSConditionLock.h"
#include "tests/platform/concurrency/OnThreads.h"
#include "tests/platform/runtime/RaisedException.h"

namespace QVFoundation {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using testing::raisedBy;
using ::testing::StartsWith;

TEST(NSCondition, wakesThoseThatWaitOneByOneInTheirOrder) {
  NSCondition condition;
  std::vector<int> woken;
  int waiting = 0;
  std::vector<std::jthread> threads;
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([&, i] {
      const NSConditionGuard guard(condition);
      ++waiting;
      if (i == 1) {
        EXPECT_TRUE(condition.waitFor(1h));
      } else {
        condition.wait();
      }
      woken.push_back(i);
      if (i < 2) condition.signal();
    });
    for (bool waits = false; !waits; std::this_thread::yield()) {
      const NSConditionGuard guard(condition);
      waits = waiting == i + 1;
    }
  }
  condition.signal();
  threads.clear();
  EXPECT_THAT(woken, ElementsAre(0, 1, 2));
}

TEST(NSCondition, endsAWaitForASignalOrItsTimeAndForNothingElse) {
  struct sigaction interrupting{};
  interrupting.sa_handler = [](int) {};
  sigaction(SIGUSR1, &interrupting, nullptr);
  NSCondition condition;
  condition.signal();  // nobody waits: lost
  {
    const NSConditionGuard guard(condition);
    EXPECT_FALSE(condition.waitFor(1ms));
    EXPECT_FALSE(condition.waitFor(-1h));
    EXPECT_FALSE(condition.waitFor(1ms, [] { return false; }));
    EXPECT_TRUE(condition.waitFor(-1h, [] { return true; }));
    EXPECT_FALSE(condition.waitUntilDate(NSDate::min()));
    EXPECT_FALSE(condition.waitUntilDate(std::chrono::system_clock::now() + 1ms));
  }
  std::atomic<bool> isSignalled = false, isWaiting = false;
  std::jthread waiter([&] {
    const NSConditionGuard guard(condition);
    isWaiting = true;
    EXPECT_TRUE(condition.waitUntilDate(NSDate::max()));
    EXPECT_TRUE(isSignalled);
  });
  while (!isWaiting) std::this_thread::yield();
  for (int i = 0; i < 50; ++i) {
    pthread_kill(waiter.native_handle(), SIGUSR1);
    std::this_thread::yield();
  }
  const NSConditionGuard guard(condition);
  isSignalled = true;
  condition.signal();
}

// A signal that comes just as a wait runs out belongs to that wait or to another one, and is never lost.
TEST(NSCondition, losesNoSignalToAWaitThatRunsOut) {
  NSCondition condition;
  int tokens = 0, taken = 0;
  constexpr int all = 2'000;
  testing::onThreads(4, [&](int thread) {
    if (thread == 0) {
      for (int i = 0; i < all; ++i) {
        const NSConditionGuard guard(condition);
        ++tokens;
        condition.signal();
      }
      return;
    }
    for (;;) {
      const NSConditionGuard guard(condition);
      const auto mayGoOn = [&] { return tokens > 0 || taken == all; };
      if (thread == 1) {
        condition.wait(mayGoOn);
      } else {
        while (!condition.waitFor(1us, mayGoOn)) {
        }
      }
      if (taken < all) {
        --tokens;
        ++taken;
      }
      if (taken == all) return condition.broadcast();
    }
  });
  EXPECT_EQ(taken, all);
}

TEST(NSConditionLock, handsOverBetweenThreads) {
  constexpr int empty = 1, full = 2, times = 2'000;
  NSConditionLock lock(empty);
  int content = 0;
  testing::onThreads(2, [&](int thread) {
    for (int i = 1; i <= times; ++i) {
      lock.lockWhenCondition(thread == 0 ? empty : full);
      if (thread == 0) {
        content = i;
      } else {
        EXPECT_EQ(content, i);
      }
      lock.unlockWithCondition(thread == 0 ? full : empty);
    }
  });
  EXPECT_EQ(lock.condition(), empty);
  EXPECT_TRUE(lock.try_lock());
  EXPECT_FALSE(lock.try_lock());
  EXPECT_FALSE(lock.lockWhenCondition(empty, std::chrono::system_clock::now() + 1ms));
  lock.unlock();
  EXPECT_FALSE(lock.lockWhenCondition(full, std::chrono::system_clock::now() + 1ms));
  EXPECT_TRUE(lock.lockWhenCondition(empty, NSDate::max()));
}

TEST(NSConditionLock, givesUpWhenItsQuestionIsAnsweredWithYes) {
  NSConditionLock lock(2);
  std::atomic<bool> isOver = false;
  std::atomic<int> asked = 0;
  std::jthread waiter([&] {
    EXPECT_FALSE(lock.lockWhenCondition(1, [&] {
      lock.lock();  // and `wake` from inside is no less heard of
      lock.unlock();
      if (++asked == 2) lock.wake();
      return isOver.load();
    }));
  });
  while (asked < 3) std::this_thread::yield();
  isOver = true;
  lock.wake();
  waiter.join();
  EXPECT_THAT(raisedBy([&] { (void)lock.lockWhenCondition(1, std::function<bool()>()); }),
              StartsWith("NSInvalidArgumentException"));
  EXPECT_TRUE(lock.lockWhenCondition(2, [] { return true; })) << "it need not wait";
}

}  // namespace
}  // namespace QVFoundation
