#pragma once

#include <memory>

#include "QVFoundation/platform/Export.h"

namespace QVFoundation {

class QVLogger;
class QVLogManager;

/// Hears of what a log manager does. Override what is of interest.
///
/// Threads: called on the thread that asked the manager.
/// Ownership: the manager holds it weakly.
class QV_EXPORT QVLogManagerDelegate {
public:
  virtual ~QVLogManagerDelegate();

  /// A logger for a new file; null where it could not be made.
  virtual void didCreateNewLogger(QVLogManager& logManager, const std::shared_ptr<QVLogger>& logger);
  /// `debugLoggingEnabled` has been set.
  virtual void logManagerDidToggleDebugLogging(QVLogManager& logManager);
};

}  // namespace QVFoundation
