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

  void begin() { beginAt(Clock::now() + stallTime); }
  // All timers wait for a look; where there are many threads to look at, it comes less often.
  void fire() noexcept override {
    const auto began = Clock::now();
    if (!pool_.lookForStalls()) return;
    const auto ended = Clock::now();
    beginAt(ended + std::max<Clock::duration>(stallTime, 10 * (ended - began)));
  }

private:
  using Clock = std::chrono::steady_clock;

  void beginAt(Clock::time_point time) {
    TimerThread::steady().schedule(shared_from_this(), time.time_since_epoch());
  }

  ThreadPool& pool_;
};

ThreadPool& ThreadPool::shared() {
  static ThreadPool& pool =
      *new ThreadPool(std::max<std::size_t>(2, std::thread::hardware_concurrency()), idleTimeOfShared);
  return pool;
}

ThreadPool::ThreadPool(std::size_t busyAtMost, std::chrono::milliseconds idleTime)
    : busyAtMost_(busyAtMost), idleTime_(idleTime), watch_(std::make_shared<StallWatch>(*this)) {}

void ThreadPool::submit(Work&& work, QualityOfService qualityOfService) {
  if (!hasWork() && handOver(work)) return;
  const auto level = static_cast<std::size_t>(qualityOfService);
  Helper helper;
  bool mayStall = false;
  {
    const UnfairLockGuard guard(lock_);
    const bool hadWork = hasWork();
    incoming_[level].push(std::move(work));
    const Levels present = incomingLevels_.load(std::memory_order_relaxed);
    const Levels its = Levels(1) << level;
    if ((present & its) == 0) incomingLevels_.store(present | its, std::memory_order_relaxed);
    if (!hadWork && spinner_ != nullptr) return;  // he looks once more under the lock
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
  if (busy_ >= busyAtMost_ || !hasWork()) return {};
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
    bool isWatched = false;
    {
      const UnfairLockGuard guard(lock_);
      --busy_;
      if (--threads_ == 0) fatalError(std::string("There is no thread for background work: ") + error.what());
      isWatched = std::exchange(isWatched_, true);
    }
    if (!isWatched) watch_->begin();  // those that there are will get to the work, or the watch tries again
  }
}

void ThreadPool::run(Worker& self) {
  {
    const UnfairLockGuard guard(lock_);
    workers_.push_back(&self);
  }
  workerOfThisThread = &self;
  while (Work work = next(self)) runGuarded(work);
  workerOfThisThread = nullptr;  // what is thread-local goes later and may still wait
}

Work ThreadPool::next(Worker& self) {
  for (bool hasSpun = false;;) {
    if (Work work = take(self)) return work;
    bool goesIdle = false;
    bool leavesWork = false;
    {
      const UnfairLockGuard guard(lock_);
      if (self.isBlocked) noteGoesOn(self);
      const bool isOneTooMany = busy_ > busyAtMost_;
      if (hasWork() && !isOneTooMany) continue;  // it has just come
      goesIdle = hasSpun || isOneTooMany;
      if (goesIdle) goIdle(self);
      leavesWork = goesIdle && hasWork() && !std::exchange(isWatched_, true);
    }
    if (leavesWork) watch_->begin();
    if (!goesIdle) {
      if (Work work = spinForWork(self)) return work;
    } else if (!sleepForWork(self)) {
      return {};
    }
    hasSpun = !goesIdle;
  }
}

