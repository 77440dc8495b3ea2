#include <sys/file.h>

#include "QVFoundation/files/DirectoryPruning_p.h"
#include "QVFoundation/logging/LogFilePruning_p.h"
#include "QVFoundation/platform/files/DirectoryWalk_p.h"

namespace QVFoundation::detail {

namespace {

/// Keeps loggers from a file for a scope, unless one has it already.
class QuietFile {
public:
  QuietFile(int folder, const char* name)
      : file_(FileLocation(folder, name).open(O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY)),
        mayBeLogged_(file_.isOpen() ? !lock() || !hasName(folder, name) : errno != ENOENT) {}
  /// Also where that cannot be found out.
  [[nodiscard]] bool mayBeLogged() const noexcept { return mayBeLogged_; }

private:
  [[nodiscard]] bool lock() const {
    return uninterrupted([&] { return systemCalls().lock(file_.number(), LOCK_EX | LOCK_NB); }) == 0;
  }

  /// Else it has been removed meanwhile, and a logger may have begun another file of that name.
  [[nodiscard]] bool hasName(int folder, const char* name) const {
    struct stat file{};
    struct stat named{};
    return systemCalls().stat(file_.number(), &file) == 0 &&
           systemCalls().statAt(folder, name, &named, AT_SYMLINK_NOFOLLOW) == 0 &&
           file.st_dev == named.st_dev && file.st_ino == named.st_ino;
  }

  const Descriptor file_;
  const bool mayBeLogged_;
};

bool mayHaveLoggedFile(int folder, const char* name, PathView path) {
  using Walk = DirectoryWalk;
  Walk walk(FileLocation(folder, name), path, Walk::Links::items);
  for (Walk::Event event = walk.next(); event != Walk::Event::end; event = walk.next()) {
    if (event == Walk::Event::unreadable && walk.error() != ENOENT) return true;
    if (event != Walk::Event::item || walk.type() != NSFileType::regular) continue;
    if (QuietFile(walk.folder(), walk.name()).mayBeLogged()) return true;
  }
  return false;
}

}  // namespace

bool removeUnlessLogged(int folder, const char* name, PathView path) {
  struct stat status{};
  if (systemCalls().statAt(folder, name, &status, AT_SYMLINK_NOFOLLOW) != 0) return false;
  if (S_ISDIR(status.st_mode) && mayHaveLoggedFile(folder, name, path)) return false;
  if (!S_ISREG(status.st_mode)) return removeItem(folder, name, path);
  const QuietFile file(folder, name);  // until it has gone
  return !file.mayBeLogged() && removeItem(folder, name, path);
}

}  // namespace QVFoundation::detail
