#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <sys/xattr.h>
#include <unistd.h>

#include "QVFoundation/platform/files/SystemCalls_p.h"

namespace QVFoundation::detail {

[[gnu::hot]] SystemCalls& systemCalls() noexcept {
  static constinit SystemCalls calls = {
      .open = [](int folder, const char* path, int flags,
                 mode_t mode) { return ::openat(folder, path, flags, mode); },
      .close = ::close,
      .stat = ::fstat,
      .read = ::read,
      .available = [](int descriptor, int* size) { return ::ioctl(descriptor, FIONREAD, size); },
      .write = ::write,
      .send = ::send,
      .poll = ::poll,
      .sync = ::fsync,
      .changeMode = ::fchmod,
      .changeOwner = ::fchown,
      .lock = ::flock,
      .seek = ::lseek,
      .readEntries = ::getdents64,
      .statAt = ::fstatat,
      .status = ::statx,
      .readLink = ::readlinkat,
      .makeFolder = ::mkdirat,
      .link = ::linkat,
      .rename = ::renameat2,
      .remove = ::unlinkat,
      .makeLink = ::symlinkat,
      .makeNode = ::mknodat,
      .changeModeAt = ::fchmodat,
      .changeOwnerAt = ::fchownat,
      .setTimesAt = ::utimensat,
      .clone = [](int to, int from) { return ::ioctl(to, FICLONE, from); },
      .copyRange = ::copy_file_range,
      .truncate = ::ftruncate,
      .setTimes = ::futimens,
      .syncData = ::fdatasync,
      .syncRange = ::sync_file_range,
      .syncVolume = ::syncfs,
      .volume = ::fstatfs,
      .handleOf = ::name_to_handle_at,
      .openHandle = ::open_by_handle_at,
      .listAttributes = ::llistxattr,
      .getAttribute = ::lgetxattr,
      .setAttribute = ::lsetxattr,
      .removeAttribute = ::lremovexattr,
      .listAttributesOf = ::flistxattr,
      .getAttributeOf = ::fgetxattr,
      .setAttributeOf = ::fsetxattr,
      .removeAttributeOf = ::fremovexattr,
  };
  return calls;
}

}  // namespace QVFoundation::detail