Work ThreadPool::take(Worker& self) {
  if (self.isBlocked.load(std::memory_order_relaxed)) {
    const UnfairLockGuard guard(lock_);
    if (self.isBlocked) noteGoesOn(self);  // was found asleep
  }
  if (busy_.load(std::memory_order_relaxed) > busyAtMost_ || !hasWork()) return {};
  const UnfairLockGuard guard(takeLock_);
  bringIn();
  const Levels present = outgoingLevels_.load(std::memory_order_relaxed);
  if (present == 0) return {};
  const std::size_t level = chooseLevel();
  WorkList& list = outgoing_[level];
  Work work = list.pop();
  if (list.empty()) outgoingLevels_.store(present & ~(Levels(1) << level), std::memory_order_relaxed);
  self.worksBegun.store(self.worksBegun.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
  return work;
}

// What is there of a level goes out before more of it is brought in.
void ThreadPool::bringIn() {
  const Levels present = outgoingLevels_.load(std::memory_order_relaxed);
  if ((incomingLevels_.load(std::memory_order_relaxed) & ~present) == 0) return;
  const UnfairLockGuard guard(lock_);
  const Levels all = incomingLevels_.load(std::memory_order_relaxed);
  for (std::size_t level = 0; level < levels; ++level) {
    if (((all & ~present) >> level & 1) != 0) swap(incoming_[level], outgoing_[level]);
  }
  outgoingLevels_.store(present | all, std::memory_order_relaxed);
  incomingLevels_.store(all & present, std::memory_order_relaxed);
}

std::size_t ThreadPool::chooseLevel() {
  std::size_t chosen = levels - 1;
  while (outgoing_[chosen].empty()) --chosen;
  for (std::size_t level = 0; level < chosen; ++level) {
    if (outgoing_[level].empty() || ++passedOver_[level] < patience) continue;
    chosen = level;
    break;
  }
  passedOver_[chosen] = 0;
  return chosen;
}

std::size_t ThreadPool::countWaiting() {
  std::size_t count = 0;
  for (const WorkList& list : incoming_) count += list.count();
  for (const WorkList& list : outgoing_) count += list.count();
  return count;
}

void ThreadPool::goIdle(Worker& self) {
  --busy_;
  self.isIdle = true;
  self.wakeUp.reset();
  idle_.push_back(&self);
}

Work ThreadPool::spinForWork(Worker& self) noexcept {
  Worker* spinner = nullptr;
  if (!spinner_.compare_exchange_strong(spinner, &self)) return {};  // one is enough
  for (int i = 0; i < spins && !hasWork() && spinner_.load(std::memory_order_relaxed) == &self; ++i) {
    pauseProcessor();
  }
  spinner = &self;
  if (spinner_.compare_exchange_strong(spinner, nullptr)) return {};
  while (!self.isHandedWork.load(std::memory_order_acquire)) pauseProcessor();
  self.isHandedWork.store(false, std::memory_order_relaxed);
  self.worksBegun.store(self.worksBegun.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
  return std::move(self.handedWork);
}

// What goes from one thread to another should touch as little as possible that both look at.
bool ThreadPool::handOver(Work& work) noexcept {
  if (spinner_.load(std::memory_order_relaxed) == nullptr) return false;
  Worker* const spinner = spinner_.exchange(nullptr);
  if (spinner == nullptr) return false;
  spinner->handedWork = std::move(work);
  spinner->isHandedWork.store(true, std::memory_order_release);
  return true;
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
  std::vector<Suspect> suspects;
  {
    const UnfairLockGuard guard(lock_);
    isWatched_ = hasWork();
    if (!isWatched_) return false;
    suspects = findSuspects();
  }
  for (Suspect& suspect : suspects) suspect.isAsleep = isAsleep(suspect.threadId);
  std::vector<Helper> helpers;
  {
    const UnfairLockGuard takeGuard(takeLock_);
    const UnfairLockGuard guard(lock_);
    recount(suspects);
    const std::size_t waiting = countWaiting();
    while (helpers.size() < waiting) {
      helpers.push_back(findHelper());
      if (!helpers.back().isAny()) break;
    }
  }
  for (const Helper& helper : helpers) call(helper);
  return true;
}

std::vector<ThreadPool::Suspect> ThreadPool::findSuspects() {
  std::vector<Suspect> suspects;
  suspects.reserve(workers_.size());
  for (Worker* worker : workers_) {
    if (worker->isIdle || worker->scopes > 0) continue;
    const std::uint64_t begun = worker->worksBegun.load(std::memory_order_relaxed);
    const bool isAtTheSame = std::exchange(worker->worksSeen, begun) == begun;
    if (isAtTheSame) suspects.push_back({worker, worker->threadId, begun});
  }
  return suspects;
}

// A worker may have gone meanwhile. Those that are left stand in the same order.
void ThreadPool::recount(const std::vector<Suspect>& suspects) {
  auto from = workers_.begin();
  for (const Suspect& suspect : suspects) {
    const auto found = std::find(from, workers_.end(), suspect.worker);
    if (found == workers_.end()) continue;
    from = found + 1;
    Worker& worker = **found;
    const bool isAtTheSame = worker.threadId == suspect.threadId &&
                             worker.worksBegun.load(std::memory_order_relaxed) == suspect.worksBegun;
    if (!isAtTheSame || worker.isIdle || worker.scopes > 0) continue;
    if (suspect.isAsleep && !worker.isBlocked) noteBlocked(worker);
    if (!suspect.isAsleep && worker.isBlocked) noteGoesOn(worker);
  }
}

ThreadIsBlocked::ThreadIsBlocked() {
  if (auto* worker = static_cast<ThreadPool::Worker*>(workerOfThisThread))
    worker->pool->beginBlocking(*worker);
}

ThreadIsBlocked::~ThreadIsBlocked() {
  if (auto* worker = static_cast<ThreadPool::Worker*>(workerOfThisThread)) worker->pool->endBlocking(*worker);
}

}  // namespace QVFoundation::detail
