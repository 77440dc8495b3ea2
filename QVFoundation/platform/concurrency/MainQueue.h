#pragma once

#include "QVFoundation/platform/Export.h"

/// How the main thread comes to run what is sent to `DispatchQueue::main()`.
///
/// The main loop belongs to the application. One that has none of its own calls `runMainQueue`; one that has
/// watches a descriptor:
///
/// ```cpp
/// // Whenever mainQueueFileDescriptor() is readable:
/// drainMainQueue();
/// ```
///
/// Threads: `runMainQueue` and `drainMainQueue` on the main thread alone; elsewhere they raise `NSException`
/// named `NSInternalInconsistencyException`. The others from any thread.
/// Errors: the first of all uses of the main queue throws `NSError` where the system has no descriptor to
/// give; the next one tries again.
namespace QVFoundation {

/// Whether the calling thread is the one that the process began with.
[[nodiscard]] QV_EXPORT bool isMainThread() noexcept;

/// Runs blocks as they come until `stopMainQueue` is called.
QV_EXPORT void runMainQueue();
/// Has the innermost `runMainQueue` return once all has run that was sent to the main queue before. Where
/// none runs then, because `drainMainQueue` has come to it, the next one returns at once. Each call ends one
/// run.
QV_EXPORT void stopMainQueue();

/// Runs the blocks that wait now. What they add waits for the next time, so that a block that sends itself
/// again does not keep the main loop from its other work.
QV_EXPORT void drainMainQueue();
/// Readable while blocks wait. It belongs to the library: watch it, and neither read nor close it.
[[nodiscard]] QV_EXPORT int mainQueueFileDescriptor();

}  // namespace QVFoundation
