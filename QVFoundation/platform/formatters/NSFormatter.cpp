#include "QVFoundation/platform/formatters/NSFormatter.h"

#include "QVFoundation/platform/runtime/NSClass.h"

namespace QVFoundation {

const NSClass& NSFormatter::staticClass() {
  // Never destroyed: objects serve to the end of the process.
  static const NSClass& cls =
      *new NSClass(NSClass::define<NSFormatter>("NSFormatter", NSObject::staticClass()));
  return cls;
}

const NSClass& NSFormatter::dynamicClass() const { return staticClass(); }

std::optional<std::string> NSFormatter::editingStringForObjectValue(const Value& value) const {
  return stringForObjectValue(value);
}

}  // namespace QVFoundation
