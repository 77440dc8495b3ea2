#pragma once

#include <atomic>
#include <cstddef>

#include "QVFoundation/platform/concurrency/Listener.h"

namespace QVFoundation::detail {

/// What one thread is calling at one depth of its calls, for others to see.
///
/// Each thread has a chain of slots, the outermost call first, which other threads may read at any moment;
/// slots are never freed, only handed to another thread when theirs has ended. Calling many listeners that
/// stand in one table takes one slot: it names the table's owner (`group`), pins the table, and then names
/// one listener after the other.
///
/// A thread that calls writes its slot with plain stores and then looks whether the listener has been
/// removed; one that removes marks the listener and then looks at the slots. That no call slips through
/// between is the remover's burden: `orderAllThreads` makes every running thread's stores visible before he
/// looks.
///
/// Threads: a slot is written by its thread alone, always with release: who reads there that a call is over
/// also sees all that the call did.
struct CallSlot {
  void* walk = nullptr;  // what the thread itself keeps about the call
  std::atomic<const void*> group{nullptr};
  std::atomic<const void*> pinned{nullptr};
  std::atomic<const Listener*> current{nullptr};
  std::atomic<CallSlot*> inner{nullptr};  // for the calls made from inside of this one's

  /// A slot for this thread's next call, and its return. Slots are returned in reverse order. Who takes one
  /// puts a sequentially consistent fence before he looks into the table, or looks there under the lock under
  /// which others unlink: either he sees what they have unlinked, or they see him.
  [[nodiscard]] static CallSlot& take(const void* group);
  /// With the fence, where there is no table to pin.
  [[nodiscard]] static CallSlot& takeVisibly(const void* group) {
    CallSlot& slot = take(group);
    std::atomic_thread_fence(std::memory_order_seq_cst);
    return slot;
  }
  void giveBack() noexcept;

  [[nodiscard]] static bool threadIsCalling() noexcept;
  /// Hands over the `walk` of each call of this thread in the table of that owner, the outermost first.
  template <class Body>
  static void forEachWalkOfThisThread(const void* group, const Body& body);

  /// Names what is going to be called; false where it has been removed meanwhile.
  [[nodiscard]] bool enter(const Listener& listener) noexcept {
    current.store(&listener, std::memory_order_release);
    orderThisThread();
    return !listener.isRemoved();
  }
  void leave(const Listener& listener) noexcept {
    current.store(nullptr, std::memory_order_release);
    orderThisThread();
    if (listener.awaited_.load(std::memory_order_acquire)) [[unlikely]]
      wakeWaiting();
  }

  // Whoever asks has unlinked before what he asks about, with a sequentially consistent store or under a lock
  // that those take who look for it.
  [[nodiscard]] static bool isPinned(const void* table) noexcept;
  /// Whether another thread walks over the table of that owner, or over any if it is null.
  [[nodiscard]] static bool othersAreIn(const void* group) noexcept;
  /// Sleeps while another thread calls the listener, which is removed and awaited.
  static void awaitEndOf(const Listener& listener) noexcept;

  /// Keeps a thread's loads behind its earlier stores, together with `orderAllThreads`, which bears the cost.
  static void orderThisThread() noexcept {
    std::atomic_signal_fence(std::memory_order_seq_cst);
    if (!kernelOrdersThreads) [[unlikely]]
      std::atomic_thread_fence(std::memory_order_seq_cst);
  }
  /// Makes what every running thread has stored so far visible to this one.
  static void orderAllThreads() noexcept;

private:
  static const bool kernelOrdersThreads;
  static void wakeWaiting() noexcept;
};

/// The slots of one thread. Records are never freed: a new thread takes one that an ended thread has left.
struct CallRecord {
  CallSlot first;
  CallSlot* unused = &first;  // the outermost that is not in use; the thread's own
  std::atomic<bool> hasThread{true};
  CallRecord* next = nullptr;  // in the list of all, fixed once it is in there

  [[nodiscard]] static CallRecord& ofThisThread() { return own != nullptr ? *own : take(); }

  static constinit thread_local CallRecord* own;

private:
  static CallRecord& take();
};

inline CallSlot& CallSlot::take(const void* group) {
  CallRecord& record = CallRecord::ofThisThread();
  CallSlot& slot = *record.unused;
  CallSlot* next = slot.inner.load(std::memory_order_relaxed);
  if (next == nullptr) [[unlikely]] {
    next = new CallSlot;
    slot.inner.store(next, std::memory_order_release);
  }
  record.unused = next;
  slot.group.store(group, std::memory_order_release);
  return slot;
}

inline void CallSlot::giveBack() noexcept {
  group.store(nullptr, std::memory_order_release);
  CallRecord::own->unused = this;
}

inline bool CallSlot::threadIsCalling() noexcept {
  return CallRecord::own != nullptr && CallRecord::own->unused != &CallRecord::own->first;
}

template <class Body>
void CallSlot::forEachWalkOfThisThread(const void* group, const Body& body) {
  if (!threadIsCalling()) return;
  for (CallSlot* slot = &CallRecord::own->first; slot != CallRecord::own->unused; slot = slot->inner) {
    if (slot->group.load(std::memory_order_relaxed) == group) body(slot->walk);
  }
}

}  // namespace QVFoundation::detail
