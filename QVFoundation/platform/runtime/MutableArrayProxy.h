#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/IndexSet.h"
#include "QVFoundation/platform/runtime/NSObject.h"

namespace QVFoundation {

struct NSProperty;

/// Edits a to-many property of an object as if it were a list of its own; observers hear of each insertion,
/// removal and replacement.
///
/// ```cpp
/// auto tracks = mutableArrayValueForKey(*playlist, "tracks");
/// tracks.append(track);
/// tracks.remove(0);
/// ```
///
/// Any property can be edited that is a vector or an `Array` and can be written. One with a setter is set as a
/// whole behind the scenes, whose own notice stays quiet meanwhile.
///
/// Threads: as the object.
/// Ownership: the object must outlive the proxy.
/// Errors: an index past the end raises `NSRangeException`, a value that does not fit and a property that is no
/// list `NSInvalidArgumentException`, a key that the object does not have `NSUndefinedKeyException`. Then nothing has
/// changed.
class QV_EXPORT MutableArrayProxy {
public:
  [[nodiscard]] std::size_t size() const;
  [[nodiscard]] bool empty() const { return size() == 0; }
  [[nodiscard]] Value operator[](std::size_t index) const;
  [[nodiscard]] Array array() const;  ///< A copy of all.

  void append(const Value& element) { insert(size(), element); }
  void insert(std::size_t index, const Value& element);  ///< `index` may be `size()`.
  void replace(std::size_t index, const Value& element);
  void remove(std::size_t index) { remove(IndexSet{index}); }
  void remove(const IndexSet& indexes);  ///< In one notification.
  void clear() { remove(IndexSet::range(0, size())); }

private:
  friend QV_EXPORT MutableArrayProxy mutableArrayValueForKey(NSObject& object, std::string_view key);
  MutableArrayProxy(NSObject& object, const NSProperty& property) : object_(object), property_(property) {}

  void checkIndex(std::size_t index, std::size_t limit) const;
  void checkElement(const Value& element) const;

  NSObject& object_;
  const NSProperty& property_;
};

[[nodiscard]] QV_EXPORT MutableArrayProxy mutableArrayValueForKey(NSObject& object, std::string_view key);

}  // namespace QVFoundation
