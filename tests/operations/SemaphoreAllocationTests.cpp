#include <gtest/gtest.h>

#include "QVFoundation/operations/QVAsyncSemaphore.h"
#include "QVFoundation/platform/concurrency/Task.h"
#include "QVFoundation/platform/concurrency/TaskHandle.h"
#include "tests/platform/runtime/MemoryRequests.h"

// Sanitizers allocate in a way of their own.
#ifndef QV_SANITIZED

namespace QVFoundation {
namespace {

using testing::memoryRequests;

constexpr int countedRounds = 2'000, firstRounds = 200;

/// Waits for one, signals the other, and tells how often memory was asked for meanwhile.
Task<int> waitAndSignal(QVAsyncSemaphore& mine, QVAsyncSemaphore& other) {
  int before = 0;
  for (int round = 0; round < firstRounds + countedRounds; ++round) {
    if (round == firstRounds) before = memoryRequests;
    co_await mine.waitUnlessCancelled();
    other.signal();
  }
  co_return memoryRequests - before;
}

TEST(SemaphoreAllocations, areNoneForAWaitAndItsEnd) {
  QVAsyncSemaphore free(1);
  EXPECT_LE(waitAndSignal(free, free).wait(), countedRounds / 100);
  QVAsyncSemaphore ping(1), pong(0);  // each wait sleeps
  const auto partner = startTask([&] { return waitAndSignal(pong, ping); });
  EXPECT_LE(waitAndSignal(ping, pong).wait(), countedRounds / 100);
  EXPECT_LE(partner.wait(), countedRounds / 100);
}

}  // namespace
}  // namespace QVFoundation

#endif
