#include "QVFoundation/operations/QVUndoableOperation.h"

#include <atomic>
#include <functional>
#include <memory>
#include <stdexcept>
#include <utility>

#include <gmock/gmock.h>

#include "QVFoundation/platform/concurrency/MainActor.h"
#include "QVFoundation/platform/concurrency/NSOperationQueue.h"
#include "QVFoundation/platform/concurrency/TaskHandle.h"
#include "tests/operations/TestOperations.h"
#include "tests/platform/runtime/RaisedException.h"

namespace QVFoundation {
namespace {

using ::testing::StartsWith;

struct Sum {
  int value = 0, ended = 0;
  std::atomic<int> alive = 0;
  std::function<void()> whileItRuns = [] {};
};

/// Adds a number to a sum; taking it away again undoes that. 0 cannot be added.
class Addition : public QVOperation, public QVSyncOperationProtocol<void>, public QVUndoableOperation {
public:
  Addition(Sum& sum, int number) : QVOperation("Addition"), sum_(sum), number_(number) { ++sum_.alive; }
  ~Addition() override { --sum_.alive; }
  void perform() override {
    sum_.whileItRuns();
    if (number_ == 0) throw std::runtime_error("Nothing is added");
    sum_.value += number_;
  }
  std::shared_ptr<QVUndoableOperation> makeUndoOperation() override {
    ++sum_.ended;
    return operationError() ? nullptr : std::make_shared<Addition>(sum_, -number_);
  }

private:
  Sum& sum_;
  const int number_;
};

class UndoableOperation : public ::testing::Test {
protected:
  /// No operation keeps another, or itself.
  ~UndoableOperation() override {
    manager.reset();
    testing::runMainQueueUntil([&] { return sum.alive == 0; });
  }
  void add(int number, std::function<void(QVUndoableOperation&)> handler = {}) {
    perform(std::make_shared<Addition>(sum, number), manager, target, "Add", std::move(handler));
  }
  int valueAfterEnds(int count) const {
    testing::runMainQueueUntil([&] { return sum.ended == count; });
    return sum.value;
  }
  bool canNeither() const { return !manager->canUndo() && !manager->canRedo(); }

  Sum sum;
  std::shared_ptr<NSUndoManager> manager = std::make_shared<NSUndoManager>();
  std::shared_ptr<void> target = std::make_shared<int>();
};

TEST_F(UndoableOperation, isUndoneAndRedoneUnderItsNameAsOftenAsWanted) {
  add(3);
  EXPECT_EQ(manager->undoActionName(), "Add") << "at once";
  EXPECT_EQ(valueAfterEnds(1), 3);
  for (const int ends : {2, 4}) {
    manager->undo();
    EXPECT_TRUE(!manager->canUndo() && manager->redoActionName() == "Add");
    EXPECT_EQ(valueAfterEnds(ends), 0);
    manager->redo();
    EXPECT_TRUE(!manager->canRedo() && manager->undoActionName() == "Add");
    EXPECT_EQ(valueAfterEnds(ends + 1), 3);
  }
}

TEST_F(UndoableOperation, isNotUndoneBeforeItHasFinishedAndItsHandlerHasRun) {
  sum.whileItRuns = [&] { DispatchQueue::main()->sync([&] { manager->undo(); }); };
  add(3);
  EXPECT_EQ(valueAfterEnds(1), 3);
  EXPECT_TRUE(canNeither()) << "its place is gone, and nothing was done";
  sum.whileItRuns = [] {};
  add(4, [&](QVUndoableOperation& operation) {
    EXPECT_TRUE(dynamic_cast<Addition&>(operation).isFinished());
    manager->undo();
  });
  EXPECT_EQ(valueAfterEnds(2), 7);
  EXPECT_TRUE(canNeither());
}

TEST_F(UndoableOperation, leavesAPlaceThatDoesNothingWhereNothingUndoesIt) {
  add(0);
  EXPECT_EQ(valueAfterEnds(1), 0);
  EXPECT_TRUE(manager->canUndo());
  manager->undo();
  EXPECT_TRUE(canNeither());
  add(2);
  EXPECT_EQ(valueAfterEnds(2), 2);
  sum.whileItRuns = [] { throw std::runtime_error("not now"); };
  manager->undo();
  EXPECT_EQ(valueAfterEnds(3), 2);
  manager->redo();
  EXPECT_TRUE(canNeither()) << "what was not undone is not redone";
}

TEST_F(UndoableOperation, keepsNeitherItsTargetNorTheManager) {
  add(3);
  target.reset();
  EXPECT_EQ(valueAfterEnds(1), 3);
  EXPECT_TRUE(canNeither());
  target = std::make_shared<int>();
  add(4);
  const std::weak_ptr watch = manager;
  manager.reset();
  EXPECT_TRUE(watch.expired());
  EXPECT_EQ(valueAfterEnds(2), 7);
}

TEST_F(UndoableOperation, canBeAwaited) {
  startTask([&]() -> Task<> {
    const auto addition = std::make_shared<Addition>(sum, 3), failing = std::make_shared<Addition>(sum, 0);
    co_await MainActor::run([&] { return perform(addition, manager, target, std::nullopt); });
    co_await MainActor::run([&] { return perform(failing, manager, target, "Fail"); });
    EXPECT_TRUE(addition->isFinished() && failing->operationError());
  }).wait();
  EXPECT_EQ(manager->undoActionName(), "Fail");
  manager->undo();
  EXPECT_EQ(manager->undoActionName(), "");
  manager->undo();
  EXPECT_EQ(valueAfterEnds(3), 0);
}

TEST_F(UndoableOperation, goesOnWhereTheTaskThatAwaitsItIsCancelled) {
  const auto addition = std::make_shared<Addition>(sum, 3);
  addition->setCompletionBlock([] { ADD_FAILURE() << "it is replaced"; });
  const auto awaiting = startTask([&]() -> Task<> {
    co_await MainActor::run([&] { return perform(addition, manager, target, "Add"); });
  });
  sum.whileItRuns = [&] { awaiting.cancel(); };
  awaiting.wait();
  EXPECT_TRUE(addition->isFinished() && !addition->isCancelled());
  EXPECT_EQ(valueAfterEnds(1), 3);
}

TEST_F(UndoableOperation, registersNothingWhereItCannotStart) {
  const auto ended = std::make_shared<Addition>(sum, 1);
  ended->start();
  const auto queue = std::make_shared<NSOperationQueue>();
  const auto queued = std::make_shared<Addition>(sum, 1);
  queue->setSuspended(true);
  queue->addOperation(queued);
  for (const auto& each : {ended, queued, std::shared_ptr<Addition>()}) {
    EXPECT_THAT(testing::raisedBy([&] { perform(each, manager, target, "Add", {}); }),
                StartsWith("NSInvalidArgumentException"));
    EXPECT_TRUE(canNeither());
  }
  queue->setSuspended(false);
  queued->waitUntilFinished();
  const auto free = std::make_shared<Addition>(sum, 1);
  EXPECT_THAT(testing::raisedBy([&] { perform(free, manager, nullptr, "Add", {}); }),
              StartsWith("NSInvalidArgumentException"));
  manager->setGroupsByEvent(false);
  EXPECT_THAT(testing::raisedBy([&] { perform(free, manager, target, "Add", {}); }),
              StartsWith("NSInternalInconsistencyException"));
  EXPECT_TRUE(canNeither() && free->isReady() && !free->isExecuting() && !free->isFinished());
  free->start();
}

}  // namespace
}  // namespace QVFoundation
