#pragma once

#include <concepts>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <ranges>
#include <type_traits>
#include <unordered_set>
#include <utility>
#include <vector>

#include "QVFoundation/collections/ObjectSet.h"
#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/Dictionary.h"
#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/runtime/Set.h"
#include "QVFoundation/platform/runtime/Value.h"

/// Internal: installed because other headers need it.
///
/// What the operations on collections take and give: any range or map, and results of the kind that fits its
/// elements.
///
/// Threads: an operation reads its collection on the calling thread; nobody may change it meanwhile.
namespace QVFoundation::detail {

/// Maps stand for their values.
template <class Range>
concept Map =
    std::ranges::input_range<Range> && (std::same_as<std::remove_cvref_t<Range>, Dictionary> ||
                                        requires { typename std::remove_cvref_t<Range>::mapped_type; });

/// The elements of a range; the values of a map.
template <std::ranges::input_range Range>
decltype(auto) elementsOf(Range& range) {
  if constexpr (Map<Range>) {
    return std::views::values(range);
  } else {
    return (range);
  }
}

template <class Range>
using ElementOf =
    std::ranges::range_value_t<decltype(elementsOf(std::declval<std::remove_reference_t<Range>&>()))>;

/// Elements that can be copied into another collection.
template <class Range>
concept Copyable = std::ranges::input_range<Range> && std::copy_constructible<ElementOf<Range>>;

template <class T>
inline constexpr bool isObjectPointer = false;
template <class T>
inline constexpr bool isObjectPointer<std::shared_ptr<T>> = std::derived_from<T, NSObject>;

template <class T>
inline constexpr bool isStdOptional = false;
template <class T>
inline constexpr bool isStdOptional<std::optional<T>> = true;

/// Elements that have values under key paths.
template <class Range>
concept Readable =
    std::ranges::input_range<Range> &&
    (isObjectPointer<ElementOf<Range>> || std::constructible_from<Value, const ElementOf<Range>&>);

/// Types of which there is one that means nothing: values, optionals, pointers and functions.
template <class T>
concept HasAbsent = std::same_as<T, Value> || isStdOptional<T> || requires(const T& content) {
  content == nullptr;
  static_cast<bool>(content);
};

/// Whether something is the absent one of its type.
template <class T>
bool isAbsent(const T& content) {
  if constexpr (std::same_as<T, Value>) {
    return content.isNothing();
  } else if constexpr (isStdOptional<T>) {
    return !content.has_value();
  } else if constexpr (HasAbsent<T>) {
    return content == nullptr;
  } else {
    return false;
  }
}

template <class T>
struct MaybeType {
  using type = std::conditional_t<HasAbsent<T>, T, std::optional<T>>;
};

/// The type itself where it has an absent one of its own, else as an optional.
template <class T>
using Maybe = typename MaybeType<T>::type;

/// A list of elements: an `Array` of values, else a vector.
template <class T>
using ArrayOf = std::conditional_t<std::same_as<T, Value>, Array, std::vector<T>>;

/// What can stand in a set.
template <class T>
concept Hashable = std::equality_comparable<T> && requires(const T& element) {
  { std::hash<T>{}(element) } -> std::convertible_to<std::size_t>;
};

template <class T>
struct SetOfElements {};
template <Hashable T>
struct SetOfElements<T> {
  using type = std::unordered_set<T>;
};
template <>
struct SetOfElements<Value> {
  using type = Set;
};
template <class T>
  requires isObjectPointer<std::shared_ptr<T>>
struct SetOfElements<std::shared_ptr<T>> {
  using type = ObjectSet<T>;
};

/// A set of elements: a `Set` of values, an `ObjectSet` of objects, else by `std::hash`.
template <class T>
using SetOf = typename SetOfElements<T>::type;

template <class Container, class T>
void addTo(Container& container, T&& element) {
  if constexpr (std::same_as<Container, Array>) {
    container.append(std::forward<T>(element));
  } else if constexpr (std::same_as<Container, Set>) {
    container.add(std::forward<T>(element));
  } else {
    container.insert(container.end(), std::forward<T>(element));
  }
}

/// Whether the first says that it equals the second: objects by `isEqual`, all else by `==`.
template <class T, class U>
bool areEqual(const T& a, const U& b) {
  if constexpr (isObjectPointer<T> && isObjectPointer<U>) {
    return ObjectEqual()(a, b);
  } else {
    return a == b;
  }
}

}  // namespace QVFoundation::detail
