#include <algorithm>
#include <utility>

#include "QVFoundation/platform/concurrency/CallSlot_p.h"
#include "QVFoundation/platform/runtime/KeyValueRegistration_p.h"
#include "QVFoundation/platform/runtime/ObservationInfo_p.h"
#include "QVFoundation/platform/runtime/ObserverWalk_p.h"
#include "QVFoundation/platform/tracing/NSLog.h"

namespace QVFoundation::detail {

namespace {

bool isWantedBefore(const ObserverHook& hook) {
  return hook.registration->has(NSKeyValueObservingOptionOld) ||
         hook.registration->has(NSKeyValueObservingOptionPrior);
}

}  // namespace

ObservationInfo& ObservationInfo::of(NSObject& object) {
  if (ObservationInfo* info = ofIfAny(object)) return *info;
  auto made = std::make_unique<ObservationInfo>();
  ObservationInfo* existing = nullptr;
  if (object.observations_.compare_exchange_strong(existing, made.get(), std::memory_order_acq_rel)) {
    return *made.release();
  }
  return *existing;
}

void ObservationInfo::hook(std::shared_ptr<KeyValueRegistration> registration, std::string_view key,
                           HookRole role) {
  Retired unused;  // goes after the lock
  const UnfairLockGuard guard(lock_);
  const auto place = std::upper_bound(
      hooks_.begin(), hooks_.end(), key,
      [](std::string_view a, const ObserverHook& b) { return ObserverTable::precedes(a, b.key); });
  const auto index = place - hooks_.begin();
  owners_.reserve(owners_.size() + 1);
  hooks_.insert(place, {key, registration.get(), role});
  owners_.insert(owners_.begin() + index, std::move(registration));
  unused = replaceTable(nullptr);
}

// The object may be on its way out on another thread, which waits for the registration's lock if it still finds
// the registration here: so nothing of this object may be touched once the lock is open.
void ObservationInfo::unhook(const KeyValueRegistration& registration, std::string_view key) {
  Retired unused;
  const UnfairLockGuard guard(lock_);
  const auto hook = std::find_if(hooks_.begin(), hooks_.end(), [&](const ObserverHook& candidate) {
    return candidate.registration == &registration && candidate.key == key;
  });
  if (hook == hooks_.end()) return;
  const auto owner = owners_.begin() + (hook - hooks_.begin());
  auto removed = std::move(*owner);
  hooks_.erase(hook);
  owners_.erase(owner);
  unused = replaceTable(std::move(removed));
}

ObservationInfo::Retired ObservationInfo::replaceTable(std::shared_ptr<KeyValueRegistration> removed) {
  wantsToKnowBefore_.store(std::any_of(hooks_.begin(), hooks_.end(), isWantedBefore),
                           std::memory_order_release);
  auto table = ObserverTable::make(hooks_);
  Retired last{ObserverTable::Pointer(table_.exchange(table.release())), std::move(removed)};
  if (retired_.empty() && (last.table == nullptr || !CallSlot::isPinned(last.table.get()))) return last;
  retired_.push_back(std::move(last));
  hasRetired_.store(true, std::memory_order_release);
  return {};
}

std::vector<ObservationInfo::Retired> ObservationInfo::takeUnused() {
  const auto firstUsed = std::find_if(retired_.begin(), retired_.end(), [](const Retired& retired) {
    return retired.table != nullptr && CallSlot::isPinned(retired.table.get());
  });
  std::vector<Retired> unused(std::make_move_iterator(retired_.begin()), std::make_move_iterator(firstUsed));
  retired_.erase(retired_.begin(), firstUsed);
  hasRetired_.store(!retired_.empty(), std::memory_order_release);
  return unused;
}

void ObservationInfo::freeUnused() {
  std::vector<Retired> unused;  // goes after the lock
  const UnfairLockGuard guard(lock_);
  unused = takeUnused();
}

std::shared_ptr<KeyValueRegistration> ObservationInfo::findLast(
    const std::function<bool(const KeyValueRegistration&)>& predicate) {
  const UnfairLockGuard guard(lock_);
  const auto found = std::find_if(owners_.rbegin(), owners_.rend(),
                                  [&](const auto& registration) { return predicate(*registration); });
  return found != owners_.rend() ? *found : nullptr;
}

std::shared_ptr<void> ObservationInfo::associatedObject(std::string_view key) {
  const UnfairLockGuard guard(lock_);
  const auto entry = associations_.find(key);
  return entry != associations_.end() ? entry->second : nullptr;
}

std::shared_ptr<void> ObservationInfo::associateIfAbsent(std::string_view key, std::shared_ptr<void> object) {
  const UnfairLockGuard guard(lock_);
  return associations_.try_emplace(std::string(key), std::move(object)).first->second;
}

void ObservationInfo::dissociate(std::string_view key, const std::shared_ptr<void>& object) {
  const UnfairLockGuard guard(lock_);
  const auto entry = associations_.find(key);
  if (entry != associations_.end() && entry->second == object) associations_.erase(entry);
}

ObservationInfo::Owners ObservationInfo::endRegistrationsOn(NSObject& object) noexcept {
  Owners owners;
  {
    const UnfairLockGuard guard(lock_);
    owners = owners_;
  }
  std::string forgotten;
  const NSClass* cls = nullptr;
  for (const auto& registration : owners) {
    if (!registration->isOn(object) || !registration->unlink() || registration->endsWithObject()) continue;
    cls = &registration->rootClass();
    forgotten.append(forgotten.empty() ? "\"" : ", \"").append(registration->keyPath()) += '"';
  }
  if (cls != nullptr) {
    NSLog("<%@: %p> went away while it was observed. Nobody will hear of %@ any more.", cls->name(), &object,
          forgotten);
  }
  return owners;
}

void ObservationInfo::objectDies(NSObject& object) noexcept {
  std::unique_ptr<ObservationInfo> info(ofIfAny(object));
  Associations associations;
  {
    const UnfairLockGuard guard(info->lock_);
    associations.swap(info->associations_);
  }
  associations.clear();
  auto owners = info->endRegistrationsOn(object);

  auto orphans = std::make_unique<Orphans>();
  {
    const UnfairLockGuard guard(info->lock_);
    orphans->swap(info->retired_);
    orphans->push_back({ObserverTable::Pointer(info->table_.load()), nullptr});
  }
  for (auto& owner : owners) orphans->push_back({nullptr, std::move(owner)});
  ObserverWalk::objectGoes(*info, std::move(orphans));
}

}  // namespace QVFoundation::detail
