#pragma once

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/application/Cancellable.h"
#include "QVFoundation/platform/concurrency/Listener.h"
#include "QVFoundation/platform/concurrency/UnfairLock.h"

/// Internal: installed because other headers need it.
///
/// What all stages between a publisher and one `sink` have in common.
///
/// Threads: all of it from any thread.
namespace QVFoundation::detail {

/// The gate through which whatever arrives at a sink has to pass, and the way to tell the source to stop.
class QV_EXPORT Subscription final : public Listener {
public:
  Subscription() = default;
  ~Subscription() = default;

  /// Takes what the source returned. Where all is over already, it is cancelled at once.
  void setUpstream(Cancellable upstream);
  /// Closes the gate, tells the source, and waits for calls on other threads.
  void cancel();
  /// Closes the gate from inside the last call.
  void finish();

private:
  [[nodiscard]] Cancellable takeUpstream();

  UnfairLock lock_;
  Cancellable upstream_ QV_GUARDED_BY(lock_);
};

}  // namespace QVFoundation::detail
