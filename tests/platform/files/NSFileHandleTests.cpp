#include "QVFoundation/platform/files/NSFileHandle.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <fcntl.h>
#include <functional>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <sys/socket.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "QVFoundation/platform/files/SystemCalls_p.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "tests/platform/concurrency/OnThreads.h"
#include "tests/platform/files/TemporaryFolder.h"

namespace QVFoundation {
namespace {

using testing::TemporaryFolder;
using CloseOnRelease = NSFileHandle::CloseOnRelease;

/// What one call does: moves some bytes, or fails.
struct Step {
  std::size_t count;
  int code;
};
constexpr Step moves(std::size_t count) { return {.count = count, .code = 0}; }
constexpr Step fails(int code) { return {.count = 0, .code = code}; }
using Steps = std::vector<Step>;

/// Plays the system for a scope. Each call does what the next step says, or all that is asked where there is
/// none left.
class ScriptedCalls {
public:
  explicit ScriptedCalls(mode_t mode = S_IFREG) : mode_(mode), original_(detail::systemCalls()) {
    self_ = this;
    detail::SystemCalls& system = detail::systemCalls();
    system.open = [](int, const char*, int, mode_t) { return self_->take("open", 1) < 0 ? -1 : descriptor; };
    system.close = [](int) { return static_cast<int>(self_->take("close", 0)); };
    system.stat = [](int, struct stat* status) { return status->st_mode = self_->mode_, 0; };
    system.read = [](int, void*, std::size_t size) { return self_->take("read", size); };
    system.write = [](int, const void* from, std::size_t size) { return self_->write(from, size, 0); };
    system.send = [](int, const void* from, std::size_t size, int f) { return self_->write(from, size, f); };
    system.poll = [](pollfd* request, nfds_t, int timeout) {
      EXPECT_EQ(timeout, -1);
      return static_cast<int>(self_->take(request->events == POLLIN ? "poll-in" : "poll-out", 1));
    };
    system.sync = [](int) { return static_cast<int>(self_->take("sync", 0)); };
  }
  ScriptedCalls(const ScriptedCalls&) = delete;
  ScriptedCalls& operator=(const ScriptedCalls&) = delete;
  ~ScriptedCalls() { detail::systemCalls() = original_; }

  static constexpr int descriptor = 1'000'000;  // that no process has

  Steps steps;
  std::string written, calls;

private:
  ssize_t take(std::string_view call, std::size_t asked) {
    calls.append(call) += ' ';
    if (steps.empty()) return static_cast<ssize_t>(asked);
    const Step step = steps.front();
    steps.erase(steps.begin());
    errno = step.code;
    return step.code != 0 ? -1 : static_cast<ssize_t>(std::min(step.count, asked));
  }
  ssize_t write(const void* from, std::size_t size, int flags) {
    EXPECT_EQ(flags, S_ISSOCK(mode_) ? MSG_NOSIGNAL : 0);
    const ssize_t count = take("write", size);
    if (count > 0) written.append(static_cast<const char*>(from), static_cast<std::size_t>(count));
    return count;
  }

