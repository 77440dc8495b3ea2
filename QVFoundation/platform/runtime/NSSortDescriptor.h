#pragma once

#include <concepts>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/NamedComparisons.h"
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
  using Comparator = NSComparator;

  /// Without a key path the objects themselves are compared, without a comparator by `compareValues`.
  NSSortDescriptor(std::optional<std::string> keyPath) : NSSortDescriptor(std::move(keyPath), true) {}
  /// Refuses what only converts to `bool`, such as a second key path.
  template <std::same_as<bool> Flag>
  NSSortDescriptor(std::optional<std::string> keyPath, Flag ascending, Comparator comparator = {})
      : NSSortDescriptor(std::move(keyPath), Order{ascending}, std::move(comparator)) {}
  /// With a comparison that is known by name; see `NamedComparisons.h`. A name that nobody has registered is
  /// kept, and comparing raises `NSInvalidArgumentException`. Without a name it is `compareValues`.
  template <std::same_as<bool> Flag>
  NSSortDescriptor(std::optional<std::string> keyPath, Flag ascending,
                   std::optional<std::string_view> selector)
      : NSSortDescriptor(std::move(keyPath), Order{ascending}, selector) {}

  [[nodiscard]] const std::optional<std::string>& keyPath() const noexcept { return keyPath_; }
  [[nodiscard]] bool ascending() const noexcept { return ascending_; }
  /// Empty where values are compared by `compareValues`.
  [[nodiscard]] const Comparator& comparator() const noexcept { return comparator_; }
  /// The name of the comparison: "compare:" unless another one was given, nothing for a comparator.
  [[nodiscard]] const std::optional<std::string>& selector() const noexcept { return selector_; }
  [[nodiscard]] NSSortDescriptor reversed() const;

  /// -1, 0 or 1: how two objects are ordered.
  [[nodiscard]] int compareObject(const Value& a, const Value& b) const;
  /// The same for what the key path leads to, read before.
  [[nodiscard]] int compareKeys(const Value& a, const Value& b) const;

private:
  struct Order {
    bool ascending;
  };
  NSSortDescriptor(std::optional<std::string> keyPath, Order order, Comparator comparator);
  NSSortDescriptor(std::optional<std::string> keyPath, Order order, std::optional<std::string_view> selector);

  [[nodiscard]] int compareByName(std::string_view keyPath, const Value& a, const Value& b) const;

  std::optional<std::string> keyPath_;
  bool ascending_;
  Comparator comparator_;
  std::optional<std::string> selector_;
};

template <>
struct ValueTraits<NSSortDescriptor> {
  static Value toValue(const NSSortDescriptor& descriptor) { return Value::boxed(descriptor); }
  static std::optional<NSSortDescriptor> fromValue(const Value& value) {
    const auto* descriptor = value.boxedContent<NSSortDescriptor>();
    return descriptor != nullptr ? std::optional(*descriptor) : std::nullopt;
  }
};

}  // namespace QVFoundation
