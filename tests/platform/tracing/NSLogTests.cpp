#include "QVFoundation/platform/tracing/NSLog.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <ostream>
#include <stdexcept>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

#include "QVFoundation/platform/text/Timestamp.h"
#include "gmock/gmock.h"
#include "gtest/gtest.h"
#include "tests/platform/tracing/StandardErrorCapture.h"

namespace QVFoundation {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using testing::StandardErrorCapture;

constexpr std::size_t timestampSize = std::string_view("2026-03-05 14:07:09.123").size();

std::string sourceOfThisThread() {
  return std::string(" ") + program_invocation_short_name + "[" + std::to_string(getpid()) + ":" +
         std::to_string(gettid()) + "] ";
}

std::string localTimeNow() {
  std::string text;
  TimestampFormatter().append(text, std::chrono::system_clock::now());
  return text;
}

struct Unspeakable {
  [[nodiscard]] static std::string description() { throw std::runtime_error("no words"); }
};

TEST(NSLog, writesTimeProgramProcessThreadAndMessageInOneCall) {
  StandardErrorCapture standardError;
  const std::string before = localTimeNow();
  NSLog("%@ has %d tracks", "Etudes", 24);
  const std::string after = localTimeNow();

  const auto lines = standardError.take();
  ASSERT_EQ(lines.size(), 1U);
  const std::string time = lines[0].substr(0, timestampSize);
  EXPECT_LE(before, time);
  EXPECT_GE(after, time);
  EXPECT_EQ(lines[0].substr(timestampSize), sourceOfThisThread() + "Etudes has 24 tracks\n");
}

struct MessageCase {
  const char* row;
  std::string argument, want;

  friend void PrintTo(const MessageCase& message, std::ostream* out) { *out << message.row; }
};

class NSLogMessages : public ::testing::TestWithParam<MessageCase> {};

TEST_P(NSLogMessages, areWrittenAsTheyAre) {
  StandardErrorCapture standardError;
  NSLog("<%@", GetParam().argument);
  EXPECT_THAT(standardError.take(), ElementsAre(EndsWith("] <" + GetParam().want)));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, NSLogMessages,
    ::testing::Values(MessageCase{"empty", "", "\n"},
                      MessageCase{"percentSigns", "100%n %s %@", "100%n %s %@\n"},
                      MessageCase{"severalLines", "one\ntwo", "one\ntwo\n"},
                      MessageCase{"lineFeedAtTheEnd", "one\n", "one\n"},
                      MessageCase{"zeroByte", std::string("a\0b", 3), std::string("a\0b\n", 4)},
                      MessageCase{"long", std::string(50'000, 'x'), std::string(50'000, 'x') + "\n"}),
    [](const auto& test) { return test.param.row; });

TEST(NSLog, writesTheFormatIfAnArgumentThrows) {
  StandardErrorCapture standardError;
  NSLog("%d times %@", 3, Unspeakable());
  EXPECT_THAT(standardError.take(), ElementsAre(EndsWith("] %d times %@\n")));
}

TEST(NSLog, keepsErrnoEvenIfNobodyTakesTheLine) {
  const int original = dup(STDERR_FILENO);
  close(STDERR_FILENO);
  errno = ENOTEMPTY;
  NSLog("into the void");
  const int code = errno;
  dup2(original, STDERR_FILENO);
  close(original);
  EXPECT_EQ(code, ENOTEMPTY);
}

TEST(NSLog, survivesAPipeThatNobodyReads) {
  const int original = dup(STDERR_FILENO);
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
  close(ends[0]);
  dup2(ends[1], STDERR_FILENO);
  NSLog("who is there?");  // SIGPIPE would end the process
  dup2(original, STDERR_FILENO);
  close(original);
  close(ends[1]);
}

TEST(NSLog, keepsTheLinesOfThreadsApart) {
  constexpr int threads = 4;
  constexpr int linesOfEach = 20;
  StandardErrorCapture standardError;
  {
    std::vector<std::jthread> writers;
    writers.reserve(threads);
    for (int i = 0; i < threads; ++i) {
      writers.emplace_back([] {
        for (int line = 0; line < linesOfEach; ++line) NSLog("line %d", line);
      });
    }
  }
  const auto lines = standardError.take();
  EXPECT_EQ(lines.size(), std::size_t{threads * linesOfEach});
  for (const auto& line : lines) EXPECT_THAT(line, ::testing::ContainsRegex("^20.*\\] line [0-9]+\n$"));
}

}  // namespace
}  // namespace QVFoundation
