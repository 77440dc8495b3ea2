#include <sys/file.h>

#include "QVFoundation/files/DirectoryPruning_p.h"
#include "QVFoundation/logging/LogFilePruning_p.h"
#include "QVFoundation/platform/files/DirectoryWalk_p.h"

namespace QVFoundation::detail {

namespace {

/// Keeps loggers from a file for as long as it is there; not open where a logger has it already.
class QuietFile {
public:
  QuietFile(int folder, const char* name)
      : file_(FileLocation(folder, name).open(O_RDONLY | O_NOFOLLOW | O_NONBLOCK)) {
    isLogged_ = file_.isOpen() &&
                uninterrupted([&] { return systemCalls().lock(file_.number(), LOCK_EX | LOCK_NB); }) != 0 &&
                errno == EWOULDBLOCK;
  }
  [[nodiscard]] bool isLogged() const noexcept { return isLogged_; }

private:
  Descriptor file_;
  bool isLogged_;
};

bool hasLoggedFile(int folder, const char* name, PathView path) {
  using Walk = DirectoryWalk;
  Walk walk(FileLocation(folder, name), path, Walk::Links::items);
  for (Walk::Event event = walk.next(); event != Walk::Event::end; event = walk.next()) {
    if (event != Walk::Event::item || walk.type() != NSFileType::regular) continue;
    if (QuietFile(walk.folder(), walk.name()).isLogged()) return true;
  }
  return false;
}

}  // namespace

bool removeUnlessLogged(int folder, const char* name, PathView path) {
  const QuietFile file(folder, name);  // until it has gone
  if (file.isLogged() || hasLoggedFile(folder, name, path)) return false;
  return removeItem(folder, name, path);
}

}  // namespace QVFoundation::detail
