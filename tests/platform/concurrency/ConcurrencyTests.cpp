#include <atomic>
#include <cerrno>
#include <csignal>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "QVFoundation/platform/concurrency/AtomicShared.h"
#include "QVFoundation/platform/concurrency/Mutex.h"
#include "QVFoundation/platform/concurrency/NSRecursiveLock.h"
#include "tests/platform/concurrency/OnThreads.h"

namespace QVFoundation {
namespace {

constexpr int rounds = 5'000;

/// Asks the slot that it was in when it is destroyed, which would wait for ever if the lock were held.
struct Counted {
  Counted(AtomicShared<Counted>& its, int count) : slot(its), value(count) { ++alive; }
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;
  ~Counted() { (void)slot.load(), --alive; }

  AtomicShared<Counted>& slot;
  const int value;
  static inline std::atomic<int> alive{0};
};

TEST(AtomicShared, losesNoChangeAndDestroysNothingUnderItsLock) {
  AtomicShared<Counted> slot;
  slot.store(std::make_shared<Counted>(slot, -1));
  slot.store(std::make_shared<Counted>(slot, 0));
  testing::onThreads(4, [&](int) {
    for (int i = 0; i < rounds; ++i) {
      auto current = slot.load();
      for (int seen = current->value; true; seen = current->value) {
        if (slot.compareExchange(current, std::make_shared<Counted>(slot, seen + 1))) break;
        EXPECT_GT(current->value, seen);
      }
    }
  });
  auto last = slot.exchange(nullptr);
  EXPECT_EQ(last->value, 4 * rounds);
  EXPECT_TRUE(slot.holds(nullptr) && last.use_count() == 1);
  EXPECT_FALSE(slot.compareExchange(last, nullptr));
  EXPECT_EQ(last, nullptr);
  EXPECT_EQ(Counted::alive, 0);
}

template <class Lock>
class Locks : public ::testing::Test {};
using AllLocks = ::testing::Types<UnfairLock, Mutex, NSRecursiveLock>;
TYPED_TEST_SUITE(Locks, AllLocks);

TYPED_TEST(Locks, letOneThreadInAtATimeWhetherItWaitsOrTries) {
  TypeParam lock;
  long long inside = 0, count = 0;
  testing::onThreads(5, [&](int thread) {
    for (int i = 0; i < 2 * rounds; ++i) {
      if (thread == 4) {
        while (!lock.try_lock()) std::this_thread::yield();
      } else {
        lock.lock();
      }
      EXPECT_EQ(++inside, 1);
      if (i % 16 == thread) std::this_thread::yield();  // longer than anybody spins
      ++count;
      --inside;
      lock.unlock();
    }
  });
  EXPECT_EQ(count, 10 * rounds);
}

/// Returns when the kernel has put a thread of this process to sleep.
void waitUntilAsleep(pid_t thread) {
  const std::string path = "/proc/self/task/" + std::to_string(thread) + "/stat";
  for (char state = 0; state != 'S'; std::this_thread::yield()) {
    std::string line;
    std::getline(std::ifstream(path), line);
    state = line.at(line.rfind(')') + 2);
  }
}

TEST(UnfairLock, wakesAllThatSleepAndKeepsTheirErrno) {
  struct sigaction interrupting{};
  interrupting.sa_handler = [](int) {};
  sigaction(SIGUSR1, &interrupting, nullptr);
  UnfairLock lock;
  std::vector<std::jthread> threads;
  lock.lock();
  for (int i = 0; i < 3; ++i) {
    std::atomic<pid_t> sleeper{0};
    threads.emplace_back([&lock, &sleeper] {
      errno = 1000;
      sleeper = gettid();
      const UnfairLockGuard guard(lock);
      EXPECT_EQ(errno, 1000);
    });
    while (sleeper == 0) std::this_thread::yield();
    waitUntilAsleep(sleeper);
    pthread_kill(threads.back().native_handle(), SIGUSR1);
  }
  errno = 2000;
  lock.unlock();
  EXPECT_EQ(errno, 2000);
}

}  // namespace
}  // namespace QVFoundation
