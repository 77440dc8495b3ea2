#include "QVFoundation/logging/QVLogLevelFilter.h"

#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/text/Format.h"

namespace QVFoundation {

const NSClass& QVLogLevelFilter::staticClass() {
  static const NSClass& cls =
      *new NSClass(NSClass::define<QVLogLevelFilter>("QVLogLevelFilter", NSObject::staticClass())
                       .property("debugLoggingEnabled", &QVLogLevelFilter::debugLoggingEnabled,
                                 &QVLogLevelFilter::setDebugLoggingEnabled)
                       .property("verboseLoggingEnabled", &QVLogLevelFilter::verboseLoggingEnabled,
                                 &QVLogLevelFilter::setVerboseLoggingEnabled));
  return cls;
}

QVLogLevelFilter::QVLogLevelFilter() { setDropped(QVLoggerLevelDebug, true); }

bool QVLogLevelFilter::debugLoggingEnabled() const noexcept {
  return !droppedLevels().contains(QVLoggerLevelDebug);
}

void QVLogLevelFilter::setDebugLoggingEnabled(bool enabled) { setDropped(QVLoggerLevelDebug, !enabled); }

bool QVLogLevelFilter::verboseLoggingEnabled() const noexcept {
  return !droppedLevels().contains(QVLoggerLevelInfo);
}

void QVLogLevelFilter::setVerboseLoggingEnabled(bool enabled) { setDropped(QVLoggerLevelInfo, !enabled); }

[[gnu::hot]] bool QVLogLevelFilter::filterAllowsMessage(std::optional<std::string_view> /*message*/,
                                                        QVLoggerLevel level) {
  return !droppedLevels().contains(level);
}

std::string QVLogLevelFilter::description() const {
  return stringWithFormat("%@: debugLoggingEnabled %@", NSObject::description(),
                          debugLoggingEnabled() ? "YES" : "NO");
}

}  // namespace QVFoundation
