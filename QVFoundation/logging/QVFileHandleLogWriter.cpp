#include "QVFoundation/logging/QVFileHandleLogWriter.h"

#include <fcntl.h>
#include <unistd.h>

#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/tracing/NSLog.h"

namespace QVFoundation {

std::shared_ptr<QVFileHandleLogWriter> QVFileHandleLogWriter::fileHandleForLoggingAtPath(
    const std::filesystem::path& path, mode_t mode) {
  const int descriptor = openDescriptor(path, O_WRONLY | O_APPEND | O_CREAT, mode);
  return descriptor < 0 ? nullptr
                        : std::make_shared<QVFileHandleLogWriter>(descriptor, CloseOnRelease::yes, path);
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
