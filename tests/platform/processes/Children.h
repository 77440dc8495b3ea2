#pragma once

#include <cerrno>
#include <csignal>
#include <memory>
#include <poll.h>
#include <string>
#include <string_view>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "QVFoundation/platform/processes/NSPipe.h"
#include "QVFoundation/platform/processes/NSTask.h"

namespace QVFoundation::testing {

inline std::string textOf(const NSData& data) {
  return {reinterpret_cast<const char*>(data.data()), data.size()};
}

/// A task that runs a script; "$1" and so on are its arguments.
inline std::shared_ptr<NSTask> shell(std::string script, std::vector<std::string> arguments = {}) {
  auto task = std::make_shared<NSTask>();
  task->setLaunchPath("/bin/sh");
  arguments.insert(arguments.begin(), {"-c", std::move(script), "sh"});
  task->setArguments(std::move(arguments));
  return task;
}

/// A task whose output can be read.
struct Spoken {
  explicit Spoken(std::string script) : task(shell(std::move(script))) { task->setStandardOutput(pipe); }

  /// What the child prints until it closes its output.
  [[nodiscard]] std::string text() const {
    return textOf(pipe->fileHandleForReading()->readDataToEndOfFile());
  }
  /// Waits for a line of so many characters.
  [[nodiscard]] std::string line(std::size_t length) const {
    return textOf(pipe->fileHandleForReading()->readDataOfLength(length + 1)).substr(0, length);
  }

  std::shared_ptr<NSPipe> pipe = std::make_shared<NSPipe>();
  std::shared_ptr<NSTask> task;
};

inline void launch(NSTask& task) {
  std::optional<NSError> error;
  ASSERT_TRUE(task.launch(&error)) << error->description();
}

/// Whether a number belongs to a process, or to one that nobody has reaped.
inline bool exists(pid_t process) { return ::kill(process, 0) == 0; }

/// Waits until a process has ended, reaped or not. False where it goes on for ten seconds.
inline bool awaitEndOf(pid_t process) {
  const int descriptor = static_cast<int>(::syscall(SYS_pidfd_open, process, 0U));
  if (descriptor < 0) return true;
  pollfd request{.fd = descriptor, .events = POLLIN, .revents = 0};
  int count = 0;
  while ((count = ::poll(&request, 1, 10'000)) < 0 && errno == EINTR) {
  }
  ::close(descriptor);
  return count > 0;
}

/// Waits until a process has ended and was reaped, by whomever.
inline void awaitDisappearanceOf(pid_t process) {
  EXPECT_TRUE(awaitEndOf(process));
  while (exists(process)) sched_yield();  // it has ended; whoever reaps it is on the way
}

}  // namespace QVFoundation::testing
