#pragma once

#include <cstddef>
#include <functional>
#include <ranges>
#include <type_traits>
#include <utility>
#include <vector>

#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/IndexSet.h"
#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/runtime/Value.h"

namespace QVFoundation {

/// How the elements of a to-many property are reached one by one. Indexes are below `count`, and at most
/// `count` for `insert`; values are those that `fits` accepts.
///
/// Threads: as the class whose property it is.
struct ElementAccess {
  std::function<std::size_t(const NSObject&)> count;
  std::function<Value(const NSObject&, std::size_t)> at;
  /// Those at the indexes, as far as there are any; the property is read once.
  std::function<Array(const NSObject&, const IndexSet&)> atIndexes;
  std::function<bool(const Value&)> fits;
  // Empty where the property is read-only.
  std::function<void(NSObject&, std::size_t, const Value&)> insert;
  std::function<void(NSObject&, std::size_t, const Value&)> replace;
  std::function<void(NSObject&, const IndexSet&)> remove;  // all in one edit
};

namespace detail {

template <class T>
inline constexpr bool isList = false;
template <class E>
inline constexpr bool isList<std::vector<E>> = true;
template <>
inline constexpr bool isList<Array> = true;

// One way to edit each kind of list.
template <class E>
void insertElement(std::vector<E>& list, std::size_t index, const Value& value) {
  list.insert(list.begin() + static_cast<std::ptrdiff_t>(index), *value.as<E>());
}
template <class E>
void replaceElement(std::vector<E>& list, std::size_t index, const Value& value) {
  list[index] = *value.as<E>();
}
template <class E>
void removeElements(std::vector<E>& list, const IndexSet& indexes) {
  for (const IndexSet::Range& range : std::views::reverse(indexes.ranges())) {
    const auto first = list.begin() + static_cast<std::ptrdiff_t>(range.first);
    list.erase(first, first + static_cast<std::ptrdiff_t>(range.count));
  }
}
inline void insertElement(Array& list, std::size_t index, const Value& value) { list.insert(index, value); }
inline void replaceElement(Array& list, std::size_t index, const Value& value) { list.set(index, value); }
inline void removeElements(Array& list, const IndexSet& indexes) {
  for (const IndexSet::Range& range : std::views::reverse(indexes.ranges())) {
    for (std::size_t index = range.end(); index-- > range.first;) list.remove(index);
  }
}

/// Access for reading to what a getter gives.
template <class T, class Getter>
ElementAccess readingAccess(const Getter& getter) {
  using List = std::decay_t<std::invoke_result_t<const Getter&, const T&>>;
  ElementAccess access;
  access.count = [getter](const NSObject& object) {
    return std::invoke(getter, static_cast<const T&>(object)).size();
  };
  access.at = [getter](const NSObject& object, std::size_t index) {
    // The cast is for lists that hand out something else for an element, as those of booleans do.
    return Value(static_cast<const typename List::value_type&>(
        std::invoke(getter, static_cast<const T&>(object))[index]));
  };
  access.atIndexes = [getter](const NSObject& object, const IndexSet& indexes) {
    const auto& list = std::invoke(getter, static_cast<const T&>(object));
    Array elements;
    elements.reserve(indexes.size());
    for (const std::size_t index : indexes) {
      if (index >= list.size()) break;
      elements.append(Value(static_cast<const typename List::value_type&>(list[index])));
    }
    return elements;
  };
  access.fits = [](const Value& value) { return value.as<typename List::value_type>().has_value(); };
  return access;
}

/// Adds access for writing. `edit(object, change)` has the change made to the list of an object.
template <class List, class Edit>
void addWritingAccess(ElementAccess& access, const Edit& edit) {
  access.insert = [edit](NSObject& object, std::size_t index, const Value& value) {
    edit(object, [&](List& list) { insertElement(list, index, value); });
  };
  access.replace = [edit](NSObject& object, std::size_t index, const Value& value) {
    edit(object, [&](List& list) { replaceElement(list, index, value); });
  };
  access.remove = [edit](NSObject& object, const IndexSet& indexes) {
    edit(object, [&](List& list) { removeElements(list, indexes); });
  };
}

}  // namespace detail

}  // namespace QVFoundation
