#include <cerrno>
#include <csignal>
#include <ctime>
#include <sys/socket.h>

#include "QVFoundation/platform/files/FileOutput_p.h"
#include "QVFoundation/platform/files/SystemCalls_p.h"

namespace QVFoundation::detail {

namespace {

/// Keeps SIGPIPE from this thread for a scope, and takes back one that was raised meanwhile. One that was
/// pending before stays pending: it is not ours.
class BrokenPipeGuard {
public:
  BrokenPipeGuard() noexcept : wasPending_(isPending()) {
    sigemptyset(&brokenPipe_);
    sigaddset(&brokenPipe_, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &brokenPipe_, &previous_);
  }
  BrokenPipeGuard(const BrokenPipeGuard&) = delete;
  BrokenPipeGuard& operator=(const BrokenPipeGuard&) = delete;
  ~BrokenPipeGuard() {
    if (!wasPending_ && isPending()) {
      const timespec now{};
      while (sigtimedwait(&brokenPipe_, nullptr, &now) == -1 && errno == EINTR) {
      }
    }
    pthread_sigmask(SIG_SETMASK, &previous_, nullptr);
  }

private:
  static bool isPending() noexcept {
    sigset_t pending;
    sigemptyset(&pending);
    sigpending(&pending);
    return sigismember(&pending, SIGPIPE) == 1;
  }

  sigset_t brokenPipe_{};
  sigset_t previous_{};
  bool wasPending_;
};

/// One write, and the `errno` that it left.
struct Outcome {
  ssize_t count;
  int code;
};

Outcome writeOnce(int descriptor, OutputKind kind, std::string_view text) noexcept {
  switch (kind) {
    case OutputKind::file: {
      const ssize_t count = systemCalls().write(descriptor, text.data(), text.size());
      return {count, errno};
    }
    case OutputKind::socket: {
      const ssize_t count = systemCalls().send(descriptor, text.data(), text.size(), MSG_NOSIGNAL);
      return {count, errno};
    }
    case OutputKind::stream: {
      const BrokenPipeGuard guard;
      const ssize_t count = systemCalls().write(descriptor, text.data(), text.size());
      return {count, errno};
    }
  }
  return {-1, EINVAL};
}

void waitUntilWritable(int descriptor) noexcept {
  pollfd request{descriptor, POLLOUT, 0};
  systemCalls().poll(&request, 1, -1);
}

}  // namespace

OutputKind outputKindOf(int descriptor) noexcept {
  struct stat status{};
  if (systemCalls().stat(descriptor, &status) != 0) return OutputKind::stream;
  if (S_ISREG(status.st_mode)) return OutputKind::file;
  return S_ISSOCK(status.st_mode) ? OutputKind::socket : OutputKind::stream;
}

std::error_code writeAll(int descriptor, OutputKind kind, std::string_view text,
                         std::size_t& written) noexcept {
  written = 0;
  while (written < text.size()) {
    const auto [count, code] = writeOnce(descriptor, kind, text.substr(written));
    if (count > 0) {
      written += static_cast<std::size_t>(count);
    } else if (count == 0) {
      return std::make_error_code(std::errc::io_error);  // a device that takes nothing and says no reason
    } else if (code == EAGAIN || code == EWOULDBLOCK) {
      waitUntilWritable(descriptor);
    } else if (code != EINTR) {
      return {code, std::generic_category()};
    }
  }
  return {};
}

}  // namespace QVFoundation::detail
