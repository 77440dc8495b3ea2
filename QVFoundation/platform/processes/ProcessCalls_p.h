#pragma once

#include <atomic>
#include <concepts>
#include <csignal>
#include <spawn.h>
#include <sys/epoll.h>
#include <sys/types.h>
#include <sys/wait.h>

#include "QVFoundation/platform/Export.h"

namespace QVFoundation::detail {

/// A function that may be exchanged while others call it.
///
/// Threads: any.
template <class Signature>
class ExchangeableCall;
template <class Result, class... Args>
class ExchangeableCall<Result(Args...)> {
public:
  using Function = Result (*)(Args...);

  template <std::convertible_to<Function> Callable>
  constexpr ExchangeableCall(const Callable& callable) noexcept
      : function_(static_cast<Function>(callable)) {}
  ExchangeableCall(const ExchangeableCall& other) noexcept : function_(other.function_.load()) {}
  ExchangeableCall& operator=(const ExchangeableCall& other) noexcept {
    function_ = other.function_.load();
    return *this;
  }
  ~ExchangeableCall() = default;

  Result operator()(Args... args) const { return function_.load(std::memory_order_relaxed)(args...); }

private:
  std::atomic<Function> function_;
};

/// The calls through which processes, pipes and descriptors that are waited for are reached: the seam at which
/// tests can make the system fail. Each returns -1 and sets `errno` where it fails, but for `spawn`, which
/// returns the code.
struct ProcessCalls {
  // Children
  ExchangeableCall<int(pid_t* child, const char* path, const posix_spawn_file_actions_t* actions,
                       const posix_spawnattr_t* attributes, char* const* arguments, char* const* environment)>
      spawn;
  ExchangeableCall<int(pid_t process)> openProcess;                                    // pidfd_open
  ExchangeableCall<int(int process, int signal)> sendSignal;                           // pidfd_send_signal
  ExchangeableCall<int(pid_t group, int signal)> sendGroupSignal;                      // killpg
  ExchangeableCall<int(idtype_t kind, id_t id, siginfo_t* status, int options)> wait;  // waitid
  ExchangeableCall<int(int descriptor, int lowest)> duplicate;                         // F_DUPFD_CLOEXEC

  // Pipes
  ExchangeableCall<int(int* ends, int flags)> pipe;
  ExchangeableCall<int(int pipe)> capacity;
  ExchangeableCall<int(int pipe, int size)> setCapacity;

  // Waiting for descriptors
  ExchangeableCall<int(unsigned value, int flags)> makeEvent;
  ExchangeableCall<int(int flags)> makeSet;
  ExchangeableCall<int(int set, int operation, int descriptor, epoll_event* event)> changeSet;
  ExchangeableCall<int(int set, epoll_event* events, int count, int timeout)> waitForSet;
};

/// The calls in use.
///
/// Threads: any thread may call them, and exchange one. The thread that watches descriptors calls some at any
/// time.
[[nodiscard]] QV_TEST_EXPORT ProcessCalls& processCalls() noexcept;

}  // namespace QVFoundation::detail
