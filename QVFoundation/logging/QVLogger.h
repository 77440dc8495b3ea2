#pragma once

#include <array>
#include <atomic>
#include <concepts>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "QVFoundation/logging/LevelGate.h"
#include "QVFoundation/logging/LogMessage.h"
#include "QVFoundation/logging/QVLogFilter.h"
#include "QVFoundation/logging/QVLogFormatter.h"
#include "QVFoundation/logging/QVLogWriter.h"
#include "QVFoundation/logging/QVLoggerLevel.h"
#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/concurrency/AtomicShared.h"
#include "QVFoundation/platform/concurrency/Mutex.h"
#include "QVFoundation/platform/concurrency/ThreadSafety.h"
#include "QVFoundation/platform/concurrency/UnfairLock.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/text/FormatArgument.h"

namespace QVFoundation {

/// Where code says what it does. A formatter turns each message into a line, a filter decides whether it is
/// written, a writer puts it somewhere; all three can be exchanged at any time.
///
/// ```cpp
/// auto file = QVFileHandleLogWriter::fileHandleForLoggingAtPath("player.log", 0644);
/// if (!file) throw *errnoError(-1, "The log file cannot be opened.");
/// const auto logger = std::make_shared<QVLogger>(file, std::make_shared<QVLogStandardFormatter>(),
///                                                std::make_shared<QVLogLevelFilter>());
/// logger->logInfo("%d tracks in %@", count, album);
/// logger->logErrorObject(error);
/// ```
///
/// A logger without a filter or without a writer drops its lines silently. A line of a level that the filter
/// declares as dropped is never formatted.
///
/// Threads: any thread may log, and exchange the parts, at any time. Lines are formatted without a lock;
/// filter and writer are called under the logger's own lock, one line at a time, in the order in which the
/// threads took it. So a filter or a writer must not log through the same logger.
/// Errors: logging reports nothing to the caller, and keeps `errno`. What formatter, filter or writer throw
/// while a line is logged goes to standard error, together with the message.
class QV_EXPORT QVLogger : public NSObject {
public:
  static const NSClass& staticClass();
  [[nodiscard]] const NSClass& dynamicClass() const override { return staticClass(); }

  /// Without writer, formatter and filter: writes nothing, and `debugLoggingEnabled()` is false.
  QVLogger() = default;
  /// Each part may be null.
  QVLogger(std::shared_ptr<QVLogWriter> writer, std::shared_ptr<QVLogFormatter> formatter,
           std::shared_ptr<QVLogFilter> filter);
  ~QVLogger() override;

  /// The one logger, shared by all, that never writes anything. Give it no parts.
  [[nodiscard]] static const std::shared_ptr<QVLogger>& nullLogger();
  /// A new logger that writes standard lines to the process's standard output.
  [[nodiscard]] static std::shared_ptr<QVLogger> standardLogger();

  // Formats in the style of printf, with "%@" for any object.
  template <class... Args>
  void logDebug(std::string_view format, const Args&... args) {
    logFormat(QVLoggerLevelDebug, format, args...);
  }
  template <class... Args>
  void logInfo(std::string_view format, const Args&... args) {
    logFormat(QVLoggerLevelInfo, format, args...);
  }
  template <class... Args>
  void logError(std::string_view format, const Args&... args) {
    logFormat(QVLoggerLevelError, format, args...);
  }
  template <class... Args>
  void logAssert(std::string_view format, const Args&... args) {
    logFormat(QVLoggerLevelAssert, format, args...);
  }

  // Finished texts, in which "%" means itself.
  void logDebugString(std::string_view message) { logMessage(message, QVLoggerLevelDebug); }
  void logInfoString(std::string_view message) { logMessage(message, QVLoggerLevelInfo); }
  void logErrorString(std::string_view message) { logMessage(message, QVLoggerLevelError); }
  void logAssertString(std::string_view message) { logMessage(message, QVLoggerLevelAssert); }
  void logMessage(std::string_view message, QVLoggerLevel level);

  /// A line that is easy to find again: "➡️ " and the text.
  void logMarker(std::string_view text);
  void logDebugMarker(std::string_view text);

  /// Logs the text that a callable returns, if it returns one, at debug level. While `debugLoggingEnabled()`
  /// is false the callable is not called, so that costly messages cost nothing.
  template <std::invocable Callable>
  void logDebugBlock(Callable&& callable) {
    if (!debugLoggingEnabled()) return;
    const std::optional<std::string> text(std::invoke(std::forward<Callable>(callable)));
    if (text) logDebugString(*text);
  }

  /// Logs an error with its code, description and suggestion, and the call stack of an exception on a second
  /// line. That the user cancelled is no error: it is not logged, and comes back. Returns nothing where the
  /// error was logged or absent.
  std::optional<NSError> logErrorObject(const std::optional<NSError>& error);

  /// Returns what a callable returns. An exception ends here: it is logged as "message: " and all that it
  /// says of itself, or without a message by its description, and nothing is returned.
  template <std::invocable Callable>
  auto logThrownError(std::optional<std::string_view> message, Callable&& callable) {
    using Returned = std::invoke_result_t<Callable>;
    using Content =
        std::conditional_t<std::is_void_v<Returned>, std::monostate, std::remove_cvref_t<Returned>>;
    try {
      if constexpr (std::is_void_v<Returned>) {
        std::invoke(std::forward<Callable>(callable));
        return std::optional<Content>(std::in_place);
      } else {
        return std::optional<Content>(std::invoke(std::forward<Callable>(callable)));
      }
    } catch (...) {
      logCaughtError(message, std::current_exception());
      return std::optional<Content>();
    }
  }
  template <std::invocable Callable>
  auto logThrownError(Callable&& callable) {
    return logThrownError(std::nullopt, std::forward<Callable>(callable));
  }

