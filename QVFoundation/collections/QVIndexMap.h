#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/IndexSet.h"
#include "QVFoundation/platform/runtime/Value.h"
#include "QVFoundation/platform/text/Described.h"

namespace QVFoundation {

/// A reordering of a list, described once and then applied to any number of lists, inverted, composed, or
/// replayed as single moves. Entry p is the index of the element that goes to position p.
///
/// ```cpp
/// const QVIndexMap map = sortMapUsingKeyPath(tracks, "title");
/// reorderUsingMap(tracks, map);
/// reorderUsingMap(covers, map);                 // a parallel list
/// reorderUsingMap(tracks, map.inverseMap());    // back again
/// ```
///
/// Entries normally are a permutation of 0 to count - 1, but nothing enforces it: what needs a permutation
/// says so.
///
/// Threads: a value; reading it from several threads is safe.
/// Errors: an entry that leads outside of a list raises `NSException` named `NSRangeException`, whose reason
/// names its position and the entry.
class QV_EXPORT QVIndexMap {
public:
  using value_type = std::size_t;
  using const_iterator = std::vector<std::size_t>::const_iterator;
  using iterator = const_iterator;

  QVIndexMap() noexcept = default;
  QVIndexMap(std::initializer_list<std::size_t> indices) : indices_(indices) {}
  /// Takes the buffer over.
  explicit QVIndexMap(std::vector<std::size_t>&& indices) noexcept : indices_(std::move(indices)) {}
  explicit QVIndexMap(std::span<const std::size_t> indices) : indices_(indices.begin(), indices.end()) {}
  explicit QVIndexMap(const IndexSet& indexes) : indices_(indexes.begin(), indexes.end()) {}

  [[nodiscard]] static QVIndexMap identityMapWithCount(std::size_t count);
  [[nodiscard]] static QVIndexMap mapWithIndices(std::span<const std::size_t> indices) {
    return QVIndexMap(indices);
  }
  [[nodiscard]] static QVIndexMap mapWithIndices(std::vector<std::size_t>&& indices) noexcept {
    return QVIndexMap(std::move(indices));
  }
  /// From numbers, of which negative ones wrap around as a conversion to `std::size_t` does.
  [[nodiscard]] static QVIndexMap mapWithIndexArray(std::span<const std::int64_t> indices);
  /// The same; a fraction is cut off. An element that is no number, or a number that 64 bits cannot hold,
  /// raises `NSInvalidArgumentException`.
  [[nodiscard]] static QVIndexMap mapWithIndexArray(const Array& indices);
  /// The indexes of the set, ascending.
  [[nodiscard]] static QVIndexMap mapWithIndexSet(const IndexSet& indexes) { return QVIndexMap(indexes); }

  /// Moves some of `count` elements as a block, which keeps its order, in front of the first element that
  /// stays and whose old index is not below `toIndex`; behind all others where there is none.
  [[nodiscard]] static QVIndexMap mapToMoveIndexes(const IndexSet& indexes, std::size_t toIndex,
                                                   std::size_t count);
  /// The same for numbers in any order.
  [[nodiscard]] static QVIndexMap mapToMoveIndices(std::span<const std::int32_t> indices, std::size_t toIndex,
                                                   std::size_t count);
  /// An element that is no number of 32 bits raises `NSInvalidArgumentException`.
  [[nodiscard]] static QVIndexMap mapToMoveIndices(const Array& indices, std::size_t toIndex,
                                                   std::size_t count);

  [[nodiscard]] std::size_t count() const noexcept { return indices_.size(); }
  [[nodiscard]] std::span<const std::size_t> indices() const noexcept { return indices_; }
  /// Copies the entries to the front of a buffer of at least `count()` places.
  void getIndices(std::span<std::size_t> buffer) const;
  [[nodiscard]] const_iterator begin() const noexcept { return indices_.begin(); }
  [[nodiscard]] const_iterator end() const noexcept { return indices_.end(); }

  // Neither of the two checks the position.
  [[nodiscard]] std::size_t indexForIndex(std::size_t position) const noexcept { return indices_[position]; }
  void setIndex(std::size_t index, std::size_t position) noexcept { indices_[position] = index; }

  /// Calls the block with (entry, position, stop) for each position in order, until it sets `stop`.
  void enumerateIndexesWithBlock(
      const std::function<void(std::size_t index, std::size_t position, bool& stop)>& block) const;
  /// Calls the block with (from, to, stop) for single moves that, made one after the other, reorder a list as
  /// the map does: take out the element at `from` and insert it at `to`. What is in place is not moved. Takes
  /// n log n steps for n entries.
  void enumerateMovesWithBlock(
      const std::function<void(std::size_t from, std::size_t to, bool& stop)>& block) const;

  /// The map that undoes this one. What is no permutation has none and raises `NSRangeException`.
  [[nodiscard]] QVIndexMap inverseMap() const;
  /// The entries from the last to the first.
  [[nodiscard]] QVIndexMap reverseMap() const;
  /// The map that has the effect of applying this one first and the other one to its result: entry p is this
  /// map's entry at position `other[p]`.
  [[nodiscard]] QVIndexMap mapByApplyingMap(const QVIndexMap& other) const;

  /// The entries at the given positions; positions that do not exist are skipped.
  [[nodiscard]] std::vector<std::size_t> translateIndices(std::span<const std::uint32_t> positions) const;
  /// The same; a number that is no unsigned number of 32 bits is no position.
  [[nodiscard]] Array translateIndices(const Array& positions) const;
  /// The set of the entries at the given positions, all of which must exist.
  [[nodiscard]] IndexSet indexes(const IndexSet& positions) const;

  /// The position of each entry; of equal entries the last one counts.
  [[nodiscard]] std::unordered_map<std::size_t, std::size_t> inverseDictionary() const;
  [[nodiscard]] std::vector<std::int64_t> indexArray() const;

  /// Such as "<QVIndexMap: 0x5581…>0 1 ": each entry is followed by a space.
  [[nodiscard]] std::string description() const;
  friend bool operator==(const QVIndexMap&, const QVIndexMap&) = default;

private:
  std::vector<std::size_t> indices_;
};

template <>
struct ValueTraits<QVIndexMap> {
  static Value toValue(const QVIndexMap& map) { return Value::boxed(map); }
  static std::optional<QVIndexMap> fromValue(const Value& value) {
    const auto* map = value.boxedContent<QVIndexMap>();
    return map != nullptr ? std::optional(*map) : std::nullopt;
  }
};

namespace detail {

/// Raises `NSRangeException` unless each of a map's entries is an index of a list of `count` elements.
QV_EXPORT void checkEntries(std::span<const std::size_t> entries, std::size_t count);

}  // namespace detail

}  // namespace QVFoundation
