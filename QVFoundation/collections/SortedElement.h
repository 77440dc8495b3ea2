#pragma once

#include <bit>
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

/// An element to sort, and where it came from.
template <class Held, class Position>
struct SortItem {
  Held element;
  Position position;
};

/// Elements that fit into one word with their position, and leave no bit of it undefined.
template <class Element>
constexpr bool fillsHalfAWord =
    sizeof(SortItem<SortedElement<Element>, std::uint32_t>) == sizeof(std::size_t) &&
    sizeof(Element) == sizeof(std::uint32_t) &&
    (std::floating_point<Element> || std::has_unique_object_representations_v<Element>);

/// The map that sorts by items that fill one word each, in whose place their positions are put in the end.
template <class Held, class View, class Compare>
QVIndexMap sortMapOfWords(View& view, std::size_t count, Compare& compare) {
  using Item = SortItem<Held, std::uint32_t>;
  std::vector<std::size_t> words;
  words.reserve(count);
  for (std::uint32_t next = 0; const auto& element : view) {
    words.push_back(std::bit_cast<std::size_t>(Item{Held(element), next++}));
  }
  auto compareWords = [&](std::size_t a, std::size_t b) {
    return compare(*std::bit_cast<Item>(a).element, *std::bit_cast<Item>(b).element);
  };
  quicksort(words.data(), 0, std::ssize(words) - 1, compareWords);
  for (std::size_t& word : words) word = std::bit_cast<Item>(word).position;
  return QVIndexMap(std::move(words));
}

/// The map that sorts by larger items.
template <class Held, class View, class Compare>
QVIndexMap sortMapOfItems(View& view, std::size_t count, Compare& compare) {
  using Item = SortItem<Held, std::size_t>;
  std::vector<Item> items;
  items.reserve(count);
  for (std::size_t next = 0; const auto& element : view) items.push_back({Held(element), next++});
  auto compareItems = [&](const Item& a, const Item& b) { return compare(*a.element, *b.element); };
  quicksort(items.data(), 0, std::ssize(items) - 1, compareItems);
  const auto positions = items | std::views::transform(&Item::position);
  return QVIndexMap({positions.begin(), positions.end()});
}

/// The map that sorts a view. Elements that exist only while the view is walked are kept for the time.
template <std::ranges::view View, class Compare>
QVIndexMap sortMapOfView(View view, Compare compare) {
  using Element = std::ranges::range_value_t<View>;
  using Held = SortedElement<Element>;
  if constexpr (Held::isCopied || std::is_lvalue_reference_v<std::ranges::range_reference_t<View>>) {
    const auto count = static_cast<std::size_t>(std::ranges::distance(view));
    if constexpr (fillsHalfAWord<Element>) {
      if (count <= std::numeric_limits<std::uint32_t>::max())
        return sortMapOfWords<Held>(view, count, compare);
    }
    return sortMapOfItems<Held>(view, count, compare);
  } else {
    std::vector<Element> kept;
    for (auto&& element : view) kept.push_back(std::forward<decltype(element)>(element));
    return sortMapOfView(std::views::all(kept), std::move(compare));
  }
}

}  // namespace QVFoundation::detail
