#include <utility>

#include "QVFoundation/platform/files/DirectoryWalk_p.h"
#include "QVFoundation/platform/files/PathComponents.h"
#include "QVFoundation/platform/files/TreeRemoval_p.h"

namespace QVFoundation::detail {

namespace {

// Who fills a folder faster than it is emptied does not keep us here for ever.
constexpr int mostRepetitions = 10'000;

int removeFromFolder(const DirectoryWalk& walk, int flags, ClosedFolders closedFolders) {
  const auto remove = [&] { return systemCalls().remove(walk.folder(), walk.name(), flags); };
  const int result = uninterrupted(remove);
  if (result == 0 || errno != EACCES || closedFolders == ClosedFolders::stay || walk.depth() == 0)
    return result;
  const int opened = uninterrupted([&] { return systemCalls().changeMode(walk.folder(), S_IRWXU); });
  if (opened == 0) return uninterrupted(remove);
  errno = EACCES;
  return result;
}

/// Removes what the walk is about. 0, or an `errno`.
int removeVisited(DirectoryWalk& walk, DirectoryWalk::Event event, ClosedFolders closedFolders,
                  int& repetitions) {
  using Event = DirectoryWalk::Event;
  switch (event) {
    case Event::item: return removeFromFolder(walk, 0, closedFolders) == 0 || errno == ENOENT ? 0 : errno;
    case Event::left:
      if (removeFromFolder(walk, AT_REMOVEDIR, closedFolders) == 0 || errno == ENOENT) return 0;
      // Something came meanwhile, or the file system passed over entries since others were removed.
      if ((errno != ENOTEMPTY && errno != EEXIST) || ++repetitions > mostRepetitions) return errno;
      return walk.again() ? 0 : ENOTEMPTY;
    case Event::unreadable:  // an empty folder goes also if nobody may read it
      return walk.error() == ENOENT || removeFromFolder(walk, AT_REMOVEDIR, closedFolders) == 0
                 ? 0
                 : walk.error();
    case Event::directory:
    case Event::end: return 0;
  }
  return 0;
}

}  // namespace

int removeTree(FileLocation location, PathView path, std::string& failed, ClosedFolders closedFolders) {
  failed = path.text();
  // No names of items: what they lead to would be emptied, and then stay.
  const std::string name = lastPathComponent(path);
  if (name == "." || name == ".." || name == "/") return EINVAL;
  if (location.remove(0) == 0) return 0;
  const int code = errno;
  if (code != EISDIR && code != EPERM) return code;  // POSIX has the second for folders (unlink(2))

  DirectoryWalk walk(std::move(location), path, DirectoryWalk::Links::items);
  int repetitions = 0;
  for (auto event = walk.next(); event != DirectoryWalk::Event::end; event = walk.next()) {
    int failure = removeVisited(walk, event, closedFolders, repetitions);
    if (failure == ENOTDIR && walk.depth() == 0) failure = code;  // a file that the system protects
    if (failure == 0) continue;
    failed = walk.path();
    return failure;
  }
  return 0;
}

}  // namespace QVFoundation::detail
