#pragma once

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <semaphore>
#include <thread>

#include "QVFoundation/platform/concurrency/Scheduler.h"

namespace QVFoundation::testing {

/// Keeps work until a test has it run.
class HeldScheduler : public Scheduler {
public:
  void schedule(std::function<void()> work) override {
    const std::lock_guard guard(mutex_);
    held_.push_back(std::move(work));
  }
  int runAll() {
    int count = 0;
    for (auto work = take(); work; work = take(), ++count) work();
    return count;
  }

private:
  std::function<void()> take() {
    const std::lock_guard guard(mutex_);
    if (held_.empty()) return nullptr;
    auto work = std::move(held_.front());
    held_.pop_front();
    return work;
  }

  std::mutex mutex_;
  std::deque<std::function<void()>> held_;
};

/// Two threads run the work as it comes, without regard to each other. All has run when the scheduler goes.
class ThreadsScheduler final : public HeldScheduler {
public:
  ~ThreadsScheduler() override { isEnding_ = true; }

private:
  void work() {
    while (runAll() > 0 || !isEnding_) std::this_thread::yield();
  }

  std::atomic<bool> isEnding_{false};
  std::jthread first_{[this] { work(); }}, second_{[this] { work(); }};
};

/// A scheduler that outlives all who use it, so that none of its threads is the last to let go of it.
inline std::shared_ptr<Scheduler> borrowed(Scheduler& scheduler) {
  return {std::shared_ptr<void>(), &scheduler};
}

/// Whether a removal waits for a call on another thread that stays for a good while after it has begun.
///
/// `start` is given the block, and returns what comes to call it.
template <class Start, class Removal>
bool waitsForACall(const Start& start, const Removal& removal) {
  std::binary_semaphore inside{0}, removing{0};
  std::atomic<bool> hasEnded = false;
  const std::function<void()> call = start([&] {
    inside.release();
    removing.acquire();
    for (int i = 0; i < 5'000; ++i) std::this_thread::yield();
    hasEnded = true;
  });
  const std::jthread caller(call);
  inside.acquire();
  removing.release();
  removal();
  return hasEnded;
}

}  // namespace QVFoundation::testing
