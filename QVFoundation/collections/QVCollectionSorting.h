#pragma once

#include <algorithm>
#include <compare>
#include <cstddef>
#include <functional>
#include <numeric>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "QVFoundation/collections/QVSortMap.h"
#include "QVFoundation/collections/Ranges.h"
#include "QVFoundation/collections/SortedElement.h"
#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/Value.h"

/// Sorted lists of what a collection holds. What compares as the same keeps its order.
///
/// ```cpp
/// const auto byYear = qv_sortedArrayUsingKeyPath(albums, "year");
/// ```
///
/// Threads: the objects are read and compared on the calling thread. The collection must not change
/// meanwhile.
/// Errors: as reading the key path and `compareValues` have them; what a comparator throws goes through.
namespace QVFoundation {

namespace detail {

/// The positions of a list in sorted order. `standsAfter` tells whether one is to stand after another; one
/// that contradicts itself leads to some order, and to no harm.
template <class StandsAfter>
std::vector<std::size_t> stableOrder(std::size_t count, const StandsAfter& standsAfter) {
  // Merges by hand: the standard library's sorts may leave their range when a comparison contradicts itself.
  std::vector<std::size_t> order(count);
  std::vector<std::size_t> merged(count);
  std::iota(order.begin(), order.end(), std::size_t{0});
  for (std::size_t width = 1; width < count; width *= 2) {
    for (std::size_t first = 0; first < count; first += 2 * width) {
      const std::size_t middle = std::min(first + width, count);
      const std::size_t end = std::min(first + 2 * width, count);
      std::size_t left = first;
      std::size_t right = middle;
      for (std::size_t i = first; i < end; ++i) {
        const bool takesRight = left == middle || (right < end && standsAfter(order[left], order[right]));
        merged[i] = order[takesRight ? right++ : left++];
      }
    }
    order.swap(merged);
  }
  return order;
}

/// The same for a list of the values found under a key path, by `compareValues`.
[[nodiscard]] QV_EXPORT std::vector<std::size_t> stableOrder(const std::vector<Value>& keys,
                                                             std::string_view keyPath);

template <class Range>
std::vector<ElementOf<Range>> elementList(Range& range) {
  std::vector<ElementOf<Range>> elements;
  for (const ElementOf<Range>& element : elementsOf(range)) elements.push_back(element);
  return elements;
}

template <class T>
ArrayOf<T> inOrder(std::vector<T> elements, const std::vector<std::size_t>& order) {
  std::vector<T> sorted;
  sorted.reserve(order.size());
  for (const std::size_t position : order) sorted.push_back(std::move(elements[position]));
  return ArrayOf<T>(std::move(sorted));
}

template <class Comparator, class Range>
concept ComparatorFor = requires(Comparator& comparator, const ElementOf<Range>& element) {
  { std::invoke(comparator, element, element) } -> SortOrder;
};

}  // namespace detail

/// Ascending by the values under a key path, as `compareValues` orders them. Each object is asked once.
template <detail::Readable Range>
[[nodiscard]] auto qv_sortedArrayUsingKeyPath(Range&& range, std::string_view keyPath) {
  auto elements = detail::elementList(range);
  const auto order = detail::stableOrder(detail::keysOfElements(elements, keyPath), keyPath);
  return detail::inOrder(std::move(elements), order);
}

/// By a comparator, which answers with an integer (negative, zero or positive for ascending, same and
/// descending) or with what `<=>` gives.
template <detail::Copyable Range, detail::ComparatorFor<Range> Comparator>
[[nodiscard]] auto qv_sortedArrayUsingComparator(Range&& range, Comparator comparator) {
  auto elements = detail::elementList(range);
  const auto order = detail::stableOrder(elements.size(), [&](std::size_t a, std::size_t b) {
    return std::invoke(comparator, std::as_const(elements)[a], std::as_const(elements)[b]) > 0;
  });
  return detail::inOrder(std::move(elements), order);
}

}  // namespace QVFoundation
