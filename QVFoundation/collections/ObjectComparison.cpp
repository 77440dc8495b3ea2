#include "QVFoundation/collections/ObjectComparison.h"

#include "QVFoundation/platform/runtime/KeyValueCoding.h"
#include "QVFoundation/platform/runtime/ValueOrder.h"

namespace QVFoundation {

int compare(const Value& a, const Value& b, std::string_view keyPath) {
  return compareValues(valueForKeyPath(a, keyPath), valueForKeyPath(b, keyPath));
}

int compare(const Value& a, const Value& b, const std::vector<NSSortDescriptor>& descriptors) {
  for (const NSSortDescriptor& descriptor : descriptors) {
    if (const int order = descriptor.compareObject(a, b); order != 0) return order;
  }
  return 0;
}

}  // namespace QVFoundation
