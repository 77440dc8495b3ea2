#include "QVFoundation/observation/QVObservationInfo.h"

#include <functional>
#include <utility>

#include "QVFoundation/platform/runtime/NSClass.h"

namespace QVFoundation {

QVObservationInfo::QVObservationInfo(const std::shared_ptr<NSObject>& target, std::string keyPath,
                                     std::string identifier)
    : target_(target), keyPath_(std::move(keyPath)), identifier_(std::move(identifier)) {}

std::shared_ptr<QVObservationInfo> QVObservationInfo::infoWithTarget(const std::shared_ptr<NSObject>& target,
                                                                     std::string keyPath,
                                                                     std::string identifier) {
  return std::make_shared<QVObservationInfo>(target, std::move(keyPath), std::move(identifier));
}

const NSClass& QVObservationInfo::staticClass() {
  static const NSClass& cls =
      *new NSClass(NSClass::define<QVObservationInfo>("QVObservationInfo", NSObject::staticClass())
                       .readOnly("target", &QVObservationInfo::target)
                       .readOnly("keyPath", &QVObservationInfo::keyPath)
                       .readOnly("identifier", &QVObservationInfo::identifier)
                       .readOnly("description", &QVObservationInfo::description));
  return cls;
}

bool QVObservationInfo::isEqual(const NSObject& other) const {
  const auto* info = dynamic_cast<const QVObservationInfo*>(&other);
  return info != nullptr && !target_.owner_before(info->target_) && !info->target_.owner_before(target_) &&
         identifier_ == info->identifier_ && keyPath_ == info->keyPath_;
}

std::size_t QVObservationInfo::hash() const {
  return std::hash<std::string>{}(keyPath_) ^ std::hash<std::string>{}(identifier_) << 1;
}

Dictionary QVObservationInfo::debugDictionary() const {
  Dictionary entries = QVObject::debugDictionary();
  entries.set("target", target());
  entries.set("keyPath", keyPath_);
  entries.set("identifier", identifier_);
  return entries;
}

}  // namespace QVFoundation
