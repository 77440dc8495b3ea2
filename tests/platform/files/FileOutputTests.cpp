#include <array>
#include <csignal>
#include <ctime>
#include <fcntl.h>
#include <optional>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>
#include <vector>

#include "QVFoundation/platform/files/NSFileHandle.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "gtest/gtest.h"
#include "tests/platform/files/ScriptedCalls.h"
#include "tests/platform/files/TemporaryFolder.h"

namespace QVFoundation {
namespace {

using testing::fails;
using testing::moves;
using testing::ScriptedCalls;
using testing::Step;
using Steps = std::vector<Step>;

/// A handle whose lines can be written from here.
struct LineHandle : NSFileHandle {
  using NSFileHandle::appendLine;
  using NSFileHandle::NSFileHandle;
};

/// The reason of the exception that an action raises; nothing where it raises none.
template <class Action>
std::optional<std::string> reasonOf(const Action& action) {
  try {
    action();
    return {};
  } catch (const NSException& exception) {
    EXPECT_EQ(exception.name(), NSFileHandleOperationException);
    return exception.reason();
  }
}

std::string textOf(int code) { return std::generic_category().message(code); }

struct WriteCase {
  const char* row;
  Steps steps;
  std::string_view written, calls;
  int failure;
};

const WriteCase writes[] = {
    {"whole", {}, "0123456789", "w ", 0},
    {"short", {moves(3), moves(1)}, "0123456789", "w w w ", 0},
    {"interrupted", {fails(EINTR), moves(2), fails(EINTR)}, "0123456789", "w w w w ", 0},
    {"would block", {moves(4), fails(EAGAIN), fails(EAGAIN)}, "0123456789", "w w poll-out w poll-out w ", 0},
    {"full disk", {fails(ENOSPC)}, "", "w ", ENOSPC},
    {"disk that fills up", {moves(4), fails(ENOSPC)}, "0123", "w w ", ENOSPC},
    {"broken pipe", {moves(4), fails(EPIPE)}, "0123", "w w ", EPIPE},
    {"broken device", {fails(EIO)}, "", "w ", EIO},
    {"device that takes nothing", {moves(9), moves(0)}, "012345678", "w w ", EIO},
};

TEST(FileOutput, writesAllOfATextOrSaysWhyNot) {
  for (const mode_t mode : std::initializer_list<mode_t>{S_IFREG, S_IFIFO, S_IFCHR, S_IFSOCK}) {
    const std::string call = mode == S_IFSOCK ? "send" : "write";
    for (const WriteCase& c : writes) {
      SCOPED_TRACE(c.row);
      ScriptedCalls system(mode);
      system.steps = c.steps;
      NSFileHandle handle(ScriptedCalls::descriptor, NSFileHandle::CloseOnRelease::no, "/logs/today.log");
      const auto reason = reasonOf([&] { handle.writeText("0123456789"); });

      const std::string want = "Could not write to “/logs/today.log”: " + textOf(c.failure);
      EXPECT_EQ(reason, c.failure != 0 ? std::optional(want) : std::nullopt);
      EXPECT_EQ(system.written, c.written);
      std::string calls(c.calls);
      for (std::size_t at = 0; (at = calls.find("w ", at)) != std::string::npos; at += call.size()) {
        calls.replace(at, 1, call);
      }
      EXPECT_EQ(system.calls, calls);
    }
  }
}

TEST(FileOutput, doesNotSpinWhereWaitingFails) {
  ScriptedCalls system;
  detail::systemCalls().poll = [](pollfd*, nfds_t, int) { return errno = ENOMEM, -1; };
  NSFileHandle handle(ScriptedCalls::descriptor, NSFileHandle::CloseOnRelease::no, "/logs/today.log");
  system.steps = {fails(EAGAIN)};
  EXPECT_EQ(reasonOf([&] { handle.writeText("text"); }),
            "Could not write to “/logs/today.log”: " + textOf(ENOMEM));
  system.steps = {fails(EAGAIN)};
  EXPECT_EQ(reasonOf([&] { static_cast<void>(handle.readDataOfLength(4)); }),
            "Could not read “/logs/today.log”: " + textOf(ENOMEM));
}

struct CutCase {
  const char* row;
  Steps steps;  // for the line "one" and, where they are left, for the line "two"
  std::string_view written;
};

const CutCase cuts[] = {
    {"nothing of it", {fails(ENOSPC)}, "three\n"},
    {"in its midst", {moves(2), fails(ENOSPC), fails(ENOSPC)}, "on\nthree\n"},
    {"before its line break", {moves(3), fails(ENOSPC), fails(ENOSPC)}, "one\nthree\n"},
    {"again after the line break", {moves(2), fails(EIO), moves(1), fails(EIO)}, "on\nthree\n"},
    {"again in its midst", {moves(2), fails(EIO), moves(3), fails(EIO)}, "on\ntw\nthree\n"},
};

TEST(FileOutput, aLineAfterOneThatWasCutBeginsOnItsOwn) {
  for (const CutCase& c : cuts) {
    ScriptedCalls system;
    LineHandle handle(ScriptedCalls::descriptor);
    system.steps = c.steps;
    EXPECT_TRUE(reasonOf([&] { handle.appendLine("one"); })) << c.row;
    const bool cutsTwice = !system.steps.empty();
    EXPECT_EQ(cutsTwice && reasonOf([&] { handle.appendLine("two"); }), cutsTwice) << c.row;
    handle.appendLine("three");
    EXPECT_EQ(system.written, c.written) << c.row;
  }
}

TEST(FileOutput, aLineOfAnyLengthGoesOutInOneCall) {
  for (const std::size_t length : {0U, 1U, 2045U, 2046U, 2047U, 2048U, 100'000U}) {
    ScriptedCalls system;
    LineHandle handle(ScriptedCalls::descriptor);
    const std::string line(length, 'x');
    handle.appendLine(line);
    EXPECT_EQ(system.written, line + '\n');
    EXPECT_EQ(system.calls, "write ");
  }
}

/// A pipe or a socket whose other end is closed.
class BrokenEnd {
public:
  explicit BrokenEnd(bool isSocket) {
    std::array<int, 2> ends{};
    EXPECT_EQ(isSocket ? socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()) : pipe(ends.data()), 0);
    close(ends[0]);
    descriptor = ends[1];
  }
  BrokenEnd(const BrokenEnd&) = delete;
  BrokenEnd& operator=(const BrokenEnd&) = delete;
  ~BrokenEnd() { close(descriptor); }

  int descriptor;
};

/// SIGPIPE would end the process, as it does where nobody has asked for anything else.
class BrokenPipes : public ::testing::TestWithParam<bool> {
protected:
  BrokenPipes() : previous_(std::signal(SIGPIPE, SIG_DFL)) {
    sigemptyset(&brokenPipe_);
    sigaddset(&brokenPipe_, SIGPIPE);
  }
  ~BrokenPipes() override { std::signal(SIGPIPE, previous_); }

