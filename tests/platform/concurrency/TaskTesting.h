#pragma once

#include <condition_variable>
#include <map>
#include <mutex>
#include <semaphore>
#include <utility>

#include "QVFoundation/platform/concurrency/Continuation.h"
#include "QVFoundation/platform/concurrency/DispatchQueue.h"
#include "QVFoundation/platform/concurrency/TaskHandle.h"
#include "QVFoundation/platform/concurrency/WorkList_p.h"

namespace QVFoundation::testing {

/// A queue whose blocks run when the test says so, on the thread on which it does.
class ManualQueue final : public DispatchQueue {
public:
  ManualQueue() : DispatchQueue("manual") {}

  /// All that wait, and what those send.
  void runWaiting() {
    for (std::unique_lock lock(mutex_); !waiting_.empty();) runFirst(lock);
  }
  void runUntilEndOf(const AnyTaskHandle& task) {
    std::unique_lock lock(mutex_);
    while (!task.hasEnded()) {
      hasCome_.wait(lock, [this] { return !waiting_.empty(); });
      runFirst(lock);
    }
  }

protected:
  void enqueue(detail::Work&& work) override {
    const std::lock_guard guard(mutex_);
    waiting_.push(std::move(work));
    hasCome_.notify_one();
  }

private:
  void runFirst(std::unique_lock<std::mutex>& lock) {
    detail::Work work = waiting_.pop();
    lock.unlock();
    run(std::move(work));
    lock.lock();
  }

  std::mutex mutex_;
  std::condition_variable hasCome_;
  detail::WorkList waiting_;
};

/// Where tasks wait, cancelled or not, until the test lets them through one by one.
class Gate {
public:
  auto pass(int number = 0) {
    return withContinuation<void>([this, number](Continuation<void> waiting) {
      {
        const std::lock_guard guard(mutex_);
        waiting_.emplace(number, std::move(waiting));
      }
      arrived_.release();
    });
  }
  void awaitArrivals(int count = 1) {
    while (count-- > 0) arrived_.acquire();
  }
  void open(int number = 0) {
    std::unique_lock lock(mutex_);
    const auto its = waiting_.extract(number);
    lock.unlock();
    its.mapped().resume();
  }

private:
  std::mutex mutex_;
  std::map<int, Continuation<void>> waiting_;
  std::counting_semaphore<> arrived_{0};
};

}  // namespace QVFoundation::testing
