#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <ranges>
#include <utility>
#include <vector>

#include "QVFoundation/collections/Ranges.h"
#include "QVFoundation/collections/SortedElement.h"
#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/Value.h"

/// Small things that lists are often asked for.
///
/// Threads: as for the list.
/// Errors: what a comparison throws goes through; the list is then as it was.
namespace QVFoundation {

/// An array as it is, anything else as the one element of an array; nothing as an empty one.
[[nodiscard]] inline Array qv_objectAsArray(const Value& value) {
  if (value.kind() == ValueKind::array) return value.array();
  return value.isNothing() ? Array() : Array{value};
}
template <class T>
[[nodiscard]] std::vector<std::shared_ptr<T>> qv_objectAsArray(std::shared_ptr<T> object) {
  if (!object) return {};
  return {std::move(object)};
}
template <class T>
[[nodiscard]] std::vector<T> qv_objectAsArray(std::vector<T> objects) {
  return objects;
}

/// The list without the elements that equal an object.
template <detail::Copyable Range>
[[nodiscard]] auto qv_arrayByRemovingObject(Range&& range, const std::ranges::range_value_t<Range>& object) {
  detail::ArrayOf<std::ranges::range_value_t<Range>> others;
  for (const std::ranges::range_value_t<Range>& element : range) {
    if (!detail::areEqual(element, object)) detail::addTo(others, element);
  }
  return others;
}

/// The list without the elements that equal one of several objects, by hash and equality.
template <detail::Copyable Range, std::ranges::input_range Objects>
  requires detail::Hashable<std::ranges::range_value_t<Range>>
[[nodiscard]] auto qv_arrayByRemovingObjectsInArray(Range&& range, Objects&& objects) {
  detail::SetOf<std::ranges::range_value_t<Range>> removed;
  for (const auto& object : objects) detail::addTo(removed, std::ranges::range_value_t<Range>(object));
  detail::ArrayOf<std::ranges::range_value_t<Range>> others;
  for (const std::ranges::range_value_t<Range>& element : range) {
    if (!removed.contains(element)) detail::addTo(others, element);
  }
  return others;
}

/// All elements of a range, or values of a map, as a list of its own.
template <detail::Copyable Range>
[[nodiscard]] auto allObjects(Range&& range) {
  detail::ArrayOf<detail::ElementOf<Range>> objects;
  for (const detail::ElementOf<Range>& element : detail::elementsOf(range)) detail::addTo(objects, element);
  return objects;
}

/// Where an object belongs in a list that is sorted ascending: in front of the first element that is not
/// smaller, so in front of its equals. The comparison is called with the object and an element, and answers
/// with an integer, positive where the object is greater, or with what `<=>` gives.
template <std::ranges::random_access_range Range, class T, class Comparison>
  requires std::ranges::sized_range<Range>
[[nodiscard]] std::size_t qv_insertionIndexForObject(Range&& range, const T& object, Comparison comparison) {
  const auto isGreaterThan = [&](std::ptrdiff_t index) {
    const auto& element =
        std::ranges::begin(range)[static_cast<std::ranges::range_difference_t<Range>>(index)];
    const detail::SortOrder auto order = std::invoke(comparison, object, element);
    return order > 0;
  };
  const auto count = static_cast<std::ptrdiff_t>(std::ranges::size(range));
  std::ptrdiff_t low = -1;
  std::ptrdiff_t high = count;
  while (high - low > 1) {
    const std::ptrdiff_t middle = (low + high) / 2;
    (isGreaterThan(middle) ? low : high) = middle;
  }
  // Asked once more, so that an answer that has changed is heard.
  if (high != count && isGreaterThan(high)) ++high;
  return static_cast<std::size_t>(high);
}

/// Inserts an object where it belongs.
template <class List, class Comparison>
  requires std::ranges::random_access_range<List>
void qv_insertObject(List& list, std::ranges::range_value_t<List> object, Comparison comparison) {
  const std::size_t index = qv_insertionIndexForObject(std::as_const(list), object, std::move(comparison));
  if constexpr (std::same_as<List, Array>) {
    list.insert(index, std::move(object));
  } else {
    list.insert(std::ranges::begin(list) + static_cast<std::ranges::range_difference_t<List>>(index),
                std::move(object));
  }
}

}  // namespace QVFoundation
