#pragma once

#include <atomic>
#include <concepts>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "QVFoundation/logging/QVLogFile.h"
#include "QVFoundation/logging/QVLogFormatter.h"
#include "QVFoundation/logging/QVLogManagerDelegate.h"
#include "QVFoundation/logging/QVLogger.h"
#include "QVFoundation/logging/QVToggleLogWriter.h"
#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/concurrency/AtomicShared.h"
#include "QVFoundation/platform/concurrency/Mutex.h"
#include "QVFoundation/platform/concurrency/ThreadSafety.h"
#include "QVFoundation/platform/files/NSURL.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/runtime/NSObject.h"

namespace QVFoundation {

/// The log files of an application: one for each job that asks, a general one, and one for debugging that can
/// be switched on.
///
/// ```cpp
/// auto& logs = *QVLogManager::defaultManager();
/// logs.generalLogger()->logInfo("%@ has begun", name);
///
/// std::optional<NSError> error;
/// const auto logger = logs.newLoggerWithName("Backup", nullptr, &error);
/// if (!logger) throw *error;
/// logger->logInfo("%d files", count);       // in Library/Logs/NAME/2024-03-05-140709-Backup.log
///
/// logs.clearLogFilesOlderThanNumDays(30, 100'000'000);
/// ```
///
/// | file      | where                                                                                 |
/// |-----------|---------------------------------------------------------------------------------------|
/// | of a job  | in "Library/Logs/NAME" in the home folder, NAME being that of the main bundle         |
/// | general   | the same, begun when the manager is made, of a job named "General"                    |
/// | debugging | "NAME.log" on the desktop; begun anew whenever `debugLogWriter()` is switched on      |
///
/// What is written to a job's log goes to the debug log, too, while that is switched on:
/// `debugLogWriter()->setWritingEnabled(true)`. Whether debug lines are written at all is
/// `setDebugLoggingEnabled`.
///
/// Threads: safe from any thread. The delegate is called on the calling one.
/// Errors: see `newLoggerWithName`. A general log that cannot be begun is reported on standard error;
/// `generalLogger()` is then null.
class QV_EXPORT QVLogManager : public NSObject {
public:
  static const NSClass& staticClass();
  [[nodiscard]] const NSClass& dynamicClass() const override { return staticClass(); }

  /// The manager that all share, made when it is first asked for: of the class that is named then, if any.
  template <std::derived_from<QVLogManager> Manager = QVLogManager>
  [[nodiscard]] static const std::shared_ptr<QVLogManager>& defaultManager() {
    return sharedManager([]() -> std::shared_ptr<QVLogManager> { return std::make_shared<Manager>(); });
  }

  /// Begins the general log.
  QVLogManager();
  ~QVLogManager() override;

  /// Begins a log file, in a folder that is created where it is missing, and makes a logger that writes to
  /// it, and to the debug log while that is switched on. Its path, also one that could not be created, goes
  /// to `logFilePath`.
  ///
  /// No two loggers get the same file, whichever threads and programs they are made by: the second within a
  /// second has a number in its name.
  ///
  /// Null, and the reason in `error`, where folder or file cannot be created. The delegate hears of it in
  /// both cases.
  [[nodiscard]] std::shared_ptr<QVLogger> newLoggerWithName(std::string_view name,
                                                            std::filesystem::path* logFilePath = nullptr,
                                                            std::optional<NSError>* error = nullptr);
  /// Where a log file of that name would be begun now. Nothing is created.
  [[nodiscard]] NSURL newLoggerURLWithName(std::string_view name) const;
  /// The same in any folder. Raises `NSInvalidArgumentException` for no file's URL.
  [[nodiscard]] static NSURL newLoggerURLWithName(std::string_view name, const NSURL& inFolder);

