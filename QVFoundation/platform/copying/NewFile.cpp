#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>

#include "QVFoundation/platform/copying/NewFile_p.h"
#include "QVFoundation/platform/files/ExclusiveRename_p.h"

namespace QVFoundation::detail {

namespace {

/// Of a call for a file without a name: what file systems say that have none (open(2)).
bool meansNoUnnamedFiles(int code) noexcept {
  return code == EOPNOTSUPP || code == EISDIR || code == EINVAL || code == ENOENT;
}

/// Of giving it one.
bool meansNoNaming(int code) noexcept {
  return code == EPERM || code == EOPNOTSUPP || code == ENOENT || code == EXDEV || code == EMLINK;
}

}  // namespace

int NewFile::open(std::string_view name, mode_t mode) {
  if (CopyAbilities::can(abilities_.unnamedFiles)) {
    // To be written to also through what asks for the mode, as attributes do.
    file_ = FileLocation(folder_, ".").open(O_TMPFILE | O_WRONLY, mode | S_IWUSR);
    if (file_.isOpen()) return 0;
    if (!meansNoUnnamedFiles(errno)) return errno;
    CopyAbilities::refuse(abilities_.unnamedFiles);
  }
  file_ = waiting_.open(folder_, name, S_IRUSR | S_IWUSR);
  return file_.isOpen() ? 0 : errno;
}

int NewFile::place(const char* name) {
  if (!waiting_.exists()) return placeUnnamed(name);
  // Some file systems say only now that they could not keep what they took (close(2)).
  if (systemCalls().close(file_.release()) != 0 && errno != EINTR) return errno;
  const int code = renameWithoutReplacing(waiting_.location(), FileLocation(folder_, name));
  if (code == 0) waiting_.forget();
  return code;
}

int NewFile::placeUnnamed(const char* name) {
  const auto link = [&](int from, const char* path, int flags) {
    return uninterrupted([&] { return systemCalls().link(from, path, folder_, name, flags); }) == 0;
  };
  if (CopyAbilities::can(abilities_.linksByDescriptor)) {
    if (link(file_.number(), "", AT_EMPTY_PATH)) return 0;
    if (errno != ENOENT) return codeOfLink();
    CopyAbilities::refuse(abilities_.linksByDescriptor);
  }
  char path[32];
  static_cast<void>(std::snprintf(path, sizeof path, "/proc/self/fd/%d", file_.number()));
  return link(AT_FDCWD, path, AT_SYMLINK_FOLLOW) ? 0 : codeOfLink();
}

int NewFile::codeOfLink() const noexcept {
  if (!meansNoNaming(errno)) return errno;
  CopyAbilities::refuse(abilities_.unnamedFiles);
  return onceMore;
}

}  // namespace QVFoundation::detail
