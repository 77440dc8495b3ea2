#include "QVFoundation/logging/QVLogger.h"

#include <utility>

#include "QVFoundation/logging/LogFallback_p.h"
#include "QVFoundation/logging/LogMessage_p.h"
#include "QVFoundation/logging/QVFileHandleLogWriter.h"
#include "QVFoundation/logging/QVLogLevelFilter.h"
#include "QVFoundation/logging/QVLogStandardFormatter.h"
#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/tracing/ErrnoKeeper_p.h"

namespace QVFoundation {

const NSClass& QVLogger::staticClass() {
  static const NSClass& cls =
      *new NSClass(NSClass::define<QVLogger>("QVLogger", NSObject::staticClass())
                       .property("numErrorsLogged", &QVLogger::numErrorsLogged, &QVLogger::setNumErrorsLogged)
                       .property("debugLoggingEnabled", &QVLogger::debugLoggingEnabled,
                                 &QVLogger::setDebugLoggingEnabled));
  return cls;
}

QVLogger::QVLogger(std::shared_ptr<QVLogWriter> writer, std::shared_ptr<QVLogFormatter> formatter,
                   std::shared_ptr<QVLogFilter> filter)
    : debugLoggingEnabled_(true),  // which is the answer without a filter
      parts_(std::make_shared<const Parts>(Parts{std::move(writer), std::move(formatter), nullptr})) {
  setFilter(std::move(filter));
}

QVLogger::~QVLogger() = default;

const std::shared_ptr<QVLogger>& QVLogger::nullLogger() {
  static const auto& logger = *new std::shared_ptr<QVLogger>(std::make_shared<QVLogger>());
  return logger;
}

std::shared_ptr<QVLogger> QVLogger::standardLogger() {
  return std::make_shared<QVLogger>(QVFileHandleLogWriter::standardOutput(),
                                    std::make_shared<QVLogStandardFormatter>(),
                                    std::make_shared<QVLogLevelFilter>());
}

// The functions that every written line runs through are marked hot, here and further down: the linker then
// puts them side by side. The system call at the end of a line drives them out of the first-level cache, and
// what lies together comes back faster.
[[gnu::hot]] void QVLogger::log(const detail::LogMessage& message) noexcept {
  if (gate_->drops(message.level)) return countDropped(message.level);
  const detail::ErrnoKeeper errnoKeeper;
  const auto parts = parts_.load();
  std::string longLine;
  detail::FormatOutput output(longLine);
  const auto line = detail::reportingFailure("format", message.format.value_or(""),
                                             [&] { return formattedLine(*parts, output, message); });

  std::shared_ptr<const Parts> newer;  // outlives the lock, under which no part may be destroyed
  const UnfairLockGuard guard(writeLock_);
  if (line) {
    // The parts may have been exchanged while the line was formatted.
    if (!parts_.holds(parts)) newer = parts_.load();
    detail::reportingFailure("write", *line,
                             [&] { writeLine(newer ? *newer : *parts, *line, message.level); });
  }
  if (message.level == QVLoggerLevelError) numErrorsLogged_.fetch_add(1, std::memory_order_relaxed);
}

[[gnu::hot]] std::optional<std::string_view> QVLogger::formattedLine(const Parts& parts,
                                                                     detail::FormatOutput& output,
                                                                     const detail::LogMessage& message) {
  if (!parts.formatter) return message.format;
  if (!parts.formatter->appendStringForFunc(output, message)) return {};
  return output.text();
}

[[gnu::hot]] void QVLogger::writeLine(const Parts& parts, std::string_view line, QVLoggerLevel level) {
  if (parts.filter && parts.writer && parts.filter->filterAllowsMessage(line, level)) {
    parts.writer->logMessage(line, level);
  }
}

void QVLogger::logMessage(std::string_view message, QVLoggerLevel level) {
  log({std::nullopt, message, std::nullopt, level});
}

void QVLogger::logMarker(std::string_view text) { logInfo("➡️ %@", text); }

void QVLogger::logDebugMarker(std::string_view text) { logDebug("➡️ %@", text); }

}  // namespace QVFoundation
