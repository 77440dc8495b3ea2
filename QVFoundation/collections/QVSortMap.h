#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <ranges>
#include <string_view>
#include <utility>
#include <vector>

#include "QVFoundation/collections/QVIndexMap.h"
#include "QVFoundation/collections/Ranges.h"
#include "QVFoundation/collections/SortedElement.h"
#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/KeyPathReader.h"
#include "QVFoundation/platform/runtime/NSSortDescriptor.h"
#include "QVFoundation/platform/runtime/Value.h"

/// The map that would sort a list, computed without touching the list.
///
/// ```cpp
/// const QVIndexMap byName = sortMapUsingSelector(names, [](auto& a, auto& b) { return a <=> b; });
/// const QVIndexMap byArtist = sortMapUsingSortDescriptors(tracks, {{"artist.name"}, {"year", false}});
/// ```
///
/// A comparison is called with an element and the one that it is compared with. It answers with an integer,
/// negative, zero or positive for ascending, same and descending, or with what `<=>` gives; a `bool` is
/// refused. One that contradicts itself leads to some order, and to no harm.
///
/// Elements that are the same may end up in any order, but always in the same one. The sort is a quicksort
/// with the middle element as its pivot: quick for random, sorted, reversed and equal elements alike. There
/// are orders that defeat it, for which it takes n² comparisons, such as elements that rise and then fall, or
/// two sorted lists one after the other whose elements interleave.
///
/// Threads: as the elements that are read allow. The list must not change during the call.
/// Errors: what the comparison throws goes through.
namespace QVFoundation {

namespace detail {

/// The map that sorts the values found under a key path by `compareValues`. Numbers of one sort, dates and
/// texts are compared as what they are.
[[nodiscard]] QV_EXPORT QVIndexMap sortMapOfKeys(const std::vector<Value>& keys, std::string_view keyPath,
                                                 bool ascending = true);
/// The map that sorts `count` elements by descriptors, for each of which there is a list of their keys.
[[nodiscard]] QV_EXPORT QVIndexMap sortMapOfKeys(const std::vector<std::vector<Value>>& keys,
                                                 const std::vector<NSSortDescriptor>& descriptors,
                                                 std::size_t count);

/// Raises for elements that cannot be compared themselves.
[[noreturn]] QV_EXPORT void refuseToCompare();

/// What each element has under a key path, or the elements themselves. Nothing is read of fewer than two
/// elements, as nothing will be compared.
template <class View>
std::vector<Value> keysOfElements(View& view, const std::optional<std::string_view>& keyPath) {
  const auto count = static_cast<std::size_t>(std::ranges::distance(view));
  if (count < 2) return std::vector<Value>(count);
  std::vector<Value> keys;
  keys.reserve(count);
  if (keyPath) {
    KeyPathReader keyOf(*keyPath);
    for (const auto& element : view) keys.push_back(keyOf(element));
  } else if constexpr (std::constructible_from<Value, std::ranges::range_reference_t<View>>) {
    for (const auto& element : view) keys.emplace_back(element);
  } else {
    refuseToCompare();
  }
  return keys;
}

}  // namespace detail

/// By a comparison.
template <std::ranges::forward_range Range, class Comparison>
  requires detail::Comparison<Comparison, Range>
[[nodiscard]] QVIndexMap sortMapUsingSelector(Range&& range, Comparison comparison) {
  return detail::sortMapOfView(std::views::all(std::forward<Range>(range)),
                               [&](const auto& a, const auto& b) { return std::invoke(comparison, a, b); });
}

/// By a comparison that takes something else as its third argument.
template <std::ranges::forward_range Range, class Comparison, class Extra>
  requires detail::Comparison<Comparison, Range, Extra>
[[nodiscard]] QVIndexMap sortMapUsingSelector(Range&& range, Comparison comparison, const Extra& extra) {
  return detail::sortMapOfView(
      std::views::all(std::forward<Range>(range)),
      [&](const auto& a, const auto& b) { return std::invoke(comparison, a, b, extra); });
}

/// By the values under a key path, as `compareValues` orders them. Each element is asked for its value once.
template <std::ranges::forward_range Range>
  requires detail::Readable<Range>
[[nodiscard]] QVIndexMap sortMapUsingKeyPath(Range&& range, std::string_view keyPath) {
  auto view = std::views::all(std::forward<Range>(range));
  return detail::sortMapOfKeys(detail::keysOfElements(view, keyPath), keyPath);
}

/// By a comparison that takes the key path as its third argument.
template <std::ranges::forward_range Range, class Comparison>
  requires detail::Comparison<Comparison, Range, std::string_view>
[[nodiscard]] QVIndexMap sortMapUsingKeyPath(Range&& range, std::string_view keyPath, Comparison comparison) {
  return sortMapUsingSelector(std::forward<Range>(range), std::move(comparison), keyPath);
}

/// By the first of the descriptors that sees a difference. Each element is asked once for each key path.
template <std::ranges::forward_range Range>
  requires detail::Readable<Range>
[[nodiscard]] QVIndexMap sortMapUsingSortDescriptors(Range&& range,
                                                     const std::vector<NSSortDescriptor>& descriptors) {
  auto view = std::views::all(std::forward<Range>(range));
  std::vector<std::vector<Value>> keys;
  keys.reserve(descriptors.size());
  for (const NSSortDescriptor& descriptor : descriptors) {
    keys.push_back(detail::keysOfElements(view, descriptor.keyPath()));
  }
  return detail::sortMapOfKeys(keys, descriptors, static_cast<std::size_t>(std::ranges::distance(view)));
}

}  // namespace QVFoundation