  static inline ScriptedCalls* self_ = nullptr;
  const mode_t mode_;
  const detail::SystemCalls original_;
};

/// A handle whose lines can be written from here.
struct LineHandle : NSFileHandle {
  using NSFileHandle::appendLine;
  using NSFileHandle::NSFileHandle;
};

std::string textOf(const NSData& data) { return {reinterpret_cast<const char*>(data.data()), data.size()}; }

bool isOpen(int descriptor) { return fcntl(descriptor, F_GETFD) != -1; }

/// The reason of the exception that an action raises; empty where it raises none.
std::string reasonOf(const std::function<void()>& action) {
  try {
    action();
    return {};
  } catch (const NSException& exception) {
    EXPECT_EQ(exception.name(), NSFileHandleOperationException);
    return exception.reason().value();
  }
}

std::string couldNot(const std::string& action, int code) {
  return "Could not " + action + ": " + std::generic_category().message(code);
}

/// What is written to the second end can be read from the first.
std::array<int, 2> pipeOrSocket(bool isSocket) {
  std::array<int, 2> ends{};
  const int result = isSocket ? socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()) : pipe(ends.data());
  EXPECT_EQ(result, 0);
  return ends;
}

TEST(NSFileHandle, writesFromTheBeginningAndReadsToTheEnd) {
  const TemporaryFolder folder;
  const std::string whole(200'000, 'x');  // several reads
  testing::makeFile(folder / "file", whole);
  NSFileHandle::fileHandleForWritingAtPath(folder / "file")->writeText("first");

  const auto reading = NSFileHandle::fileHandleForReadingAtPath(folder / "file");
  EXPECT_EQ(fcntl(reading->fileDescriptor(), F_GETFD), FD_CLOEXEC) << "child processes would get it";
  EXPECT_EQ(textOf(reading->readDataOfLength(7)), "firstxx");
  EXPECT_EQ(textOf(reading->readDataToEndOfFile()), whole.substr(7));
  EXPECT_EQ(reading->readDataOfLength(1).size(), 0U);
}

TEST(NSFileHandle, isNullWhereTheFileCannotBeOpened) {
  const TemporaryFolder folder;
  testing::makeFile(folder / "file", "");
  const std::string zero = (folder / "file").native() + std::string("\0.log", 5);  // is not "file"
  for (const std::filesystem::path& path : {{}, folder / "missing", folder / "file/below", {zero}}) {
    EXPECT_EQ(NSFileHandle::fileHandleForReadingAtPath(path), nullptr) << path;
    EXPECT_EQ(NSFileHandle::fileHandleForWritingAtPath(path), nullptr) << path;
    EXPECT_TRUE(errno == ENOENT || errno == ENOTDIR) << path;
  }
}

TEST(NSFileHandle, closesWhatItOwnsAndLeavesOthersAndTheStandardOnesOpen) {
  const auto ends = pipeOrSocket(false);
  (void)NSFileHandle(ends[0], CloseOnRelease::yes);
  (void)NSFileHandle(ends[1]);
  EXPECT_FALSE(isOpen(ends[0]));
  EXPECT_TRUE(isOpen(ends[1]));
  NSFileHandle(ends[1]).closeFile();
  EXPECT_FALSE(isOpen(ends[1]));

  const int spare = dup(STDOUT_FILENO);
  NSFileHandle::standardOutput()->closeFile();
  EXPECT_TRUE(isOpen(STDOUT_FILENO));
  EXPECT_EQ(NSFileHandle::standardOutput()->fileDescriptor(), STDOUT_FILENO);
  dup2(spare, STDOUT_FILENO);
  close(spare);
}

TEST(NSFileHandle, triesAgainWhatWasInterruptedButClosesOnce) {
  ScriptedCalls system;
  system.steps = {fails(EINTR), fails(EINTR)};
  {
    const auto handle = NSFileHandle::fileHandleForReadingAtPath("file");
    ASSERT_NE(handle, nullptr);
    system.steps = {fails(EINTR), moves(2), fails(EAGAIN), fails(EINTR), moves(1)};
    EXPECT_EQ(handle->readDataOfLength(5).size(), 5U);
    system.steps = {fails(EAGAIN), fails(ENOMEM)};
    EXPECT_EQ(reasonOf([&] { (void)handle->readDataOfLength(1); }), couldNot("read “file”", ENOMEM));
    system.steps = {fails(EINTR), moves(0), fails(EINTR)};
    handle->synchronizeFile();
    handle->closeFile();
    handle->closeFile();
    EXPECT_EQ(handle->fileDescriptor(), -1);
  }
  EXPECT_EQ(system.calls, "open open open read read read poll-in read read read poll-in sync sync close ");
}

TEST(NSFileHandle, saysWhatFailedOnceItIsClosed) {
  NSFileHandle handle(open("/dev/null", O_RDWR | O_CLOEXEC), CloseOnRelease::yes, "/a/b");
  handle.closeFile();
  EXPECT_EQ(reasonOf([&] { (void)handle.readDataToEndOfFile(); }), couldNot("read “/a/b”", EBADF));
  EXPECT_EQ(reasonOf([&] { handle.writeData(NSData(1)); }), couldNot("write to “/a/b”", EBADF));
  EXPECT_EQ(reasonOf([&] { handle.synchronizeFile(); }), couldNot("synchronize “/a/b”", EBADF));
}

struct WriteCase {
  const char* row;
  Steps steps;
  std::string_view written, calls = {};
  int failure = 0;
};

const WriteCase writes[] = {
    {"whole", {}, "0123456789", "write "},
    {"short", {moves(3), moves(1)}, "0123456789", "write write write "},
    {"interrupted", {fails(EINTR), moves(2), fails(EINTR)}, "0123456789", "write write write write "},
    {"would block", {moves(4), fails(EAGAIN), fails(EINTR)}, "0123456789", "write write poll-out write "},
    {"cannot wait", {moves(4), fails(EAGAIN), fails(ENOMEM)}, "0123", "write write poll-out ", ENOMEM},
    {"disk that fills up", {moves(4), fails(ENOSPC)}, "0123", "write write ", ENOSPC},
    {"device that takes nothing", {moves(9), moves(0)}, "012345678", "write write ", EIO},
};

TEST(NSFileHandle, writesAllOfATextOrSaysWhyNot) {
  for (const mode_t mode : std::initializer_list<mode_t>{S_IFREG, S_IFIFO, S_IFCHR, S_IFSOCK}) {
    for (const WriteCase& c : writes) {
      ScriptedCalls system(mode);
      system.steps = c.steps;
      NSFileHandle handle(ScriptedCalls::descriptor, CloseOnRelease::no, "/logs/today.log");
      const std::string reason = reasonOf([&] { handle.writeText("0123456789"); });
      EXPECT_EQ(reason, c.failure == 0 ? "" : couldNot("write to “/logs/today.log”", c.failure)) << c.row;
      EXPECT_EQ(system.written, c.written) << c.row;
      EXPECT_EQ(system.calls, c.calls) << c.row;
    }
  }
}

const WriteCase cuts[] = {
    {"nothing of it", {fails(ENOSPC)}, "three\n"},
    {"in its midst", {moves(2), fails(ENOSPC), fails(ENOSPC)}, "on\nthree\n"},
    {"before its line break", {moves(3), fails(ENOSPC), fails(ENOSPC)}, "one\nthree\n"},
    {"again after the line break", {moves(2), fails(EIO), moves(1), fails(EIO)}, "on\nthree\n"},
    {"again in its midst", {moves(2), fails(EIO), moves(3), fails(EIO)}, "on\ntw\nthree\n"},
};

// The steps are for the line "one" and, where they are left, for the line "two".
TEST(NSFileHandle, aLineAfterOneThatWasCutBeginsOnItsOwn) {
  for (const WriteCase& c : cuts) {
    ScriptedCalls system;
    LineHandle handle(ScriptedCalls::descriptor);
    system.steps = c.steps;
    for (const char* line : {"one", "two"}) {
      const bool mustFail = !system.steps.empty();
      EXPECT_EQ(mustFail && reasonOf([&] { handle.appendLine(line); }).empty(), false) << c.row << line;
    }
    handle.appendLine("three");
    EXPECT_EQ(system.written, c.written) << c.row;
  }
}

TEST(NSFileHandle, aLineOfAnyLengthGoesOutInOneCall) {
  for (const std::size_t length : {0U, 2045U, 2046U, 2047U, 2048U, 100'000U}) {
    ScriptedCalls system;
    const std::string line(length, 'x');
    LineHandle(ScriptedCalls::descriptor).appendLine(line);
    EXPECT_EQ(system.written, line + '\n');
    EXPECT_EQ(system.calls, "write ");
  }
}

TEST(NSFileHandle, readsWhileAWriteWaits) {
  const std::string much(4'000'000, 'x');  // more than a socket holds
  const auto ends = pipeOrSocket(true);
  NSFileHandle handle(ends[0], CloseOnRelease::yes);
  NSFileHandle other(ends[1], CloseOnRelease::yes);
  const std::jthread writer([&] { handle.writeText(much); });
  EXPECT_EQ(textOf(other.readDataOfLength(1)), "x");  // it has begun
  other.writeText("answer");
  EXPECT_EQ(textOf(handle.readDataOfLength(6)), "answer");
  EXPECT_EQ(other.readDataOfLength(much.size() - 1).size(), much.size() - 1);
}

TEST(NSFileHandle, textsOfSeveralThreadsDoNotMix) {
  constexpr std::size_t size = 100'000;  // more than a pipe takes at once
  constexpr int rounds = 20;
  const auto ends = pipeOrSocket(false);
  fcntl(ends[1], F_SETFL, O_NONBLOCK);
  NSFileHandle reading(ends[0], CloseOnRelease::yes);
  std::jthread writers([&] {
    NSFileHandle writing(ends[1], CloseOnRelease::yes);
    testing::onThreads(2, [&](int thread) {
      const std::string text(size, static_cast<char>('a' + thread));
      for (int i = 0; i < rounds; ++i) writing.writeText(text);
    });
    writing.synchronizeFile();  // behind a pipe there is nothing to synchronize, which is no failure
  });
  const std::string all = textOf(reading.readDataToEndOfFile());
  ASSERT_EQ(all.size(), 2 * rounds * size);
  for (std::size_t at = 0; at < all.size(); at += size) {
    EXPECT_TRUE(all.find_first_not_of(all[at], at) >= at + size) << at;
  }
}

TEST(NSFileHandle, aBrokenPipeIsAnErrorThatNeitherSendsASignalNorTakesThatOfSomebodyElse) {
  std::signal(SIGPIPE, SIG_DFL);  // it would end the process
  sigset_t brokenPipe, before;
  sigemptyset(&brokenPipe);
  sigaddset(&brokenPipe, SIGPIPE);
  const timespec now{};
  const auto takePending = [&] { return sigtimedwait(&brokenPipe, nullptr, &now) == SIGPIPE; };
  for (const bool isSocket : {false, true}) {
    const auto ends = pipeOrSocket(isSocket);
    close(ends[0]);
    const int borrowed = memfd_create("file", MFD_CLOEXEC);
    NSFileHandle owner(ends[1], CloseOnRelease::yes, "pipe"), borrower(borrowed, CloseOnRelease::no, "pipe");
    dup2(ends[1], borrowed);  // somebody leads the descriptor from a file elsewhere
    const auto expectFailure = [&] {
      EXPECT_EQ(reasonOf([&] { owner.writeText("text"); }), couldNot("write to “pipe”", EPIPE));
      EXPECT_EQ(reasonOf([&] { borrower.writeText("text"); }), couldNot("write to “pipe”", EPIPE));
    };
    expectFailure();
    pthread_sigmask(SIG_BLOCK, &brokenPipe, &before);
    EXPECT_EQ(sigismember(&before, SIGPIPE), 0);
    expectFailure();
    EXPECT_FALSE(takePending());
    for (const bool isForThread : {false, true}) {
      isForThread ? std::raise(SIGPIPE) : kill(getpid(), SIGPIPE);
      expectFailure();
      EXPECT_TRUE(takePending() && !takePending()) << isForThread;
    }
    {
      const ScriptedCalls system(S_IFIFO);
      detail::systemCalls().write = [](int, const void*, std::size_t size) {
        kill(getpid(), SIGPIPE);  // during a write that succeeds
        return static_cast<ssize_t>(size);
      };
      NSFileHandle(ScriptedCalls::descriptor).writeText("text");
    }
    EXPECT_TRUE(takePending());
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    close(borrowed);
  }
}

TEST(NSFileHandle, aPipeMayBreakInTheMiddleOfAWrite) {
  std::signal(SIGPIPE, SIG_DFL);
  const auto ends = pipeOrSocket(false);
  NSFileHandle reader(ends[0], CloseOnRelease::yes);
  NSFileHandle writer(ends[1], CloseOnRelease::yes, "pipe");
  const std::jthread reading([&] {
    char first = 0;
    EXPECT_EQ(read(ends[0], &first, 1), 1);  // the writer has filled the pipe, or is about to
    reader.closeFile();
  });
  EXPECT_EQ(reasonOf([&] { writer.writeText(std::string(1 << 20, 'x')); }),
            couldNot("write to “pipe”", EPIPE));
}

}  // namespace
}  // namespace QVFoundation
