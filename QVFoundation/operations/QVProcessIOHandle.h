#pragma once

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/processes/NSTaskStream.h"

namespace QVFoundation {

/// What an operation gives its program as a standard stream, and what it does with it.
///
/// `handle` and `readToEndSync` are all that is needed. One that overrides the rest as well is served while
/// the program runs, so that the program never waits for a full pipe, and lets go when the operation is
/// cancelled. Of one that is the program's input only `handle` is used.
///
/// Threads: `stopReading` on any, at any time; the rest on the thread that runs the operation, `handle` when
/// it is made.
/// Ownership: the operation keeps its handles for output and errors, and of that for input what `handle`
/// gave.
/// Errors: what they throw is the operation's failure, and ends the program; `stopReading` throws nothing.
class QV_EXPORT QVProcessIOHandle {
public:
  QVProcessIOHandle() = default;
  QVProcessIOHandle(const QVProcessIOHandle&) = delete;
  QVProcessIOHandle& operator=(const QVProcessIOHandle&) = delete;
  virtual ~QVProcessIOHandle();

  /// What the program gets.
  [[nodiscard]] virtual NSTaskStream handle() const = 0;
  /// Reads what is left; called once the program has ended, or the operation was cancelled.
  virtual void readToEndSync() = 0;

  /// A descriptor that tells, by being readable, that there is something to read or the end was reached; -1
  /// for none, or none any more. It is asked for before each wait.
  [[nodiscard]] virtual int descriptor() const { return -1; }
  /// Reads some of what is there, without waiting.
  virtual void readAvailable() {}
  /// Has a `readToEndSync` that waits, or is yet to come, return with what is there at this moment. It is
  /// called where the program has ended and the operation is cancelled, but others that it has started may
  /// still hold the pipe open. Where it does nothing, as here, a cancelled operation waits for them too.
  virtual void stopReading() {}
};

}  // namespace QVFoundation
