#include "QVFoundation/operations/QVAsyncBlockOperation.h"

#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/runtime/NSException.h"

namespace QVFoundation {

const NSClass& detail::asyncBlockOperationClass() {
  static const NSClass& cls = *new NSClass("QVAsyncBlockOperation", QVAsyncOperation::staticClass());
  return cls;
}

void detail::requireAsyncBlock(bool isThere) {
  if (!isThere)
    throw NSException(NSInvalidArgumentException, "The block of an asynchronous operation is empty");
}

}  // namespace QVFoundation
