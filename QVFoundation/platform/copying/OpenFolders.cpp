#include <cerrno>
#include <fcntl.h>

#include "QVFoundation/platform/copying/OpenFolders_p.h"

namespace QVFoundation::detail {

namespace {

constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW;

}  // namespace

int OpenFolders::make(const FileLocation& location) {
  if (location.makeFolder(S_IRWXU) != 0) return errno;
  Descriptor folder = location.open(folderFlags);
  struct stat status{};
  if (!folder.isOpen() || systemCalls().stat(folder.number(), &status) != 0) return errno;
  levels_.push_back({std::make_shared<const Descriptor>(std::move(folder)), status.st_dev, status.st_ino});
  if (levels_.size() > mostOpen) levels_[levels_.size() - 1 - mostOpen].folder.reset();
  return 0;
}

int OpenFolders::leave() {
  const Folder below = levels_.back().folder;
  levels_.pop_back();
  if (levels_.empty() || levels_.back().folder != nullptr) return 0;
  Level& level = levels_.back();
  Descriptor folder = FileLocation(below->number(), "..").open(folderFlags);
  struct stat status{};
  if (!folder.isOpen() || systemCalls().stat(folder.number(), &status) != 0) return errno;
  if (status.st_dev != level.device || status.st_ino != level.number) return ESTALE;
  level.folder = std::make_shared<const Descriptor>(std::move(folder));
  return 0;
}

}  // namespace QVFoundation::detail
