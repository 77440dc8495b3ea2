#pragma once

#include <cstddef>
#include <initializer_list>
#include <iterator>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/Value.h"
#include "QVFoundation/platform/text/Described.h"

namespace QVFoundation {

/// Indexes of a list, each once, kept as ranges: a selection, or the places where a list has changed.
///
/// ```cpp
/// IndexSet selected{4, 1, 2};
/// selected.addRange(7, 100);
/// for (const std::size_t index : selected) draw(index);  // 1 2 4 7 8 …
/// ```
///
/// Adding or removing an index takes time in proportion to the ranges behind it; many at once are best given
/// to the constructor.
///
/// Threads: a value; reading it from several threads is safe.
/// Errors: an index that is not below `NSNotFound` raises `NSException` named `NSRangeException`.
class QV_EXPORT IndexSet {
public:
  struct Range {
    std::size_t first = 0;
    std::size_t count = 0;

    [[nodiscard]] std::size_t end() const noexcept { return first + count; }
    friend bool operator==(const Range&, const Range&) = default;
  };
  class Iterator;
  using const_iterator = Iterator;
  using iterator = Iterator;
  using value_type = std::size_t;

  IndexSet() noexcept = default;
  IndexSet(std::initializer_list<std::size_t> indexes);
  /// From indexes in any order.
  explicit IndexSet(std::span<const std::size_t> indexes);
  [[nodiscard]] static IndexSet range(std::size_t first, std::size_t count);

  [[nodiscard]] std::size_t size() const noexcept { return size_; }  ///< The number of indexes.
  [[nodiscard]] bool empty() const noexcept { return ranges_.empty(); }
  [[nodiscard]] bool contains(std::size_t index) const noexcept;
  [[nodiscard]] std::optional<std::size_t> first() const noexcept;
  [[nodiscard]] std::optional<std::size_t> last() const noexcept;

  /// The indexes, ascending.
  [[nodiscard]] Iterator begin() const noexcept;
  [[nodiscard]] Iterator end() const noexcept;
  /// The same as few ranges as possible: ascending, none empty, none touching the next.
  [[nodiscard]] const std::vector<Range>& ranges() const noexcept { return ranges_; }

  void add(std::size_t index) { addRange(index, 1); }
  void addRange(std::size_t first, std::size_t count);
  void remove(std::size_t index);
  void clear() noexcept { *this = {}; }

  [[nodiscard]] std::string description() const;  ///< Such as "{1-2, 4, 7-106}".
  friend bool operator==(const IndexSet& a, const IndexSet& b) { return a.ranges_ == b.ranges_; }

private:
  std::vector<Range> ranges_;
  std::size_t size_ = 0;
};

/// Walks the indexes of one set; any change to the set ends its use.
class IndexSet::Iterator {
public:
  using iterator_category = std::forward_iterator_tag;
  using value_type = std::size_t;
  using difference_type = std::ptrdiff_t;
  using pointer = const std::size_t*;
  using reference = std::size_t;

  Iterator() noexcept = default;

  std::size_t operator*() const noexcept { return range_->first + offset_; }
  Iterator& operator++() noexcept {
    if (++offset_ == range_->count) {
      ++range_;
      offset_ = 0;
    }
    return *this;
  }
  Iterator operator++(int) noexcept {
    const auto before = *this;
    ++*this;
    return before;
  }
  friend bool operator==(const Iterator&, const Iterator&) = default;

private:
  friend class IndexSet;
  explicit Iterator(const Range* range) noexcept : range_(range) {}

  const Range* range_ = nullptr;
  std::size_t offset_ = 0;
};

inline IndexSet::Iterator IndexSet::begin() const noexcept { return Iterator(ranges_.data()); }
inline IndexSet::Iterator IndexSet::end() const noexcept { return Iterator(ranges_.data() + ranges_.size()); }

template <>
struct ValueTraits<IndexSet> {
  static Value toValue(const IndexSet& indexes) { return Value::boxed(indexes); }
  static std::optional<IndexSet> fromValue(const Value& value) {
    const auto* indexes = value.boxedContent<IndexSet>();
    return indexes != nullptr ? std::optional(*indexes) : std::nullopt;
  }
};

}  // namespace QVFoundation
