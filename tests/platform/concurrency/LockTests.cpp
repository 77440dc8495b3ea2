#include <array>
#include <atomic>
#include <cerrno>
#include <fstream>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

#include "QVFoundation/platform/concurrency/Mutex.h"
#include "QVFoundation/platform/concurrency/UnfairLock.h"
#include "gtest/gtest.h"
#include "tests/platform/concurrency/OnThreads.h"

namespace QVFoundation {
namespace {

template <class Lock>
class Locks : public ::testing::Test {};
using AllLocks = ::testing::Types<UnfairLock, Mutex>;
TYPED_TEST_SUITE(Locks, AllLocks);

TYPED_TEST(Locks, oneThreadIsInsideAtATime) {
  constexpr int rounds = 10'000;
  TypeParam lock;
  long long inside = 0;
  long long count = 0;
  testing::onThreads(4, [&](int thread) {
    for (int i = 0; i < rounds; ++i) {
      lock.lock();
      EXPECT_EQ(++inside, 1);
      if (i % 16 == thread) std::this_thread::yield();  // longer than anybody spins
      ++count;
      --inside;
      lock.unlock();
    }
  });
  EXPECT_EQ(count, 4 * rounds);
}

TYPED_TEST(Locks, tryLockTakesOnlyWhatIsFree) {
  TypeParam lock;
  const auto tryIt = [&lock] {
    const bool taken = lock.try_lock();
    if (taken) lock.unlock();
    return taken;
  };
  EXPECT_TRUE(tryIt());
  lock.lock();
  std::jthread([&] { EXPECT_FALSE(tryIt()); }).join();
  lock.unlock();
  EXPECT_TRUE(tryIt());
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
  constexpr int sleepers = 3;
  UnfairLock lock;
  std::array<std::atomic<pid_t>, sleepers> waiters{};
  std::vector<std::jthread> threads;
  std::atomic<int> through{0};
  lock.lock();
  for (int i = 0; i < sleepers; ++i) {
    auto& waiter = waiters.at(static_cast<std::size_t>(i));
    threads.emplace_back([&, i] {
      errno = 1000 + i;
      waiter = gettid();
      waiter.notify_one();
      const UnfairLockGuard guard(lock);
      EXPECT_EQ(errno, 1000 + i);
      ++through;
    });
    waiter.wait(0);
    waitUntilAsleep(waiter);
  }
  EXPECT_EQ(through, 0);
  errno = 2000;
  lock.unlock();
  EXPECT_EQ(errno, 2000);
  threads.clear();
  EXPECT_EQ(through, sleepers);
}

}  // namespace
}  // namespace QVFoundation
