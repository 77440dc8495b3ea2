#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "QVFoundation/platform/files/SystemCalls_p.h"

namespace QVFoundation::detail {

[[gnu::hot]] SystemCalls& systemCalls() noexcept {
  static constinit SystemCalls calls = {
      .open = [](const char* path, int flags, mode_t mode) { return ::open(path, flags, mode); },
      .close = ::close,
      .stat = ::fstat,
      .read = ::read,
      .write = ::write,
      .send = ::send,
      .poll = ::poll,
      .sync = ::fsync,
  };
  return calls;
}

}  // namespace QVFoundation::detail
