#include "QVFoundation/logging/QVOSLogWriter.h"

#include <utility>

namespace QVFoundation {

namespace {

OSLogType typeOf(QVLoggerLevel level) {
  switch (level) {
    case QVLoggerLevelDebug: return OSLogType::debug;
    case QVLoggerLevelError:
    case QVLoggerLevelAssert: return OSLogType::error;
    default: return OSLogType::info;
  }
}

}  // namespace

QVOSLogWriter::QVOSLogWriter(OSLogger osLogger) : osLogger_(osLogger) {}

void QVOSLogWriter::logMessage(std::string_view message, QVLoggerLevel level) {
  const OSLogType type = typeOf(level);
  if (osLogger_.isEnabled(type)) osLogger_.log(type, message);
}

}  // namespace QVFoundation
