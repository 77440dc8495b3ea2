#include "QVFoundation/collections/QVCollectionSorting.h"

#include <algorithm>
#include <numeric>

#include "QVFoundation/platform/runtime/ValueOrder.h"

namespace QVFoundation::detail {

// Merges by hand: the standard library's sorts may leave their range when a comparison contradicts itself,
// and this one is the caller's.
std::vector<std::size_t> stableOrder(std::size_t count, const StandsAfter& standsAfter) {
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

std::vector<std::size_t> stableOrder(const std::vector<Value>& keys) {
  return stableOrder(keys.size(),
                     [&keys](std::size_t a, std::size_t b) { return compareValues(keys[a], keys[b]) > 0; });
}

}  // namespace QVFoundation::detail
