#include "QVFoundation/errors/QVBlockErrorRecoveryAttempter.h"

#include "QVFoundation/errors/QVErrorKeys.h"
#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/runtime/NSException.h"

namespace QVFoundation {

const NSClass& QVBlockErrorRecoveryAttempter::staticClass() {
  static const NSClass& cls = *new NSClass(
      NSClass::define<QVBlockErrorRecoveryAttempter>("QVBlockErrorRecoveryAttempter", NSObject::staticClass())
          .readOnly("recoveryError", &QVBlockErrorRecoveryAttempter::recoveryError));
  return cls;
}

std::shared_ptr<QVBlockErrorRecoveryAttempter> QVBlockErrorRecoveryAttempter::attempter() {
  return std::make_shared<QVBlockErrorRecoveryAttempter>();
}

bool QVBlockErrorRecoveryAttempter::attemptRecoveryFromError(const NSError& error, std::size_t optionIndex) {
  const Value block = error.userInfo()[QVRecoveryBlocksErrorKey].array()[optionIndex];
  const auto* handler = block.boxedContent<QVRecoveryHandler>();
  if (handler == nullptr || !*handler) {
    throw NSException(NSInvalidArgumentException,
                      "Recovery option " + std::to_string(optionIndex) + " has no handler");
  }
  recoveryError_ = (*handler)(error);
  return true;
}

void QVBlockErrorRecoveryAttempter::attemptRecoveryFromError(const NSError& error, std::size_t optionIndex,
                                                             const std::shared_ptr<NSObject>& delegate,
                                                             const DidRecover& didRecover,
                                                             void* contextInfo) {
  const bool recovered = attemptRecoveryFromError(error, optionIndex);
  if (delegate && didRecover) didRecover(*delegate, recovered, contextInfo);
}

}  // namespace QVFoundation
