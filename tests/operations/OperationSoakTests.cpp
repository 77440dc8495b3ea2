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
#include "QVFoundation/operations/QVAsyncOperation.h"
#include "QVFoundation/operations/QVOperation.h"
#include "QVFoundation/platform/concurrency/DispatchQueue.h"
#include "QVFoundation/platform/concurrency/MainQueue.h"
#include "QVFoundation/platform/concurrency/NSOperationQueue.h"
#include "QVFoundation/platform/concurrency/TaskSleep.h"
#include "tests/operations/TestOperations.h"
#include "tests/platform/concurrency/OnThreads.h"

namespace QVFoundation {
namespace {

using namespace std::chrono_literals;
using testing::AsyncBodyOperation;
using testing::BodyOperation;

std::atomic<int> operationsAlive = 0;

Task<> pauseOfNoTime() { co_await DispatchQueue::global(); }

/// What restless operations of both kinds have, on top of what they are.
template <class Operation>
class Restless : public Operation {
public:
  Restless(unsigned seed, int depth, typename Operation::Body body)
      : Operation(std::move(body)), random_(seed), depth_(depth) {
    ++operationsAlive;
  }
  Restless(const Restless&) = delete;
  Restless& operator=(const Restless&) = delete;
  ~Restless() override {
    EXPECT_TRUE(this->isFinished() || !hasBegun_);
    --operationsAlive;
  }

  void calculateSegmentCosts() override {
    this->setCost(3, "first");
    this->setCost(7, "second");
  }

protected:
  void begin() {
    hasBegun_ = true;
    if (lot(4) != 0) return;
    this->addTimeout(std::chrono::microseconds(lot(2000)), [weak = std::weak_ptr(this->weak_from_this())] {
      if (const auto self = std::static_pointer_cast<QVOperation>(weak.lock())) self->cancel();
    });
  }
  void endByLot() {
    if (lot(6) == 0) throw NSError(errorWithDescription("by lot"));
    this->cancelTimeout();
  }
  [[nodiscard]] bool hasPartByLot() { return depth_ > 0 && lot(2) == 0; }
  template <class Part>
  std::shared_ptr<Part> part() {
    return std::make_shared<Part>(random_(), depth_ - 1);
  }
  int lot(int bound) { return static_cast<int>(random_() % static_cast<unsigned>(bound)); }

private:
  std::minstd_rand random_;
  const int depth_;
  std::atomic<bool> hasBegun_ = false;
};

/// Does a little of everything that an operation can do, by lot; so do its parts.
class RestlessOperation : public Restless<BodyOperation<int>> {
public:
  RestlessOperation(unsigned seed, int depth)
      : Restless(seed, depth, [this](BodyOperation<int>&) { return run(); }) {}

private:
  int run();
  void waitForSignal();
};

class RestlessAsyncOperation : public Restless<AsyncBodyOperation<int>> {
public:
  RestlessAsyncOperation(unsigned seed, int depth)
      : Restless(seed, depth, [this](AsyncBodyOperation<int>&) { return run(); }) {}

private:
  Task<int> run() {
    begin();
    auto first = [this](NSProgress& progress) -> Task<int> {
      for (int i = 0; i < 5; ++i) {
        co_await checkForCancellationAsync();
        progress.addCompletedUnitCount(1);
      }
      co_return 1;
    };
    int result = co_await performSegment("first", 5, first);
    if (lot(5) == 0) co_await sleepFor(std::chrono::microseconds(lot(100)));
    if (hasPartByLot()) {
      if (lot(2) == 0) {
        result += co_await performSubOperation(part<RestlessOperation>(), "second");
      } else {
        result += co_await performSubOperation(part<RestlessAsyncOperation>(), "second");
      }
    }
    endByLot();
    co_return result;
  }
};

int RestlessOperation::run() {
  begin();
  int result = performSegment("first", 5, [&](NSProgress& progress) {
    for (int i = 0; i < 5; ++i) {
      checkForCancellationAndReturnError();
      progress.addCompletedUnitCount(1);
    }
    return 1;
  });
  if (lot(5) == 0) waitForSignal();
  if (lot(5) == 0) async([] { return pauseOfNoTime(); });
  if (hasPartByLot()) {
    result += lot(2) == 0 ? performSubOperation(part<RestlessOperation>(), "second")
                          : performSubOperation(part<RestlessAsyncOperation>(), "second");
  }
  endByLot();
  return result;
}

void RestlessOperation::waitForSignal() {
  performBlock("signal", [&] {
    std::atomic<bool> isSent = false;
    const std::jthread other([&] {
      isSent = true;
      signal("signal");
    });
    wait("signal", [&] { return isSent.load(); });
  });
}

/// Whatever has been paused of it goes on.
void letGoOn(const std::shared_ptr<QVOperation>& operation) {
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
    std::array<std::shared_ptr<QVOperation>, 8> held;
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

  std::shared_ptr<QVOperation> newOperation(unsigned seed) {
    std::shared_ptr<QVOperation> operation;
    if (seed % 2 == 0) {
      operation = std::make_shared<RestlessOperation>(seed, 3);
    } else {
      operation = std::make_shared<RestlessAsyncOperation>(seed, 3);
    }
    operation->setCompletionBlock([this] { ++ended_; });
    return operation;
  }

  static void disturb(QVOperation& operation, unsigned how) {
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
  constexpr std::size_t times = 3;  // threads have caches, which fill up meanwhile
  for (std::size_t i = 0; i < times; ++i) treat();
  constexpr std::size_t leastPerOperation = 16;
  EXPECT_LT(bytesInUse(), before + leastPerOperation * 20'000 * times);
}

}  // namespace
}  // namespace QVFoundation
