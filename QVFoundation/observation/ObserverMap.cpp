#include <utility>

#include "QVFoundation/observation/ObserverMap_p.h"
#include "QVFoundation/platform/runtime/ObservationInfo_p.h"

namespace QVFoundation::detail {

namespace {

constexpr std::string_view associationKey = "org.qvfoundation.observation.observerMap";

}  // namespace

ObserverMap::~ObserverMap() {
  for (const auto& [token, trampoline] : trampolines_) trampoline->objectGoes();
}

std::shared_ptr<ObserverMap> ObserverMap::ofIfAny(const NSObject& object) {
  ObservationInfo* info = ObservationInfo::ofIfAny(object);
  return info != nullptr ? std::static_pointer_cast<ObserverMap>(info->associatedObject(associationKey))
                         : nullptr;
}

Dictionary ObserverMap::content() const {
  Dictionary content;
  const UnfairLockGuard guard(lock_);
  for (const auto& [token, trampoline] : trampolines_) content.set(token, trampoline);
  return content;
}

bool ObserverMap::exchange(const std::string& token, std::shared_ptr<KDObserverTrampoline>& trampoline) {
  const UnfairLockGuard guard(lock_);
  if (isDetached_) return false;
  // Whoever cancels one takes it out afterwards, and will not find this one.
  if (!trampoline->isCancelled()) trampolines_[token].swap(trampoline);
  return true;
}

void ObserverMap::start(NSObject& object, const std::string& token,
                        const std::shared_ptr<KDObserverTrampoline>& trampoline) {
  ObservationInfo& info = ObservationInfo::of(object);
  std::shared_ptr<void> map;
  auto replaced = trampoline;
  do {
    map = info.associatedObject(associationKey);
    if (map == nullptr) map = info.associateIfAbsent(associationKey, std::make_shared<ObserverMap>());
  } while (!static_cast<ObserverMap*>(map.get())->exchange(token, replaced));
  if (replaced == trampoline) return static_cast<ObserverMap*>(map.get())->detachIfEmpty(object);

  KDObserverTrampoline::Released released;
  if (replaced != nullptr) replaced->unlink(released);
  try {
    trampoline->begin();
  } catch (...) {
    trampoline->unlink(released);
    take(object, token, trampoline.get());
    throw;
  }
  // Not before the new one has begun: a change must not be missed while the task of the old one takes its
  // time.
  if (replaced != nullptr) replaced->awaitEnd();
}

std::shared_ptr<KDObserverTrampoline> ObserverMap::take(NSObject& object, std::string_view token,
                                                        const KDObserverTrampoline* onlyThis) {
  const auto map = ofIfAny(object);
  if (map == nullptr) return nullptr;
  std::shared_ptr<KDObserverTrampoline> taken;
  {
    const UnfairLockGuard guard(map->lock_);
    const auto entry = map->trampolines_.find(token);
    if (entry == map->trampolines_.end()) return nullptr;
    if (onlyThis != nullptr && entry->second.get() != onlyThis) return nullptr;
    taken = std::move(entry->second);
    map->trampolines_.erase(entry);
  }
  map->detachIfEmpty(object);
  return taken;
}

void ObserverMap::detachIfEmpty(NSObject& object) {
  {
    const UnfairLockGuard guard(lock_);
    isDetached_ = isDetached_ || trampolines_.empty();
    if (!isDetached_) return;
  }
  ObservationInfo::of(object).dissociate(associationKey, shared_from_this());
}

}  // namespace QVFoundation::detail
