#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <type_traits>
#include <utility>

/// Internal: installed because other headers need it.
///
/// Which elements are compared and how often, and where equal ones end up, is part of what callers may rely
/// on. So each function here makes every comparison of its kind, even where the answer makes no difference.
///
/// Threads: works on the caller's items alone.
namespace QVFoundation::detail {

/// Swaps items as a whole: moved member by member and read again at once as a whole, an item would have to
/// wait for the processor to put it together.
template <class Item>
void swapItems(Item& a, Item& b) noexcept {
  static_assert(std::is_trivially_copyable_v<Item>);
  std::array<std::byte, sizeof(Item)> held{};
  std::memcpy(held.data(), &a, sizeof(Item));
  std::memcpy(&a, &b, sizeof(Item));
  std::memcpy(&b, held.data(), sizeof(Item));
}

/// Steps from `at` towards `end` to the first item that does not pass, and no further than to `end`, which is
/// not looked at. There must be an item to begin with.
template <std::ptrdiff_t step, class Item, class Passes>
std::ptrdiff_t scan(const Item* items, std::ptrdiff_t at, std::ptrdiff_t end, const Passes& passes) {
  at += step;
  if (!passes(items[at])) [[likely]]
    return at;  // as among equal elements, where every step ends a scan
  // Four steps for one look at the end.
  while ((end - at) * step > 4) {
    if (!passes(items[at + step])) return at + step;
    if (!passes(items[at + 2 * step])) return at + 2 * step;
    if (!passes(items[at + 3 * step])) return at + 3 * step;
    at += 4 * step;
    if (!passes(items[at])) return at;
  }
  do {
    at += step;
  } while (at != end && passes(items[at]));
  return at;
}

/// Scans from both ends towards the value in the middle (C. A. R. Hoare, "Quicksort", 1962) and returns the
/// last index of the lower part; neither part is ever empty.
template <class Item, class Compare>
std::ptrdiff_t partition(Item* items, std::ptrdiff_t low, std::ptrdiff_t high, Compare& compare) {
  const Item pivot = items[low + (high - low) / 2];
  std::ptrdiff_t i = low - 1;
  std::ptrdiff_t j = high + 1;
  for (;;) {
    // The ends hold back only a comparison that contradicts itself: for all others the pivot, or what was
    // swapped before, stops each scan inside.
    j = scan<-1>(items, j, low - 1, [&](const Item& item) { return compare(item, pivot) > 0; });
    i = scan<1>(items, i, high + 1, [&](const Item& item) { return compare(item, pivot) < 0; });
    if (i >= j) return std::clamp(j, low, high - 1);
    swapItems(items[i], items[j]);
  }
}

/// What partitioning comes to for two items, which half of all parts have in the end.
template <class Item, class Compare>
void sortPair(Item& first, Item& second, Compare& compare) {
  const Item pivot = first;
  if (compare(second, pivot) > 0) {
    (void)compare(first, pivot);
    (void)compare(first, pivot);
  } else if (!(compare(first, pivot) < 0)) {
    swapItems(first, second);
    (void)compare(first, pivot);
    (void)compare(second, pivot);
  }
}

/// Sorts the items from `low` to `high`, both included, by a comparison. The pivot is
/// always the middle element, so there are orders for which it takes n² comparisons. But the smaller part is
/// sorted first, and the larger one in the same call, so that there are never more than log n calls on the
/// stack.
template <class Item, class Compare>
void quicksort(Item* items, std::ptrdiff_t low, std::ptrdiff_t high, Compare& compare) {
  while (high - low > 1) {
    const std::ptrdiff_t middle = partition(items, low, high, compare);
    std::ptrdiff_t smallLow = low;
    std::ptrdiff_t smallHigh = middle;
    if (middle - low < high - middle) {
      low = middle + 1;
    } else {
      smallLow = middle + 1;
      smallHigh = std::exchange(high, middle);
    }
    if (smallHigh - smallLow == 1) {
      sortPair(items[smallLow], items[smallHigh], compare);
    } else if (smallLow < smallHigh) {
      quicksort(items, smallLow, smallHigh, compare);
    }
  }
  if (high - low == 1) sortPair(items[low], items[high], compare);
}

}  // namespace QVFoundation::detail
