#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <string>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>

#include "QVFoundation/platform/concurrency/ProcessorPause_p.h"
#include "QVFoundation/platform/concurrency/QuietThread_p.h"
#include "QVFoundation/platform/concurrency/ThreadPool_p.h"
#include "QVFoundation/platform/concurrency/TimerThread_p.h"
#include "QVFoundation/platform/runtime/EscapedException_p.h"
#include "QVFoundation/platform/runtime/FatalError.h"

namespace QVFoundation::detail {

namespace {

using namespace std::chrono_literals;

constexpr auto stallTime = 5ms;
// Some microseconds: about what it takes to wake a thread.
constexpr int spins = 500;
// How many more urgent works go before one, at the most.
constexpr unsigned patience = 64;

constinit thread_local void* workerOfThisThread = nullptr;

/// Whether a thread of this process sleeps, as far as the kernel tells.
bool isAsleep(int threadId) noexcept {
  char path[64];
  std::snprintf(path, sizeof path, "/proc/self/task/%d/stat", threadId);
  const int file = ::open(path, O_RDONLY | O_CLOEXEC);
  if (file < 0) return false;
  char line[64];  // the state stands behind the name, which has 15 characters at the most
  const auto size = ::read(file, line, sizeof line);
  ::close(file);
  if (size <= 0) return false;
  const std::string_view text(line, static_cast<std::size_t>(size));
  const auto name = text.rfind(')');
  if (name == std::string_view::npos || name + 2 >= text.size()) return false;
  const char state = text[name + 2];
  return state == 'S' || state == 'D' || state == 'T';
}

void runGuarded(Work& work) noexcept {
  try {
    work();
  } catch (...) {
    endForEscapedException("A block in the background");
  }
  work.reset();
}

}  // namespace

/// Looks at the pool now and then while it has work that nobody takes.
class ThreadPool::StallWatch final : public TimedEvent, public std::enable_shared_from_this<StallWatch> {
public:
  explicit StallWatch(ThreadPool& pool) noexcept : pool_(pool) {}

  void begin() { TimerThread::shared().schedule(shared_from_this(), Clock::now() + stallTime); }
  void fire() noexcept override {
    if (pool_.lookForStalls()) begin();
  }

private:
  using Clock = std::chrono::steady_clock;

