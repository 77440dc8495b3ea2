#pragma once

#include <atomic>
#include <exception>
#include <functional>
#include <memory>
#include <poll.h>
#include <string_view>
#include <utility>

#include "QVFoundation/operations/QVAsyncOperation.h"
#include "QVFoundation/operations/QVOperation.h"
#include "QVFoundation/platform/concurrency/MainQueue.h"
#include "QVFoundation/platform/concurrency/TaskHandle.h"
#include "QVFoundation/platform/runtime/ChangeNotice.h"
#include "QVFoundation/platform/runtime/ErrorConversion.h"

namespace QVFoundation::testing {

/// Does what a test says.
template <class Output = void>
class BodyOperation : public QVOperation, public QVSyncOperationProtocol<Output> {
public:
  using Body = std::function<Output(BodyOperation&)>;
  explicit BodyOperation(Body body) : QVOperation("BodyOperation"), body_(std::move(body)) {}
  Output perform() override { return body_(*this); }

private:
  const Body body_;
};

template <class Output = void>
std::shared_ptr<BodyOperation<Output>> operationOf(typename BodyOperation<Output>::Body body) {
  return std::make_shared<BodyOperation<Output>>(std::move(body));
}

/// The same as an asynchronous function.
template <class Output = void>
class AsyncBodyOperation : public QVAsyncOperation, public QVAsyncOperationProtocol<Output> {
public:
  using Body = std::function<Task<Output>(AsyncBodyOperation&)>;
  explicit AsyncBodyOperation(Body body) : QVAsyncOperation("AsyncBodyOperation"), body_(std::move(body)) {}
  Task<Output> perform() override { return body_(*this); }

private:
  const Body body_;
};

template <class Output = void>
std::shared_ptr<AsyncBodyOperation<Output>> asyncOf(typename AsyncBodyOperation<Output>::Body body) {
  return std::make_shared<AsyncBodyOperation<Output>>(std::move(body));
}

/// Goes on after `start` has returned, until somebody ends it.
class OpenOperation : public QVOperation, public QVOperationProtocol<int> {
public:
  OpenOperation() : QVOperation("OpenOperation") {}
  void start() override {
    change("isExecuting", isExecuting_, true);
    if (onStart) onStart();
  }
  bool isAsynchronous() const override { return true; }
  bool isExecuting() const override { return isExecuting_; }
  bool isFinished() const override { return isFinished_; }
  void end(int result) {
    setResultStorage(QVAnyResult::success(result));
    change("isExecuting", isExecuting_, false);
    change("isFinished", isFinished_, true);
  }
  std::function<void()> onStart;

private:
  void change(std::string_view key, std::atomic<bool>& state, bool value) {
    const ChangeNotice notice(*this, key);
    state = value;
  }
  std::atomic<bool> isExecuting_ = false, isFinished_ = false;
};

/// What a call throws, by its code.
template <class Call>
int codeThrownBy(const Call& call) {
  try {
    call();
    return 0;
  } catch (...) {
    return static_cast<int>(asNSError(std::current_exception()).code());
  }
}

/// What a task throws; its own thread has let go of that by then.
inline int codeThrownBy(Task<> task) {
  const TaskHandle<void> run = startTask(std::move(task));
  return codeThrownBy([&] { run.wait(); });
}

/// Serves the main queue until something holds that its blocks bring about.
template <class Predicate>
void runMainQueueUntil(const Predicate& holds) {
  while (!holds()) {
    pollfd readable{.fd = mainQueueFileDescriptor(), .events = POLLIN, .revents = 0};
    (void)::poll(&readable, 1, 10);
    drainMainQueue();
  }
}

}  // namespace QVFoundation::testing
