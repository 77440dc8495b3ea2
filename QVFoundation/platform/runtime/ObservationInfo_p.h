#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "QVFoundation/platform/concurrency/ThreadSafety.h"
#include "QVFoundation/platform/concurrency/UnfairLock.h"
#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/runtime/ObserverTable_p.h"

namespace QVFoundation::detail {

struct CallSlot;
class KeyValueRegistration;
class ObserverWalk;

/// What hangs on an object because others take an interest in it: the hooks of its observers, and the objects
/// that are associated with it. Made when the first one comes; an object without has a null pointer.
///
/// Who adds or removes a hook retires the table, together with the registration that has gone; the next
/// change makes another one. Walks pin the table that they walk over. What is retired is freed in order, up
/// to the first table that is still pinned: a registration that has been removed stands only in tables that
/// were retired before it.
///
/// Threads: any, but for `objectDies`.
class ObservationInfo : public ObservationHead {
public:
  using ObservationHead::ObservationHead;

  struct Retired {
    ObserverTable::Pointer table;
    std::shared_ptr<KeyValueRegistration> registration;
  };
  /// What an object leaves behind that goes while walks over its observers are on their way.
  using Orphans = std::vector<Retired>;

  /// That of an object, made if need be.
  static ObservationInfo& of(NSObject& object);
  /// Null where there is none yet.
  [[nodiscard]] static ObservationInfo* ofIfAny(const NSObject& object) noexcept {
    ObservationHead* const head = object.observations_.load(std::memory_order_acquire);
    return head != &ofObjectAlone ? static_cast<ObservationInfo*>(head) : nullptr;
  }
  /// The beginning of what hangs on an object that has something, for one who reads it once.
  [[nodiscard]] static ObservationHead& headOf(const NSObject& object) noexcept {
    return *object.observations_.load(std::memory_order_acquire);
  }
  [[nodiscard]] static bool isOfObjectAlone(const ObservationHead& head) noexcept {
    return &head == &ofObjectAlone;
  }
  /// A head that is not of the object alone is that of an `ObservationInfo`.
  [[nodiscard]] static ObservationInfo& behind(ObservationHead& head) noexcept {
    return static_cast<ObservationInfo&>(head);
  }
  /// Lets go of associated objects, ends what observes the object, and says so on standard error where
  /// somebody should have ended it.
  static void objectDies(NSObject& object) noexcept;

  /// Adds a hook; it keeps the registration alive. The key is text of the registration.
  void hook(std::shared_ptr<KeyValueRegistration> registration, std::string_view key, HookRole role);
  /// Removes the hook of a registration for a key.
  void unhook(const KeyValueRegistration& registration, std::string_view key);

  /// The last registration on the object itself for which a predicate holds; null where there is none.
  [[nodiscard]] std::shared_ptr<KeyValueRegistration> findLast(
      const std::function<bool(const KeyValueRegistration&)>& predicate);

  [[nodiscard]] std::shared_ptr<void> associatedObject(std::string_view key);
  /// Associates an object unless there is one already; returns the one that is there now.
  std::shared_ptr<void> associateIfAbsent(std::string_view key, std::shared_ptr<void> object);
  /// Removes an association if it is still that object.
  void dissociate(std::string_view key, const std::shared_ptr<void>& object);

private:
  friend class ObserverWalk;

  using Associations = std::map<std::string, std::shared_ptr<void>, std::less<>>;

  /// The table of the present hooks, made if need be and pinned in the slot.
  [[nodiscard]] const ObserverTable& makeTable(CallSlot& slot) noexcept;
  /// What is let go of after the lock.
  struct Unused {
    Retired last;
    std::vector<Retired> earlier;
  };
  /// Takes the table away together with the hook that was removed; hands over what nobody walks over any
  /// more.
  void retireTable(OwnedHook removed, Unused& unused) QV_REQUIRES(lock_);
  [[nodiscard]] std::vector<Retired> takeUnused() QV_REQUIRES(lock_);
  void freeUnused();
  std::vector<std::shared_ptr<KeyValueRegistration>> endRegistrationsOn(NSObject& object) noexcept;

  std::atomic<const ObserverTable*> table_{nullptr};  // null since hooks have come or gone
  std::atomic<bool> hasRetired_{false};

  // Taken with or without the lock of one registration, before no other.
  UnfairLock lock_;
  std::vector<OwnedHook> hooks_ QV_GUARDED_BY(lock_);  // by key, and for each in the order of registration
  std::vector<Retired> retired_ QV_GUARDED_BY(lock_);
  Associations associations_ QV_GUARDED_BY(lock_);
};

}  // namespace QVFoundation::detail
