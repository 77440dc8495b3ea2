#include "QVFoundation/platform/files/NSFileHandle.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "QVFoundation/platform/runtime/NSException.h"
#include "gtest/gtest.h"
#include "tests/platform/concurrency/OnThreads.h"
#include "tests/platform/files/ScriptedCalls.h"
#include "tests/platform/files/TemporaryFolder.h"

namespace QVFoundation {
namespace {

using testing::fails;
using testing::moves;
using testing::ScriptedCalls;
using testing::TemporaryFolder;
using CloseOnRelease = NSFileHandle::CloseOnRelease;

std::string textOf(const NSData& data) { return {reinterpret_cast<const char*>(data.data()), data.size()}; }

bool isOpen(int descriptor) { return fcntl(descriptor, F_GETFD) != -1; }

TEST(NSFileHandle, writesFromTheBeginningAndReadsToTheEnd) {
  const TemporaryFolder folder;
  const std::string whole(200'000, 'x');  // several reads
  testing::makeFile(folder / "file", whole);
  NSFileHandle::fileHandleForWritingAtPath(folder / "file")->writeText("first");

  const auto reading = NSFileHandle::fileHandleForReadingAtPath(folder / "file");
  EXPECT_EQ(textOf(reading->readDataOfLength(7)), "firstxx");
  EXPECT_EQ(reading->readDataOfLength(0).size(), 0U);
  EXPECT_EQ(textOf(reading->readDataToEndOfFile()), whole.substr(7));
  EXPECT_EQ(reading->readDataOfLength(1).size(), 0U);
}

TEST(NSFileHandle, isNullWhereTheFileCannotBeOpened) {
  const TemporaryFolder folder;
  testing::makeFile(folder / "file", "");
  const std::filesystem::path paths[] = {
      {},
      folder / "missing",
      folder / "missing/file",
      folder / "file/below",
      (folder / "file").native() + std::string("\0.log", 5),  // is not "file"
  };
  for (const auto& path : paths) {
    EXPECT_EQ(NSFileHandle::fileHandleForReadingAtPath(path), nullptr) << path;
    EXPECT_EQ(NSFileHandle::fileHandleForWritingAtPath(path), nullptr) << path;
    EXPECT_TRUE(errno == ENOENT || errno == ENOTDIR) << path;
  }
}

TEST(NSFileHandle, keepsItsDescriptorFromChildProcesses) {
  const auto handle = NSFileHandle::fileHandleForReadingAtPath("/dev/null");
  EXPECT_EQ(fcntl(handle->fileDescriptor(), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
}

TEST(NSFileHandle, closesWhatItOwnsAndOnlyThat) {
  const int owned = open("/dev/null", O_WRONLY | O_CLOEXEC);
  const int borrowed = open("/dev/null", O_WRONLY | O_CLOEXEC);
  (void)NSFileHandle(owned, CloseOnRelease::yes);
  (void)NSFileHandle(borrowed);
  EXPECT_FALSE(isOpen(owned));
  EXPECT_TRUE(isOpen(borrowed));
  close(borrowed);
}

TEST(NSFileHandle, isClosedOnceEvenWhenThatIsInterrupted) {
  ScriptedCalls system;
  system.steps = {fails(EINTR)};
  {
    NSFileHandle handle(ScriptedCalls::descriptor, CloseOnRelease::yes);
    handle.closeFile();
    handle.closeFile();
    EXPECT_EQ(handle.fileDescriptor(), -1);
  }
  EXPECT_EQ(system.calls, "close ");
}

TEST(NSFileHandle, triesAgainWhatWasInterrupted) {
  ScriptedCalls system;
  system.steps = {fails(EINTR), fails(EINTR)};
  const auto handle = NSFileHandle::fileHandleForReadingAtPath("file");
  ASSERT_NE(handle, nullptr);
  system.readable = "abcdef";
  system.steps = {fails(EINTR), moves(2), fails(EAGAIN), moves(1)};
  EXPECT_EQ(textOf(handle->readDataOfLength(5)), "abcde");
  system.steps = {fails(EINTR)};
  handle->synchronizeFile();
  EXPECT_EQ(system.calls, "open open open read read read poll-in read read sync sync ");
}

struct FailureCase {
  const char* row;
  void (*action)(NSFileHandle&);
};

constexpr FailureCase actions[] = {
    {"read “/a/b”", [](NSFileHandle& handle) { (void)handle.readDataOfLength(1); }},
    {"read “/a/b”", [](NSFileHandle& handle) { (void)handle.readDataToEndOfFile(); }},
    {"write to “/a/b”", [](NSFileHandle& handle) { handle.writeText("x"); }},
    {"write to “/a/b”", [](NSFileHandle& handle) { handle.writeData(NSData(1)); }},
    {"synchronize “/a/b”", [](NSFileHandle& handle) { handle.synchronizeFile(); }},
};

TEST(NSFileHandle, saysWhatFailedOnceItIsClosed) {
  NSFileHandle handle(open("/dev/null", O_RDWR | O_CLOEXEC), CloseOnRelease::yes, "/a/b");
  handle.closeFile();
  for (const FailureCase& c : actions) {
    try {
      c.action(handle);
      ADD_FAILURE() << c.row;
    } catch (const NSException& exception) {
      EXPECT_EQ(exception.name(), NSFileHandleOperationException);
      EXPECT_EQ(exception.reason(), std::string("Could not ") + c.row + ": Bad file descriptor");
    }
  }
}

/// Sends back all that it gets, and gets no more while nobody takes that.
void echo(int descriptor) {
  std::array<char, 4096> buffer{};
  NSFileHandle handle(descriptor, CloseOnRelease::yes);
  for (ssize_t size = 0; (size = read(descriptor, buffer.data(), buffer.size())) > 0;) {
    handle.writeText({buffer.data(), static_cast<std::size_t>(size)});
  }
}

TEST(NSFileHandle, readsWhileAWriteWaitsForTheReader) {
  constexpr std::size_t size = 4'000'000;  // more than both directions of a socket hold
  std::array<int, 2> ends{};
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
  NSFileHandle handle(ends[0]);
  const std::jthread other([&] { echo(ends[1]); });
  {
    const std::jthread writer([&] { handle.writeText(std::string(size, 'x')); });
    EXPECT_EQ(handle.readDataOfLength(size).size(), size);
  }
  handle.closeFile();
}

TEST(NSFileHandle, keepsTheStandardDescriptorsOpen) {
  const int spare = dup(STDOUT_FILENO);
  const auto& handle = NSFileHandle::standardOutput();
  handle->closeFile();
  EXPECT_TRUE(isOpen(STDOUT_FILENO));
  EXPECT_EQ(handle->fileDescriptor(), STDOUT_FILENO);
  dup2(spare, STDOUT_FILENO);
  close(spare);
}

TEST(NSFileHandle, hasNothingToSynchronizeBehindAPipe) {
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
  NSFileHandle reading(ends[0], CloseOnRelease::yes);
  NSFileHandle(ends[1], CloseOnRelease::yes).synchronizeFile();
}

TEST(NSFileHandle, textsOfSeveralThreadsDoNotMix) {
  constexpr std::size_t size = 100'000;  // more than a pipe takes at once
  constexpr int rounds = 20;
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
  fcntl(ends[1], F_SETFL, O_NONBLOCK);
  NSFileHandle reading(ends[0], CloseOnRelease::yes);
  std::jthread writers([&] {
    NSFileHandle writing(ends[1], CloseOnRelease::yes);
    testing::onThreads(2, [&](int thread) {
      const std::string text(size, static_cast<char>('a' + thread));
      for (int i = 0; i < rounds; ++i) writing.writeText(text);
    });
  });
  const std::string all = textOf(reading.readDataToEndOfFile());
  ASSERT_EQ(all.size(), 2 * rounds * size);
  for (std::size_t at = 0; at < all.size(); at += size) {
    EXPECT_TRUE(all.find_first_not_of(all[at], at) >= at + size) << at;
  }
}

}  // namespace
}  // namespace QVFoundation
