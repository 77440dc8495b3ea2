#include "QVFoundation/platform/runtime/NSKeyValueChange.h"

namespace QVFoundation {

namespace {

Value orNull(const Value& value) { return value.isNothing() ? Value(NSNull{}) : value; }

}  // namespace

const Value& NSKeyValueChange::none() noexcept {
  static const Value& nothing = *new Value;
  return nothing;
}

const IndexSet& NSKeyValueChange::noIndexes() noexcept {
  static const IndexSet& empty = *new IndexSet;
  return empty;
}

Dictionary NSKeyValueChange::dictionary() const {
  Dictionary entries{{NSKeyValueChangeKindKey, static_cast<int>(kind_)}};
  const bool hasNew = kind_ != NSKeyValueChangeKind::removal && !isPrior_;
  const bool hasOld = kind_ != NSKeyValueChangeKind::insertion && !isInitial_;
  if (hasNew && shows(NSKeyValueObservingOptionNew)) entries.set(NSKeyValueChangeNewKey, orNull(newValue()));
  if (hasOld && shows(NSKeyValueObservingOptionOld)) entries.set(NSKeyValueChangeOldKey, orNull(oldValue()));
  if (kind_ != NSKeyValueChangeKind::setting) entries.set(NSKeyValueChangeIndexesKey, indexes());
  if (isPrior_) entries.set(NSKeyValueChangeNotificationIsPriorKey, true);
  return entries;
}

}  // namespace QVFoundation
