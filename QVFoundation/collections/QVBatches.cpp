#include "QVFoundation/collections/QVBatches.h"

#include "QVFoundation/platform/runtime/NSException.h"

namespace QVFoundation::detail {

std::size_t checkedBatchSize(std::size_t size) {
  if (size == 0) throw NSException(NSInvalidArgumentException, "A batch cannot have a size of 0");
  return std::min<std::size_t>(size, PTRDIFF_MAX);
}

}  // namespace QVFoundation::detail
