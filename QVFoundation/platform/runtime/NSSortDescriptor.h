#pragma once

#include <concepts>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/Value.h"

namespace QVFoundation {

/// One criterion to sort by: a key path, a direction, and how the values that are found there compare.
/// A list of descriptors sorts by the first one; each further one decides where those before it see no
/// difference.
///
/// ```cpp
/// const std::vector<NSSortDescriptor> byAge{{"age", false}, {"name"}};  // the oldest first
/// ```
///
/// Threads: immutable; may be used on any thread on which its comparator may be.
/// Errors: as reading the key path and comparing the values have them.
class QV_EXPORT NSSortDescriptor {
public:
  /// Negative, zero or positive for ascending, same and descending.
  using Comparator = std::function<int(const Value&, const Value&)>;

  /// Without a key path the objects themselves are compared, without a comparator by `compareValues`.
  NSSortDescriptor(std::optional<std::string> keyPath) : NSSortDescriptor(std::move(keyPath), true) {}
  /// Refuses what only converts to `bool`, such as a second key path.
  template <std::same_as<bool> Flag>
  NSSortDescriptor(std::optional<std::string> keyPath, Flag ascending, Comparator comparator = {})
      : keyPath_(std::move(keyPath)), ascending_(ascending), comparator_(std::move(comparator)) {}

  [[nodiscard]] const std::optional<std::string>& keyPath() const noexcept { return keyPath_; }
  [[nodiscard]] bool ascending() const noexcept { return ascending_; }
  [[nodiscard]] const Comparator& comparator() const noexcept { return comparator_; }
  [[nodiscard]] NSSortDescriptor reversed() const { return {keyPath_, !ascending_, comparator_}; }

  /// -1, 0 or 1: how two objects are ordered.
  [[nodiscard]] int compareObject(const Value& a, const Value& b) const;
  /// The same for what the key path leads to, read before.
  [[nodiscard]] int compareKeys(const Value& a, const Value& b) const;

private:
  std::optional<std::string> keyPath_;
  bool ascending_;
  Comparator comparator_;
};

}  // namespace QVFoundation
