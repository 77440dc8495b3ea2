#include <array>
#include <cerrno>
#include <fcntl.h>
#include <functional>
#include <thread>

#include <gmock/gmock.h>

#include "QVFoundation/Platform.h"
#include "tests/platform/tracing/RecordingSink.h"
#include "tests/platform/tracing/StandardErrorCapture.h"

namespace QVFoundation {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsEmpty;
using testing::RecordingSink;
using testing::SinkInPlace;
using testing::StandardErrorCapture;

TEST(NSLog, writesTimeProgramProcessThreadAndMessageInOneCall) {
  const auto localTimeNow = [] {
    std::string text;
    TimestampFormatter().append(text, std::chrono::system_clock::now());
    return text;
  };
  StandardErrorCapture standardError;
  const std::string before = localTimeNow();
  NSLog("%@ has %d tracks", "Etudes", 24);
  const std::string after = localTimeNow();

  const auto lines = standardError.take();
  ASSERT_EQ(lines.size(), 1U);
  const std::string time = lines[0].substr(0, before.size());
  EXPECT_TRUE(before <= time && time <= after);
  EXPECT_EQ(lines[0].substr(before.size()),
            stringWithFormat(" %s[%d:%d] Etudes has 24 tracks\n", program_invocation_short_name, getpid(),
                             gettid()));
}

TEST(NSLog, writesWhateverTheMessageHolds) {
  struct Unspeakable {
    [[nodiscard]] static std::string description() { throw std::runtime_error("no words"); }
  };
  using namespace std::string_literals;
  StandardErrorCapture standardError;
  const std::string longest(50'000, 'x');
  for (const auto& message : {""s, "100%n %s %@"s, "one\ntwo"s, "a\0b"s, longest}) {
    NSLog("<%@", message);
    EXPECT_THAT(standardError.take(), ElementsAre(EndsWith("] <" + message + '\n')));
  }
  NSLog("one\n");
  NSLog("%d times %@", 3, Unspeakable());
  EXPECT_THAT(standardError.take(), ElementsAre(EndsWith("] one\n"), EndsWith("] %d times %@\n")));
}

TEST(NSLog, keepsErrnoAndSurvivesIfNobodyTakesTheLine) {
  const int original = dup(STDERR_FILENO);
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
  close(ends[0]);
  dup2(ends[1], STDERR_FILENO);
  close(ends[1]);
  errno = ENOTEMPTY;
  NSLog("who is there?");  // SIGPIPE would end the process
  close(STDERR_FILENO);
  NSLog("into the void");
  const int code = errno;
  dup2(original, STDERR_FILENO);
  close(original);
  EXPECT_EQ(code, ENOTEMPTY);
}

TEST(NSLog, keepsTheLinesOfThreadsApart) {
  StandardErrorCapture standardError;
  std::vector<std::jthread> writers;
  writers.reserve(4);
  for (int i = 0; i < 4; ++i) {
    writers.emplace_back([] {
      for (int line = 0; line < 20; ++line) NSLog("line %d", line);
    });
  }
  writers.clear();
  const auto lines = standardError.take();
  EXPECT_EQ(lines.size(), 80U);
  EXPECT_THAT(lines, Each(::testing::ContainsRegex("^20.*\\] line [0-9]+\n$")));
}

constexpr std::array allTypes = {OSLogType::debug, OSLogType::info, OSLogType::default_, OSLogType::error,
                                 OSLogType::fault};

/// The least type that a logger writes; expects that it writes all that matter more.
OSLogType minimumTypeOf(const OSLogger& logger) {
  std::size_t first = 0;
  while (!logger.isEnabled(allTypes.at(first))) ++first;
  for (std::size_t i = first; i < allTypes.size(); ++i) EXPECT_TRUE(logger.isEnabled(allTypes.at(i)));
  return allTypes.at(first);
}

TEST(OSLogger, tellsTheSinkAllAboutAnEntryAndKeepsErrno) {
  struct Careless : RecordingSink {
    void write(const OSLogEntry& entry) override {
      RecordingSink::write(entry);
      errno = EIO;
    }
  };
  const SinkInPlace<Careless> sink;
  const std::string message("100%s\nof\0it", 11);
  errno = ENOTEMPTY;
  const auto before = std::chrono::system_clock::now();
  OSLogger("player", "import").log(OSLogType::error, message);
  EXPECT_EQ(errno, ENOTEMPTY);

  const auto entries = sink->take();
  ASSERT_EQ(entries.size(), 1U);
  const auto& [type, subsystem, category, text, identifier, time, thread] = entries[0];
  EXPECT_EQ(type, OSLogType::error);
  EXPECT_EQ(subsystem + '/' + category + '/' + text, "player/import/" + message);
  EXPECT_EQ(identifier, program_invocation_short_name);
  EXPECT_EQ(thread, gettid());
  EXPECT_TRUE(before <= time && time <= std::chrono::system_clock::now());
}

// Levels last as long as the process: each test has a subsystem of its own.
TEST(OSLogger, obeysTheLastOfLevelsForOneAndForAllCategories) {
  const OSLogger one("levels", "one");
  const OSLogger two("levels", "two");
  EXPECT_EQ(minimumTypeOf(one), OSLogType::info);
  setOSLogMinimumType("levels", "one", OSLogType::debug);
  EXPECT_EQ(minimumTypeOf(OSLogger("levels", "one")), OSLogType::debug);
  EXPECT_EQ(minimumTypeOf(two), OSLogType::info);
  setOSLogMinimumType("levels", "", OSLogType::error);
  EXPECT_EQ(minimumTypeOf(one), OSLogType::error);
  EXPECT_EQ(minimumTypeOf(OSLogger("levels", "later")), OSLogType::error);
  setOSLogMinimumType("levels", "one", OSLogType::info);
  EXPECT_EQ(minimumTypeOf(one), OSLogType::info);
  EXPECT_EQ(minimumTypeOf(two), OSLogType::error);
  setOSLogMinimumType("levels", "new", OSLogType::fault);
  EXPECT_EQ(minimumTypeOf(OSLogger("levels", "new")), OSLogType::fault);
}

TEST(OSLogger, maySwitchLevelsAndSinksWhileOthersLogWithoutLosingAnEntry) {
  constexpr std::size_t entries = 1'000;
  const SinkInPlace<RecordingSink> first;
  std::vector<std::shared_ptr<RecordingSink>> sinks;
  const auto log = [] {
    for (std::size_t i = 0; i < entries; ++i) {
      OSLogger("busy", std::to_string(i % 10)).log(OSLogType::fault, "always on");
      OSLogger("busy", std::to_string(i % 10)).log(OSLogType::debug, "now and then");
    }
  };
  std::vector<std::jthread> threads;
  threads.emplace_back(log);
  threads.emplace_back(log);
  threads.emplace_back([] {
    for (std::size_t i = 0; i < entries; ++i)
      setOSLogMinimumType("busy", i % 3 == 0 ? "" : "7", allTypes.at(i % allTypes.size()));
  });
  for (int i = 0; i < 50; ++i) setOSLogSink(sinks.emplace_back(std::make_shared<RecordingSink>()));
  threads.clear();
  auto written = first->take();
  for (const auto& sink : sinks) std::ranges::move(sink->take(), std::back_inserter(written));
  EXPECT_EQ(std::ranges::count(written, OSLogType::fault, &testing::RecordedEntry::type), 2 * entries);
}

/// Does with each entry what the test says.
struct ScriptedSink : OSLogSink {
  void write(const OSLogEntry& entry) override { onWrite(entry); }
  std::function<void(const OSLogEntry&)> onWrite = [](const OSLogEntry&) {};
};

void logTimes(int count) {
  for (int i = 0; i < count; ++i) OSLogger("tests", "sink").log(OSLogType::error, "entry");
}

TEST(OSLogSink, thatThrowsIsReportedOncePerBurstEvenIfItIsReplaced) {
  StandardErrorCapture standardError;
  const auto fail = [](const OSLogEntry&) { throw std::runtime_error("no room"); };
  {
    const SinkInPlace<ScriptedSink> sink;
    sink->onWrite = fail;
    logTimes(3);
    EXPECT_THAT(
        standardError.take(),
        ElementsAre(EndsWith("Could not write to the system log: no room. The message was: entry\n")));
    sink->onWrite = [](const OSLogEntry&) {};
    logTimes(2);
    EXPECT_THAT(standardError.take(),
                ElementsAre(EndsWith("] 2 more entries of the system log were lost\n")));
    sink->onWrite = [](const OSLogEntry&) { throw 42; };
    logTimes(1);
    EXPECT_THAT(standardError.take(), ElementsAre(EndsWith("is no exception. The message was: entry\n")));
    sink->onWrite = [](const OSLogEntry&) {};
    logTimes(1);
    EXPECT_THAT(standardError.take(), IsEmpty());  // all that was lost has been told
    sink->onWrite = fail;
    logTimes(5);
    EXPECT_EQ(standardError.take().size(), 1U);
  }
  EXPECT_THAT(standardError.take(), ElementsAre(EndsWith("] 4 more entries of the system log were lost\n")));
}

TEST(OSLogSink, doesNotCallItselfAndMayReplaceItselfAsItIsCalledWithoutALock) {
  const auto next = std::make_shared<RecordingSink>();
  StandardErrorCapture standardError;
  const SinkInPlace<ScriptedSink> sink;
  sink->onWrite = [&](const OSLogEntry&) {
    logTimes(1);
    setOSLogMinimumType("tests", "other", OSLogType::error);
    EXPECT_NE(setOSLogSink(next), nullptr);
  };
  logTimes(3);
  EXPECT_THAT(standardError.take(), ElementsAre(EndsWith("] [tests:sink] entry\n")));
  EXPECT_EQ(next->take().size(), 2U);
  EXPECT_EQ(setOSLogSink(nullptr), next);
  EXPECT_NE(setOSLogSink(nullptr), nullptr) << "the system log is a sink as well";
}

}  // namespace
}  // namespace QVFoundation
