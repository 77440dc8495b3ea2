#include "QVFoundation/logging/QVFileHandleLogWriter.h"

#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "QVFoundation/platform/files/FileLocation_p.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/tracing/NSLog.h"

namespace QVFoundation {

namespace {

using detail::Descriptor;
using detail::FileLocation;
using detail::systemCalls;

/// Marks a log as one that is written to, for as long as it is open, so that nobody prunes it. False where
/// somebody is about to, or has.
bool markAsWritten(const Descriptor& file) {
  const bool isLocked =
      detail::uninterrupted([&] { return systemCalls().lock(file.number(), LOCK_SH | LOCK_NB); }) == 0;
  if (!isLocked && errno == EWOULDBLOCK) return false;
  struct stat status{};
  return systemCalls().stat(file.number(), &status) != 0 || status.st_nlink > 0;
}

Descriptor openLog(PathView path, int flags, mode_t mode) {
  constexpr int mostAttempts = 100;
  constexpr timespec pause{.tv_sec = 0, .tv_nsec = 1'000'000};  // longer than it takes to remove a file
  const FileLocation location(path);
  for (int attempt = 0;; ++attempt) {
    Descriptor file = location.open(O_WRONLY | O_APPEND | O_CREAT | flags, mode);
    // What a stranger has locked for good is written to all the same.
    if (!file.isOpen() || markAsWritten(file) || attempt == mostAttempts) return file;
    nanosleep(&pause, nullptr);
  }
}

}  // namespace

std::shared_ptr<QVFileHandleLogWriter> QVFileHandleLogWriter::fileHandleForLoggingAtPath(PathView path,
                                                                                         mode_t mode) {
  Descriptor file = openLog(path, 0, mode);
  if (!file.isOpen()) return nullptr;
  return std::make_shared<QVFileHandleLogWriter>(file.release(), CloseOnRelease::yes, path.text());
}

std::shared_ptr<QVFileHandleLogWriter> QVFileHandleLogWriter::newFileHandleForLoggingAtPath(PathView path,
                                                                                            mode_t mode) {
  Descriptor file = openLog(path, O_EXCL, mode);
  if (!file.isOpen()) return nullptr;
  return std::make_shared<QVFileHandleLogWriter>(file.release(), CloseOnRelease::yes, path.text());
}

const std::shared_ptr<QVFileHandleLogWriter>& QVFileHandleLogWriter::standardOutput() {
  static const auto& writer =
      *new std::shared_ptr<QVFileHandleLogWriter>(std::make_shared<QVFileHandleLogWriter>(STDOUT_FILENO));
  return writer;
}

[[gnu::hot]] void QVFileHandleLogWriter::logMessage(std::string_view message, QVLoggerLevel /*level*/) {
  try {
    appendLine(message);
  } catch (const NSException& exception) {
    NSLog("Could not write message to log file: %@", exception.reason());
    NSLog("Message was %@\n", message);
  }
}

}  // namespace QVFoundation
