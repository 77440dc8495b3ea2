#pragma once

#include <filesystem>
#include <memory>
#include <string_view>
#include <sys/types.h>

#include "QVFoundation/logging/QVLogWriter.h"
#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/files/NSFileHandle.h"

namespace QVFoundation {

/// A file handle that is also a writer: each line is appended to the file, in UTF-8, with a line break.
///
/// A line is in the file (or in the kernel's hands) when `logMessage` returns; nothing is buffered here.
///
/// Threads: safe from any thread. A line is written under the handle's own lock and in one piece, so loggers
/// that share a handle never interleave parts of lines.
/// Ownership: a handle made for a path closes its descriptor when it is released; standard output stays open.
/// Errors: a line that cannot be written (full disk, closed descriptor, broken pipe) is lost and said so on
/// standard error.
class QV_EXPORT QVFileHandleLogWriter : public NSFileHandle, public QVLogWriter {
public:
  using NSFileHandle::NSFileHandle;

  /// Opens a file for appending, never truncating it, and creates it with the permission bits `mode` where it
  /// is missing. Null where the path is empty or the file cannot be opened.
  ///
  /// While it is open it is marked (a shared `flock(2)`) as one that is written to, so that pruning spares
  /// it.
  [[nodiscard]] static std::shared_ptr<QVFileHandleLogWriter> fileHandleForLoggingAtPath(PathView path,
                                                                                         mode_t mode);
  /// The same, but for a file that is not there yet: where it is, null and `errno` EEXIST.
  [[nodiscard]] static std::shared_ptr<QVFileHandleLogWriter> newFileHandleForLoggingAtPath(PathView path,
                                                                                            mode_t mode);
  /// The process's standard output; one writer, shared by all.
  [[nodiscard]] static const std::shared_ptr<QVFileHandleLogWriter>& standardOutput();

  void logMessage(std::string_view message, QVLoggerLevel level) override;
};

}  // namespace QVFoundation
