#include "QVFoundation/platform/concurrency/Task.h"

#include <vector>

#include <gtest/gtest.h>

#include "QVFoundation/platform/concurrency/TaskHandle.h"
#include "tests/platform/runtime/MemoryRequests.h"

// Sanitizers allocate in a way of their own, and the library keeps no frames for them.
#ifndef QV_SANITIZED

namespace QVFoundation {
namespace {

using testing::memoryRequests;

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

TEST(TaskAllocations, areGivenBackWhereThereWereMany) {
  static constexpr int many = 1'000, kept = 64;
  const auto make = [] {
    std::vector<Task<int>> tasks;
    tasks.reserve(many);
    for (int i = 0; i < many; ++i) tasks.push_back(sumOfTwo());
  };
  make();
  for (int round = 0; round < 3; ++round) {
    const int before = memoryRequests;
    make();
    EXPECT_GE(memoryRequests - before, many - kept);
  }
}

}  // namespace
}  // namespace QVFoundation

#endif
