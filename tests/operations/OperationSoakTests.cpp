#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
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

namespace QVFoundation {
namespace {

using namespace std::chrono_literals;
using testing::BodyOperation;

std::atomic<int> operationsAlive = 0;

/// Does a little of everything that an operation can do, by lot.
class RestlessOperation : public BodyOperation<int> {
public:
  RestlessOperation(unsigned seed, int depth)
      : BodyOperation([this](BodyOperation<int>&) { return run(); }), random_(seed), depth_(depth) {
    ++operationsAlive;
  }
  ~RestlessOperation() override { --operationsAlive; }

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

TEST(OperationSoakTest, endsEveryOperationOnceUnderAnyTreatment) {
  constexpr int perThread = 5000;
  constexpr int threads = 4;
  std::atomic<int> added = 0, ended = 0;
  std::atomic<bool> isOver = false;
  const auto queue = std::make_shared<NSOperationQueue>();
  queue->setMaxConcurrentOperationCount(16);
  {
    std::vector<std::jthread> treating;
    treating.reserve(threads);
    for (unsigned thread = 0; thread < threads; ++thread) {
      treating.emplace_back([&, thread] {
        std::minstd_rand random(thread + 1);
        std::array<std::shared_ptr<RestlessOperation>, 8> held;
        for (int i = 0; i < perThread; ++i) {
          auto& operation = held[random() % held.size()];
          letGoOn(operation);
          operation = std::make_shared<RestlessOperation>(random(), 2);
          operation->setCompletionBlock([&ended, its = std::weak_ptr(operation)] {
            EXPECT_EQ(++its.lock()->timesEnded, 1);
            ++ended;
          });
          if (random() % 8 == 0) operation->cancel();
          if (random() % 16 == 0) continue;  // never runs
          queue->addOperation(operation);
          ++added;
          const auto& other = held[random() % held.size()];
          if (other == nullptr) continue;
          switch (random() % 5) {
            case 0: other->cancel(); break;
            case 1: other->pause(); break;
            case 2: other->progress()->pause(); break;
            case 3: other->progress()->resume(); break;
            default: other->resume();
          }
        }
        for (const auto& operation : held) letGoOn(operation);
      });
    }
    std::jthread waiting([&] {
      for (auto& each : treating) each.join();
      queue->waitUntilAllOperationsAreFinished();
      isOver = true;
    });
    testing::runMainQueueUntil([&] { return isOver.load(); });
  }
  // Completion blocks come last; and operations go with the blocks that have run them, and with what the main thread
  // was to be told.
  testing::runMainQueueUntil([&] { return ended == added && operationsAlive == 0; });
}

}  // namespace
}  // namespace QVFoundation
