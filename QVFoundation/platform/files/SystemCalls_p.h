#pragma once

#include <cstddef>
#include <poll.h>
#include <sys/stat.h>
#include <sys/types.h>

#include "QVFoundation/platform/Export.h"

namespace QVFoundation::detail {

/// The calls through which files are reached: the one seam at which tests can make the system fail.
struct SystemCalls {
  int (*open)(const char* path, int flags, mode_t mode);
  int (*close)(int descriptor);
  int (*stat)(int descriptor, struct stat* status);
  ssize_t (*read)(int descriptor, void* buffer, std::size_t size);
  ssize_t (*write)(int descriptor, const void* bytes, std::size_t size);
  ssize_t (*send)(int socket, const void* bytes, std::size_t size, int flags);
  int (*poll)(pollfd* descriptors, nfds_t count, int timeout);
  int (*sync)(int descriptor);
};

/// The calls in use.
///
/// Threads: any thread may call them; they may be exchanged only while no other thread does.
[[nodiscard]] QV_TEST_EXPORT SystemCalls& systemCalls() noexcept;

}  // namespace QVFoundation::detail
