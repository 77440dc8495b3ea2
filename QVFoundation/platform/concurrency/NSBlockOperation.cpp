#include "QVFoundation/platform/concurrency/NSBlockOperation.h"

#include <utility>

#include "QVFoundation/platform/runtime/NSException.h"

namespace QVFoundation {

const NSClass& NSBlockOperation::staticClass() {
  static const NSClass& cls =
      *new NSClass(NSClass::define<NSBlockOperation>("NSBlockOperation", NSOperation::staticClass()));
  return cls;
}

NSBlockOperation::NSBlockOperation(std::function<void()> block) : block_(std::move(block)) {
  if (!block_) throw NSException(NSInvalidArgumentException, "The block of an operation is empty");
}

NSBlockOperation::~NSBlockOperation() = default;

void NSBlockOperation::main() {
  if (const auto block = std::exchange(block_, nullptr)) block();
}

}  // namespace QVFoundation
