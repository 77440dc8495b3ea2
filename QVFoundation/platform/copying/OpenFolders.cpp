#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>

#include "QVFoundation/platform/copying/OpenFolders_p.h"

namespace QVFoundation::detail {

int OpenFolders::open(const FileLocation& location, Level& level) const {
  constexpr int flags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW;
  Descriptor folder = location.open(flags);
  if (!folder.isOpen() && meansTooManyOpen(errno) && makeRoom_()) folder = location.open(flags);
  struct stat status{};
  if (!folder.isOpen() || systemCalls().stat(folder.number(), &status) != 0) return errno;
  level.folder = std::make_shared<const Descriptor>(std::move(folder));
  level.identity = ItemIdentity::of(status);
  return 0;
}

int OpenFolders::make(const FileLocation& location) {
  if (location.makeFolder(S_IRWXU) != 0) return errno;
  Level level;
  if (const int code = open(location, level); code != 0) return code;
  levels_.push_back(std::move(level));
  if (levels_.size() > mostOpen) levels_[levels_.size() - 1 - mostOpen].folder.reset();
  return 0;
}

int OpenFolders::leave() {
  const Folder below = levels_.back().folder;
  levels_.pop_back();
  if (levels_.empty() || levels_.back().folder != nullptr) return 0;
  Level above;
  if (const int code = open(FileLocation(below->number(), ".."), above); code != 0) return code;
  if (above.identity != levels_.back().identity) return ESTALE;
  levels_.back() = std::move(above);
  return 0;
}

}  // namespace QVFoundation::detail
