#include <cstdio>

#include "QVFoundation/platform/files/ExclusiveRename_p.h"
#include "QVFoundation/platform/files/FileStatus_p.h"

namespace QVFoundation::detail {

namespace {

// A second name is never made over another item.
int moveByLink(const FileLocation& from, const FileLocation& to) {
  if (from.linkTo(to) != 0) return errno;
  if (from.remove(0) == 0) return 0;
  const int code = errno;
  static_cast<void>(to.remove(0));
  return code;
}

// Folders have no second name, but one that is empty may be replaced by another (rename(2)).
int moveOntoNewFolder(const FileLocation& from, const FileLocation& to) {
  if (to.makeFolder(S_IRWXU) != 0) return errno;
  if (from.renameTo(to, 0) == 0) return 0;
  const int code = errno;
  static_cast<void>(to.remove(AT_REMOVEDIR));
  return code;
}

}  // namespace

int renameWithoutReplacing(const FileLocation& from, const FileLocation& to) {
  if (from.renameTo(to, RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return errno;
  struct statx status{};
  if (from.status(FollowLinks::no, STATX_TYPE, status) != 0) return errno;
  return isDirectory(status) ? moveOntoNewFolder(from, to) : moveByLink(from, to);
}

}  // namespace QVFoundation::detail
