#include "QVFoundation/errors/QVErrorInspection.h"
#include "QVFoundation/logging/LogFallback_p.h"
#include "QVFoundation/platform/tracing/NSLog.h"

namespace QVFoundation::detail {

void reportLogFailure(std::string_view step, std::string_view message,
                      const std::exception_ptr& failure) noexcept {
  try {
    NSLog("Could not %@ a log line: %@", step, fullDescription(failure));
  } catch (...) {
    NSLog("Could not %@ a log line", step);  // not even its failure can be described
  }
  NSLog("Message was %@", message);
}

}  // namespace QVFoundation::detail
