#include <fcntl.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "QVFoundation/logging/QVArrayCompositeLogWriter.h"
#include "QVFoundation/logging/QVFileHandleLogWriter.h"
#include "QVFoundation/logging/QVOSLogWriter.h"
#include "QVFoundation/logging/QVToggleLogWriter.h"
#include "tests/logging/LogTesting.h"
#include "tests/platform/files/TemporaryFolder.h"
#include "tests/platform/tracing/RecordingSink.h"
#include "tests/platform/tracing/StandardErrorCapture.h"

namespace QVFoundation {
namespace {

using testing::contentOf;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using testing::KeepingWriter;
using testing::TemporaryFolder;
using testing::WriterOf;

using Writers = std::vector<std::shared_ptr<QVLogWriter>>;

auto openLog(const std::filesystem::path& path, mode_t mode = 0600) {
  return QVFileHandleLogWriter::fileHandleForLoggingAtPath(path, mode);
}

TEST(QVFileHandleLogWriter, createsAFileWithItsModeOrAppendsToWhatIsThere) {
  const TemporaryFolder folder;
  const mode_t mask = umask(0);
  const auto writer = openLog(folder / "log", 0640);
  writer->logMessage("|100% %@ läuft\nweiter", QVLoggerLevelInfo);
  openLog(folder / "log", 0666)->logMessage("other", QVLoggerLevelInfo);
  umask(mask);
  EXPECT_EQ(contentOf(folder / "log"), "|100% %@ läuft\nweiter\nother\n");
  struct stat status{};
  ASSERT_EQ(fstat(writer->fileDescriptor(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0640U);
  EXPECT_EQ(fcntl(writer->fileDescriptor(), F_GETFD), FD_CLOEXEC);
  testing::makeFile(folder / "log", "");  // as somebody may who cleans up
  writer->logMessage("", QVLoggerLevelInfo);
  EXPECT_EQ(contentOf(folder / "log"), "\n");
  EXPECT_EQ(openLog(folder / "missing/log"), nullptr);
}

TEST(QVFileHandleLogWriter, saysOnStandardErrorWhatItCouldNotWrite) {
  const auto closed = openLog("/dev/null");
  closed->closeFile();
  const std::pair<std::shared_ptr<QVLogWriter>, std::string> cases[] = {
      {openLog("/dev/full"), "“/dev/full”: No space left on device\n"},
      {closed, "“/dev/null”: Bad file descriptor\n"},
  };
  for (const auto& [writer, want] : cases) {
    testing::StandardErrorCapture standardError;
    EXPECT_NO_THROW(writer->logMessage("the line", QVLoggerLevelError));
    EXPECT_THAT(standardError.take(),
                ElementsAre(EndsWith("Could not write message to log file: Could not write to " + want),
                            EndsWith("Message was the line\n")));
  }
}

TEST(QVArrayCompositeLogWriter, writesInOrderToAllThatAreNoListsEvenWhereOneFails) {
  const TemporaryFolder folder;
  std::vector<std::string> order;
  const auto named = [&order](const char* name) {
    return std::make_shared<WriterOf>(
        [&order, name](auto line, auto) { order.push_back(name + std::string(line)); });
  };
  const auto nested = std::make_shared<QVArrayCompositeLogWriter>(Writers{named("x")});
  QVArrayCompositeLogWriter list(
      {named("a"), nullptr, nested, std::make_shared<QVToggleLogWriter>(nested),
       std::make_shared<WriterOf>([](auto, auto) { throw std::runtime_error("no"); }), openLog("/dev/full"),
       named("b")});
  testing::StandardErrorCapture standardError;
  list.logMessage("1", QVLoggerLevelInfo);
  EXPECT_THAT(order, ElementsAre("a1", "x1", "b1"));
  EXPECT_EQ(standardError.take().size(), 4U);

  const auto kept = std::make_shared<KeepingWriter>();
  const Array elements{openLog(folder / "log"), std::make_shared<QVLogger>(), "text",
                       std::make_shared<QVToggleLogWriter>(kept)};
  QVArrayCompositeLogWriter(elements).logMessage("line", QVLoggerLevelInfo);
  EXPECT_EQ(contentOf(folder / "log"), "line\n");
  EXPECT_THAT(kept->take(), ElementsAre("line"));
}

TEST(QVToggleLogWriter, passesLinesOnWhileItIsOn) {
  const auto kept = std::make_shared<KeepingWriter>();
  QVToggleLogWriter writer(kept);
  for (const bool isOn : {true, false, true}) {
    writer.setWritingEnabled(isOn);
    writer.logMessage(isOn ? "on" : "off", QVLoggerLevelInfo);
  }
  EXPECT_THAT(kept->take(), ElementsAre("on", "on"));
  EXPECT_THAT(writer.description(), HasSubstr("KeepingWriter"));
  writer.setSubWriter(nullptr);
  writer.logMessage("four", QVLoggerLevelInfo);
  EXPECT_TRUE(kept->take().empty());
}

TEST(QVOSLogWriter, writesEachLineAsOneEntryOfItsType) {
  const testing::SinkInPlace<testing::RecordingSink> sink;
  QVOSLogWriter writer(OSLogger("org.example.player", "levels"));
  using enum OSLogType;
  const std::pair<OSLogType, std::vector<OSLogType>> cases[] = {
      {info, {info, info, error, error, info}},
      {debug, {info, debug, info, error, error, info}},
      {error, {error, error}},
  };
  for (const auto& [minimum, want] : cases) {
    setOSLogMinimumType("org.example.player", "levels", minimum);
    for (const int level : {0, 1, 2, 3, 4, 7}) writer.logMessage("100% %s\nof it", QVLoggerLevel{level});
    std::vector<OSLogType> types;
    for (const auto& entry : sink->take()) {
      types.push_back(entry.type);
      EXPECT_EQ(entry.category + entry.message, "levels100% %s\nof it");
    }
    EXPECT_EQ(types, want);
  }
}

}  // namespace
}  // namespace QVFoundation
