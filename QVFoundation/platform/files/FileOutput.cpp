#include <cerrno>
#include <csignal>
#include <ctime>
#include <iterator>
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
  ~BrokenPipeGuard() {
    if (mayBeSent_) takeBack();
    pthread_sigmask(SIG_SETMASK, &previous_, nullptr);
  }

  /// To be called after a write that may have sent the signal.
  void signalMayBeSent() noexcept { mayBeSent_ = true; }

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

  void takeBack() const noexcept {
    const sigset_t signals = brokenPipe();
    const timespec now{};
    while (sigtimedwait(&signals, nullptr, &now) == -1 && errno == EINTR) {
    }
    // One that was sent to this thread before was one with ours; one that waits for any thread still does,
    // unless another thread accepts it at this very moment.
    if (wasPending_ && !isPending()) raise(SIGPIPE);
  }

  const sigset_t previous_;
  const bool wasPending_;
  bool mayBeSent_ = false;
};

/// Waits until a write would not block. What went wrong, such as memory that is short, must not make the
/// writer spin.
int waitUntilWritable(int descriptor) noexcept {
  pollfd request{descriptor, POLLOUT, 0};
  if (systemCalls().poll(&request, 1, -1) >= 0 || errno == EINTR) return 0;
  return errno;
}

/// Repeats a function that tries once, and returns what `write` returns, until all is written.
template <class WriteOnce>
[[gnu::hot]] int repeat(int descriptor, std::string_view text, std::size_t& written,
                        const WriteOnce& writeOnce) noexcept {
  while (written < text.size()) {
    const ssize_t count = writeOnce(text.substr(written));
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

[[gnu::noinline]] int writeWithoutSignal(int descriptor, std::string_view text,
                                         std::size_t& written) noexcept {
  BrokenPipeGuard guard;
  return repeat(descriptor, text, written, [&](std::string_view rest) {
    const ssize_t count = systemCalls().write(descriptor, rest.data(), rest.size());
    // Where the last reader leaves in the middle of a write, the signal comes although a part was taken.
    if (count < std::ssize(rest)) guard.signalMayBeSent();
    return count;
  });
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
  switch (kind) {
    case OutputKind::file:
      return repeat(descriptor, text, written, [=](std::string_view rest) {
        return systemCalls().write(descriptor, rest.data(), rest.size());
      });
    case OutputKind::socket:
      return repeat(descriptor, text, written, [=](std::string_view rest) {
        return systemCalls().send(descriptor, rest.data(), rest.size(), MSG_NOSIGNAL);
      });
    case OutputKind::stream: break;
  }
  return writeWithoutSignal(descriptor, text, written);
}

}  // namespace QVFoundation::detail
