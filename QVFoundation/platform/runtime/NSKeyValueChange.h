#pragma once

#include <string_view>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/Dictionary.h"
#include "QVFoundation/platform/runtime/IndexSet.h"
#include "QVFoundation/platform/runtime/NSKeyValueChangeKeys.h"
#include "QVFoundation/platform/runtime/Value.h"

namespace QVFoundation {

namespace detail {
class ChangeDelivery;
}

/// What happened to a property. All but `setting` happen to elements of a to-many property.
enum class NSKeyValueChangeKind {
  setting = 1,
  insertion = 2,
  removal = 3,
  replacement = 4,
};

/// What an observer wants to be told; combined with `|`.
enum NSKeyValueObservingOptions : unsigned {
  NSKeyValueObservingOptionNone = 0,
  NSKeyValueObservingOptionNew = 1,      ///< the value after the change
  NSKeyValueObservingOptionOld = 2,      ///< the value before the change
  NSKeyValueObservingOptionInitial = 4,  ///< a notification at once, when the observation begins
  NSKeyValueObservingOptionPrior = 8,    ///< a notification before each change as well
};
constexpr NSKeyValueObservingOptions operator|(NSKeyValueObservingOptions a,
                                               NSKeyValueObservingOptions b) noexcept {
  return static_cast<NSKeyValueObservingOptions>(static_cast<unsigned>(a) | static_cast<unsigned>(b));
}

/// One change of a property, as an observer is told of it: typed, or by the keys of a change dictionary.
///
/// Of an insertion, a removal or a replacement, `indexes` says where, and the values are arrays of the elements
/// concerned, in the order of their indexes.
///
/// It is lent: it lasts as long as the call that it is handed to. Keep its values, or its dictionary.
///
/// Threads: the one that it is handed to.
class QV_EXPORT NSKeyValueChange {
public:
  /// A change of the whole value that nobody has sent, for whoever handles changes. Both values must outlive it.
  NSKeyValueChange(const Value& oldValue, const Value& newValue) noexcept
      : old_(&oldValue),
        new_(&newValue),
        shown_(NSKeyValueObservingOptionNew | NSKeyValueObservingOptionOld) {}
  NSKeyValueChange(const NSKeyValueChange&) = delete;
  NSKeyValueChange& operator=(const NSKeyValueChange&) = delete;
  ~NSKeyValueChange() = default;

  [[nodiscard]] NSKeyValueChangeKind kind() const noexcept { return kind_; }
  /// Nothing where the observer did not ask for it, in a notification before the change, of a removal, and
  /// where the property has no value.
  [[nodiscard]] const Value& newValue() const noexcept {
    return shows(NSKeyValueObservingOptionNew) && !isPrior_ && new_ != nullptr ? *new_ : none();
  }
  /// Nothing where the observer did not ask for it, in the initial notification, of an insertion, and where
  /// the property had no value.
  [[nodiscard]] const Value& oldValue() const noexcept {
    return shows(NSKeyValueObservingOptionOld) && old_ != nullptr ? *old_ : none();
  }
  /// Where elements were inserted, removed or replaced; empty for `setting`.
  [[nodiscard]] const IndexSet& indexes() const noexcept {
    return indexes_ != nullptr ? *indexes_ : noIndexes();
  }
  /// True for the notification before the change.
  [[nodiscard]] bool isPrior() const noexcept { return isPrior_; }

  /// The entry of the change dictionary.
  [[nodiscard]] Value operator[](std::string_view key) const { return dictionary()[key]; }
  /// The change under the keys of `NSKeyValueChangeKeys.h`. A value that was asked for and is absent stands there
  /// as `NSNull`.
  [[nodiscard]] Dictionary dictionary() const;

private:
  friend class detail::ChangeDelivery;

  NSKeyValueChange() noexcept = default;

  [[nodiscard]] bool shows(NSKeyValueObservingOptions option) const noexcept {
    return (shown_ & option) != 0;
  }
  [[nodiscard]] static const Value& none() noexcept;
  [[nodiscard]] static const IndexSet& noIndexes() noexcept;

  const Value* old_ = nullptr;
  const Value* new_ = nullptr;
  const IndexSet* indexes_ = nullptr;
  NSKeyValueChangeKind kind_ = NSKeyValueChangeKind::setting;
  NSKeyValueObservingOptions shown_ = NSKeyValueObservingOptionNone;
  bool isInitial_ = false;
  bool isPrior_ = false;
};

}  // namespace QVFoundation
