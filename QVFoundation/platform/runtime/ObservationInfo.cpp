#include <algorithm>
#include <utility>

#include "QVFoundation/platform/concurrency/CallSlot_p.h"
#include "QVFoundation/platform/runtime/FirstObservations_p.h"
#include "QVFoundation/platform/runtime/KeyValueRegistration_p.h"
#include "QVFoundation/platform/runtime/ObservationInfo_p.h"
#include "QVFoundation/platform/runtime/ObserverWalk_p.h"
#include "QVFoundation/platform/tracing/NSLog.h"

namespace QVFoundation::detail {

namespace {

/// Looks from both ends at once: observers mostly leave in the order in which they came, or the other way
/// round.
template <class Hooks, class Predicate>
auto findFromEnds(Hooks& hooks, const Predicate& predicate) {
  auto front = hooks.begin();
  auto back = hooks.end();
  while (front != back) {
    if (predicate(*front)) return front;
    if (predicate(*--back)) return back;
    if (front != back) ++front;
  }
  return hooks.end();
}

bool isWantedBefore(const ObserverHook& hook) {
  return hook.registration->has(NSKeyValueObservingOptionOld) ||
         hook.registration->has(NSKeyValueObservingOptionPrior);
}

}  // namespace

ObservationHead ObservationHead::ofObjectAlone(true);

constinit std::atomic<std::uint64_t> firstObservations{1};

ObservationInfo& ObservationInfo::of(NSObject& object) {
  if (ObservationInfo* info = ofIfAny(object)) return *info;
  ObservationHead* existing = object.mayBeObserved() ? &ofObjectAlone : nullptr;
  auto made = std::make_unique<ObservationInfo>(existing != nullptr);
  if (object.observations_.compare_exchange_strong(existing, made.get(), std::memory_order_acq_rel)) {
    firstObservations.fetch_add(1);
    return *made.release();
  }
  return *static_cast<ObservationInfo*>(existing);
}

void ObservationInfo::hook(std::shared_ptr<KeyValueRegistration> registration, std::string_view key,
                           HookRole role) {
  Unused unused;
  const UnfairLockGuard guard(lock_);
  const auto place = std::upper_bound(
      hooks_.begin(), hooks_.end(), key,
      [](std::string_view a, const OwnedHook& b) { return ObserverTable::precedes(a, b.hook.key); });
  const ObserverHook hook{key, registration.get(), role};
  hooks_.insert(place, {hook, std::move(registration)});
  if (isWantedBefore(hook)) wantsToKnowBefore.store(true, std::memory_order_release);
  retireTable({}, unused);
}

// The object may be on its way out on another thread, which waits for the registration's lock if it still
// finds the registration here: so nothing of this object may be touched once the lock is open.
void ObservationInfo::unhook(const KeyValueRegistration& registration, std::string_view key) {
  Unused unused;
  const UnfairLockGuard guard(lock_);
  const auto hooked = findFromEnds(hooks_, [&](const OwnedHook& candidate) {
    return candidate.hook.registration == &registration && candidate.hook.key == key;
  });
  if (hooked == hooks_.end()) return;
  const bool wasWantedBefore = isWantedBefore(hooked->hook);
  auto removed = std::move(*hooked);
  hooks_.erase(hooked);
  if (wasWantedBefore) {
    const bool anyIs = std::any_of(hooks_.begin(), hooks_.end(),
                                   [](const OwnedHook& other) { return isWantedBefore(other.hook); });
    wantsToKnowBefore.store(anyIs, std::memory_order_release);
  }
  retireTable(std::move(removed), unused);
}

const ObserverTable& ObservationInfo::makeTable(CallSlot& slot) noexcept {
  const UnfairLockGuard guard(lock_);
  const ObserverTable* table = table_.load(std::memory_order_relaxed);
  if (table == nullptr) {
    table = ObserverTable::make(hooks_).release();
    for (OwnedHook& owned : hooks_) owned.hasBeenInTable = true;
    table_.store(table);
  }
  slot.pinned.store(table, std::memory_order_release);
  std::atomic_thread_fence(std::memory_order_seq_cst);
  return *table;
}

void ObservationInfo::retireTable(OwnedHook removed, Unused& unused) {
  Retired& last = unused.last;
  last.registration = std::move(removed.owner);
  if (table_.load(std::memory_order_relaxed) != nullptr) last.table.reset(table_.exchange(nullptr));
  if (last.table == nullptr && !removed.hasBeenInTable) return;
  if (retired_.empty() && (last.table == nullptr || !CallSlot::isPinned(last.table.get()))) return;
  retired_.push_back(std::exchange(last, {}));
  hasRetired_.store(true, std::memory_order_release);
  // A walk on another thread that ends now may have looked for retired ones before: then it is seen here that
  // it has ended.
  if (CallSlot::othersAreIn(this)) CallSlot::orderAllThreads();
  unused.earlier = takeUnused();
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
  const auto found = std::find_if(hooks_.rbegin(), hooks_.rend(),
                                  [&](const OwnedHook& hooked) { return predicate(*hooked.owner); });
  return found != hooks_.rend() ? found->owner : nullptr;
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

std::vector<std::shared_ptr<KeyValueRegistration>> ObservationInfo::endRegistrationsOn(
    NSObject& object) noexcept {
  std::vector<std::shared_ptr<KeyValueRegistration>> owners;
  {
    const UnfairLockGuard guard(lock_);
    owners.reserve(hooks_.size());
    for (const OwnedHook& hooked : hooks_) owners.push_back(hooked.owner);
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
  if (info == nullptr) return;
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
