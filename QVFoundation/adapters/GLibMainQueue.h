#pragma once

#include <glib-unix.h>
#include <glib.h>

#include "QVFoundation/platform/concurrency/MainQueue.h"
#include "QVFoundation/platform/runtime/NSException.h"

namespace QVFoundation {

/// Has GLib's main loop, and with it GTK's and GIO's, run what is sent to `DispatchQueue::main()`, for as long
/// as this lives.
///
/// ```cpp
/// const QVFoundation::GLibMainQueue mainQueue;
/// ```
///
/// Whichever loop iterates the context serves the main queue: one after the other, and one within another, such
/// as that of a modal dialogue which a block of the main queue runs. Where none runs, blocks wait for the next
/// one; with two of these on one context, each block still runs once.
///
/// The header needs GLib 2.36 (`pkg-config glib-2.0`); the library itself does not.
///
/// Threads: made and destroyed on the main thread, which iterates the context.
class GLibMainQueue {
public:
  /// For a context of the application's own, or GLib's default one, which is that of GTK. Blocks run before
  /// what waits with a greater number for its priority: GTK redraws with `GDK_PRIORITY_REDRAW`, 120.
  /// Raises `NSException` on another thread, throws `NSError` where there is no main queue to be had.
  explicit GLibMainQueue(GMainContext* context = nullptr, int priority = G_PRIORITY_DEFAULT) {
    if (!isMainThread()) {
      throw NSException(NSInternalInconsistencyException,
                        "GLibMainQueue must be made on the main thread, in whose loop the main queue runs");
    }
    source_ = g_unix_fd_source_new(mainQueueFileDescriptor(), G_IO_IN);
    const GUnixFDSourceFunc drain = [](int, GIOCondition, void*) -> gboolean {
      drainMainQueue();
      return G_SOURCE_CONTINUE;
    };
    g_source_set_callback(source_, G_SOURCE_FUNC(drain), nullptr, nullptr);
    g_source_set_name(source_, "QVFoundation main queue");
    g_source_set_priority(source_, priority);
    g_source_set_can_recurse(source_, TRUE);
    g_source_attach(source_, context);
  }
  GLibMainQueue(const GLibMainQueue&) = delete;
  GLibMainQueue& operator=(const GLibMainQueue&) = delete;
  ~GLibMainQueue() {
    g_source_destroy(source_);
    g_source_unref(source_);
  }

private:
  GSource* source_;
};

}  // namespace QVFoundation
