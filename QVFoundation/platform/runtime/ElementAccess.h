#pragma once

#include <cstddef>
#include <functional>
#include <type_traits>
#include <utility>
#include <vector>

#include "QVFoundation/platform/runtime/Array.h"
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
  std::function<bool(const Value&)> fits;
  // Empty where the property is read-only.
  std::function<void(NSObject&, std::size_t, const Value&)> insert;
  std::function<void(NSObject&, std::size_t, const Value&)> replace;
  std::function<void(NSObject&, std::size_t)> remove;
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
void removeElement(std::vector<E>& list, std::size_t index) {
  list.erase(list.begin() + static_cast<std::ptrdiff_t>(index));
}
inline void insertElement(Array& list, std::size_t index, const Value& value) { list.insert(index, value); }
inline void replaceElement(Array& list, std::size_t index, const Value& value) { list.set(index, value); }
inline void removeElement(Array& list, std::size_t index) { list.remove(index); }

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
  access.remove = [edit](NSObject& object, std::size_t index) {
    edit(object, [&](List& list) { removeElement(list, index); });
  };
}

}  // namespace detail

}  // namespace QVFoundation
