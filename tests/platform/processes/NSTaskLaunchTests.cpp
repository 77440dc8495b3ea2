#include "QVFoundation/platform/processes/NSTask.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "tests/platform/files/FailingSystem.h"
#include "tests/platform/files/TemporaryFolder.h"
#include "tests/platform/processes/Children.h"
#include "tests/platform/processes/ProcessCallsOverride.h"

namespace QVFoundation {
namespace {

using ::testing::HasSubstr;
using testing::launch;
using testing::ProcessCallsOverride;
using testing::shell;
using testing::Spoken;
using testing::TemporaryFolder;

std::optional<NSError> launchFailure(NSTask& task) {
  std::optional<NSError> error;
  EXPECT_FALSE(task.launch(&error));
  EXPECT_FALSE(task.isRunning());
  EXPECT_EQ(task.processIdentifier(), 0);
  return error;
}

// What the child gets

TEST(NSTask, theChildGetsItsArgumentsFolderAndEnvironmentAlone) {
  const TemporaryFolder folder;
  Spoken child(R"(pwd; echo "$1|$2"; echo "$ONE-$HOME")");
  child.task->setArguments({"-c", child.task->arguments().at(1), "sh", "a b", ""});
  child.task->setCurrentDirectoryPath(folder.path());
  child.task->setEnvironment({{{"ONE", "1=1"}}});
  launch(*child.task);
  EXPECT_EQ(child.text(), std::filesystem::canonical(folder.path()).native() + "\na b|\n1=1-\n");
}

TEST(NSTask, aRelativeProgramIsThisProcessesWhateverTheChildsFolder) {
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path("/bin");
  NSTask task;
  task.setLaunchPath("./true");
  task.setCurrentDirectoryPath("/tmp");
  launch(task);
  std::filesystem::current_path(before);
  task.waitUntilExit();
  EXPECT_EQ(task.terminationStatus(), 0);
}

TEST(NSTask, noDescriptorLeaksIntoTheChild) {
  const int leaking = open("/dev/null", O_RDONLY);  // NOLINT(android-cloexec-open): that is the question
  const int high = fcntl(leaking, F_DUPFD, 200);
  Spoken child("ls /proc/self/fd");
  launch(*child.task);
  EXPECT_EQ(child.text(), "0\n1\n2\n3\n") << "the fourth is of ls itself";
  close(leaking);
  close(high);
}

TEST(NSTask, signalsAreAtTheirDefaultsInTheChild) {
  sigset_t blocked, before;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &blocked, &before);
  const auto ignored = std::signal(SIGPIPE, SIG_IGN);
  Spoken child("grep -E 'Sig(Blk|Ign)' /proc/self/status");
  launch(*child.task);
  std::signal(SIGPIPE, ignored);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  EXPECT_EQ(child.text(), "SigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n");
}

/// Gives the first three descriptors back at the end of a scope.
class StandardDescriptors {
public:
  StandardDescriptors() {
    for (int number = 0; number < 3; ++number) saved_.at(static_cast<std::size_t>(number)) = dup(number);
  }
  StandardDescriptors(const StandardDescriptors&) = delete;
  StandardDescriptors& operator=(const StandardDescriptors&) = delete;
  ~StandardDescriptors() {
    for (int number = 0; number < 3; ++number) {
      const int saved = saved_.at(static_cast<std::size_t>(number));
      dup2(saved, number);
      close(saved);
    }
  }

private:
  std::array<int, 3> saved_{};
};

// Every way in which the three files behind the first three descriptors can change places, themselves included.
TEST(NSTask, streamsMayBeTheFirstThreeDescriptorsInAnyOrder) {
  const TemporaryFolder folder;
  const std::array names{folder / "0", folder / "1", folder / "2"};
  for (int order = 0; order < 27; ++order) {
    const std::array from{order / 9, order / 3 % 3, order % 3};
    const auto task = std::make_shared<NSTask>();
    {
      const StandardDescriptors restored;
      for (int number = 0; number < 3; ++number) {
        const int file = open(names.at(static_cast<std::size_t>(number)).c_str(),
                              O_RDWR | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0600);
        dup3(file, number, O_CLOEXEC);
        close(file);
      }
      task->setLaunchPath("/bin/sh");
      task->setArguments(
          {"-c", R"(links=$(readlink /proc/$$/fd/0 /proc/$$/fd/1 /proc/$$/fd/2); echo "$links" > "$0")",
           folder / "links"});
      task->setStandardInput(std::make_shared<NSFileHandle>(from[0]));
      task->setStandardOutput(std::make_shared<NSFileHandle>(from[1]));
      task->setStandardError(std::make_shared<NSFileHandle>(from[2]));
      std::optional<NSError> error;
      if (task->launch(&error)) task->waitUntilExit();
    }
    std::string expected;
    for (const int number : from) expected += names.at(static_cast<std::size_t>(number)).native() + '\n';
    EXPECT_EQ(testing::contentOf(folder / "links"), expected) << order;
  }
}

TEST(NSTask, onePipeServesTwoStreamsAndLaunchingClosesTheChildsEnds) {
  Spoken child("cat; echo out; echo error >&2");
  const auto input = std::make_shared<NSPipe>();
  child.task->setStandardInput(input);
  child.task->setStandardError(child.pipe);
  launch(*child.task);
  EXPECT_EQ(input->fileHandleForReading()->fileDescriptor(), -1);
  EXPECT_EQ(child.pipe->fileHandleForWriting()->fileDescriptor(), -1);
  input->fileHandleForWriting()->writeText("in\n");
  input->fileHandleForWriting()->closeFile();
  EXPECT_EQ(child.text(), "in\nout\nerror\n");
}

// What keeps it from running

struct LaunchFailure {
  const char* row;
  std::function<void(NSTask&, const TemporaryFolder&)> prepare;
  int code;
  std::string_view says;
};

const std::vector<LaunchFailure>& launchFailures() {
  static const std::vector<LaunchFailure> rows{
      {"missing", [](auto& task, auto& folder) { task.setLaunchPath(folder / "missing"); }, ENOENT,
       "/missing\" could not be launched: No such file"},
      {"empty", [](auto& task, auto&) { task.setLaunchPath(""); }, ENOENT, "No such file"},
      {"behindAFile", [](auto& task, auto& folder) { task.setLaunchPath(folder / "plain/x"); }, ENOTDIR,
       "Not a directory"},
      {"noPermission", [](auto& task, auto& folder) { task.setLaunchPath(folder / "plain"); }, EACCES,
       "Permission denied"},
      {"folder", [](auto& task, auto& folder) { task.setLaunchPath(folder.path()); }, EACCES,
       "it is a folder"},
      {"device", [](auto& task, auto&) { task.setLaunchPath("/dev/null"); }, EACCES, "it is no file"},
      {"interpreter", [](auto& task, auto& folder) { task.setLaunchPath(folder / "script"); }, ENOENT,
       "its interpreter \"/no/such\": No such file"},
      {"noProgram", [](auto& task, auto& folder) { task.setLaunchPath(folder / "garbage"); }, ENOEXEC,
       "it is no program"},
      {"folderMissing", [](auto& task, auto&) { task.setCurrentDirectoryPath("/no/such"); }, ENOENT,
       "in the working folder \"/no/such\": No such file"},
      {"folderIsFile", [](auto& task, auto& folder) { task.setCurrentDirectoryPath(folder / "plain"); },
       ENOTDIR, "/plain\": Not a directory"},
      {"zeroInPath", [](auto& task, auto&) { task.setLaunchPath(std::string("/bin/true\0x", 11)); }, EINVAL,
       "its path contains a zero byte"},
      {"zeroInArgument", [](auto& task, auto&) { task.setArguments({"a", std::string("b\0", 2)}); }, EINVAL,
       "argument 2 contains a zero byte"},
      {"zeroInFolder", [](auto& task, auto&) { task.setCurrentDirectoryPath(std::string("/\0", 2)); }, EINVAL,
       "its working folder contains a zero byte"},
      {"zeroInEnvironment", [](auto& task, auto&) { task.setEnvironment({{{"A", std::string("\0", 1)}}}); },
       EINVAL, "variable \"A\" contains a zero byte"},
      {"environmentName", [](auto& task, auto&) { task.setEnvironment({{{"A=B", ""}}}); }, EINVAL,
       "\"A=B\" is no name"},
      {"tooLong", [](auto& task, auto&) { task.setArguments({std::string(1 << 20, 'x')}); }, E2BIG,
       "Argument list too long"},
      {"closedStream",
       [](auto& task, auto&) {
         const auto handle = NSFileHandle::fileHandleWithNullDevice();
         handle->closeFile();
         task.setStandardError(handle);
       },
       EBADF, "its standard error is closed"},
      {"unknownStream", [](auto& task, auto&) { task.setStandardInput(std::make_shared<NSFileHandle>(777)); },
       EBADF, "its standard input is to be descriptor 777, which is not open"},
  };
  return rows;
}

TEST(NSTask, saysWhyAProgramCannotBeLaunchedAndLeavesNothingBehind) {
  const TemporaryFolder folder;
  testing::makeFile(folder / "plain", "");
  testing::makeFile(folder / "script", "#! /no/such -x\n");
  testing::makeFile(folder / "garbage", "\x01\x02");
  for (const char* name : {"script", "garbage"}) chmod((folder / name).c_str(), 0700);
  const auto first = shell(":");
  launch(*first);
  first->waitUntilExit();  // now the watch has its descriptors
  const auto descriptors = testing::openDescriptorCount();
  for (const LaunchFailure& row : launchFailures()) {
    SCOPED_TRACE(row.row);
    const auto output = std::make_shared<NSPipe>();
    NSTask task;
    task.setLaunchPath("/bin/true");
    task.setStandardOutput(output);
    row.prepare(task, folder);
    const auto error = launchFailure(task);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain(), NSPOSIXErrorDomain);
    EXPECT_EQ(error->code(), row.code);
    EXPECT_THAT(error->localizedDescription(), HasSubstr(row.says));
    EXPECT_TRUE(output->fileHandleForReading()->readDataToEndOfFile().empty())
        << "nobody holds the other end";
  }
  EXPECT_LE(testing::openDescriptorCount(), descriptors) << "less, where an earlier child has just ended";
}

