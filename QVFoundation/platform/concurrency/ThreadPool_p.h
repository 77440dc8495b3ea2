#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/concurrency/QualityOfService.h"
#include "QVFoundation/platform/concurrency/ThreadSafety.h"
#include "QVFoundation/platform/concurrency/UnfairLock.h"
#include "QVFoundation/platform/concurrency/WakeUp_p.h"
#include "QVFoundation/platform/concurrency/Work.h"
#include "QVFoundation/platform/concurrency/WorkList_p.h"

namespace QVFoundation::detail {

/// The threads that all queues share.
///
/// It keeps as many threads busy as there are processors. One that waits says so (`ThreadIsBlocked`) and does
/// not count; one that sleeps without a word is found out by a look at what the kernel says of it, every few
/// milliseconds while work waits. Then another thread takes over, up to a bound. A thread without work goes
/// after some seconds.
///
/// | a worker is | counts as busy | goes on when |
/// |---|---|---|
/// | busy | yes | its work is done |
/// | blocked | no | what it waits for comes; then there may be one too many for a moment |
/// | idle | no | it is woken for work, or goes when its time is up |
///
/// Work comes in on one side and goes out on the other one, each with a lock of its own, so that those who
/// bring it seldom meet those who take it.
///
/// Threads: any.
class QV_TEST_EXPORT ThreadPool {
public:
  /// That of the process.
  static ThreadPool& shared();
  static constexpr std::chrono::milliseconds idleTimeOfShared = std::chrono::seconds(5);

  /// No pool is ever destroyed.
  ThreadPool(std::size_t busyAtMost, std::chrono::milliseconds idleTime);
  ThreadPool(const ThreadPool&) = delete;
  ThreadPool& operator=(const ThreadPool&) = delete;
  ~ThreadPool() = delete;

  void submit(Work&& work, QualityOfService qualityOfService);

  /// Whether work waits for a thread; may say so for a moment when the last of it has just been taken.
  [[nodiscard]] bool hasWork() const noexcept {
    return (incomingLevels_.load(std::memory_order_relaxed) |
            outgoingLevels_.load(std::memory_order_relaxed)) != 0;
  }
  /// How many threads there are at this moment.
  [[nodiscard]] std::size_t threadCount() const;

private:
  friend class ThreadIsBlocked;
  class StallWatch;
  static constexpr std::size_t cacheLine = 64;

  struct Worker {
    ThreadPool* pool = nullptr;
    WakeUp wakeUp;  // for work
    int threadId = 0;
    std::atomic<std::uint64_t> worksBegun{0};
    std::atomic<bool> isBlocked{false};  // says so itself, or was found asleep; written under the pool's lock
    // Work that somebody has handed over while this one spun for it.
    alignas(cacheLine) std::atomic<bool> isHandedWork{false};
    Work handedWork;
    // Under the pool's lock.
    bool isIdle = false;
    unsigned scopes = 0;          // in which it says that it waits
    std::uint64_t worksSeen = 0;  // by the watch, at its last look
  };

  static constexpr std::size_t levels = 5;
  using Lists = std::array<WorkList, levels>;  // by quality of service
  using Levels = unsigned;                     // one bit for each that has work
  static constexpr std::size_t threadsAtMost = 512;

  void run(Worker& self);
  /// The next work for a worker that is busy no more; nothing where it is to end.
  [[nodiscard]] Work next(Worker& self);
  /// Nothing where there is none, or this worker is one too many.
  [[nodiscard]] Work take(Worker& self);
  void bringIn() QV_REQUIRES(takeLock_);
  [[nodiscard]] std::size_t chooseLevel() QV_REQUIRES(takeLock_);
  [[nodiscard]] std::size_t countWaiting() QV_REQUIRES(takeLock_, lock_);
  void goIdle(Worker& self) QV_REQUIRES(lock_);
  /// Waits a moment for work. Gives what somebody has handed over meanwhile; maybe there is other work then.
  [[nodiscard]] Work spinForWork(Worker& self) noexcept;
  /// False where nobody spins.
  [[nodiscard]] bool handOver(Work& work) noexcept;
  /// Sleeps until there is work. False where nothing came in time: then the worker is no longer listed.
  [[nodiscard]] bool sleepForWork(Worker& self);

  /// Who is to be told after the lock that there is work to do.
  struct Helper {
    Worker* idle = nullptr;
    bool startsThread = false;

    [[nodiscard]] bool isAny() const noexcept { return idle != nullptr || startsThread; }
  };
  [[nodiscard]] Helper findHelper() QV_REQUIRES(lock_);
  void call(const Helper& helper);
  void startThread();

  void noteBlocked(Worker& self) QV_REQUIRES(lock_);
  void noteGoesOn(Worker& self) QV_REQUIRES(lock_);
  void beginBlocking(Worker& self);
  void endBlocking(Worker& self);

  /// A worker that may sleep without a word, or do so no more.
  struct Suspect {
    const Worker* worker = nullptr;
    int threadId = 0;
    std::uint64_t worksBegun = 0;
    bool isAsleep = false;
  };
  /// Looks for workers that sleep or have woken up. True while somebody has to look again.
  bool lookForStalls();
  [[nodiscard]] std::vector<Suspect> findSuspects() QV_REQUIRES(lock_);
  void recount(const std::vector<Suspect>& suspects) QV_REQUIRES(lock_);

  const std::size_t busyAtMost_;
  const std::chrono::milliseconds idleTime_;

  // Often read, seldom written. The bits are set under `lock_`, those of what goes out also under
  // `takeLock_`, which is enough to clear them: so who holds `lock_` never misses work.
  alignas(cacheLine) std::atomic<Levels> incomingLevels_{0};
  std::atomic<Levels> outgoingLevels_{0};
  std::atomic<std::size_t> busy_{0};                          // written under `lock_`
  alignas(cacheLine) std::atomic<Worker*> spinner_{nullptr};  // who takes it away owes that one some work

  // Taken before the other lock.
  alignas(cacheLine) UnfairLock takeLock_;
  Lists outgoing_ QV_GUARDED_BY(takeLock_);
  std::array<unsigned, levels> passedOver_ QV_GUARDED_BY(takeLock_){};  // since the last one was taken

  alignas(cacheLine) mutable UnfairLock lock_;
  Lists incoming_ QV_GUARDED_BY(lock_);
  std::size_t threads_ QV_GUARDED_BY(lock_) = 0;
  bool isWatched_ QV_GUARDED_BY(lock_) = false;
  std::vector<Worker*> workers_ QV_GUARDED_BY(lock_);
  std::vector<Worker*> idle_ QV_GUARDED_BY(lock_);  // who went idle last is woken first
  const std::shared_ptr<StallWatch> watch_;
};

/// While it exists, this thread waits for something: another may take over its share of the pool.
///
/// Threads: belongs to the thread that made it.
class QV_TEST_EXPORT ThreadIsBlocked {
public:
  [[nodiscard]] ThreadIsBlocked();
  ThreadIsBlocked(const ThreadIsBlocked&) = delete;
  ThreadIsBlocked& operator=(const ThreadIsBlocked&) = delete;
  ~ThreadIsBlocked();
};

}  // namespace QVFoundation::detail
