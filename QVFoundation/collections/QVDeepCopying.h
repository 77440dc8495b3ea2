#pragma once

#include <concepts>
#include <map>
#include <memory>
#include <ranges>
#include <unordered_map>
#include <utility>
#include <vector>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/Dictionary.h"
#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/runtime/Value.h"

/// Copies that share no object with their original: arrays and dictionaries in all their levels, their keys
/// excepted, with a `copy()` of each object. All else, sets and errors too, is a value and copied as such,
/// with the objects in it.
///
/// ```cpp
/// const Value snapshot = qv_deepCopy(document);  // does not change with the objects of the document
/// ```
///
/// Containers are values here, so that a copy can be changed as it is: `qv_copyMutableContainers` is the same
/// as `qv_deepCopy`. What holds no object that copies itself anew shares its storage with the original until
/// one of them is written. Nesting may be of any depth.
///
/// Threads: objects are copied on the calling thread; the original must not change meanwhile.
/// Errors: what an object's `copy()` raises goes through. A copy that is null, or not of the type that a
/// typed list holds, raises `NSException` named `NSInvalidArgumentException`.
namespace QVFoundation {

[[nodiscard]] QV_EXPORT Value qv_deepCopy(const Value& value);
[[nodiscard]] inline Array qv_deepCopy(const Array& array) { return qv_deepCopy(Value(array)).array(); }
[[nodiscard]] inline Dictionary qv_deepCopy(const Dictionary& dictionary) {
  return qv_deepCopy(Value(dictionary)).dictionary();
}

namespace detail {

/// The copy of an object.
[[nodiscard]] QV_EXPORT std::shared_ptr<NSObject> checkedCopy(const NSObject& object);
[[noreturn]] QV_EXPORT void refuseCopy(const NSObject& object, const NSObject& copy);

}  // namespace detail

/// A copy of an object; null for a null pointer.
template <std::derived_from<NSObject> T>
[[nodiscard]] std::shared_ptr<T> qv_deepCopy(const std::shared_ptr<T>& object) {
  if (!object) return nullptr;
  const std::shared_ptr<NSObject> copy = detail::checkedCopy(*object);
  auto typed = std::dynamic_pointer_cast<T>(copy);
  if (!typed) detail::refuseCopy(*object, *copy);
  return typed;
}

namespace detail {

/// Vectors, deques and the like.
template <class Elements>
concept TypedList = std::ranges::input_range<Elements> && !TextLike<Elements> &&
                    requires(Elements& elements, std::ranges::range_value_t<Elements> element) {
                      elements.push_back(std::move(element));
                    };
template <class Entries>
concept TypedMap = std::ranges::input_range<Entries> && requires { typename Entries::mapped_type; };
/// What has no objects to copy: all else, but for ranges of whose elements nothing is known.
template <class T>
concept PlainValue = std::copyable<T> && !std::same_as<T, Value> && !std::same_as<T, Array> &&
                     !std::same_as<T, Dictionary> && !TypedList<T> && !TypedMap<T>;

}  // namespace detail

template <class Key, class T, class Order>
[[nodiscard]] std::map<Key, T, Order> qv_deepCopy(const std::map<Key, T, Order>& entries);
template <class Key, class T, class Hash, class Equal>
[[nodiscard]] std::unordered_map<Key, T, Hash, Equal> qv_deepCopy(
    const std::unordered_map<Key, T, Hash, Equal>& entries);
template <detail::TypedList Elements>
[[nodiscard]] Elements qv_deepCopy(const Elements& elements);

/// Numbers, texts, sets and other values are their own copies.
template <detail::PlainValue T>
[[nodiscard]] T qv_deepCopy(const T& value) {
  return value;
}

template <detail::TypedList Elements>
Elements qv_deepCopy(const Elements& elements) {
  Elements copies;
  if constexpr (requires { copies.reserve(elements.size()); }) copies.reserve(elements.size());
  for (const std::ranges::range_value_t<Elements>& element : elements) {
    copies.push_back(qv_deepCopy(element));
  }
  return copies;
}

template <class Key, class T, class Order>
std::map<Key, T, Order> qv_deepCopy(const std::map<Key, T, Order>& entries) {
  std::map<Key, T, Order> copies(entries.key_comp());
  for (const auto& [key, value] : entries) copies.emplace_hint(copies.end(), key, qv_deepCopy(value));
  return copies;
}

template <class Key, class T, class Hash, class Equal>
std::unordered_map<Key, T, Hash, Equal> qv_deepCopy(const std::unordered_map<Key, T, Hash, Equal>& entries) {
  std::unordered_map<Key, T, Hash, Equal> copies(entries.size(), entries.hash_function(), entries.key_eq());
  for (const auto& [key, value] : entries) copies.emplace(key, qv_deepCopy(value));
  return copies;
}

/// The same as `qv_deepCopy`; a name for who wants to say that the copy will be changed.
template <class T>
[[nodiscard]] auto qv_copyMutableContainers(const T& original) {
  return qv_deepCopy(original);
}

}  // namespace QVFoundation
