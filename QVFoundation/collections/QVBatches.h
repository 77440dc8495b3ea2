#pragma once

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <iterator>
#include <ranges>
#include <utility>
#include <vector>

#include "QVFoundation/platform/Export.h"

namespace QVFoundation {

namespace detail {
[[nodiscard]] QV_EXPORT std::size_t checkedBatchSize(std::size_t size);
}

/// A range in batches of `n` elements; the last one may be shorter. Made by `qv_batches`.
///
/// Threads: one thread, as for the range.
template <std::ranges::view View>
class QVBatches {
public:
  class Iterator;
  using iterator = Iterator;

  QVBatches(View range, std::size_t size) : range_(std::move(range)), size_(detail::checkedBatchSize(size)) {}

  [[nodiscard]] Iterator begin() { return {range_, size_}; }
  [[nodiscard]] std::default_sentinel_t end() const noexcept { return {}; }

private:
  View range_;
  std::size_t size_;
};

/// Goes through a range in batches of up to `size` elements, to store rows a transaction at a time, say.
///
/// ```cpp
/// for (const auto& batch : qv_batches(rows, 500)) {
///   const Transaction transaction(database);
///   for (const Row& row : batch) database.store(row);
/// }
/// ```
///
/// A batch is a part of the range itself where the range can be walked more than once, and else, as with a
/// stream, a vector of what has been read; it holds until the loop moves on. No element is read before its
/// batch is due.
///
/// Threads: the range is read on the calling thread, and must not change meanwhile.
/// Errors: a size of zero raises `NSException` named `NSInvalidArgumentException`.
template <std::ranges::viewable_range Range>
[[nodiscard]] auto qv_batches(Range&& range, std::size_t size) {
  return QVBatches<std::views::all_t<Range>>(std::views::all(std::forward<Range>(range)), size);
}

/// Threads: as for `QVBatches`.
template <std::ranges::view View>
class QVBatches<View>::Iterator {
  static constexpr bool isPart = std::ranges::forward_range<View>;
  using Position = std::ranges::iterator_t<View>;

public:
  using iterator_concept = std::input_iterator_tag;
  using difference_type = std::ptrdiff_t;
  using value_type = typename decltype([] {
    if constexpr (isPart) {
      return std::type_identity<std::ranges::subrange<Position>>();
    } else {
      return std::type_identity<std::vector<std::ranges::range_value_t<View>>>();
    }
  }())::type;

  const value_type& operator*() const noexcept { return batch_; }
  Iterator& operator++() {
    readBatch();
    return *this;
  }
  void operator++(int) { ++*this; }
  friend bool operator==(const Iterator& position, std::default_sentinel_t /*end*/) {
    return position.batch_.empty();
  }

private:
  friend class QVBatches;
  Iterator(View& range, std::size_t size)
      : next_(std::ranges::begin(range)), end_(std::ranges::end(range)), size_(size) {
    readBatch();
  }

  void readBatch() {
    if constexpr (isPart) {
      const Position first = next_;
      std::ranges::advance(next_, static_cast<std::ranges::range_difference_t<View>>(size_), end_);
      batch_ = {first, next_};
    } else {
      readElements();
    }
  }

  // A stream may wait for what comes next, so it is not asked for an element beyond the batch.
  void readElements() {
    batch_.clear();
    if (hasRead_ && next_ != end_) ++next_;
    hasRead_ = false;
    while (next_ != end_) {
      batch_.push_back(*next_);
      hasRead_ = true;
      if (batch_.size() == size_) return;
      ++next_;
    }
  }

  Position next_;
  std::ranges::sentinel_t<View> end_;
  std::size_t size_;
  bool hasRead_ = false;  // whether the element at `next_` is in the last batch
  value_type batch_;      // empty at the end
};

}  // namespace QVFoundation
