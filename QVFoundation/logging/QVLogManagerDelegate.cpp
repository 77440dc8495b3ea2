#include "QVFoundation/logging/QVLogManagerDelegate.h"

namespace QVFoundation {

QVLogManagerDelegate::~QVLogManagerDelegate() = default;

void QVLogManagerDelegate::didCreateNewLogger(QVLogManager& /*logManager*/,
                                              const std::shared_ptr<QVLogger>& /*logger*/) {}

void QVLogManagerDelegate::logManagerDidToggleDebugLogging(QVLogManager& /*logManager*/) {}

}  // namespace QVFoundation
