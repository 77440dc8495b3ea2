#include "QVFoundation/platform/tracing/OSLogger.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <string>
#include <thread>
#include <unistd.h>

#include "gtest/gtest.h"
#include "tests/platform/tracing/RecordingSink.h"

namespace QVFoundation {
namespace {

using testing::RecordingSink;
using testing::SinkInPlace;

constexpr std::array allTypes = {OSLogType::debug, OSLogType::info, OSLogType::default_, OSLogType::error,
                                 OSLogType::fault};

/// The least type that a logger writes; expects that it writes all that matter more.
OSLogType minimumTypeOf(const OSLogger& logger) {
  std::size_t first = 0;
  while (!logger.isEnabled(allTypes.at(first))) ++first;
  for (std::size_t i = first; i < allTypes.size(); ++i) EXPECT_TRUE(logger.isEnabled(allTypes.at(i)));
  return allTypes.at(first);
}

/// Levels last as long as the process, so a test that is run again needs another name.
std::string unusedSubsystem() {
  static std::atomic<int> count = 0;
  return "unused" + std::to_string(++count);
}

TEST(OSLogger, tellsTheSinkAllAboutAnEntry) {
  const SinkInPlace<RecordingSink> sink;
  const std::string message("100%s\nof\0it", 11);
  const auto before = std::chrono::system_clock::now();
  OSLogger("player", "import").log(OSLogType::error, message);
  const auto after = std::chrono::system_clock::now();

  const auto entries = sink->take();
  ASSERT_EQ(entries.size(), 1U);
  EXPECT_EQ(entries[0].type, OSLogType::error);
  EXPECT_EQ(entries[0].subsystem, "player");
  EXPECT_EQ(entries[0].category, "import");
  EXPECT_EQ(entries[0].message, message);
  EXPECT_EQ(entries[0].identifier, program_invocation_short_name);
  EXPECT_EQ(entries[0].thread, gettid());
  EXPECT_LE(before, entries[0].time);
  EXPECT_GE(after, entries[0].time);
}

TEST(OSLogger, writesAllButDebugUntilToldOtherwise) {
  const SinkInPlace<RecordingSink> sink;
  const OSLogger logger("defaults", "any");
  for (const OSLogType type : allTypes) logger.log(type, "entry");

  EXPECT_EQ(minimumTypeOf(logger), OSLogType::info);
  EXPECT_EQ(sink->take().size(), allTypes.size() - 1);
}

TEST(OSLogger, sharesItsLevelWithCopiesAndNamesakes) {
  const OSLogger logger("shared", "one");
  const OSLogger copy = logger;
  const OSLogger other("shared", "two");
  setOSLogMinimumType("shared", "one", OSLogType::debug);

  EXPECT_EQ(minimumTypeOf(logger), OSLogType::debug);
  EXPECT_EQ(minimumTypeOf(copy), OSLogType::debug);
  EXPECT_EQ(minimumTypeOf(OSLogger("shared", "one")), OSLogType::debug);
  EXPECT_EQ(minimumTypeOf(other), OSLogType::info);
}

TEST(OSLogger, obeysALevelThatWasSetBeforeItWasMade) {
  const std::string later = unusedSubsystem();
  setOSLogMinimumType(later, "one", OSLogType::fault);
  EXPECT_EQ(minimumTypeOf(OSLogger(later, "one")), OSLogType::fault);
  EXPECT_EQ(minimumTypeOf(OSLogger(later, "two")), OSLogType::info);

  setOSLogMinimumType(later, "", OSLogType::error);
  EXPECT_EQ(minimumTypeOf(OSLogger(later, "three")), OSLogType::error);
  EXPECT_EQ(minimumTypeOf(OSLogger(unusedSubsystem(), "three")), OSLogType::info);
}

TEST(OSLogger, obeysTheLastOfLevelsForOneAndForAllCategories) {
  const OSLogger one("levels", "one");
  const OSLogger two("levels", "two");

  setOSLogMinimumType("levels", "one", OSLogType::debug);
  setOSLogMinimumType("levels", "", OSLogType::error);
  EXPECT_EQ(minimumTypeOf(one), OSLogType::error);
  EXPECT_EQ(minimumTypeOf(two), OSLogType::error);

  setOSLogMinimumType("levels", "one", OSLogType::info);
  EXPECT_EQ(minimumTypeOf(one), OSLogType::info);
  EXPECT_EQ(minimumTypeOf(two), OSLogType::error);
}

TEST(OSLogger, keepsErrno) {
  class Careless : public OSLogSink {
    void write(const OSLogEntry& /*entry*/) override { errno = EIO; }
  };
  const SinkInPlace<Careless> sink;
  errno = ENOTEMPTY;
  OSLogger("errno", "kept").log(OSLogType::error, "The folder is not empty");
  EXPECT_EQ(errno, ENOTEMPTY);
}

TEST(OSLogger, maySwitchLevelsWhileOthersLog) {
  constexpr int entries = 1'000;
  const SinkInPlace<RecordingSink> sink;
  {
    const std::jthread logging([] {
      for (int i = 0; i < entries; ++i) {
        OSLogger("busy", std::to_string(i % 10)).log(OSLogType::fault, "always on");
        OSLogger("busy", std::to_string(i % 10)).log(OSLogType::debug, "now and then");
      }
    });
    const std::jthread switching([] {
      for (std::size_t i = 0; i < entries; ++i)
        setOSLogMinimumType("busy", i % 3 == 0 ? "" : "7", allTypes.at(i % allTypes.size()));
    });
  }
  const auto written = sink->take();
  EXPECT_EQ(std::count_if(written.begin(), written.end(),
                          [](const auto& it) { return it.type == OSLogType::fault; }),
            entries);
}

}  // namespace
}  // namespace QVFoundation
