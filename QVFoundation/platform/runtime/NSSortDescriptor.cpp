#include "QVFoundation/platform/runtime/NSSortDescriptor.h"

#include <string_view>
#include <utility>

#include "QVFoundation/platform/runtime/KeyValueCoding.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/runtime/ValueOrder.h"

namespace QVFoundation {

namespace {

constexpr std::string_view standardSelector = "compare:";

/// The comparison, where it is registered by now.
NSComparator comparisonOrRaise(const std::string& selector) {
  NSComparator comparison = comparisonNamed(selector);
  if (comparison) return comparison;
  throw NSException(NSInvalidArgumentException, "No comparison is registered as \"" + selector + '"');
}

}  // namespace

NSSortDescriptor::NSSortDescriptor(std::optional<std::string> keyPath, Order order, Comparator comparator)
    : keyPath_(std::move(keyPath)), ascending_(order.ascending), comparator_(std::move(comparator)) {
  if (!comparator_) selector_ = standardSelector;
}

NSSortDescriptor::NSSortDescriptor(std::optional<std::string> keyPath, Order order,
                                   std::optional<std::string_view> selector)
    : keyPath_(std::move(keyPath)), ascending_(order.ascending), selector_(selector) {
  if (selector_ && *selector_ != standardSelector) comparator_ = comparisonNamed(*selector_);
}

NSSortDescriptor NSSortDescriptor::reversed() const {
  NSSortDescriptor reversed = *this;
  reversed.ascending_ = !ascending_;
  return reversed;
}

int NSSortDescriptor::compareObject(const Value& a, const Value& b) const {
  return keyPath_ ? compareKeys(valueForKeyPath(a, *keyPath_), valueForKeyPath(b, *keyPath_))
                  : compareKeys(a, b);
}

int NSSortDescriptor::compareKeys(const Value& a, const Value& b) const {
  const auto keyPath = keyPath_ ? std::string_view(*keyPath_) : std::string_view();
  const int order = comparator_ ? comparator_(a, b) : compareByName(keyPath, a, b);
  if (order == 0) return 0;
  return (order > 0) == ascending_ ? 1 : -1;
}

int NSSortDescriptor::compareByName(std::string_view keyPath, const Value& a, const Value& b) const {
  if (selector_ && *selector_ != standardSelector) return comparisonOrRaise(*selector_)(a, b);
  return detail::compareValuesUnder(keyPath, a, b);
}

}  // namespace QVFoundation
