#pragma once

#include <cstddef>
#include <memory>
#include <unordered_set>

#include "QVFoundation/platform/runtime/NSObject.h"

namespace QVFoundation {

/// Hashing and equality of objects by `hash` and `isEqual`, for containers that hold them.
///
/// Threads: as the objects' own `hash` and `isEqual`.
struct ObjectHash {
  template <class T>
  std::size_t operator()(const std::shared_ptr<T>& object) const {
    return object ? object->hash() : 0;
  }
};
struct ObjectEqual {
  template <class T, class U>
  bool operator()(const std::shared_ptr<T>& a, const std::shared_ptr<U>& b) const {
    const NSObject* const first = a.get();
    const NSObject* const second = b.get();
    return first == second || (first != nullptr && second != nullptr && first->isEqual(*second));
  }
};

/// Objects, of equal ones each once.
template <class T>
using ObjectSet = std::unordered_set<std::shared_ptr<T>, ObjectHash, ObjectEqual>;

}  // namespace QVFoundation
