#pragma once

#include <string>
#include <string_view>
#include <typeinfo>
#include <vector>

#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/runtime/Value.h"

namespace QVFoundation::detail {

/// Reads one key from many objects, and remembers the property for the C++ type met last.
///
/// Threads: one thread.
class KeyReader {
public:
  explicit KeyReader(std::string_view key) : key_(key) {}

  [[nodiscard]] const std::string& key() const noexcept { return key_; }

  /// The property to ask in place of `valueForKey`; null where the object itself must be asked: its class has
  /// a `valueForKey` of its own, is not described, or has no such property.
  [[nodiscard]] const NSProperty* propertyOf(const NSObject& object) {
    if (&typeid(object) != type_) meet(object);
    return property_;
  }

  [[nodiscard]] Value read(const NSObject& object) {
    const NSProperty* property = propertyOf(object);
    return property != nullptr ? property->get(object) : object.valueForKey(key_);
  }
  [[nodiscard]] Value read(const Value& value);

private:
  void meet(const NSObject& object);

  std::string key_;
  const std::type_info* type_ = nullptr;
  const NSProperty* property_ = nullptr;
};

/// One for each component of a path, of which there is always one.
[[nodiscard]] std::vector<KeyReader> keyReaders(std::string_view keyPath);

}  // namespace QVFoundation::detail
