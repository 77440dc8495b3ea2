#include <utility>

#include "QVFoundation/platform/runtime/ObserverWalk_p.h"

namespace QVFoundation::detail {

void ObserverWalk::objectGoes(const ObservationInfo& info,
                              std::unique_ptr<ObservationInfo::Orphans> orphans) noexcept {
  CallSlot::forEachWalkOfThisThread(&info, [&](void* address) {
    auto& walk = *static_cast<ObserverWalk*>(address);
    if (walk.info_ != &info) return;  // of an object that has gone, at whose address there is another one now
    walk.info_ = nullptr;
    if (orphans != nullptr) walk.orphans_ = std::move(orphans);
  });
}

}  // namespace QVFoundation::detail
