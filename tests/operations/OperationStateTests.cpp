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
using testing::AsyncBodyOperation;
using testing::BodyOperation;

/// When the body of an operation looks at what has happened to it.
enum class Body : bool { looksAtItsEnd, looksAllTheTime };

enum class BodyKind : bool { blocking, asynchronous };

/// An operation that runs on a thread of its own, or in a task, and does what happens to it, in the order of
/// a test.
class Patient {
public:
  Patient(BodyKind kind, Body body) : kind_(kind), body_(body) {}

  void start() {
    if (operation_ == nullptr) return;
    if (hasStarted_) return operation_->start();  // raises, or does nothing once it has ended
    hasStarted_ = true;
    runner_ = std::jthread([this, operation = operation_] {
      operation->start();
      if (kind_ == BodyKind::blocking) noteBegun();  // where it was cancelled
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
    drainMainQueue();
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
    if (hasStarted_) ends_.wait(0);
    EXPECT_EQ(noticed_, ends_);
    observation_.invalidate();
    operation_.reset();
    while (!weak_.expired()) drainMainQueue();  // a task keeps it until it has told all
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

  void run(BodyOperation<>& self) {
    noteBegun();
    while (body_ == Body::looksAllTheTime && ending_ == 0) self.checkForCancellationAndReturnError();
    ending_.wait(0);
    if (ending_ == 2) throw NSError(errorWithDescription("failed"));
    self.checkForCancellationAndReturnError();
  }

  Task<> runAsync(AsyncBodyOperation<>& self) {
    noteBegun();
    while (body_ == Body::looksAllTheTime && ending_ == 0) co_await self.checkForCancellationAsync();
    ending_.wait(0);
    if (ending_ == 2) throw NSError(errorWithDescription("failed"));
    co_await self.checkForCancellationAsync();
  }

  const BodyKind kind_;
  const Body body_;
  std::atomic<int> ending_ = 0;
  std::atomic<int> ends_ = 0;     // told to the completion block
  std::atomic<int> noticed_ = 0;  // and to observers
  bool hasStarted_ = false;
  std::atomic<bool> hasBegun_ = false;
  std::shared_ptr<QVOperation> operation_ = makeOperation();
  const std::weak_ptr<QVOperation> weak_ = operation_;
  NSKeyValueObservation observation_ =
      observe(*operation_, "isFinished", [this](QVOperation&, const NSKeyValueChange&) { ++noticed_; });
  std::jthread runner_;

  std::shared_ptr<QVOperation> makeOperation() {
    std::shared_ptr<QVOperation> operation =
        testing::operationOf([this](BodyOperation<>& self) { run(self); });
    if (kind_ == BodyKind::asynchronous)
      operation = testing::asyncOf([this](AsyncBodyOperation<>& self) { return runAsync(self); });
    operation->setCompletionBlock([this, hold = std::weak_ptr(operation)] {
      EXPECT_TRUE(hold.lock()->isFinished());
      ++ends_;
      ends_.notify_all();
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

void expectToEndOnce(BodyKind kind, Body body, bool runs, const Event& first, const Event& second) {
  SCOPED_TRACE(std::string(kind == BodyKind::blocking ? "" : "asynchronous ") +
               (body == Body::looksAllTheTime ? "looking " : "") + (runs ? "running: " : "") + first.name +
               ", " + second.name);
  Patient patient(kind, body);
  if (runs) patient.start();
  happen(patient, first);
  happen(patient, second);
  const bool starts = patient.hasStarted();
  EXPECT_EQ(patient.ends(), starts ? 1 : 0);
}

TEST(OperationStateTest, endsOnceAndTellsItOnceWhateverHappensInWhateverOrder) {
  for (const BodyKind kind : {BodyKind::blocking, BodyKind::asynchronous}) {
    for (const Body body : {Body::looksAtItsEnd, Body::looksAllTheTime}) {
      for (const bool runs : {false, true}) {
        for (const Event& first : events) {
          for (const Event& second : events) expectToEndOnce(kind, body, runs, first, second);
        }
      }
    }
  }
}

}  // namespace
}  // namespace QVFoundation
