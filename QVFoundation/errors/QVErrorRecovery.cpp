#include "QVFoundation/errors/QVErrorRecovery.h"

#include <utility>

#include "QVFoundation/errors/QVBlockErrorRecoveryAttempter.h"
#include "QVFoundation/errors/QVErrorInspection.h"
#include "QVFoundation/errors/QVErrorKeys.h"
#include "QVFoundation/platform/runtime/Array.h"

namespace QVFoundation {

QVErrorRecoveryAttempter::~QVErrorRecoveryAttempter() = default;

bool canRecover(const NSError& error) { return error.recoveryAttempter() != nullptr; }

std::shared_ptr<NSObject> underlyingAttempter(const NSError& error) {
  const auto cause = underlyingError(error);
  return cause ? cause->recoveryAttempter() : nullptr;
}

std::optional<std::vector<QVRecoveryHandler>> recoveryBlocks(const NSError& error) {
  const Value& stored = error.userInfo()[QVRecoveryBlocksErrorKey];
  if (stored.kind() != ValueKind::array) return {};
  std::vector<QVRecoveryHandler> handlers;
  const Array blocks = stored.array();
  for (const Value& block : blocks) {
    const auto* handler = block.boxedContent<QVRecoveryHandler>();
    handlers.push_back(handler != nullptr ? *handler
                                          : QVRecoveryHandler());  // keeps the indexes those of the titles
  }
  return handlers;
}

std::optional<NSError> performRecoveryWithIndex(const NSError& error, std::size_t index) {
  const auto handlers = recoveryBlocks(error);
  if (!handlers || index >= handlers->size() || !(*handlers)[index]) return {};
  return (*handlers)[index](error);
}

std::optional<NSError> findRecoveryError(const NSError& error) {
  for (std::optional<NSError> next = error; next; next = underlyingError(*next)) {
    const auto attempter =
        std::dynamic_pointer_cast<QVBlockErrorRecoveryAttempter>(next->recoveryAttempter());
    if (attempter && attempter->recoveryError()) return attempter->recoveryError();
  }
  return {};
}

}  // namespace QVFoundation
