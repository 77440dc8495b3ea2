#include "QVFoundation/logging/QVLogManager.h"

#include <algorithm>
#include <chrono>
#include <string>
#include <tuple>
#include <utility>

#include "QVFoundation/files/DirectoryPruning_p.h"
#include "QVFoundation/files/QVFileManagerUtilities.h"
#include "QVFoundation/files/QVStandardDirectories.h"
#include "QVFoundation/logging/LogFileCreation_p.h"
#include "QVFoundation/logging/LogFileName_p.h"
#include "QVFoundation/logging/LogFilePruning_p.h"
#include "QVFoundation/logging/QVFileHandleLogWriter.h"
#include "QVFoundation/logging/QVLogLevelFilter.h"
#include "QVFoundation/logging/QVLogNoFilter.h"
#include "QVFoundation/logging/QVLogStandardFormatter.h"
#include "QVFoundation/observation/KDBlockObservation.h"
#include "QVFoundation/platform/application/NSBundle.h"
#include "QVFoundation/platform/files/FileErrors_p.h"
#include "QVFoundation/platform/files/FileLocation_p.h"
#include "QVFoundation/platform/files/FileStatus_p.h"
#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/tracing/NSLog.h"

namespace QVFoundation {

namespace {

/// The application's name, as a name of a folder or file.
std::string applicationName() {
  std::string name = NSBundle::mainBundle()->name();
  std::ranges::replace(name, '/', ':');
  return name;
}

void requireFile(const NSURL& url) {
  if (!url.isFileURL()) {
    throw NSException(NSInvalidArgumentException, "Logs cannot be kept at \"" + url.absoluteString() + '"');
  }
}

std::filesystem::path desktopFolder() {
  return NSSearchPathForDirectoriesInDomains(NSSearchPathDirectory::desktop, NSSearchPathDomainMask::user)
      .front();
}

}  // namespace

/// The file behind the debug log's switch. The switch may outlive the manager.
class QVLogManager::DebugLog {
public:
  explicit DebugLog(NSURL url) : url_(std::move(url)) {}

  [[nodiscard]] NSURL url() const {
    const MutexLock guard(lock_);
    return url_;
  }
  void setURL(NSURL url) {
    const MutexLock guard(lock_);
    url_ = std::move(url);
  }
  /// Begins the file anew. A folder that has its place stays.
  void restart(QVToggleLogWriter& writer) const {
    const auto former = writer.subWriter();  // is let go without the lock
    if (const auto error = restartLocked(writer)) NSLog("Could not create debug log file: %@", *error);
  }

private:
  /// So that of two threads none removes what the other has begun.
  std::optional<NSError> restartLocked(QVToggleLogWriter& writer) const {
    constexpr mode_t mode = 0644;
    const MutexLock guard(lock_);
    static_cast<void>(detail::FileLocation(url_).remove(0));
    const auto file = QVFileHandleLogWriter::fileHandleForLoggingAtPath(url_, mode);
    std::optional<NSError> error;
    if (!file) error = detail::fileWriteError(url_, "created", errno);
    writer.setSubWriter(file);
    return error;
  }