TEST(NSTask, mayBeLaunchedAgainAfterAFailureButOnlyOnce) {
  NSTask task;
  EXPECT_THROW(task.launch(), NSException) << "there is no path";
  task.setLaunchPath("/no/such");
  EXPECT_FALSE(task.launch());
  task.setLaunchPath("/bin/true");
  launch(task);
  EXPECT_THROW(task.launch(), NSException);
  EXPECT_THROW(task.setArguments({}), NSException);
  task.waitUntilExit();
  EXPECT_THROW(task.launch(), NSException);
}

// Each step of a launch fails once, the others work.
TEST(NSTask, noChildIsLeftWhereTheSystemRefusesAStep) {
  static pid_t child = 0;
  // Now, or by an earlier test, the system was seen to have descriptors of processes.
  (void)shell(":")->launch();
  struct Row {
    const char* row;
    std::function<void(detail::ProcessCalls&)> fail;
    int code;
  };
  const Row rows[] = {
      {"descriptor", [](auto& calls) { calls.openProcess = [](pid_t) { return errno = EMFILE, -1; }; },
       EMFILE},
      {"room", [](auto& calls) { calls.duplicate = [](int, int) { return errno = EMFILE, -1; }; }, EMFILE},
      {"stream",
       [](auto& calls) {
         calls.duplicate = [](int descriptor, int from) {
           return descriptor > STDERR_FILENO ? fcntl(descriptor, F_DUPFD_CLOEXEC, from)
                                             : (errno = EMFILE, -1);
         };
       },
       EMFILE},
      {"spawn", [](auto& calls) { calls.spawn = [](auto...) { return EAGAIN; }; }, EAGAIN},
      {"watch",
       [](auto& calls) { calls.changeSet = [](int, int, int, epoll_event*) { return errno = ENOSPC, -1; }; },
       ENOSPC},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.row);
    child = 0;
    const auto task = std::make_shared<NSTask>();
    task->setLaunchPath("/bin/sleep");
    task->setArguments({"1000"});
    task->setStandardOutput(NSFileHandle::standardError());
    {
      ProcessCallsOverride calls;
      calls->spawn = [](pid_t* process, auto... rest) {
        const int code = ::posix_spawn(process, rest...);
        child = *process;
        return code;
      };
      row.fail(detail::processCalls());
      const auto error = launchFailure(*task);
      ASSERT_TRUE(error);
      EXPECT_EQ(error->code(), row.code);
    }
    EXPECT_TRUE(child == 0 || !testing::exists(child));
  }
}

// As an old kernel, or a sandbox, has none. Seen in a process of its own, since it is asked once.
TEST(NSTaskDeathTest, aSystemWithoutDescriptorsOfProcessesRunsNothing) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto runsNothing = [] {
    static int spawned = 0;
    testing::ProcessCallsOverride calls;
    calls->openProcess = [](pid_t) { return errno = ENOSYS, -1; };
    calls->spawn = [](auto...) { return ++spawned, EAGAIN; };
    const auto error = launchFailure(*shell(":"));
    return error && error->code() == ENOSYS && spawned == 0;
  };
  EXPECT_EXIT(_exit(runsNothing() ? 0 : 1), ::testing::ExitedWithCode(0), "");
}

TEST(NSTask, aNullStreamIsNotThisProcessesOwn) {
  NSTask task;
  const auto missing = NSFileHandle::fileHandleForWritingAtPath("/no/such/file");
  EXPECT_THROW(task.setStandardOutput(missing), NSException);
}

}  // namespace
}  // namespace QVFoundation
