#pragma once

#include <atomic>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/application/Cancellable.h"
#include "QVFoundation/platform/concurrency/Mutex.h"

/// Internal: installed because other headers need it.
///
/// Threads: all of it from any thread.
namespace QVFoundation::detail {

/// A subscription that may be cancelled while it is still being made: a publisher may send values before it
/// returns the subscription.
class QV_EXPORT LateCancellable {
public:
  [[nodiscard]] bool isCancelled() const noexcept { return isCancelled_.load(std::memory_order_acquire); }
  /// Takes the subscription over; cancels it at once if that has been asked for.
  void hold(Cancellable subscription);
  void cancel();

private:
  Mutex lock_;
  Cancellable held_ QV_GUARDED_BY(lock_);
  std::atomic<bool> isCancelled_{false};
};

}  // namespace QVFoundation::detail
