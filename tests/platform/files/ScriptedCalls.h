#pragma once

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <vector>

#include "QVFoundation/platform/files/SystemCalls_p.h"
#include "gtest/gtest.h"

namespace QVFoundation::testing {

/// What one call does: moves some bytes, or fails.
struct Step {
  std::size_t count;
  int code;
};
constexpr Step moves(std::size_t count) { return {.count = count, .code = 0}; }
constexpr Step fails(int code) { return {.count = 0, .code = code}; }

/// Plays the system for a scope. Each call does what the next step says, or all that is asked where there is
/// none left.
class ScriptedCalls {
public:
  explicit ScriptedCalls(mode_t mode = S_IFREG) : mode_(mode), original_(detail::systemCalls()) {
    current_ = this;
    detail::systemCalls() = {
        .open = [](const char*, int, mode_t) { return current_->take("open", 1) < 0 ? -1 : descriptor; },
        .close = [](int) { return static_cast<int>(current_->take("close", 0)); },
        .stat =
            [](int, struct stat* status) {
              status->st_mode = current_->mode_;
              return 0;
            },
        .read = [](int, void* buffer, std::size_t size) { return current_->read(buffer, size); },
        .write = [](int, const void* bytes,
                    std::size_t size) { return current_->write("write", bytes, size); },
        .send =
            [](int, const void* bytes, std::size_t size, int flags) {
              EXPECT_EQ(flags, MSG_NOSIGNAL);
              return current_->write("send", bytes, size);
            },
        .poll =
            [](pollfd* request, nfds_t, int timeout) {
              EXPECT_EQ(timeout, -1);
              current_->calls += request->events == POLLIN ? "poll-in " : "poll-out ";
              return 1;
            },
        .sync = [](int) { return static_cast<int>(current_->take("sync", 0)); },
    };
  }
  ScriptedCalls(const ScriptedCalls&) = delete;
  ScriptedCalls& operator=(const ScriptedCalls&) = delete;
  ~ScriptedCalls() { detail::systemCalls() = original_; }

  static constexpr int descriptor = 1'000'000;  // that no process has

  std::vector<Step> steps;
  std::string written;
  std::string readable;
  std::string calls;  ///< the names of the calls, a blank behind each

private:
  ssize_t take(std::string_view call, std::size_t asked) {
    calls.append(call) += ' ';
    if (steps.empty()) return static_cast<ssize_t>(asked);
    const Step step = steps.front();
    steps.erase(steps.begin());
    errno = step.code;
    return step.code != 0 ? -1 : static_cast<ssize_t>(std::min(step.count, asked));
  }
  ssize_t write(std::string_view call, const void* bytes, std::size_t size) {
    const ssize_t count = take(call, size);
    if (count > 0) written.append(static_cast<const char*>(bytes), static_cast<std::size_t>(count));
    if (count < 0 && errno == EPIPE && call == "write" && S_ISFIFO(mode_)) {
      std::raise(SIGPIPE);
      errno = EPIPE;
    }
    return count;
  }
  ssize_t read(void* buffer, std::size_t size) {
    const ssize_t count = take("read", std::min(size, readable.size()));
    if (count > 0) std::memcpy(buffer, readable.data(), static_cast<std::size_t>(count));
    if (count > 0) readable.erase(0, static_cast<std::size_t>(count));
    return count;
  }

  static inline ScriptedCalls* current_ = nullptr;
  const mode_t mode_;
  const detail::SystemCalls original_;
};

}  // namespace QVFoundation::testing
