#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "QVFoundation/operations/QVTimingName.h"
#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/concurrency/ThreadSafety.h"
#include "QVFoundation/platform/concurrency/UnfairLock.h"
#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/tracing/OSSignpostID.h"

namespace QVFoundation {

namespace detail {
class TimerTable;
struct TimerTotal;
}  // namespace detail

/// Named stopwatches: how often something is done does not matter, only how long it takes in all.
///
/// ```cpp
/// QVTimingInfo timing;
/// const auto rows = timing.performTimed("reading", [&] { return readRows(file); });
/// timing.performTimed("storing", [&] { store(rows); });
/// logger->logInfoString(timing.timingInfoString());
/// ```
/// ```text
/// reading -> 0.1204
/// storing -> 2.4119
/// ```
///
/// A timer runs or it does not; of one that runs only the last start counts. Setting the clock of the machine
/// changes nothing.
///
/// | state | startTiming          | endTiming                       |
/// |-------|----------------------|---------------------------------|
/// | idle  | runs                 | nothing happens                 |
/// | runs  | runs, from now alone | idle; the interval is added     |
///
/// Each start is an event and the begin of an interval among the signposts (`OSSignposter`), each end is
/// the end of that, all under the name of the timer and one identifier, in the subsystem
/// "org.qvfoundation.QVTimingInfo" and the category "QVTimingInfo". So a timeline of the program shows what
/// was timed, a row for each object.
///
/// Threads: made to be driven by one thread at a time, that which runs what is timed, while others may add
/// what they have timed, and read. No order of calls on any threads does harm, but two threads that use the
/// same name share one timer.
/// Errors: none.
class QV_EXPORT QVTimingInfo : public NSObject {
public:
  using Seconds = std::chrono::duration<double>;

  QVTimingInfo();
  ~QVTimingInfo() override;

  void startTiming(QVTimingName name);
  /// Does nothing, and puts up no signpost, where no such timer runs.
  void endTiming(QVTimingName name) noexcept;

  /// Runs the block between a start and an end, also if it throws. Returns what it returns.
  template <class Block>
  std::invoke_result_t<Block> performTimed(QVTimingName name, Block&& block) {
    startTiming(name);
    const Ending ending{*this, name};
    return std::invoke(std::forward<Block>(block));
  }

  /// Adds all that another one has timed so far, without the intervals that are running. It may be this one.
  void addTimingInfo(const QVTimingInfo& other);

  /// The sum of all intervals that have ended; zero for a name that was never timed.
  [[nodiscard]] Seconds elapsedTime(QVTimingName name) const noexcept;

  /// A line for each name, "reading -> 0.1204", in the order of the names; the last has no line break. A
  /// name is part of the format of its line, so "%" in it means what it means in `stringWithFormat`.
  [[nodiscard]] std::string timingInfoString() const;
  [[nodiscard]] std::string description() const override;

  /// Stored and read by nobody: signposts are put up in any case.
  [[nodiscard]] bool recordSignposts() const noexcept {
    return recordSignposts_.load(std::memory_order_relaxed);
  }
  void setRecordSignposts(bool recordSignposts) noexcept {
    recordSignposts_.store(recordSignposts, std::memory_order_relaxed);
  }

  /// The row in which timelines show the timers; unless it is set, a row of this object's own. A part of
  /// something else takes the row of the whole, before it starts a timer, so that it is shown inside of
  /// what runs there. Parts that run side by side are better left in rows of their own.
  ///
  /// ```cpp
  /// part.setSignpostLane(whole.signpostLane());
  /// ```
  [[nodiscard]] OSSignpostID signpostLane() const noexcept { return lane_.load(std::memory_order_relaxed); }
  [[nodiscard]] bool hasLaneOfItsOwn() const noexcept { return signpostLane() == id_; }
  void setSignpostLane(OSSignpostID lane) noexcept { lane_.store(lane, std::memory_order_relaxed); }

private:
  friend class QVOperation;  // has looked at the clock already
  using Instant = std::chrono::steady_clock::time_point;

  struct Ending {
    QVTimingInfo& info;
    QVTimingName name;
    ~Ending() { info.endTiming(name); }
  };

  void startTiming(QVTimingName name, Instant now);
  void endTiming(QVTimingName name, Instant now) noexcept;
  detail::TimerTable& timers() QV_REQUIRES(lock_);
  [[nodiscard]] bool endInterval(QVTimingName name, Instant now) noexcept;
  [[nodiscard]] std::vector<detail::TimerTotal> totals() const;

  mutable UnfairLock lock_;
  std::unique_ptr<detail::TimerTable> timers_ QV_GUARDED_BY(lock_);  // null until something is timed
  const OSSignpostID id_;
  std::atomic<OSSignpostID> lane_;
  std::atomic<bool> recordSignposts_{false};
};

}  // namespace QVFoundation
