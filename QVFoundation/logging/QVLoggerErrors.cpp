#include "QVFoundation/logging/QVLogger.h"

#include "QVFoundation/errors/QVErrorInspection.h"
#include "QVFoundation/logging/LogFallback_p.h"
#include "QVFoundation/platform/application/LocalizedText_p.h"
#include "QVFoundation/platform/runtime/ErrorConversion.h"
#include "QVFoundation/platform/tracing/ErrnoKeeper_p.h"

namespace QVFoundation {

namespace {

using detail::localizedText;

std::string errorLine(const NSError& error) {
  if (const auto suggestion = error.localizedRecoverySuggestion()) {
    return localizedText("An error occurred (%ld): %@ (%@)", error.code(), error.localizedDescription(),
                         *suggestion);
  }
  return localizedText("An error occurred (%ld): %@", error.code(), error.localizedDescription());
}

}  // namespace

std::optional<NSError> QVLogger::logErrorObject(const std::optional<NSError>& error) {
  if (!error) return {};
  if (isUserCancelledError(*error)) return error;
  logErrorLine([&] { return errorLine(*error); });
  const Value& callStack = error->userInfo()[QVExceptionCallStackSymbolsKey];
  if (!callStack.isNothing())
    logErrorLine([&] { return localizedText("Exception call stack: %@", callStack); });
  return {};
}

void QVLogger::logCaughtError(std::optional<std::string_view> message,
                              const std::exception_ptr& error) noexcept {
  logErrorLine([&] {
    return message ? std::string(*message) + ": " + fullDescription(error)
                   : asNSError(error).localizedDescription();
  });
}

void QVLogger::logErrorLine(const std::function<std::string()>& compose) noexcept {
  if (gate_->drops(QVLoggerLevelError)) return countDropped(QVLoggerLevelError);
  const detail::ErrnoKeeper errnoKeeper;
  const auto line = detail::reportingFailure("format", "an error", [&] { return std::optional(compose()); });
  log({std::nullopt, line, std::nullopt, QVLoggerLevelError});
}

}  // namespace QVFoundation
