#pragma once

#include <string_view>

#include "QVFoundation/logging/QVLoggerLevel.h"
#include "QVFoundation/platform/Export.h"

namespace QVFoundation {

/// Puts finished lines somewhere: a file, the system log, several writers at once.
///
/// Threads: called on whatever thread logs. A logger calls its writer while it holds its own lock, so one
/// logger's lines arrive one at a time; a writer that serves several loggers brings a lock of its own. For
/// the same reason a writer must not log through a logger that writes to it.
/// Errors: what a writer throws is reported on standard error; whoever logs never hears of it.
class QV_EXPORT QVLogWriter {
public:
  virtual ~QVLogWriter();

  /// Writes one line, which comes without a line break at its end. Any level may come.
  virtual void logMessage(std::string_view message, QVLoggerLevel level) = 0;
};

}  // namespace QVFoundation