  ThreadPool& pool_;
};

ThreadPool& ThreadPool::shared() {
  static ThreadPool& pool =
      *new ThreadPool(std::max<std::size_t>(2, std::thread::hardware_concurrency()), 5s);
  return pool;
}

ThreadPool::ThreadPool(std::size_t busyAtMost, std::chrono::milliseconds idleTime)
    : busyAtMost_(busyAtMost), idleTime_(idleTime), watch_(std::make_shared<StallWatch>(*this)) {}

void ThreadPool::submit(Work work, QualityOfService qualityOfService) {
  Helper helper;
  bool mayStall = false;
  {
    const UnfairLockGuard guard(lock_);
    rings_[static_cast<std::size_t>(qualityOfService)].push(std::move(work));
    waiting_.store(waiting_ + 1, std::memory_order_relaxed);
    if (waiting_ == 1 && somebodySpins_) return;  // he looks once more under the lock
    helper = findHelper();
    mayStall = !helper.isAny() && !std::exchange(isWatched_, true);
  }
  call(helper);
  if (mayStall) watch_->begin();
}

std::size_t ThreadPool::threadCount() const {
  const UnfairLockGuard guard(lock_);
  return threads_;
}

ThreadPool::Helper ThreadPool::findHelper() {
  if (busy_ >= busyAtMost_ || waiting_ == 0) return {};
  Helper helper;
  if (!idle_.empty()) {
    helper.idle = idle_.back();
    helper.idle->isIdle = false;
    idle_.pop_back();
  } else if (threads_ < threadsAtMost) {
    helper.startsThread = true;
    ++threads_;
  } else {
    return {};
  }
  ++busy_;
  return helper;
}

void ThreadPool::call(const Helper& helper) {
  if (helper.idle != nullptr) helper.idle->wakeUp.send();
  if (helper.startsThread) startThread();
}

void ThreadPool::startThread() {
  try {
    startQuietThread("QV worker", [this] {
      Worker self;
      self.pool = this;
      self.threadId = gettid();
      run(self);
    });
  } catch (const std::system_error& error) {
    const UnfairLockGuard guard(lock_);
    --busy_;
    if (--threads_ > 0) return;  // those that there are will get to the work
    fatalError(std::string("There is no thread for background work: ") + error.what());
  }
}

void ThreadPool::run(Worker& self) {
  {
    const UnfairLockGuard guard(lock_);
    workers_.push_back(&self);
  }
  workerOfThisThread = &self;
  while (auto work = next(self)) runGuarded(*work);
  workerOfThisThread = nullptr;  // what is thread-local goes later and may still wait
}

std::optional<Work> ThreadPool::next(Worker& self) {
  for (bool hasSpun = false;;) {
    bool goesIdle = false;
    bool leavesWork = false;
    {
      const UnfairLockGuard guard(lock_);
      if (self.isBlocked) noteGoesOn(self);  // was found asleep
      const bool isOneTooMany = busy_ > busyAtMost_;
      if (waiting_ > 0 && !isOneTooMany) {
        ++self.worksBegun;
        return take();
      }
      goesIdle = hasSpun || isOneTooMany;
      if (goesIdle) goIdle(self);
      leavesWork = goesIdle && waiting_ > 0 && !std::exchange(isWatched_, true);
    }
    if (leavesWork) watch_->begin();
    if (!goesIdle) {
      spinForWork();
    } else if (!sleepForWork(self)) {
      return {};
    }
    hasSpun = !goesIdle;
  }
}

Work ThreadPool::take() {
  waiting_.store(waiting_ - 1, std::memory_order_relaxed);
  std::size_t chosen = levels - 1;
  while (rings_[chosen].empty()) --chosen;
  for (std::size_t level = 0; level < chosen; ++level) {
    if (rings_[level].empty() || ++passedOver_[level] < patience) continue;
    chosen = level;
    break;
  }
  passedOver_[chosen] = 0;
  return rings_[chosen].pop();
}

void ThreadPool::goIdle(Worker& self) {
  --busy_;
  self.isIdle = true;
  self.wakeUp.reset();
  idle_.push_back(&self);
}

void ThreadPool::spinForWork() noexcept {
  if (somebodySpins_.exchange(true)) return;  // one is enough
  for (int i = 0; i < spins && waiting_.load(std::memory_order_relaxed) == 0; ++i) pauseProcessor();
  somebodySpins_.store(false);
}

bool ThreadPool::sleepForWork(Worker& self) {
  if (self.wakeUp.awaitUntil(std::chrono::steady_clock::now() + idleTime_)) return true;
  {
    const UnfairLockGuard guard(lock_);
    if (self.isIdle) {
      std::erase(idle_, &self);
      std::erase(workers_, &self);
      --threads_;
      return false;
    }
  }
  self.wakeUp.await();  // somebody is just about to send it
  return true;
}

void ThreadPool::noteBlocked(Worker& self) {
  self.isBlocked = true;
  --busy_;
}

void ThreadPool::noteGoesOn(Worker& self) {
  self.isBlocked = false;
  ++busy_;
}

void ThreadPool::beginBlocking(Worker& self) {
  Helper helper;
  {
    const UnfairLockGuard guard(lock_);
    if (self.scopes++ > 0 || self.isBlocked) return;
    noteBlocked(self);
    helper = findHelper();
  }
  call(helper);
}

void ThreadPool::endBlocking(Worker& self) {
  const UnfairLockGuard guard(lock_);
  if (--self.scopes == 0) noteGoesOn(self);
}

bool ThreadPool::lookForStalls() {
  std::vector<Helper> helpers;
  {
    const UnfairLockGuard guard(lock_);
    isWatched_ = waiting_ > 0;
    if (!isWatched_) return false;
    for (Worker* worker : workers_) {
      if (worker->isIdle || worker->isBlocked) continue;
      const bool isAtTheSame = std::exchange(worker->worksSeen, worker->worksBegun) == worker->worksBegun;
      if (isAtTheSame && isAsleep(worker->threadId)) noteBlocked(*worker);
    }
    while (helpers.size() < waiting_) {
      helpers.push_back(findHelper());
      if (!helpers.back().isAny()) break;
    }
  }
  for (const Helper& helper : helpers) call(helper);
  return true;
}

ThreadIsBlocked::ThreadIsBlocked() {
  if (auto* worker = static_cast<ThreadPool::Worker*>(workerOfThisThread))
    worker->pool->beginBlocking(*worker);
}

ThreadIsBlocked::~ThreadIsBlocked() {
  if (auto* worker = static_cast<ThreadPool::Worker*>(workerOfThisThread)) worker->pool->endBlocking(*worker);
}

}  // namespace QVFoundation::detail
