#pragma once

#include <concepts>
#include <memory>
#include <string_view>
#include <vector>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/runtime/Value.h"

namespace QVFoundation {

namespace detail {
class KeyReader;
}

/// Reads one key path from many objects, with the same results as `valueForKeyPath` and far less work: the
/// path is split once, and the property that a class has under a key is looked up again only when an object
/// of another class comes along.
///
/// ```cpp
/// KeyPathReader cityOf("address.city");
/// for (const auto& person : people) print(cityOf(person));
/// ```
///
/// Threads: one thread, since reading remembers the class met last.
/// Ownership: remembers no object, only classes, which live as long as their objects are used.
/// Errors: as for `valueForKeyPath`.
class QV_EXPORT KeyPathReader {
public:
  explicit KeyPathReader(std::string_view keyPath);
  KeyPathReader(const KeyPathReader&);
  KeyPathReader(KeyPathReader&&) noexcept;
  KeyPathReader& operator=(const KeyPathReader&);
  KeyPathReader& operator=(KeyPathReader&&) noexcept;
  ~KeyPathReader();

  [[nodiscard]] Value operator()(const NSObject& object);
  [[nodiscard]] Value operator()(const Value& value);
  /// Nothing for a null pointer.
  template <std::derived_from<NSObject> T>
  [[nodiscard]] Value operator()(const std::shared_ptr<T>& object) {
    return object ? (*this)(static_cast<const NSObject&>(*object)) : Value();
  }

private:
  std::vector<detail::KeyReader> keys_;  // at least one
};

}  // namespace QVFoundation
