#pragma once

#include <memory>
#include <unordered_map>
#include <vector>

#include "QVFoundation/platform/runtime/NSKeyValueChange.h"
#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/runtime/Value.h"

namespace QVFoundation::detail {

/// How often each object stands in a list, kept up by the changes of the list. Objects are told apart by identity.
///
/// Changes may arrive in any order: each only adds to the counts and takes from them, which may fall below zero for
/// as long as an earlier change is still on its way.
///
/// Threads: one at a time.
class ElementCounts {
public:
  using Elements = std::vector<std::shared_ptr<NSObject>>;
  struct Difference {
    Elements removed;  // no longer in the list
    Elements added;    // not in the list before
  };

  /// Counts a change in; returns who came and who went.
  Difference apply(const NSKeyValueChange& change) { return apply(change.oldValue(), change.newValue()); }
  Difference apply(const Value& oldElements, const Value& newElements);

  /// Forgets all; returns those that were in the list and still exist.
  Elements clear();

private:
  struct Count {
    std::weak_ptr<NSObject> element;
    long count = 0;
  };

  std::unordered_map<const NSObject*, Count> counts_;
};

}  // namespace QVFoundation::detail
