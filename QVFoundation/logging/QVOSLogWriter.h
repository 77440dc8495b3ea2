#pragma once

#include <string_view>

#include "QVFoundation/logging/QVLogWriter.h"
#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/tracing/OSLogger.h"

namespace QVFoundation {

/// Writes each line as one entry of the system log: debug lines as debug, error and assert lines as errors,
/// all others as info. Types that are switched off, debug by default, cost one look at a flag.
///
/// Threads: safe from any thread.
class QV_EXPORT QVOSLogWriter : public NSObject, public QVLogWriter {
public:
  explicit QVOSLogWriter(OSLogger osLogger);

  [[nodiscard]] const OSLogger& osLogger() const noexcept { return osLogger_; }

  void logMessage(std::string_view message, QVLoggerLevel level) override;

private:
  OSLogger osLogger_;
};

}  // namespace QVFoundation
