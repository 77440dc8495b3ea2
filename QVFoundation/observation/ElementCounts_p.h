#pragma once

#include <cstddef>
#include <memory>
#include <unordered_map>
#include <vector>

#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/runtime/Value.h"

namespace QVFoundation::detail {

/// How often each object stands in a list. Objects are told apart by identity; what is no object is counted
/// with the rest, and no more.
///
/// Threads: one at a time.
class ElementCounts {
public:
  using Elements = std::vector<std::shared_ptr<NSObject>>;
  struct Difference {
    Elements removed;  // no longer in the list
    Elements added;    // not in the list before
  };

  /// Takes some elements out and puts others in; returns who went and who came. What is not there cannot be
  /// taken out, so counts never fall below zero.
  Difference exchange(const Value& removed, const Value& added);
  /// Counts a whole list in place of what was counted before.
  Difference set(const Value& list);

  /// Of all elements together.
  [[nodiscard]] std::size_t total() const noexcept { return total_; }

private:
  struct Count {
    std::weak_ptr<NSObject> element;
    std::size_t count = 0;
  };
  class Exchange;

  std::unordered_map<const NSObject*, Count> counts_;
  std::size_t total_ = 0;
};

}  // namespace QVFoundation::detail
