#include <cerrno>
#include <csignal>
#include <ctime>
#include <sys/socket.h>

#include "QVFoundation/platform/files/FileOutput_p.h"
#include "QVFoundation/platform/files/SystemCalls_p.h"

namespace QVFoundation::detail {

namespace {

/// Keeps SIGPIPE from this thread for a scope. One that somebody else has sent stays pending: it is not ours.
class BrokenPipeGuard {
public:
  // Where the signal was let through none can have been pending, so most writes need not ask.
  BrokenPipeGuard() noexcept
      : previous_(block()), wasPending_(sigismember(&previous_, SIGPIPE) == 1 && isPending()) {}
  BrokenPipeGuard(const BrokenPipeGuard&) = delete;
  BrokenPipeGuard& operator=(const BrokenPipeGuard&) = delete;
  ~BrokenPipeGuard() { pthread_sigmask(SIG_SETMASK, &previous_, nullptr); }

  /// Takes back the signal of a write that found the pipe broken.
  void takeBack() const noexcept {
    const sigset_t signals = brokenPipe();
    const timespec now{};
    while (sigtimedwait(&signals, nullptr, &now) == -1 && errno == EINTR) {
    }
    // One that was sent to this thread before was one with ours; one that waits for any thread still does.
    if (wasPending_ && !isPending()) raise(SIGPIPE);
  }

private:
  static sigset_t brokenPipe() noexcept {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGPIPE);
    return signals;
  }
  static sigset_t block() noexcept {
    const sigset_t signals = brokenPipe();
    sigset_t previous;
    pthread_sigmask(SIG_BLOCK, &signals, &previous);
    return previous;
  }
  static bool isPending() noexcept {
    sigset_t pending;
    sigemptyset(&pending);
    sigpending(&pending);
    return sigismember(&pending, SIGPIPE) == 1;
  }

  const sigset_t previous_;
  const bool wasPending_;
};

[[gnu::noinline]] ssize_t writeWithoutSignal(int descriptor, std::string_view text) noexcept {
  const BrokenPipeGuard guard;
  const ssize_t count = systemCalls().write(descriptor, text.data(), text.size());
  if (count >= 0) return count;
  const int code = errno;
  if (code == EPIPE) guard.takeBack();
  errno = code;
  return count;
}

[[gnu::hot]] ssize_t writeOnce(int descriptor, OutputKind kind, std::string_view text) noexcept {
  switch (kind) {
    case OutputKind::file: return systemCalls().write(descriptor, text.data(), text.size());
    case OutputKind::socket: return systemCalls().send(descriptor, text.data(), text.size(), MSG_NOSIGNAL);
    case OutputKind::stream: break;
  }
  return writeWithoutSignal(descriptor, text);
}

/// Waits until a write would not block. What went wrong, such as memory that is short, must not make the
/// writer spin.
int waitUntilWritable(int descriptor) noexcept {
  pollfd request{descriptor, POLLOUT, 0};
  if (systemCalls().poll(&request, 1, -1) >= 0 || errno == EINTR) return 0;
  return errno;
}

}  // namespace

OutputKind outputKindOf(int descriptor) noexcept {
  struct stat status{};
  if (systemCalls().stat(descriptor, &status) != 0) return OutputKind::stream;
  if (S_ISREG(status.st_mode)) return OutputKind::file;
  return S_ISSOCK(status.st_mode) ? OutputKind::socket : OutputKind::stream;
}

[[gnu::hot]] int writeAll(int descriptor, OutputKind kind, std::string_view text,
                          std::size_t& written) noexcept {
  written = 0;
  while (written < text.size()) {
    const ssize_t count = writeOnce(descriptor, kind, text.substr(written));
    if (count > 0) {
      written += static_cast<std::size_t>(count);
      continue;
    }
    if (count == 0) return EIO;  // a device that takes nothing and says no reason
    const int code = errno;
    if (code == EAGAIN || code == EWOULDBLOCK) {
      if (const int failure = waitUntilWritable(descriptor); failure != 0) return failure;
    } else if (code != EINTR) {
      return code;
    }
  }
  return 0;
}

}  // namespace QVFoundation::detail
