#include <utility>

#include "QVFoundation/observation/ObserverMap_p.h"
#include "QVFoundation/platform/runtime/ObservationInfo_p.h"

namespace QVFoundation::detail {

namespace {

constexpr std::string_view associationKey = "org.qvfoundation.observation.observerMap";

}  // namespace

ObserverMap::~ObserverMap() {
  for (const auto& [token, trampoline] : trampolines_) trampoline->cancelObservation();
}

std::shared_ptr<ObserverMap> ObserverMap::ofIfAny(NSObject& object) {
  ObservationInfo* info = ObservationInfo::ofIfAny(object);
  return info != nullptr ? std::static_pointer_cast<ObserverMap>(info->associatedObject(associationKey))
                         : nullptr;
}

bool ObserverMap::exchange(const std::string& token, std::shared_ptr<KDObserverTrampoline>& trampoline) {
  const UnfairLockGuard guard(lock_);
  if (isDetached_) return false;
  trampolines_[token].swap(trampoline);
  return true;
}

void ObserverMap::start(NSObject& object, const std::string& token,
                        const std::shared_ptr<KDObserverTrampoline>& trampoline) {
  ObservationInfo& info = ObservationInfo::of(object);
  auto replaced = trampoline;
  for (bool isStored = false; !isStored;) {
    auto map = info.associatedObject(associationKey);
    if (map == nullptr) map = info.associateIfAbsent(associationKey, std::make_shared<ObserverMap>());
    isStored = static_cast<ObserverMap*>(map.get())->exchange(token, replaced);
  }
  if (replaced != nullptr && replaced != trampoline) replaced->cancelObservation();
  try {
    trampoline->begin();
  } catch (...) {
    trampoline->cancelObservation();
    take(object, token, trampoline.get());
    throw;
  }
  // Who has cancelled it before it was stored has not found it.
  if (trampoline->isCancelled()) take(object, token, trampoline.get());
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
    map->isDetached_ = map->trampolines_.empty();
    if (!map->isDetached_) return taken;
  }
  ObservationInfo::of(object).dissociate(associationKey, map);
  return taken;
}

}  // namespace QVFoundation::detail
