#pragma once

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <iterator>
#include <ranges>
#include <span>
#include <type_traits>
#include <utility>
#include <vector>

#include "QVFoundation/collections/QVIndexMap.h"
#include "QVFoundation/collections/QVSortMap.h"
#include "QVFoundation/collections/Ranges.h"
#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/IndexSet.h"

/// Applying index maps to lists: vectors, deques, other lists with random access, and `Array`.
///
/// ```cpp
/// const QVIndexMap map = mapFromSortingUsingSelector(names, byLength);
/// reorderUsingMap(ages, map);  // as the names were reordered
/// ```
///
/// Threads: as for the list.
/// Errors: an entry of the map that leads outside of the list raises `NSException` named `NSRangeException`;
/// the list is then as it was.
namespace QVFoundation {

namespace detail {

template <class Range>
concept List = std::ranges::random_access_range<Range> && std::ranges::sized_range<Range>;

/// A list whose elements can be replaced. An `Array` hands its elements out for reading alone.
template <class Range>
concept MutableList =
    List<Range> && (std::same_as<Range, Array> || std::permutable<std::ranges::iterator_t<Range>>);

/// The first `count` entries of a map. A map that has fewer raises.
[[nodiscard]] QV_EXPORT std::span<const std::size_t> firstEntries(const QVIndexMap& map, std::size_t count);
/// Raises where a map has more entries than a list has elements.
QV_EXPORT void checkLength(const QVIndexMap& map, std::size_t count);
/// Whether entries, each below their count, are there once each.
[[nodiscard]] QV_EXPORT bool isPermutation(std::span<const std::size_t> entries);
[[noreturn]] QV_EXPORT void refuseToCopy();

template <class Range>
auto iteratorAt(Range& list, std::size_t index) {
  return std::ranges::begin(list) + static_cast<std::ranges::range_difference_t<Range>>(index);
}

template <class Range>
std::vector<std::ranges::range_value_t<Range>> copiesAt(Range& list, std::span<const std::size_t> entries) {
  checkEntries(entries, std::ranges::size(list));
  std::vector<std::ranges::range_value_t<Range>> copies;
  copies.reserve(entries.size());
  for (const std::size_t entry : entries) copies.push_back(*iteratorAt(list, entry));
  return copies;
}

/// The elements moved out of the list if none is wanted twice and no move can fail halfway, else copies.
template <class Range>
std::vector<std::ranges::range_value_t<Range>> elementsAt(Range& list, std::span<const std::size_t> entries) {
  using Element = std::ranges::range_value_t<Range>;
  constexpr bool canCopy = std::copy_constructible<Element>;
  checkEntries(entries, std::ranges::size(list));
  if ((!canCopy || std::is_nothrow_move_constructible_v<Element>) && isPermutation(entries)) {
    std::vector<Element> moved;
    moved.reserve(entries.size());
    for (const std::size_t entry : entries) moved.push_back(std::ranges::iter_move(iteratorAt(list, entry)));
    return moved;
  }
  if constexpr (canCopy) {
    return copiesAt(list, entries);
  } else {
    refuseToCopy();
  }
}

}  // namespace detail

/// The elements that the entries of the map lead to: a list of the map's length, which is the caller's to
/// change.
template <detail::List Range>
[[nodiscard]] detail::ArrayOf<std::ranges::range_value_t<Range>> arrayByApplyingMap(const Range& list,
                                                                                    const QVIndexMap& map) {
  return detail::ArrayOf<std::ranges::range_value_t<Range>>(detail::copiesAt(list, map.indices()));
}

/// The same; a name for who wants to say that the list will be changed.
template <detail::List Range>
[[nodiscard]] auto mutableArrayByApplyingMap(const Range& list, const QVIndexMap& map) {
  return arrayByApplyingMap(list, map);
}

/// The list with its first elements replaced by those that the entries of the map lead to. Unlike above, a
/// map shorter than the list leaves the list's tail in place; a longer one raises `NSRangeException`.
template <detail::List Range>
[[nodiscard]] detail::ArrayOf<std::ranges::range_value_t<Range>> applying(const Range& list,
                                                                          const QVIndexMap& map) {
  detail::checkLength(map, std::ranges::size(list));
  auto elements = detail::copiesAt(list, map.indices());
  elements.insert(elements.end(), detail::iteratorAt(list, map.count()), std::ranges::end(list));
  return detail::ArrayOf<std::ranges::range_value_t<Range>>(std::move(elements));
}

/// Reorders the list itself. Of a map longer than the list the surplus does not count; a shorter one raises
/// `NSRangeException`. Elements that cannot be copied need a permutation: else this raises
/// `NSInvalidArgumentException`.
template <detail::MutableList Target>
void reorderUsingMap(Target& list, const QVIndexMap& map) {
  const auto entries = detail::firstEntries(map, std::ranges::size(list));
  if constexpr (std::same_as<Target, Array>) {
    list = Array(detail::copiesAt(list, entries));
  } else {
    auto elements = detail::elementsAt(list, entries);
    std::ranges::move(elements, std::ranges::begin(list));
  }
}

/// Moves elements as a block, as `QVIndexMap::mapToMoveIndexes` describes.
template <detail::MutableList Target>
void moveObjectsAtIndexes(Target& list, const IndexSet& indexes, std::size_t toIndex) {
  reorderUsingMap(list, QVIndexMap::mapToMoveIndexes(indexes, toIndex, std::ranges::size(list)));
}

/// Sorts the list itself by a comparison, which may take something else as its third argument, and returns
/// the map by which it was reordered.
template <detail::MutableList Target, class Comparison, class... Extra>
  requires(sizeof...(Extra) <= 1) && detail::Comparison<Comparison, Target, Extra...>
[[nodiscard]] QVIndexMap mapFromSortingUsingSelector(Target& list, Comparison comparison,
                                                     const Extra&... extra) {
  QVIndexMap map = sortMapUsingSelector(list, std::move(comparison), extra...);
  reorderUsingMap(list, map);
  return map;
}

/// The same for those who do not need the map.
template <detail::MutableList Target, class Comparison, class... Extra>
  requires(sizeof...(Extra) <= 1) && detail::Comparison<Comparison, Target, Extra...>
void sortUsingSelector(Target& list, Comparison comparison, const Extra&... extra) {
  reorderUsingMap(list, sortMapUsingSelector(list, std::move(comparison), extra...));
}

}  // namespace QVFoundation
