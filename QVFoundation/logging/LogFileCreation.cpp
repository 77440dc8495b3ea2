#include <cerrno>
#include <ctime>

#include "QVFoundation/files/QVFileManagerUtilities.h"
#include "QVFoundation/files/QVFileNaming.h"
#include "QVFoundation/logging/LogFileCreation_p.h"
#include "QVFoundation/logging/LogFileName_p.h"
#include "QVFoundation/platform/files/FileErrors_p.h"

namespace QVFoundation::detail {

namespace {

constexpr mode_t logFileMode = 0644;
// Others may take the name between the question and the creation, but not for ever.
constexpr int mostAttempts = 1000;

}  // namespace

std::filesystem::path uniqueLogFilePath(std::string_view name, PathView folder) {
  return qv_uniqueFilePathForName(logFileName(name, std::time(nullptr)), folder);
}

std::shared_ptr<QVFileHandleLogWriter> createLogFile(std::string_view name, const NSURL& folder,
                                                     std::filesystem::path& path,
                                                     std::optional<NSError>& error) {
  bool folderWasMissing = false;
  for (int attempt = 0; attempt < mostAttempts; ++attempt) {
    path = uniqueLogFilePath(name, folder);
    if (auto file = QVFileHandleLogWriter::newFileHandleForLoggingAtPath(path, logFileMode)) return file;
    const int code = errno;
    if (code == EEXIST) continue;
    if ((code != ENOENT && code != ENOTDIR) || folderWasMissing) {
      error = fileWriteError(path, "created", code);
      return nullptr;
    }
    folderWasMissing = true;
    error = qv_createDirectoryAtPath(folder);
    if (error) return nullptr;
  }
  error = fileWriteError(path, "created", EEXIST);
  return nullptr;
}

}  // namespace QVFoundation::detail
