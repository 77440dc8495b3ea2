#include "QVFoundation/operations/QVAsyncBlockOperation.h"

#include "QVFoundation/platform/runtime/NSClass.h"

namespace QVFoundation {

const NSClass& detail::asyncBlockOperationClass() {
  static const NSClass& cls = *new NSClass("QVAsyncBlockOperation", QVAsyncOperation::staticClass());
  return cls;
}

}  // namespace QVFoundation
