#include "QVFoundation/platform/runtime/IndexSet.h"

#include <algorithm>

#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/runtime/NSNotFound.h"

namespace QVFoundation {

namespace {

// With this bound no range ends beyond what `std::size_t` holds, and no sum of counts does.
void checkRange(std::size_t first, std::size_t count) {
  if (first <= NSNotFound && count <= NSNotFound - first) return;
  throw NSException(NSRangeException, std::to_string(count) + " indexes from " + std::to_string(first) +
                                          " on are more than an index set can hold");
}

/// The first range that ends behind an index.
template <class Ranges>
auto firstRangeBehind(Ranges& ranges, std::size_t index) {
  return std::upper_bound(
      ranges.begin(), ranges.end(), index,
      [](std::size_t place, const IndexSet::Range& range) { return place < range.end(); });
}

}  // namespace

IndexSet::IndexSet(std::initializer_list<std::size_t> indexes)
    : IndexSet(std::span(indexes.begin(), indexes.size())) {}

IndexSet::IndexSet(std::span<const std::size_t> indexes) {
  // Adding in order only ever touches the last range; in any other order each index could move all ranges.
  std::vector<std::size_t> sorted(indexes.begin(), indexes.end());
  std::sort(sorted.begin(), sorted.end());
  for (const std::size_t index : sorted) add(index);
}

IndexSet IndexSet::range(std::size_t first, std::size_t count) {
  IndexSet indexes;
  indexes.addRange(first, count);
  return indexes;
}

bool IndexSet::contains(std::size_t index) const noexcept {
  const auto range = firstRangeBehind(ranges_, index);
  return range != ranges_.end() && range->first <= index;
}

std::optional<std::size_t> IndexSet::first() const noexcept {
  return empty() ? std::nullopt : std::optional(ranges_.front().first);
}

std::optional<std::size_t> IndexSet::last() const noexcept {
  return empty() ? std::nullopt : std::optional(ranges_.back().end() - 1);
}

void IndexSet::addRange(std::size_t first, std::size_t count) {
  checkRange(first, count);
  if (count == 0) return;
  // All ranges that meet or touch the new one become one with it.
  const auto begin = first > 0 ? firstRangeBehind(ranges_, first - 1) : ranges_.begin();
  auto end = begin;
  Range merged{first, count};
  std::size_t known = 0;
  for (; end != ranges_.end() && end->first <= merged.end(); ++end) {
    known += end->count;
    const std::size_t last = std::max(merged.end(), end->end());
    merged.first = std::min(merged.first, end->first);
    merged.count = last - merged.first;
  }
  if (begin == end) {
    ranges_.insert(begin, merged);
  } else {
    *begin = merged;
    ranges_.erase(begin + 1, end);
  }
  size_ += merged.count - known;
}

void IndexSet::remove(std::size_t index) {
  const auto range = firstRangeBehind(ranges_, index);
  if (range == ranges_.end() || index < range->first) return;
  const Range before{range->first, index - range->first};
  const Range behind{index + 1, range->end() - index - 1};
  if (before.count > 0 && behind.count > 0) {
    const auto inserted = ranges_.insert(range, before);
    *(inserted + 1) = behind;
  } else if (before.count == 0 && behind.count == 0) {
    ranges_.erase(range);
  } else {
    *range = before.count > 0 ? before : behind;
  }
  --size_;
}

std::string IndexSet::description() const {
  std::string text = "{";
  for (const Range& range : ranges_) {
    if (text.size() > 1) text += ", ";
    text += std::to_string(range.first);
    if (range.count > 1) text.append("-").append(std::to_string(range.end() - 1));
  }
  return text += '}';
}

}  // namespace QVFoundation
