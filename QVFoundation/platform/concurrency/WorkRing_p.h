#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "QVFoundation/platform/concurrency/Work.h"

namespace QVFoundation::detail {

/// Work that waits, first in, first out.
///
/// Threads: used under its owner's lock.
class WorkRing {
public:
  [[nodiscard]] bool empty() const noexcept { return count_ == 0; }
  [[nodiscard]] std::size_t count() const noexcept { return count_; }

  void push(Work&& work) {
    if (count_ == cells_.size()) grow();
    cells_[(first_ + count_++) & (cells_.size() - 1)] = std::move(work);
  }

  [[nodiscard]] Work pop() noexcept {
    Work work = std::move(cells_[first_]);
    first_ = (first_ + 1) & (cells_.size() - 1);
    if (--count_ == 0 && cells_.size() > kept) cells_ = std::vector<Work>();
    return work;
  }

private:
  static constexpr std::size_t kept = 1024;  // cells, when a burst is over

  void grow() {
    std::vector<Work> larger(cells_.empty() ? 16 : cells_.size() * 2);
    for (std::size_t i = 0; i < count_; ++i) {
      larger[i] = std::move(cells_[(first_ + i) & (cells_.size() - 1)]);
    }
    cells_ = std::move(larger);
    first_ = 0;
  }

  std::vector<Work> cells_;  // a power of two
  std::size_t first_ = 0;
  std::size_t count_ = 0;
};

}  // namespace QVFoundation::detail
