#include "QVFoundation/operations/QVOperation.h"

#include <algorithm>

#include "QVFoundation/errors/QVErrorConstructors.h"
#include "QVFoundation/operations/QVOperationState_p.h"
#include "QVFoundation/platform/application/LocalizedText_p.h"
#include "QVFoundation/platform/concurrency/TaskCancellation.h"
#include "QVFoundation/platform/runtime/NSErrorKeys.h"

namespace QVFoundation {

void QVOperation::cancel() {
  const auto self = weak_from_this().lock();
  isBeingCancelled_ = true;  // for who is woken before all have heard
  const auto parts = allParts();
  for (const auto& part : parts) part->cancel();
  wakeAllConditions();
  NSOperation::cancel();
  // Meanwhile a part may have come, or a wait.
  for (const auto& part : allParts()) {
    if (std::ranges::find(parts, part) == parts.end()) part->cancel();
  }
  wakeAllConditions();
  pauseConditionLock_.wake();
}

void QVOperation::cancelWithLocalizedDescription(std::string description) {
  (void)exchange(&QVOperation::cancellationDescription_, std::optional(std::move(description)));
  cancel();
}

std::optional<std::string> QVOperation::cancellationDescription() const {
  return locked(&QVOperation::cancellationDescription_);
}

std::optional<NSError> QVOperation::checkForCancellation() {
  if (pauseConditionLock_.condition() != detail::gateIsOpen) [[unlikely]] {
    if (pauseConditionLock_.lockWhenCondition(detail::gateIsOpen, [this] { return hasToEnd(); })) {
      pauseConditionLock_.unlock();
    }
  }
  if (currentTaskIsCancelled()) rootOperation()->cancel();
  if (!hasToEnd()) [[likely]]
    return {};
  return cancellationError();
}

NSError QVOperation::cancellationError() {
  auto description = cancellationDescription();
  if (!description) {
    // For translators: the error of an operation that has been cancelled.
    description =
        detail::localizedText("The %@ operation was cancelled", rootOperation()->name().value_or(""));
  }
  return errorWithDomain(QVErrorDomain, QVUserCancelledError, *description, {});
}

void QVOperation::checkForCancellationAndReturnError() {
  if (const auto error = checkForCancellation()) throw NSError(*error);
}

void QVOperation::checkForCancellation(const std::function<void()>& cleanupBlock) {
  const auto error = checkForCancellation();
  if (!error) return;
  if (cleanupBlock) cleanupBlock();
  throw NSError(*error);
}

}  // namespace QVFoundation
