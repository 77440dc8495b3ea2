#pragma once

#include <memory>
#include <string>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/values/QVObject.h"

namespace QVFoundation {

/// The record of one observation of a `QVObservationManager`: what is observed, and under which identifier.
///
/// Threads: immutable.
/// Ownership: the target is not kept.
class QV_EXPORT QVObservationInfo : public QVObject {
public:
  QVObservationInfo(const std::shared_ptr<NSObject>& target, std::string keyPath, std::string identifier);
  [[nodiscard]] static std::shared_ptr<QVObservationInfo> infoWithTarget(
      const std::shared_ptr<NSObject>& target, std::string keyPath, std::string identifier);

  static const NSClass& staticClass();
  [[nodiscard]] const NSClass& dynamicClass() const override { return staticClass(); }

  /// Null once gone.
  [[nodiscard]] std::shared_ptr<NSObject> target() const noexcept { return target_.lock(); }
  [[nodiscard]] bool targetIsGone() const noexcept { return target_.expired(); }
  [[nodiscard]] const std::string& keyPath() const noexcept { return keyPath_; }
  /// As the manager has expanded it.
  [[nodiscard]] const std::string& identifier() const noexcept { return identifier_; }

  /// Equal to another one of the same target (by identity), identifier and key path.
  [[nodiscard]] bool isEqual(const NSObject& other) const override;
  [[nodiscard]] std::size_t hash() const override;
  [[nodiscard]] Dictionary debugDictionary() const override;

private:
  const std::weak_ptr<NSObject> target_;
  const std::string keyPath_;
  const std::string identifier_;
};

}  // namespace QVFoundation
