#pragma once

#include <atomic>

#include "QVFoundation/platform/Export.h"

/// Internal: installed because other headers need it.
///
/// What is called back from any thread and may be removed at any moment: observers, subscribers.
///
/// Threads: all of it from any thread.
namespace QVFoundation::detail {

struct CallSlot;

/// The part of a registration that tells whether it may still be called, and that can wait for calls to end.
///
/// A removal that has to be complete when it returns calls `remove` and then `awaitCalls`. Who lists the
/// listener drops it from his list before, or skips those that are removed.
///
/// Ownership: whoever calls a listener owns it for as long as the call lasts.
class QV_EXPORT Listener {
public:
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  [[nodiscard]] bool isRemoved() const noexcept { return removed_.load(std::memory_order_acquire); }

  /// From now on no call begins. True for the first removal.
  bool remove() noexcept { return !removed_.exchange(true); }

  /// Waits until no other thread is inside a call of this removed listener. From inside a call of any
  /// listener it returns at once, so that two that remove each other cannot wait for each other.
  void awaitCalls() const noexcept { awaitCallsIn(this); }
  /// The same for a listener that is called from a table with that owner; null stands for any table. See
  /// `CallSlot`.
  void awaitCallsIn(const void* group) const noexcept;

protected:
  Listener() = default;
  ~Listener() = default;

private:
  friend struct CallSlot;

  std::atomic<bool> removed_{false};
  mutable std::atomic<bool> awaited_{false};  // somebody sleeps until a call has ended
};

/// While it exists, no removal of this thread waits for calls to end: for those who hold a lock that the
/// called may want.
///
/// Threads: belongs to the thread that made it.
class QV_EXPORT CallsNotAwaited {
public:
  [[nodiscard]] CallsNotAwaited() noexcept;
  CallsNotAwaited(const CallsNotAwaited&) = delete;
  CallsNotAwaited& operator=(const CallsNotAwaited&) = delete;
  ~CallsNotAwaited();
};

/// One call of one listener.
///
/// ```cpp
/// const ListenerCall call(*listener);
/// if (call) listener->block(notification);
/// ```
///
/// Threads: belongs to the thread that made it.
class QV_EXPORT ListenerCall {
public:
  [[nodiscard]] explicit ListenerCall(const Listener& listener);
  ListenerCall(const ListenerCall&) = delete;
  ListenerCall& operator=(const ListenerCall&) = delete;
  ~ListenerCall();

  /// False where the listener has been removed: it must not be called.
  [[nodiscard]] explicit operator bool() const noexcept { return mayCall_; }

private:
  const Listener& listener_;
  CallSlot& slot_;
  const bool mayCall_;
};

}  // namespace QVFoundation::detail
