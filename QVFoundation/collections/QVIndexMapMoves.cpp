#include "QVFoundation/collections/QVIndexMap.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <numeric>
#include <vector>

namespace QVFoundation {

namespace {

/// Where the elements of a list stand while it is reordered move by move.
///
/// Each move shifts all elements below it up by one. Shifting never changes which of two elements stands in
/// front, so with the entries ranked by size each move shifts those of the ranks below some bound. A Fenwick
/// tree (P. M. Fenwick, "A New Data Structure for Cumulative Frequency Tables", 1994) counts the bounds, and
/// so says in log n steps how often a rank was shifted, and where the next bound is. None of this needs the
/// entries to be a permutation.
class ShiftedIndexes {
public:
  explicit ShiftedIndexes(std::span<const std::size_t> entries)
      : ranks_(entries.size()), bounds_(entries.size() + 1) {
    std::vector<std::size_t> byEntry(entries.size());
    std::iota(byEntry.begin(), byEntry.end(), std::size_t{0});
    std::sort(byEntry.begin(), byEntry.end(),
              [&](std::size_t a, std::size_t b) { return entries[a] < entries[b]; });
    sorted_.reserve(entries.size());
    for (std::size_t rank = 0; rank < byEntry.size(); ++rank) {
      ranks_[byEntry[rank]] = rank;
      sorted_.push_back(entries[byEntry[rank]]);
    }
  }

  /// Where the entry of a position stands now.
  [[nodiscard]] std::size_t current(std::size_t position) const {
    std::size_t passed = 0;
    for (std::size_t i = ranks_[position] + 1; i > 0; i &= i - 1) passed += bounds_[i];
    return sorted_[ranks_[position]] + shifts_ - passed;
  }

  /// Shifts all that stand below an index up by one.
  void shiftBelow(std::size_t index) {
    std::size_t rank = 0;
    std::size_t passed = 0;
    for (std::size_t step = std::bit_floor(sorted_.size()); step > 0; step /= 2) {
      const std::size_t next = rank + step;
      if (next > sorted_.size()) continue;
      if (sorted_[next - 1] + shifts_ - passed - bounds_[next] >= index) continue;
      rank = next;
      passed += bounds_[next];
    }
    ++shifts_;
    for (std::size_t i = rank + 1; i < bounds_.size(); i += i & (~i + 1)) ++bounds_[i];
  }

private:
  std::vector<std::size_t> ranks_;   // by position
  std::vector<std::size_t> sorted_;  // the entries by rank, as they were at the beginning
  std::vector<std::size_t> bounds_;  // Fenwick tree, from 1: how many shifts stopped in front of each rank
  std::size_t shifts_ = 0;
};

}  // namespace

void QVIndexMap::enumerateMovesWithBlock(
    const std::function<void(std::size_t, std::size_t, bool&)>& block) const {
  ShiftedIndexes indexes(indices_);  // a block may change the map itself
  const std::size_t positions = count();
  bool stop = false;
  for (std::size_t position = 0; position < positions && !stop; ++position) {
    const std::size_t from = indexes.current(position);
    if (from == position) continue;
    block(from, position, stop);
    indexes.shiftBelow(from);
  }
}

}  // namespace QVFoundation
