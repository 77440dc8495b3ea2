#pragma once

#include <cerrno>
#include <cstddef>
#include <ctime>
#include <poll.h>
#include <sys/stat.h>
#include <sys/types.h>

#include "QVFoundation/platform/Export.h"

struct file_handle;  // NOLINT(readability-identifier-naming): that of the system
struct statfs;       // NOLINT(readability-identifier-naming): likewise

namespace QVFoundation::detail {

/// The calls through which files are reached: the one seam at which tests can make the system fail. Each
/// returns -1 and sets `errno` where it fails. Those that take a folder do so as `openat(2)` does.
struct SystemCalls {
  // Open files
  int (*open)(int folder, const char* path, int flags, mode_t mode);
  int (*close)(int descriptor);
  int (*stat)(int descriptor, struct stat* status);
  ssize_t (*read)(int descriptor, void* buffer, std::size_t size);
  int (*available)(int descriptor, int* size);  // FIONREAD
  ssize_t (*write)(int descriptor, const void* bytes, std::size_t size);
  ssize_t (*send)(int socket, const void* bytes, std::size_t size, int flags);
  int (*poll)(pollfd* descriptors, nfds_t count, int timeout);
  int (*sync)(int descriptor);
  int (*changeMode)(int descriptor, mode_t mode);
  int (*changeOwner)(int descriptor, uid_t owner, gid_t group);
  int (*lock)(int descriptor, int operation);
  off_t (*seek)(int descriptor, off_t offset, int origin);
  ssize_t (*readEntries)(int folder, void* buffer, std::size_t size);  // getdents64

  // Names
  int (*statAt)(int folder, const char* path, struct stat* status, int flags);  // costs less than statx
  int (*status)(int folder, const char* path, int flags, unsigned mask, struct statx* status);
  ssize_t (*readLink)(int folder, const char* path, char* buffer, std::size_t size);
  int (*makeFolder)(int folder, const char* path, mode_t mode);
  int (*link)(int folder, const char* path, int newFolder, const char* newPath, int flags);
  int (*rename)(int folder, const char* path, int newFolder, const char* newPath, unsigned flags);
  int (*remove)(int folder, const char* path, int flags);

  // Making and changing what is no open file; links are not followed
  int (*makeLink)(const char* text, int folder, const char* path);
  int (*makeNode)(int folder, const char* path, mode_t mode, dev_t device);
  int (*changeModeAt)(int folder, const char* path, mode_t mode, int flags);
  int (*changeOwnerAt)(int folder, const char* path, uid_t owner, gid_t group, int flags);
  int (*setTimesAt)(int folder, const char* path, const timespec* times, int flags);

  // Content, from one open file to another, and to the device
  int (*clone)(int to, int from);
  ssize_t (*copyRange)(int from, off_t* fromOffset, int to, off_t* toOffset, std::size_t size,
                       unsigned flags);
  int (*truncate)(int descriptor, off_t size);
  int (*setTimes)(int descriptor, const timespec* times);
  int (*syncData)(int descriptor);
  int (*syncRange)(int descriptor, off_t offset, off_t size, unsigned flags);
  int (*syncVolume)(int descriptor);
  int (*volume)(int descriptor, struct statfs* volume);

  // The kernel's own way to name a file, whatever its path
  int (*handleOf)(int folder, const char* path, file_handle* handle, int* mount, int flags);
  int (*openHandle)(int mount, file_handle* handle, int flags);

  // Extended attributes of the item itself, links not followed
  ssize_t (*listAttributes)(const char* path, char* list, std::size_t size);
  ssize_t (*getAttribute)(const char* path, const char* name, void* value, std::size_t size);
  int (*setAttribute)(const char* path, const char* name, const void* value, std::size_t size, int flags);
  int (*removeAttribute)(const char* path, const char* name);

  // The same of an open file
  ssize_t (*listAttributesOf)(int descriptor, char* list, std::size_t size);
  ssize_t (*getAttributeOf)(int descriptor, const char* name, void* value, std::size_t size);
  int (*setAttributeOf)(int descriptor, const char* name, const void* value, std::size_t size, int flags);
  int (*removeAttributeOf)(int descriptor, const char* name);
};

/// The calls in use.
///
/// Threads: any thread may call them; they may be exchanged only while no other thread does.
[[nodiscard]] QV_TEST_EXPORT SystemCalls& systemCalls() noexcept;

/// What a call returns once it is not interrupted by a signal.
template <class Call>
auto uninterrupted(const Call& call) {
  for (;;) {
    const auto result = call();
    if (result >= 0 || errno != EINTR) return result;
  }
}

}  // namespace QVFoundation::detail