  /// How often something was logged at error level, whether it was written or not. Assert level does
  /// not count.
  [[nodiscard]] std::int64_t numErrorsLogged() const noexcept {
    return numErrorsLogged_.load(std::memory_order_relaxed);
  }
  void setNumErrorsLogged(std::int64_t count) noexcept {
    numErrorsLogged_.store(count, std::memory_order_relaxed);
  }

  [[nodiscard]] std::shared_ptr<QVLogWriter> writer() const { return parts_.load()->writer; }
  void setWriter(std::shared_ptr<QVLogWriter> writer);
  /// Adds a writer beside those that there are: the writer becomes a list of writers. A logger without any
  /// writer has nothing to add to: that is a programming error and raises `NSInvalidArgumentException`, as a
  /// null writer does.
  void addWriter(const std::shared_ptr<QVLogWriter>& writer);
  /// Removes a writer from the list, wherever it stands in it. Raises `NSInvalidArgumentException` where the
  /// writer is not a list.
  void removeWriter(const std::shared_ptr<QVLogWriter>& writer);

  [[nodiscard]] std::shared_ptr<QVLogFormatter> formatter() const { return parts_.load()->formatter; }
  void setFormatter(std::shared_ptr<QVLogFormatter> formatter);

  [[nodiscard]] std::shared_ptr<QVLogFilter> filter() const { return parts_.load()->filter; }
  /// Sets `debugLoggingEnabled()` to what the new filter answers; what it throws instead is passed on, and
  /// the filter is then in place. The same filter again changes nothing.
  void setFilter(std::shared_ptr<QVLogFilter> filter);

  /// Whether `logDebugBlock` calls its callable. It is computed when the logger is made and when the filter
  /// is replaced; turning a switch of the filter itself does not change it.
  [[nodiscard]] bool debugLoggingEnabled() const noexcept {
    return debugLoggingEnabled_.load(std::memory_order_relaxed);
  }
  /// Only this answer: whether debug lines are written is for the filter to say.
  void setDebugLoggingEnabled(bool enabled) noexcept {
    debugLoggingEnabled_.store(enabled, std::memory_order_relaxed);
  }
  /// Turn the switch of a `QVLogLevelFilter` together with the logger's own.
  void enableDebugLogging() { switchDebugLogging(true); }
  void disableDebugLogging() { switchDebugLogging(false); }
  /// What the filter answers for debug level; true without a filter.
  [[nodiscard]] bool shouldPerformDebugLogging() const;

  /// The lock under which lines are filtered and written; held by others to keep lines out for a moment.
  [[nodiscard]] UnfairLock& writeLock() const noexcept QV_RETURN_CAPABILITY(writeLock_) { return writeLock_; }

  /// Logs one line; all other ways to log end here. An absent format is a line that is dropped but counted.
  void logInternalFunc(std::optional<std::string_view> func, std::optional<std::string_view> format,
                       std::optional<FormatArguments> arguments, QVLoggerLevel level) noexcept {
    log({func, format, arguments, level});
  }

private:
  /// What a line passes through. Never changed: who exchanges one part installs a new set.
  struct Parts {
    std::shared_ptr<QVLogWriter> writer;
    std::shared_ptr<QVLogFormatter> formatter;
    std::shared_ptr<QVLogFilter> filter;
  };
  using SeenParts = std::vector<std::shared_ptr<const Parts>>;

  template <class... Args>
  void logFormat(QVLoggerLevel level, std::string_view format, const Args&... args) {
    if (gate_->drops(level)) [[unlikely]] {
      countDropped(level);
    } else {
      const std::array<FormatArgument, sizeof...(Args)> arguments{args...};
      log({std::nullopt, format, FormatArguments(arguments), level});
    }
  }

  void log(const detail::LogMessage& message) noexcept;
  void countDropped(QVLoggerLevel level) noexcept {
    if (level == QVLoggerLevelError) numErrorsLogged_.fetch_add(1, std::memory_order_relaxed);
  }
  void logCaughtError(std::optional<std::string_view> message, const std::exception_ptr& error) noexcept;
  /// Logs a text that is only composed if it can be written.
  void logErrorLine(const std::function<std::string()>& compose) noexcept;
  void switchDebugLogging(bool enabled);
  /// Installs changed parts, starting again where another thread was faster. Returns all that it came across,
  /// those that were replaced last: who holds a lock keeps them until it has let go, since writers may be
  /// destroyed with them.
  SeenParts exchangeParts(const std::function<Parts(const Parts&)>& change);
  /// False where the filter was there already.
  bool installFilter(const std::shared_ptr<QVLogFilter>& filter);

  static std::optional<std::string_view> formattedLine(const Parts& parts, detail::FormatOutput& output,
                                                       const detail::LogMessage& message);
  static void writeLine(const Parts& parts, std::string_view line, QVLoggerLevel level);

  const std::shared_ptr<detail::LevelGate> gate_ = std::make_shared<detail::LevelGate>();
  std::atomic<std::int64_t> numErrorsLogged_{0};
  std::atomic<bool> debugLoggingEnabled_{false};
  mutable UnfairLock writeLock_;
  Mutex filterChange_;  // keeps the gate and the filter in step; taken before all other locks
  AtomicShared<const Parts> parts_{std::make_shared<const Parts>()};
};

}  // namespace QVFoundation
