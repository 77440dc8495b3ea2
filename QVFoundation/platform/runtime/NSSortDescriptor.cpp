#include "QVFoundation/platform/runtime/NSSortDescriptor.h"

#include <string_view>
#include <utility>

#include "QVFoundation/platform/runtime/KeyValueCoding.h"
#include "QVFoundation/platform/runtime/ValueOrder.h"

namespace QVFoundation {

int NSSortDescriptor::compareObject(const Value& a, const Value& b) const {
  return keyPath_ ? compareKeys(valueForKeyPath(a, *keyPath_), valueForKeyPath(b, *keyPath_))
                  : compareKeys(a, b);
}

int NSSortDescriptor::compareKeys(const Value& a, const Value& b) const {
  const auto keyPath = keyPath_ ? std::string_view(*keyPath_) : std::string_view();
  const int order = comparator_ ? comparator_(a, b) : detail::compareValuesUnder(keyPath, a, b);
  if (order == 0) return 0;
  return (order > 0) == ascending_ ? 1 : -1;
}

}  // namespace QVFoundation
