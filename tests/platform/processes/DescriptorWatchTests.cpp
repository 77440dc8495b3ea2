#include <array>
#include <atomic>
#include <fcntl.h>
#include <latch>
#include <system_error>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include "QVFoundation/platform/processes/DescriptorWatch_p.h"
#include "QVFoundation/platform/processes/NSPipe.h"

namespace QVFoundation {
namespace {

using detail::DescriptorWatch;

DescriptorWatch& watch() { return DescriptorWatch::shared(); }
int readingEnd(const NSPipe& pipe) { return pipe.fileHandleForReading()->fileDescriptor(); }

TEST(DescriptorWatch, callsOnceWhenThereIsSomethingToReadOrTheOtherSideIsGone) {
  for (const bool writes : {true, false}) {
    NSPipe pipe;
    std::atomic<int> calls = 0;
    std::latch called(1);
    const auto token = watch().watch(readingEnd(pipe), [&] {
      if (++calls == 1) called.count_down();
    });
    EXPECT_EQ(calls, 0);
    if (writes) pipe.fileHandleForWriting()->writeText("something");
    if (!writes) pipe.fileHandleForWriting()->closeFile();
    called.wait();
    // What comes later is called in order, so a second call would have come before.
    std::latch later(1);
    (void)watch().watch(readingEnd(pipe), [&] { later.count_down(); });
    later.wait();
    EXPECT_EQ(calls, 1);
    watch().withdraw(token);
  }
}

TEST(DescriptorWatch, takesOneNumberTwiceAndFilesThatCanAlwaysBeRead) {
  NSPipe pipe;
  std::latch called(4);
  const auto countDown = [&] { called.count_down(); };
  (void)watch().watch(readingEnd(pipe), countDown);
  (void)watch().watch(readingEnd(pipe), countDown);
  pipe.fileHandleForWriting()->writeText("something");
  const int file = open("/proc/self/exe", O_RDONLY | O_CLOEXEC);
  (void)watch().watch(file, countDown);
  (void)watch().watch(file, countDown);
  called.wait();
  close(file);
  EXPECT_THROW((void)watch().watch(-1, countDown), std::system_error);
}

TEST(DescriptorWatch, withdrawingWaitsForACallElsewhereAndFromInsideForNone) {
  NSPipe pipe;
  pipe.fileHandleForWriting()->writeText("something");
  std::latch begun(1), mayEnd(1);
  std::atomic<bool> hasEnded = false;
  std::atomic<DescriptorWatch::Token> own = 0;
  const auto token = watch().watch(readingEnd(pipe), [&] {
    begun.count_down();
    mayEnd.wait();
    watch().withdraw(own);
    hasEnded = true;
  });
  begun.wait();
  own = token;
  std::thread other([&] { mayEnd.count_down(); });
  watch().withdraw(token);
  EXPECT_TRUE(hasEnded);
  other.join();
}

// Each round, a callback is either over or never comes; what it uses may go then.
TEST(DescriptorWatch, nothingIsCalledAfterItsWithdrawal) {
  for (int round = 0; round < 1000; ++round) {
    NSPipe pipe;
    auto alive = std::make_unique<std::atomic<bool>>(true);
    const auto token = watch().watch(readingEnd(pipe), [&alive] { alive->store(false); });
    std::thread writer([&] { pipe.fileHandleForWriting()->closeFile(); });
    watch().withdraw(token);
    alive.reset();
    writer.join();
  }
}

}  // namespace
}  // namespace QVFoundation
