#pragma once

#include <algorithm>
#include <compare>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iterator>
#include <limits>
#include <ranges>
#include <type_traits>
#include <utility>
#include <vector>

#include "QVFoundation/collections/QVIndexMap.h"
#include "QVFoundation/collections/QVQuicksort.h"

/// Internal: installed because other headers need it.
///
/// Threads: works on the caller's elements alone.
namespace QVFoundation::detail {

/// What a comparison may answer.
template <class Order>
concept SortOrder =
    (std::integral<Order> && !std::same_as<Order, bool>) || std::convertible_to<Order, std::partial_ordering>;

/// What orders the elements of a range.
template <class T, class Range, class... Extra>
concept Comparison =
    requires(T& comparison, const std::ranges::range_value_t<Range>& element, const Extra&... extra) {
      { std::invoke(comparison, element, element, extra...) } -> SortOrder;
    };

/// An element while it is sorted: a small plain one is copied, any other stays where it is.
template <class Element>
class SortedElement {
public:
  static constexpr bool isCopied =
      std::is_trivially_copyable_v<Element> && std::copy_constructible<Element> && sizeof(Element) <= 16;

  explicit SortedElement(const Element& element) noexcept : held_(hold(element)) {}

  [[nodiscard]] const Element& operator*() const noexcept {
    if constexpr (isCopied) {
      return held_;
    } else {
      return *held_;
    }
  }

private:
  using Content = std::conditional_t<isCopied, Element, const Element*>;

  static Content hold(const Element& element) noexcept {
    if constexpr (isCopied) {
      return element;
    } else {
      return &element;
    }
  }

  Content held_;
};

/// The map that sorts what can be held as `Held`, with each one's position beside it.
template <class Held, class Position, class View, class Compare>
QVIndexMap sortMapWithPositions(View& view, Compare& compare) {
  using Item = SortItem<Held, Position>;
  std::vector<Item> items;
  if constexpr (std::ranges::sized_range<View>) items.reserve(std::ranges::size(view));
  Position next{0};
  for (const auto& element : view) items.push_back({Held(element), next++});
  auto compareHeld = [&](const Held& a, const Held& b) { return compare(*a, *b); };
  quicksort(items.data(), 0, std::ssize(items) - 1, compareHeld);
  std::vector<std::size_t> positions(items.size());
  std::transform(items.begin(), items.end(), positions.begin(),
                 [](const Item& item) { return item.position; });
  return QVIndexMap(std::move(positions));
}

/// The map that sorts a view. Elements that exist only while the view is walked are kept for the time.
template <std::ranges::view View, class Compare>
QVIndexMap sortMapOfView(View view, Compare compare) {
  using Element = std::ranges::range_value_t<View>;
  using Held = SortedElement<Element>;
  if constexpr (Held::isCopied || std::is_lvalue_reference_v<std::ranges::range_reference_t<View>>) {
    // Beside a small element a small position makes an item that is moved as one word.
    using SmallPosition = std::conditional_t<sizeof(Held) <= 4, std::uint32_t, std::size_t>;
    const auto count = static_cast<std::size_t>(std::ranges::distance(view));
    return count <= std::numeric_limits<SmallPosition>::max()
               ? sortMapWithPositions<Held, SmallPosition>(view, compare)
               : sortMapWithPositions<Held, std::size_t>(view, compare);
  } else {
    std::vector<Element> kept;
    for (auto&& element : view) kept.push_back(std::forward<decltype(element)>(element));
    return sortMapOfView(std::views::all(kept), std::move(compare));
  }
}

}  // namespace QVFoundation::detail