  /// The application's own log; null where it could not be begun.
  [[nodiscard]] std::shared_ptr<QVLogger> generalLogger() const { return generalLogger_.load(); }
  void setGeneralLogger(std::shared_ptr<QVLogger> logger) { generalLogger_.store(std::move(logger)); }
  /// Writes lines of all levels to the debug log alone, while that is switched on.
  [[nodiscard]] std::shared_ptr<QVLogger> debugLogger() const;

  /// Whether loggers that are made from now on write debug lines. The general logger does so from the first
  /// time that this is true; false does not take that back. This is intended.
  [[nodiscard]] bool debugLoggingEnabled() const noexcept {
    return debugLoggingEnabled_.load(std::memory_order_relaxed);
  }
  void setDebugLoggingEnabled(bool enabled);

  /// The switch of the debug log. Each time that it is set to on, the debug log is begun anew; when it is
  /// set to off, the file stays. What is at its place is removed then, unless it is a folder. Loggers that
  /// are made from now on, and `debugLogger()`, write to a switch that is set here; null raises
  /// `NSInvalidArgumentException`.
  [[nodiscard]] std::shared_ptr<QVToggleLogWriter> debugLogWriter() const { return debugLogWriter_.load(); }
  void setDebugLogWriter(std::shared_ptr<QVToggleLogWriter> writer);
  [[nodiscard]] NSURL debugLogURL() const;
  /// From the next time that it is switched on. Raises `NSInvalidArgumentException` for no file's URL.
  void setDebugLogURL(NSURL url);

  /// The log files of the application, newest first: those in the log folder that have the name of one,
  /// whichever run of the program began them.
  [[nodiscard]] std::vector<QVLogFile> logFiles() const;
  /// Removes what is oldest in the log folder, as long as it is that many days old and all together takes
  /// so many bytes or more: see `qv_removeFilesInDirectory`. What a logger still writes to stays, in this
  /// program or another, and so does a folder with such a file in it, and whatever cannot be asked: on a
  /// volume without locks no file goes. A negative size removes nothing.
  void clearLogFilesOlderThanNumDays(std::int64_t days, std::int64_t sizeLimit) const;

  [[nodiscard]] NSURL logFolderURL() const;
  /// Raises `NSInvalidArgumentException` for no file's URL.
  void setLogFolderURL(NSURL url);

  /// For loggers that are made from now on.
  [[nodiscard]] std::shared_ptr<QVLogFormatter> defaultFormatter() const { return defaultFormatter_.load(); }
  void setDefaultFormatter(std::shared_ptr<QVLogFormatter> formatter) {
    defaultFormatter_.store(std::move(formatter));
  }

  [[nodiscard]] std::shared_ptr<QVLogManagerDelegate> delegate() const;
  void setDelegate(const std::shared_ptr<QVLogManagerDelegate>& delegate);

private:
  class DebugLog;

  static const std::shared_ptr<QVLogManager>& sharedManager(
      const std::function<std::shared_ptr<QVLogManager>()>& make);
  std::shared_ptr<QVLogger> loggerWritingTo(std::shared_ptr<QVLogWriter> file) const;
  void observe(QVToggleLogWriter& writer);
  void endObserving(QVToggleLogWriter& writer) const;

  const std::shared_ptr<DebugLog> debugLog_;
  AtomicShared<QVLogFormatter> defaultFormatter_;
  AtomicShared<QVToggleLogWriter> debugLogWriter_;
  AtomicShared<QVLogger> generalLogger_;
  std::atomic<bool> debugLoggingEnabled_{false};
  Mutex switchChange_;  // while one debug log writer takes the place of another; taken before lock_
  mutable Mutex lock_;
  NSURL logFolderURL_ QV_GUARDED_BY(lock_);
  std::weak_ptr<QVLogManagerDelegate> delegate_ QV_GUARDED_BY(lock_);
  mutable std::shared_ptr<QVLogger> debugLogger_ QV_GUARDED_BY(lock_);
};

}  // namespace QVFoundation
