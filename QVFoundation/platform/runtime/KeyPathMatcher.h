#pragma once

#include <concepts>
#include <cstddef>
#include <memory>
#include <span>
#include <string_view>
#include <typeinfo>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/KeyPathReader.h"
#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/runtime/Value.h"

namespace QVFoundation {

namespace detail {
class KeyReader;
class PropertyTest;
}  // namespace detail

/// Which of two values is asked whether they are equal. It matters for objects whose `isEqual` is one-sided.
enum class Asking {
  objectsValue,  ///< What the object has under the key path; where that is nothing, it equals nothing at all.
  givenValue,    ///< The value that is looked for; nothing equals nothing.
};

/// Compares what many objects have under one key path with one value. Numbers and texts are compared where
/// they stand; the results are those of reading the value and comparing.
///
/// ```cpp
/// KeyPathMatcher isFromOslo("address.city", "Oslo", Asking::objectsValue);
/// const auto person = std::ranges::find_if(people, std::ref(isFromOslo));
/// ```
///
/// Threads: one thread, as for `KeyPathReader`.
/// Errors: as for `valueForKeyPath`.
class QV_EXPORT KeyPathMatcher {
public:
  KeyPathMatcher(std::string_view keyPath, Value given, Asking asking);
  KeyPathMatcher(const KeyPathMatcher&) = delete;
  KeyPathMatcher& operator=(const KeyPathMatcher&) = delete;
  ~KeyPathMatcher();

  [[nodiscard]] bool operator()(const NSObject& object) { return matches(&object); }
  [[nodiscard]] bool operator()(const Value& value);
  /// A null pointer has nothing under any path.
  template <std::derived_from<NSObject> T>
  [[nodiscard]] bool operator()(const std::shared_ptr<T>& object) {
    return matches(object.get());
  }

  /// The index of the first object that matches; their number where none does. Objects after it are not read.
  /// A pointer may be null. Where the caller knows that all are of one C++ type, such as a final class, they
  /// are not looked at to find out.
  [[nodiscard]] std::size_t firstMatch(std::span<const NSObject* const> objects, bool areOfOneType = false);

private:
  [[nodiscard]] bool matches(const NSObject* object);
  [[nodiscard]] bool ownerMatches(const NSObject& owner);
  [[nodiscard]] bool equalsGiven(const Value& value) const;
  [[nodiscard]] bool prepareTest(const NSObject& owner);
  [[nodiscard]] bool isTested(const NSObject& owner) const { return &typeid(owner) == testedType_; }

  std::unique_ptr<KeyPathReader> ownerOf_;  // null where the path is a single key
  std::unique_ptr<detail::KeyReader> key_;  // the last of the path
  const Value given_;
  const Asking asking_;
  std::unique_ptr<detail::PropertyTest> test_;  // for objects of `testedType_`; null where none is possible
  const std::type_info* testedType_ = nullptr;  // of the owner met last
};

}  // namespace QVFoundation
