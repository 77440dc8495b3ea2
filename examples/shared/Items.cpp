#include "shared/Items.h"

#include <cerrno>

#include <QVFoundation/QVFoundation.h>

namespace example {

using namespace QVFoundation;

bool isTaken(const std::filesystem::path& path) { return qv_objectTypeAtPath(path) != NSFileType::none; }

bool isFolder(const std::filesystem::path& path) {
  return qv_objectTypeAtPath(path) == NSFileType::directory;
}

bool hasContent(const std::filesystem::path& path) {
  const NSFileType type = qv_objectTypeAtPath(path);
  return type == NSFileType::directory || type == NSFileType::regular || type == NSFileType::symbolicLink;
}

void flushFolder(const std::filesystem::path& folder) {
  const auto handle = NSFileHandle::fileHandleForReadingAtPath(folder);
  if (handle == nullptr) throw NSError(NSPOSIXErrorDomain, errno);
  handle->synchronizeFile();
}

}  // namespace example
