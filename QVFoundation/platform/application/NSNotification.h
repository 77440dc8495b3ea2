#pragma once

#include <memory>
#include <string>
#include <utility>

#include "QVFoundation/platform/runtime/Dictionary.h"
#include "QVFoundation/platform/runtime/NSObject.h"

namespace QVFoundation {

/// What a notification centre hands to observers: the name of an event, the object that it happened to, if
/// any, and whatever else there is to know.
///
/// Threads: a value; it keeps its object alive.
class NSNotification {
public:
  explicit NSNotification(std::string name, std::shared_ptr<NSObject> object = nullptr,
                          Dictionary userInfo = {}) noexcept
      : name_(std::move(name)), object_(std::move(object)), userInfo_(std::move(userInfo)) {}

  [[nodiscard]] const std::string& name() const noexcept { return name_; }
  [[nodiscard]] const std::shared_ptr<NSObject>& object() const noexcept { return object_; }
  [[nodiscard]] const Dictionary& userInfo() const noexcept { return userInfo_; }

private:
  std::string name_;
  std::shared_ptr<NSObject> object_;
  Dictionary userInfo_;
};

}  // namespace QVFoundation
