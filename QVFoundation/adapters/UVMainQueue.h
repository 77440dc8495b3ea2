#pragma once

#include <uv.h>

#include "QVFoundation/platform/concurrency/MainQueue.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/runtime/NSErrorKeys.h"
#include "QVFoundation/platform/runtime/NSException.h"

namespace QVFoundation {

/// Has a loop of libuv run what is sent to `DispatchQueue::main()`, for as long as this lives.
///
/// ```cpp
/// const QVFoundation::UVMainQueue mainQueue(uv_default_loop());
/// ```
///
/// It keeps `uv_run` from returning: work in the background may send more at any time. Destroying this lets the
/// loop end when it has nothing else to do, and so does `uv_stop`. Where no loop runs, blocks wait for the next
/// one. A block that waits for others to run calls `runMainQueue`, for libuv's loops do not run within each
/// other.
///
/// The header needs libuv 1.x; the library itself does not.
///
/// Threads: made and destroyed on the main thread, which runs the loop. The loop outlives this, and is run once
/// more before it is closed, as after each `uv_close`.
class UVMainQueue {
public:
  /// Raises `NSException` on another thread, and throws `NSError` where the loop takes no more handles or there
  /// is no main queue to be had.
  explicit UVMainQueue(uv_loop_t* loop) {
    if (!isMainThread()) {
      throw NSException(NSInternalInconsistencyException,
                        "UVMainQueue must be made on the main thread, in whose loop the main queue runs");
    }
    const int descriptor = mainQueueFileDescriptor();
    poll_ = new uv_poll_t;
    if (const int code = uv_poll_init(loop, poll_, descriptor); code < 0) {
      delete poll_;
      throw NSError(NSPOSIXErrorDomain, -code,
                    {{NSLocalizedFailureErrorKey, "The main queue cannot be attached to the loop."}});
    }
    uv_poll_start(poll_, UV_READABLE, [](uv_poll_t*, int, int) { drainMainQueue(); });
  }
  UVMainQueue(const UVMainQueue&) = delete;
  UVMainQueue& operator=(const UVMainQueue&) = delete;
  ~UVMainQueue() {
    uv_close(reinterpret_cast<uv_handle_t*>(poll_),
             [](uv_handle_t* handle) { delete reinterpret_cast<uv_poll_t*>(handle); });
  }

private:
  uv_poll_t* poll_;  // the loop lets go of it some time after this is gone
};

}  // namespace QVFoundation
