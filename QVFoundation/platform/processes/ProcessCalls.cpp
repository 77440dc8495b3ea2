#include <fcntl.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "QVFoundation/platform/processes/ProcessCalls_p.h"

namespace QVFoundation::detail {

// The C library has functions for process descriptors only since 2.36, with declarations that are incomplete
// in some versions.
ProcessCalls& processCalls() noexcept {
  static constinit ProcessCalls calls = {
      .spawn = ::posix_spawn,
      .openProcess = [](pid_t process) { return static_cast<int>(::syscall(SYS_pidfd_open, process, 0U)); },
      .sendSignal =
          [](int process, int signal) {
            return static_cast<int>(::syscall(SYS_pidfd_send_signal, process, signal, nullptr, 0U));
          },
      .sendGroupSignal = ::killpg,
      .wait = ::waitid,
      .duplicate = [](int descriptor, int lowest) { return ::fcntl(descriptor, F_DUPFD_CLOEXEC, lowest); },
      .pipe = ::pipe2,
      .capacity = [](int pipe) { return ::fcntl(pipe, F_GETPIPE_SZ); },
      .setCapacity = [](int pipe, int size) { return ::fcntl(pipe, F_SETPIPE_SZ, size); },
      .makeEvent = ::eventfd,
      .makeSet = ::epoll_create1,
      .changeSet = ::epoll_ctl,
      .waitForSet = ::epoll_wait,
  };
  return calls;
}

}  // namespace QVFoundation::detail
