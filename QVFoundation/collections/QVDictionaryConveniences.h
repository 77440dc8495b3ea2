#pragma once

#include <concepts>
#include <cstdint>
#include <functional>
#include <map>
#include <unordered_map>
#include <utility>

#include "QVFoundation/collections/Ranges.h"
#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/Dictionary.h"
#include "QVFoundation/platform/runtime/Set.h"
#include "QVFoundation/platform/runtime/Value.h"

/// Small things that dictionaries are often asked for. `allObjects` of `QVArrayConveniences.h` gives their
/// values.
///
/// Threads: as for the dictionary.
/// Errors: what a block throws goes through; the dictionary is then as it was.
namespace QVFoundation {

/// Values by key as keys by value. Of several keys with one value one is kept, of a `std::map` the first.
[[nodiscard]] QV_EXPORT Dictionary qv_inverseDictionary(const Dictionary& dictionary);
template <class Key, class T>
[[nodiscard]] std::map<T, Key> qv_inverseDictionary(const std::map<Key, T>& entries) {
  std::map<T, Key> inverse;
  for (const auto& [key, value] : entries) inverse.emplace(value, key);
  return inverse;
}
template <class Key, class T>
[[nodiscard]] std::unordered_map<T, Key> qv_inverseDictionary(const std::unordered_map<Key, T>& entries) {
  std::unordered_map<T, Key> inverse;
  for (const auto& [key, value] : entries) inverse.emplace(value, key);
  return inverse;
}

/// Whether any value says that it equals an object.
template <detail::Map Entries>
[[nodiscard]] bool containsObject(const Entries& entries, const detail::ElementOf<Entries>& object) {
  for (const auto& [key, value] : entries) {
    if (detail::areEqual(value, object)) return true;
  }
  return false;
}

/// What a value is worth as a boolean: a number other than zero; a text that begins, after blanks, a sign and
/// zeros, with a digit or one of "YyTt". False for a missing key and all else.
[[nodiscard]] QV_EXPORT bool boolForKey(const Dictionary& dictionary, const Value& key);

/// What a value is worth as an integer: a number without its fraction; of a text what stands in front, after
/// blanks. Beyond the range it is the nearest bound; 0 for a missing key, not-a-number and all else.
[[nodiscard]] QV_EXPORT std::int32_t integerForKey(const Dictionary& dictionary, const Value& key);

/// What a key-value change dictionary says has come and gone: the elements of its new list that are not in
/// its old one, and the other way round. What is no list counts as an empty one. Either result may be null.
QV_EXPORT void qv_kvoChangeGetAddedObjects(const Dictionary& change, Set* added, Set* removed);

/// Removes every key whose value says that it equals an object.
QV_EXPORT void removeObject(Dictionary& dictionary, const Value& object);
template <detail::Map Entries>
void removeObject(Entries& entries, const detail::ElementOf<Entries>& object) {
  const auto wanted = object;  // it may be one of the values
  std::erase_if(entries, [&](const auto& entry) { return detail::areEqual(entry.second, wanted); });
}

/// The value under a key. Where there is none the block makes it, and it is stored unless it is absent too. A
/// block may be null, and may change the dictionary itself.
template <class Block>
Value qv_objectForKey(Dictionary& dictionary, const Value& key, Block creationBlock) {
  if (const Value& present = dictionary[key]; !present.isNothing()) return present;
  Value made;
  if constexpr (!std::same_as<Block, std::nullptr_t>) {
    if (detail::isAbsent(creationBlock)) return {};
    made = std::invoke(creationBlock);
  }
  if (!made.isNothing()) dictionary.set(key, made);
  return made;
}
template <detail::Map Entries, class Block>
  requires(!std::same_as<Entries, Dictionary>)
auto qv_objectForKey(Entries& entries, const typename Entries::key_type& key, Block creationBlock)
    -> detail::Maybe<typename Entries::mapped_type> {
  const auto present = entries.find(key);
  if (present != entries.end() && !detail::isAbsent(present->second)) return present->second;
  if constexpr (std::same_as<Block, std::nullptr_t>) {
    return {};
  } else {
    if (detail::isAbsent(creationBlock)) return {};
    detail::Maybe<typename Entries::mapped_type> made = std::invoke(creationBlock);
    if (detail::isAbsent(made)) return made;
    if constexpr (std::same_as<decltype(made), typename Entries::mapped_type>) {
      entries.insert_or_assign(key, made);
    } else {
      entries.insert_or_assign(key, *made);
    }
    return made;
  }
}

}  // namespace QVFoundation
