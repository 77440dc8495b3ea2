#pragma once

#include <functional>

#include "QVFoundation/platform/Export.h"

namespace QVFoundation {

/// Decides where and when a piece of work runs: at once, on a queue, on the main thread.
///
/// Threads: `schedule` is called from any thread. A serial scheduler runs one piece of work at a time, in the
/// order in which it got them; those who need that say so.
/// Ownership: shared by those who use it. The last of them may let go of it from inside its own work.
/// Errors: neither `schedule` nor the work throws.
class QV_EXPORT Scheduler {
public:
  Scheduler() = default;
  Scheduler(const Scheduler&) = delete;
  Scheduler& operator=(const Scheduler&) = delete;
  virtual ~Scheduler();

  /// Has the work run once. It may run before this returns.
  virtual void schedule(std::function<void()> work) = 0;
};

/// Runs work on the thread that brings it, before `schedule` returns.
///
/// Threads: any.
class QV_EXPORT ImmediateScheduler final : public Scheduler {
public:
  void schedule(std::function<void()> work) override { work(); }
};

}  // namespace QVFoundation
