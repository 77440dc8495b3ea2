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
#include "QVFoundation/platform/runtime/NSKeyValueObserving.h"
#include "tests/operations/TestOperations.h"

namespace QVFoundation {
namespace {

using namespace std::chrono_literals;
using testing::BodyOperation;

/// When the body of an operation looks at what has happened to it.
enum class Body : bool { looksAtItsEnd, looksAllTheTime };

/// An operation that runs on a thread of its own and does what happens to it, in the order of a test.
class Patient {
public:
  explicit Patient(Body body) : body_(body) {}

  void start() {
    if (operation_ == nullptr) return;
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
  void cancel() {
    if (operation_ != nullptr) operation_->cancel();
  }
  void pause() {
    if (operation_ != nullptr) operation_->pause();
    if (body_ == Body::looksAllTheTime) std::this_thread::sleep_for(1ms);  // time for the body to stand still
  }
  void resume() {
    if (operation_ != nullptr) operation_->resume();
  }
  void timeOut() {
    if (operation_ == nullptr) return;
    std::latch isOver(1);
    operation_->addTimeout(0s, [&] { isOver.count_down(); });
    isOver.wait();
    operation_->cancelTimeout();
  }
  void destroy() { operation_.reset(); }

  /// Ends what is still to end; then says how often the end was told.
  int ends() {
    // One that is cancelled leaves its pause by itself.
    if (const auto operation = weak_.lock(); operation != nullptr && !operation->isCancelled()) {
      operation->resume();
    }
    if (ending_ == 0) end(1);
    if (runner_.joinable()) runner_.join();
    EXPECT_EQ(noticed_, ends_);
    observation_.invalidate();
    operation_.reset();
    drainMainQueue();
    EXPECT_TRUE(weak_.expired());
    return ends_;
  }
  [[nodiscard]] bool hasStarted() const noexcept { return hasStarted_; }

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
    while (body_ == Body::looksAllTheTime && ending_ == 0) self.checkForCancellationAndReturnError();
    ending_.wait(0);
    if (ending_ == 2) throw NSError(errorWithDescription("failed"));
    self.checkForCancellationAndReturnError();
  }

  const Body body_;
  std::atomic<int> ending_ = 0;
  std::atomic<int> ends_ = 0;     // told to the completion block
  std::atomic<int> noticed_ = 0;  // and to observers
  bool hasStarted_ = false;
  std::atomic<bool> hasBegun_ = false;
  std::shared_ptr<BodyOperation<int>> operation_ = makeOperation();
  const std::weak_ptr<QVOperation> weak_ = operation_;
  NSKeyValueObservation observation_ = observe(
      *operation_, "isFinished", [this](BodyOperation<int>&, const NSKeyValueChange&) { ++noticed_; });
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
  try {
    (patient.*event.happens)();
  } catch (const NSException& exception) {
    EXPECT_STREQ(event.name, "start") << *exception.reason();
  }
}

void expectToEndOnce(Body body, bool runs, const Event& first, const Event& second) {
  SCOPED_TRACE(std::string(body == Body::looksAllTheTime ? "looking " : "") + (runs ? "running: " : "") +
               first.name + ", " + second.name);
  Patient patient(body);
  if (runs) patient.start();
  happen(patient, first);
  happen(patient, second);
  const bool starts = patient.hasStarted();
  EXPECT_EQ(patient.ends(), starts ? 1 : 0);
}

TEST(OperationStateTest, endsOnceAndTellsItOnceWhateverHappensInWhateverOrder) {
  for (const Body body : {Body::looksAtItsEnd, Body::looksAllTheTime}) {
    for (const bool runs : {false, true}) {
      for (const Event& first : events) {
        for (const Event& second : events) expectToEndOnce(body, runs, first, second);
      }
    }
  }
}

}  // namespace
}  // namespace QVFoundation
