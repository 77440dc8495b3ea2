#pragma once

#include <csignal>
#include <cstddef>
#include <spawn.h>
#include <sys/epoll.h>
#include <sys/types.h>
#include <sys/wait.h>

#include "QVFoundation/platform/Export.h"

namespace QVFoundation::detail {

/// The calls through which processes, pipes and descriptors that are waited for are reached: the seam at which
/// tests can make the system fail. Each returns -1 and sets `errno` where it fails, but for `spawn`, which
/// returns the code.
struct ProcessCalls {
  // Children
  int (*spawn)(pid_t* child, const char* path, const posix_spawn_file_actions_t* actions,
               const posix_spawnattr_t* attributes, char* const* arguments, char* const* environment);
  int (*openProcess)(pid_t process);                                    // pidfd_open
  int (*sendSignal)(int process, int signal);                           // pidfd_send_signal
  int (*sendGroupSignal)(pid_t group, int signal);                      // killpg
  int (*wait)(idtype_t kind, id_t id, siginfo_t* status, int options);  // waitid
  int (*duplicate)(int descriptor, int lowest);                         // F_DUPFD_CLOEXEC

  // Pipes
  int (*pipe)(int* ends, int flags);
  int (*capacity)(int pipe);
  int (*setCapacity)(int pipe, int size);

  // Waiting for descriptors
  int (*makeEvent)(unsigned value, int flags);
  int (*makeSet)(int flags);
  int (*changeSet)(int set, int operation, int descriptor, epoll_event* event);
  int (*waitForSet)(int set, epoll_event* events, int count, int timeout);
};

/// The calls in use.
///
/// Threads: any thread may call them; they may be exchanged only while no other thread does.
[[nodiscard]] QV_TEST_EXPORT ProcessCalls& processCalls() noexcept;

}  // namespace QVFoundation::detail