  mutable Mutex lock_;
  NSURL url_ QV_GUARDED_BY(lock_);
};

const NSClass& QVLogManager::staticClass() {
  static const NSClass& cls = *new NSClass(
      NSClass::define<QVLogManager>("QVLogManager", NSObject::staticClass())
          .property("debugLoggingEnabled", &QVLogManager::debugLoggingEnabled,
                    &QVLogManager::setDebugLoggingEnabled)
          .property("logFolderURL", &QVLogManager::logFolderURL, &QVLogManager::setLogFolderURL)
          .property("debugLogURL", &QVLogManager::debugLogURL, &QVLogManager::setDebugLogURL)
          .property("generalLogger", &QVLogManager::generalLogger, &QVLogManager::setGeneralLogger)
          .property("debugLogWriter", &QVLogManager::debugLogWriter, &QVLogManager::setDebugLogWriter)
          .readOnly("debugLogger", &QVLogManager::debugLogger));
  return cls;
}

const std::shared_ptr<QVLogManager>& QVLogManager::sharedManager(
    const std::function<std::shared_ptr<QVLogManager>()>& make) {
  // Never destroyed: somebody may log until the very end.
  static const auto& manager = *new std::shared_ptr<QVLogManager>(make());
  return manager;
}

QVLogManager::QVLogManager()
    : debugLog_(std::make_shared<DebugLog>(desktopFolder() / (applicationName() + ".log"))),
      defaultFormatter_(std::make_shared<QVLogStandardFormatter>()),
      debugLogWriter_(std::make_shared<QVToggleLogWriter>()),
      logFolderURL_(NSHomeDirectory() / "Library/Logs" / applicationName()) {
  debugLogWriter()->setWritingEnabled(false);
  observe(*debugLogWriter());
  std::optional<NSError> error;
  setGeneralLogger(newLoggerWithName("General", nullptr, &error));
  if (error) NSLog("Could not create general log file: %@", *error);
}

QVLogManager::~QVLogManager() { endObserving(*debugLogWriter()); }

std::shared_ptr<QVLogger> QVLogManager::newLoggerWithName(std::string_view name,
                                                          std::filesystem::path* logFilePath,
                                                          std::optional<NSError>* error) {
  std::filesystem::path path;
  std::optional<NSError> problem;
  auto file = detail::createLogFile(name, logFolderURL(), path, problem);
  const auto logger = file ? loggerWritingTo(std::move(file)) : nullptr;
  if (const auto delegate = this->delegate()) delegate->didCreateNewLogger(*this, logger);
  if (error != nullptr) *error = std::move(problem);
  if (logFilePath != nullptr) *logFilePath = std::move(path);
  return logger;
}

std::shared_ptr<QVLogger> QVLogManager::loggerWritingTo(std::shared_ptr<QVLogWriter> file) const {
  const auto filter = std::make_shared<QVLogLevelFilter>();
  filter->setDebugLoggingEnabled(debugLoggingEnabled());
  auto logger = std::make_shared<QVLogger>(std::move(file), defaultFormatter(), filter);
  logger->addWriter(debugLogWriter());
  return logger;
}

NSURL QVLogManager::newLoggerURLWithName(std::string_view name) const {
  return newLoggerURLWithName(name, logFolderURL());
}

NSURL QVLogManager::newLoggerURLWithName(std::string_view name, const NSURL& inFolder) {
  return detail::uniqueLogFilePath(name, inFolder);
}

std::shared_ptr<QVLogger> QVLogManager::debugLogger() const {
  const MutexLock guard(lock_);
  if (!debugLogger_) {
    debugLogger_ =
        std::make_shared<QVLogger>(debugLogWriter(), defaultFormatter(), std::make_shared<QVLogNoFilter>());
  }
  return debugLogger_;
}

void QVLogManager::setDebugLoggingEnabled(bool enabled) {
  debugLoggingEnabled_.store(enabled, std::memory_order_relaxed);
  if (const auto logger = generalLogger(); enabled && logger) logger->enableDebugLogging();
  if (const auto delegate = this->delegate()) delegate->logManagerDidToggleDebugLogging(*this);
}

// Begins and ends the observation of a switch

void QVLogManager::observe(QVToggleLogWriter& writer) {
  addObserverForKeyPath(writer, "writingEnabled", keyForTarget(*this, "debugLogWriter", std::nullopt),
                        [log = std::weak_ptr(debugLog_)](QVToggleLogWriter& toggle, const NSKeyValueChange&) {
                          const auto debugLog = log.lock();
                          if (debugLog && toggle.writingEnabled()) debugLog->restart(toggle);
                        });
}

void QVLogManager::endObserving(QVToggleLogWriter& writer) const {
  removeObserverForKeyPath(writer, "writingEnabled", keyForTarget(*this, "debugLogWriter", std::nullopt));
}

void QVLogManager::setDebugLogWriter(std::shared_ptr<QVToggleLogWriter> writer) {
  if (!writer) throw NSException(NSInvalidArgumentException, "A log manager needs a debug log writer");
  std::shared_ptr<QVToggleLogWriter> previous;  // is let go without the lock
  {
    const MutexLock guard(switchChange_);
    previous = debugLogWriter_.exchange(writer);
    if (previous == writer) return;
    endObserving(*previous);
    observe(*writer);
    const MutexLock guardOfLogger(lock_);
    if (debugLogger_) debugLogger_->setWriter(writer);
  }
  if (writer->writingEnabled()) debugLog_->restart(*writer);
}

NSURL QVLogManager::debugLogURL() const { return debugLog_->url(); }

void QVLogManager::setDebugLogURL(NSURL url) {
  requireFile(url);
  debugLog_->setURL(std::move(url));
}

std::vector<QVLogFile> QVLogManager::logFiles() const {
  struct Found {
    QVLogFile file;
    std::optional<NSDate> created;
  };
  std::vector<Found> found;
  for (auto& item : NSFileManager::defaultManager()->enumeratorAtPath(logFolderURL())) {
    item.skipDescendants();
    if (item.type() != NSFileType::regular || !detail::isLogFileName(item.name())) continue;
    const NSFileAttributes attributes = item.attributes();
    const NSDate about = attributes.creationDate.value_or(attributes.modificationDate);
    auto name = detail::parseLogFileName(item.name(), std::chrono::system_clock::to_time_t(about));
    if (!name) continue;
    found.push_back({{.url = std::filesystem::path(item.path()),
                      .name = std::move(name->name),
                      .date = detail::dateOfTime(name->seconds, 0),
                      .size = attributes.size},
                     attributes.creationDate});
  }
  // Of those that were begun within one second the file system may know which came first, else their numbers.
  std::ranges::sort(found, std::ranges::greater(), [](const Found& log) {
    return std::tuple(log.file.date, log.created, log.file.name.size(), log.file.name);
  });
  std::vector<QVLogFile> files;
  files.reserve(found.size());
  for (Found& log : found) files.push_back(std::move(log.file));
  return files;
}

void QVLogManager::clearLogFilesOlderThanNumDays(std::int64_t days, std::int64_t sizeLimit) const {
  if (sizeLimit < 0) return;
  detail::pruneDirectory(logFolderURL(), days, static_cast<std::uint64_t>(sizeLimit),
                         detail::removeUnlessLogged);
}

NSURL QVLogManager::logFolderURL() const {
  const MutexLock guard(lock_);
  return logFolderURL_;
}

void QVLogManager::setLogFolderURL(NSURL url) {
  requireFile(url);
  const MutexLock guard(lock_);
  logFolderURL_ = std::move(url);
}

std::shared_ptr<QVLogManagerDelegate> QVLogManager::delegate() const {
  const MutexLock guard(lock_);
  return delegate_.lock();
}

void QVLogManager::setDelegate(const std::shared_ptr<QVLogManagerDelegate>& delegate) {
  const MutexLock guard(lock_);
  delegate_ = delegate;
}

}  // namespace QVFoundation
