#include <atomic>
#include <chrono>
#include <functional>
#include <latch>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "QVFoundation/errors/QVErrorConstructors.h"
#include "QVFoundation/operations/QVOperation.h"
#include "QVFoundation/platform/concurrency/MainQueue.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "tests/operations/TestOperations.h"

namespace QVFoundation {
namespace {

using namespace std::chrono_literals;
using testing::BodyOperation;

/// An operation that runs on a thread of its own and does what happens to it, in the order of a test.
class Patient {
public:
  void start() {
    if (hasStarted_) return operation_->start();  // raises, or does nothing once it has ended
    hasStarted_ = true;
    runner_ = std::jthread([this, operation = operation_] {
      operation->start();
      noteBegun();  // where it was cancelled
    });
    hasBegun_.wait(false);
  }
  void finish() { end(1); }
  void fail() { end(2); }
  void cancel() { operation_->cancel(); }
  void pause() { operation_->pause(); }
  void resume() { operation_->resume(); }
  void timeOut() {
    std::latch isOver(1);
    operation_->addTimeout(0s, [&] { isOver.count_down(); });
    isOver.wait();
    operation_->cancelTimeout();
  }
  void destroy() { operation_.reset(); }

  /// Ends what is still to end; then says how often the end was told.
  int ends() {
    if (const auto operation = weak_.lock()) operation->resume();
    if (ending_ == 0) end(1);
    if (runner_.joinable()) runner_.join();
    operation_.reset();
    drainMainQueue();
    EXPECT_TRUE(weak_.expired());
    return ends_;
  }
  [[nodiscard]] bool hasStarted() const noexcept { return hasStarted_; }
  [[nodiscard]] bool isHeld() const noexcept { return operation_ != nullptr; }

private:
  void end(int how) {
    ending_ = how;
    ending_.notify_all();
  }

  void noteBegun() {
    hasBegun_ = true;
    hasBegun_.notify_all();
  }

  void run(BodyOperation<int>& self) {
    noteBegun();
    ending_.wait(0);
    if (ending_ == 2) throw NSError(errorWithDescription("failed"));
    self.checkForCancellationAndReturnError();
  }

  std::atomic<int> ending_ = 0;
  std::atomic<int> ends_ = 0;
  bool hasStarted_ = false;
  std::atomic<bool> hasBegun_ = false;
  std::shared_ptr<BodyOperation<int>> operation_ = makeOperation();
  const std::weak_ptr<QVOperation> weak_ = operation_;
  std::jthread runner_;

  std::shared_ptr<BodyOperation<int>> makeOperation() {
    auto operation = std::make_shared<BodyOperation<int>>([this](BodyOperation<int>& self) {
      run(self);
      return 1;
    });
    operation->setCompletionBlock([this, hold = std::weak_ptr(operation)] {
      ++ends_;
      EXPECT_TRUE(hold.lock()->isFinished());
    });
    return operation;
  }
};

struct Event {
  const char* name;
  void (Patient::*happens)();
};

constexpr Event events[] = {{"start", &Patient::start},      {"finish", &Patient::finish},
                            {"fail", &Patient::fail},        {"cancel", &Patient::cancel},
                            {"pause", &Patient::pause},      {"resume", &Patient::resume},
                            {"time out", &Patient::timeOut}, {"destroy", &Patient::destroy}};

/// What may be refused: to start what runs already.
void happen(Patient& patient, const Event& event) {
  if (!patient.isHeld()) return;
  try {
    (patient.*event.happens)();
  } catch (const NSException& exception) {
    EXPECT_STREQ(event.name, "start") << *exception.reason();
  }
}

TEST(OperationStateTest, endsOnceAndTellsItOnceWhateverHappensInWhateverOrder) {
  for (const bool runs : {false, true}) {
    for (const Event& first : events) {
      for (const Event& second : events) {
        SCOPED_TRACE(std::string(runs ? "running: " : "") + first.name + ", " + second.name);
        Patient patient;
        if (runs) patient.start();
        happen(patient, first);
        happen(patient, second);
        const bool starts = patient.hasStarted();
        EXPECT_EQ(patient.ends(), starts ? 1 : 0);
      }
    }
  }
}

}  // namespace
}  // namespace QVFoundation
