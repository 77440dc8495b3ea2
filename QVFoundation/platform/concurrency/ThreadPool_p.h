#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/concurrency/QualityOfService.h"
#include "QVFoundation/platform/concurrency/ThreadSafety.h"
#include "QVFoundation/platform/concurrency/UnfairLock.h"
#include "QVFoundation/platform/concurrency/WakeUp_p.h"
#include "QVFoundation/platform/concurrency/Work.h"
#include "QVFoundation/platform/concurrency/WorkRing_p.h"

namespace QVFoundation::detail {

/// The threads that all queues share.
///
/// It keeps as many threads busy as there are processors. One that waits says so (`ThreadIsBlocked`) and does not
/// count; one that sleeps without a word is found out by a look at what the kernel says of it, every few
/// milliseconds while work waits. Then another thread takes over, up to a bound. A thread without work goes
/// after some seconds.
///
/// | a worker is | counts as busy | goes on when |
/// |---|---|---|
/// | busy | yes | its work is done |
/// | blocked | no | what it waits for comes; then there may be one too many for a moment |
/// | idle | no | it is woken for work, or goes when its time is up |
///
/// Threads: any.
class QV_TEST_EXPORT ThreadPool {
public:
  /// That of the process. It is never destroyed.
  static ThreadPool& shared();

  /// For tests. No pool is ever destroyed.
  ThreadPool(std::size_t busyAtMost, std::chrono::milliseconds idleTime);
  ThreadPool(const ThreadPool&) = delete;
  ThreadPool& operator=(const ThreadPool&) = delete;
  ~ThreadPool() = delete;

  void submit(Work work, QualityOfService qualityOfService);

  /// How many threads there are at this moment.
  [[nodiscard]] std::size_t threadCount() const;

private:
  friend class ThreadIsBlocked;
  class StallWatch;

  struct Worker {
    ThreadPool* pool = nullptr;
    WakeUp wakeUp;  // for work
    int threadId = 0;
    // Under the pool's lock.
    bool isIdle = false;
    bool isBlocked = false;  // says so itself, or was found asleep
    unsigned scopes = 0;     // in which it says that it waits
    std::uint64_t worksBegun = 0;
    std::uint64_t worksSeen = 0;  // by the watch, at its last look
  };

  static constexpr std::size_t levels = 5;
  static constexpr std::size_t threadsAtMost = 512;

  void run(Worker& self);
  /// The next work for a worker that is busy no more; nothing where it is to end.
  std::optional<Work> next(Worker& self);
  [[nodiscard]] Work take() QV_REQUIRES(lock_);
  void goIdle(Worker& self) QV_REQUIRES(lock_);
  void spinForWork() noexcept;
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
  /// Looks for workers that sleep. True while somebody has to look again.
  bool lookForStalls();

  const std::size_t busyAtMost_;
  const std::chrono::milliseconds idleTime_;

  mutable UnfairLock lock_;
  std::array<WorkRing, levels> rings_ QV_GUARDED_BY(lock_);
  std::atomic<std::size_t> waiting_{0};                             // in the rings; written under the lock
  std::array<unsigned, levels> passedOver_ QV_GUARDED_BY(lock_){};  // since the last one was taken
  std::size_t busy_ QV_GUARDED_BY(lock_) = 0;
  std::size_t threads_ QV_GUARDED_BY(lock_) = 0;
  bool isWatched_ QV_GUARDED_BY(lock_) = false;
  std::vector<Worker*> workers_ QV_GUARDED_BY(lock_);
  std::vector<Worker*> idle_ QV_GUARDED_BY(lock_);  // who went idle last is woken first
  std::atomic<bool> somebodySpins_{false};
  std::shared_ptr<StallWatch> watch_;
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