  static void expectBrokenPipe(NSFileHandle& handle) {
    EXPECT_EQ(reasonOf([&] { handle.writeText("text"); }), "Could not write to file descriptor " +
                                                               std::to_string(handle.fileDescriptor()) +
                                                               ": " + textOf(EPIPE));
  }
  static sigset_t mask() {
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    return mask;
  }
  static bool isPending() {
    sigset_t pending;
    sigpending(&pending);
    return sigismember(&pending, SIGPIPE) == 1;
  }

  sigset_t brokenPipe_{};
  void (*previous_)(int);
};

INSTANTIATE_TEST_SUITE_P(FileOutput, BrokenPipes, ::testing::Bool(),
                         [](const auto& isSocket) { return isSocket.param ? "socket" : "pipe"; });

TEST_P(BrokenPipes, areErrorsAndNoSignals) {
  const BrokenEnd end(GetParam());
  NSFileHandle handle(end.descriptor);
  expectBrokenPipe(handle);
  EXPECT_FALSE(isPending());
  const sigset_t left = mask();
  EXPECT_EQ(sigismember(&left, SIGPIPE), 0);
}

TEST_P(BrokenPipes, leaveASignalThatWasPendingBefore) {
  sigset_t before;
  pthread_sigmask(SIG_BLOCK, &brokenPipe_, &before);
  std::raise(SIGPIPE);
  const BrokenEnd end(GetParam());
  NSFileHandle handle(end.descriptor);
  expectBrokenPipe(handle);
  EXPECT_TRUE(isPending());

  const timespec now{};
  EXPECT_EQ(sigtimedwait(&brokenPipe_, nullptr, &now), SIGPIPE);
  EXPECT_FALSE(isPending());
  expectBrokenPipe(handle);  // a signal that is blocked but not pending is taken back
  EXPECT_FALSE(isPending());
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

TEST_P(BrokenPipes, leaveASignalThatSomebodySendsDuringAGoodWrite) {
  sigset_t before;
  pthread_sigmask(SIG_BLOCK, &brokenPipe_, &before);
  {
    const ScriptedCalls system(S_IFIFO);
    detail::systemCalls().write = [](int, const void*, std::size_t size) {
      kill(getpid(), SIGPIPE);
      return static_cast<ssize_t>(size);
    };
    NSFileHandle(ScriptedCalls::descriptor).writeText("text");
  }
  const timespec now{};
  EXPECT_EQ(sigtimedwait(&brokenPipe_, nullptr, &now), SIGPIPE);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

TEST_P(BrokenPipes, areNoticedWhereSomebodyLedTheDescriptorElsewhere) {
  const testing::TemporaryFolder folder;
  const int descriptor = open((folder / "file").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  NSFileHandle handle(descriptor);
  handle.writeText("first");
  const BrokenEnd end(GetParam());
  dup2(end.descriptor, descriptor);
  expectBrokenPipe(handle);

  const int file = open((folder / "file").c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
  dup2(file, descriptor);
  handle.writeText(" second");
  EXPECT_EQ(testing::contentOf(folder / "file"), "first second");
  close(file);
  close(descriptor);
}

}  // namespace
}  // namespace QVFoundation
