#include "QVFoundation/platform/concurrency/Task.h"

#include <atomic>
#include <cstddef>

#include <gtest/gtest.h>

#include "QVFoundation/platform/concurrency/TaskHandle.h"
#include "tests/platform/runtime/SmallStack.h"

// Sanitizers allocate in a way of their own, and the library keeps no frames for them.
#ifndef QV_SANITIZED

namespace {
std::atomic<int> memoryRequests = 0;
}  // namespace

extern "C" void* __libc_malloc(std::size_t size) noexcept;  // NOLINT(bugprone-reserved-identifier)
extern "C" void* malloc(std::size_t size) noexcept {
  memoryRequests.fetch_add(1, std::memory_order_relaxed);
  return __libc_malloc(size);
}

namespace QVFoundation {
namespace {

Task<int> sumOfTwo() {
  const auto one = []() -> Task<int> { co_return 1; };
  const int sum = co_await one();
  co_return sum + co_await one();
}

TEST(TaskAllocations, areOneForATaskAndNoneForWhatItAwaits) {
  static constexpr int count = 2'000, start = 200;
  const auto requestsOf = [](auto body) {
    const auto run = [](auto its) -> Task<int> {
      int before = 0;
      for (int i = 0; i < start + count; ++i) {
        if (i == start) before = memoryRequests;
        const int sum = co_await its();
        EXPECT_EQ(sum, 2);
      }
      co_return memoryRequests - before;
    };
    return run(body).wait();
  };
  EXPECT_LE(requestsOf(sumOfTwo), count / 100);
  EXPECT_LE(requestsOf([] { return sumOfTwo(); }), count / 100);
  EXPECT_LE(requestsOf([] { return startTask(sumOfTwo); }), count + count / 100);
}

}  // namespace
}  // namespace QVFoundation

#endif
