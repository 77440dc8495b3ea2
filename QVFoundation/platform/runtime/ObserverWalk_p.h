#pragma once

#include <atomic>
#include <memory>
#include <span>
#include <string_view>
#include <utility>

#include "QVFoundation/platform/concurrency/CallSlot_p.h"
#include "QVFoundation/platform/runtime/ObservationInfo_p.h"
#include "QVFoundation/platform/runtime/ObserverTable_p.h"

namespace QVFoundation::detail {

/// One notification on its way: a walk over the observers of an object, which lasts longer than the object
/// does if one of them lets go of it.
///
/// Threads: belongs to the thread that made it.
class ObserverWalk {
public:
  explicit ObserverWalk(ObservationInfo& info)
      : info_(&info), slot_(CallSlot::take(&info)), table_(pinnedTable(info, slot_)) {
    slot_.walk = this;
  }
  ObserverWalk(const ObserverWalk&) = delete;
  ObserverWalk& operator=(const ObserverWalk&) = delete;
  ~ObserverWalk() {
    slot_.pinned.store(nullptr, std::memory_order_release);
    slot_.giveBack();
    CallSlot::orderThisThread();
    if (info_ != nullptr && info_->hasRetired_.load(std::memory_order_acquire)) info_->freeUnused();
  }

  [[nodiscard, gnu::always_inline]] std::span<const ObserverHook> hooksFor(
      std::string_view key) const noexcept {
    return table_.hooksFor(key);
  }
  /// Marks a listener as being called by this walk; see `CallSlot`.
  [[nodiscard]] CallSlot& slot() noexcept { return slot_; }
  /// True when the object has gone meanwhile.
  [[nodiscard]] bool objectIsGone() const noexcept { return info_ == nullptr; }

  /// Tells the walks of this thread over an object's observers that the object goes. The outermost keeps what
  /// they still walk over.
  static void objectGoes(const ObservationInfo& info,
                         std::unique_ptr<ObservationInfo::Orphans> orphans) noexcept;

private:
  [[nodiscard]] static const ObserverTable& pinnedTable(ObservationInfo& info, CallSlot& slot) {
    const ObserverTable* table = info.table_.load(std::memory_order_acquire);
    while (table != nullptr) {
      slot.pinned.store(table, std::memory_order_release);
      std::atomic_thread_fence(std::memory_order_seq_cst);
      const ObserverTable* const pinned = std::exchange(table, info.table_.load(std::memory_order_acquire));
      if (table == pinned) return *table;
    }
    return info.makeTable(slot);
  }

  ObservationInfo* info_;
  CallSlot& slot_;
  const ObserverTable& table_;
  std::unique_ptr<ObservationInfo::Orphans> orphans_;  // of the object, if it went during this walk
};

}  // namespace QVFoundation::detail
