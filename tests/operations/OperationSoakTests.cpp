#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <malloc.h>
#include <memory>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "QVFoundation/errors/QVErrorConstructors.h"
#include "QVFoundation/operations/QVOperation.h"
#include "QVFoundation/platform/concurrency/MainQueue.h"
#include "QVFoundation/platform/concurrency/NSOperationQueue.h"
#include "tests/operations/TestOperations.h"
#include "tests/platform/concurrency/OnThreads.h"

namespace QVFoundation {
namespace {

using namespace std::chrono_literals;
using testing::BodyOperation;

std::atomic<int> operationsAlive = 0;

/// Does a little of everything that an operation can do, by lot; so do its parts.
class RestlessOperation : public BodyOperation<int> {
public:
  RestlessOperation(unsigned seed, int depth)
      : BodyOperation([this](BodyOperation<int>&) { return run(); }), random_(seed), depth_(depth) {
    ++operationsAlive;
    setCompletionBlock([this] { ++timesEnded; });
  }
  RestlessOperation(const RestlessOperation&) = delete;
  RestlessOperation& operator=(const RestlessOperation&) = delete;
  ~RestlessOperation() override {
    EXPECT_EQ(timesEnded, isFinished() ? 1 : 0);
    --operationsAlive;
  }

  void calculateSegmentCosts() override {
    setCost(3, "first");
    setCost(7, "second");
  }

  std::atomic<int> timesEnded = 0;

private:
  int run() {
    if (lot(4) == 0) {
      addTimeout(std::chrono::microseconds(lot(2000)), [weak = std::weak_ptr(weak_from_this())] {
        if (const auto self = std::static_pointer_cast<QVOperation>(weak.lock())) self->cancel();
      });
    }
    int result = performSegment("first", 5, [&](NSProgress& progress) {
      for (int i = 0; i < 5; ++i) {
        checkForCancellationAndReturnError();
        progress.addCompletedUnitCount(1);
      }
      return 1;
    });
    if (lot(5) == 0) waitForSignal();
    if (depth_ > 0 && lot(2) == 0) {
      result += performSubOperation(std::make_shared<RestlessOperation>(random_(), depth_ - 1), "second");
    }
    if (lot(6) == 0) throw NSError(errorWithDescription("by lot"));
    cancelTimeout();
    return result;
  }

  void waitForSignal() {
    performBlock("signal", [&] {
      std::atomic<bool> isSent = false;
      const std::jthread other([&] {
        isSent = true;
        signal("signal");
      });
      wait("signal", [&] { return isSent.load(); });
    });
  }

  int lot(int bound) { return static_cast<int>(random_() % static_cast<unsigned>(bound)); }

  std::minstd_rand random_;
  const int depth_;
};

/// Whatever has been paused of it goes on.
void letGoOn(const std::shared_ptr<RestlessOperation>& operation) {
  if (operation == nullptr) return;
  operation->progress()->resume();
  operation->resume();
}

/// What four threads do to operations, each by lots of its own, and what comes of it.
class Treatment {
public:
  Treatment() { queue_->setMaxConcurrentOperationCount(16); }

  void runOnThread(unsigned seed) {
    std::minstd_rand random(seed);
    std::array<std::shared_ptr<RestlessOperation>, 8> held;
    for (int i = 0; i < operationsPerThread; ++i) {
      auto& operation = held[random() % held.size()];
      letGoOn(operation);
      operation = newOperation(static_cast<unsigned>(random()));
      if (random() % 8 == 0) operation->cancel();
      if (random() % 16 == 0) continue;  // never runs
      queue_->addOperation(operation);
      ++added_;
      if (const auto& other = held[random() % held.size()])
        disturb(*other, static_cast<unsigned>(random() % 5));
    }
    for (const auto& operation : held) letGoOn(operation);
  }

  void awaitQueue() const { queue_->waitUntilAllOperationsAreFinished(); }
  [[nodiscard]] bool hasEndedAll() const { return ended_ == added_; }

private:
  static constexpr int operationsPerThread = 5000;

  std::shared_ptr<RestlessOperation> newOperation(unsigned seed) {
    auto operation = std::make_shared<RestlessOperation>(seed, 2);
    operation->setCompletionBlock([this, its = std::weak_ptr(operation)] {
      ++its.lock()->timesEnded;
      ++ended_;
    });
    return operation;
  }

  static void disturb(RestlessOperation& operation, unsigned how) {
    switch (how) {
      case 0: return operation.cancel();
      case 1: return operation.pause();
      case 2: return operation.progress()->pause();
      case 3: return operation.progress()->resume();
      default: return operation.resume();
    }
  }

  const std::shared_ptr<NSOperationQueue> queue_ = std::make_shared<NSOperationQueue>();
  std::atomic<int> added_ = 0, ended_ = 0;
};

/// Nothing where a sanitizer has the heap; then it looks for leaks itself.
std::size_t bytesInUse() { return ::mallinfo2().uordblks; }

void treat() {
  Treatment treatment;
  std::atomic<bool> isOver = false;
  const std::jthread treating([&] {
    testing::onThreads(4, [&](int thread) { treatment.runOnThread(static_cast<unsigned>(thread) + 1); });
    treatment.awaitQueue();
    isOver = true;
  });
  // Completion blocks come last; and operations go with the blocks that have run them, and with what the main
  // thread was to be told.
  testing::runMainQueueUntil([&] { return isOver && treatment.hasEndedAll() && operationsAlive == 0; });
}

TEST(OperationSoakTest, endsEveryOperationOnceUnderAnyTreatment) {
  treat();
  const std::size_t before = bytesInUse();
  if (before == 0) return;
  treat();
  constexpr std::size_t leastPerOperation = 16;  // threads that come or go have caches of their own
  EXPECT_LT(bytesInUse(), before + leastPerOperation * 20'000);
}

}  // namespace
}  // namespace QVFoundation
