#include <cerrno>
#include <fcntl.h>
#include <memory>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <type_traits>
#include <vector>

#include "QVFoundation/logging/QVArrayCompositeLogWriter.h"
#include "QVFoundation/logging/QVFileHandleLogWriter.h"
#include "QVFoundation/logging/QVOSLogWriter.h"
#include "QVFoundation/logging/QVToggleLogWriter.h"
#include "gmock/gmock.h"
#include "gtest/gtest.h"
#include "tests/logging/LogTesting.h"
#include "tests/platform/files/TemporaryFolder.h"
#include "tests/platform/tracing/RecordingSink.h"
#include "tests/platform/tracing/StandardErrorCapture.h"

namespace QVFoundation {
namespace {

using ::testing::AllOf;
using testing::contentOf;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::KeepingWriter;
using ::testing::Pair;
using testing::TemporaryFolder;
using testing::WriterOf;

static_assert(!std::is_default_constructible_v<QVOSLogWriter>);
static_assert(!std::is_base_of_v<QVLogWriter, QVLogger>);

auto openLog(const std::filesystem::path& path, mode_t mode = 0600) {
  return QVFileHandleLogWriter::fileHandleForLoggingAtPath(path, mode);
}

TEST(QVFileHandleLogWriter, appendsToWhatIsThere) {
  const TemporaryFolder folder;
  testing::makeFile(folder / "log", "before");
  const auto writer = openLog(folder / "log");
  writer->logMessage("|100% %@ läuft\nweiter", QVLoggerLevelInfo);
  openLog(folder / "log")->logMessage("other", QVLoggerLevelInfo);
  EXPECT_EQ(contentOf(folder / "log"), "before|100% %@ läuft\nweiter\nother\n");
  testing::makeFile(folder / "log", "");  // as somebody may who cleans up
  writer->logMessage("", QVLoggerLevelInfo);
  EXPECT_EQ(contentOf(folder / "log"), "\n");
}

TEST(QVFileHandleLogWriter, createsAFileWithTheModeAndOnlyThen) {
  const TemporaryFolder folder;
  const mode_t mask = umask(0);
  const auto writer = openLog(folder / "log", 0640);
  (void)openLog(folder / "log", 0666);
  umask(mask);
  struct stat status{};
  ASSERT_EQ(fstat(writer->fileDescriptor(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0640U);
  EXPECT_EQ(fcntl(writer->fileDescriptor(), F_GETFL) & (O_ACCMODE | O_APPEND), O_WRONLY | O_APPEND);
  EXPECT_EQ(fcntl(writer->fileDescriptor(), F_GETFD), FD_CLOEXEC);
}

TEST(QVFileHandleLogWriter, isNullWhereTheFileCannotBeOpened) {
  const TemporaryFolder folder;
  for (const auto& path : {std::filesystem::path(), folder / "missing/log", folder / ""}) {
    EXPECT_EQ(openLog(path), nullptr) << path;
  }
}

TEST(QVFileHandleLogWriter, saysOnStandardErrorWhatItCouldNotWrite) {
  const auto full = openLog("/dev/full");
  const auto closed = openLog("/dev/null");
  closed->closeFile();
  const std::pair<std::shared_ptr<QVLogWriter>, std::string> cases[] = {
      {full,
       "Could not write message to log file: Could not write to “/dev/full”: No space left on device\n"},
      {closed, "Could not write message to log file: Could not write to “/dev/null”: Bad file descriptor\n"},
  };
  for (const auto& [writer, want] : cases) {
    testing::StandardErrorCapture standardError;
    EXPECT_NO_THROW(writer->logMessage("the line", QVLoggerLevelError));
    EXPECT_THAT(standardError.take(), ElementsAre(EndsWith(want), EndsWith("Message was the line\n")));
  }
}

TEST(QVArrayCompositeLogWriter, writesToEachWriterInOrderAndSkipsAllElse) {
  std::vector<std::string> order;
  const auto named = [&order](const char* name) {
    return std::make_shared<WriterOf>(
        [&order, name](auto line) { order.push_back(name + std::string(line)); });
  };
  const auto nested =
      std::make_shared<QVArrayCompositeLogWriter>(std::vector<std::shared_ptr<QVLogWriter>>{named("x")});
  const auto toggled = std::make_shared<QVToggleLogWriter>(nested);
  QVArrayCompositeLogWriter list({named("a"), nullptr, nested, toggled, named("b")});
  list.logMessage("1", QVLoggerLevelInfo);
  EXPECT_THAT(order, ElementsAre("a1", "x1", "b1"));
}

TEST(QVArrayCompositeLogWriter, takesTheWritersOutOfAnArray) {
  const TemporaryFolder folder;
  const auto kept = std::make_shared<KeepingWriter>();
  const Array elements{openLog(folder / "log"), std::make_shared<QVObject>(),
                       std::make_shared<QVLogger>(kept, nullptr, std::make_shared<QVLogNoFilter>()), "text",
                       std::make_shared<QVToggleLogWriter>(kept)};
  QVArrayCompositeLogWriter(elements).logMessage("line", QVLoggerLevelInfo);
  EXPECT_EQ(contentOf(folder / "log"), "line\n");
  EXPECT_THAT(kept->take(), ElementsAre("line"));
}

TEST(QVArrayCompositeLogWriter, losesNoLineOfOthersWhereOneFails) {
  const auto before = std::make_shared<KeepingWriter>();
  const auto after = std::make_shared<KeepingWriter>();
  QVLogger logger(before, nullptr, std::make_shared<QVLogNoFilter>());
  logger.addWriter(std::make_shared<WriterOf>([](auto) { throw 7; }));
  logger.addWriter(std::make_shared<WriterOf>([](auto) { throw std::runtime_error("no"); }));
  logger.addWriter(openLog("/dev/full"));
  logger.addWriter(after);
  testing::StandardErrorCapture standardError;
  logger.logErrorString("line");
  EXPECT_THAT(before->take(), ElementsAre("line"));
  EXPECT_THAT(after->take(), ElementsAre("line"));
  EXPECT_EQ(standardError.take().size(), 6U);
}

TEST(QVToggleLogWriter, passesLinesOnWhileItIsOn) {
  const auto kept = std::make_shared<KeepingWriter>();
  QVToggleLogWriter writer(kept);
  EXPECT_TRUE(writer.writingEnabled());
  writer.logMessage("one", QVLoggerLevel{9});
  writer.setWritingEnabled(false);
  writer.logMessage("two", QVLoggerLevelInfo);
  writer.setWritingEnabled(true);
  writer.logMessage("three", QVLoggerLevelInfo);
  EXPECT_THAT(kept->takeLines(), ElementsAre(Pair("one", 9), Pair("three", 2)));

  EXPECT_EQ(writer.debugDictionary()["subWriter"].object(), kept);
  EXPECT_EQ(writer.debugDictionary()["writingEnabled"], Value(true));
  EXPECT_THAT(writer.description(), AllOf(HasSubstr("__self__"), HasSubstr("KeepingWriter")));
  writer.setSubWriter(nullptr);
  writer.logMessage("four", QVLoggerLevelInfo);
  EXPECT_THAT(kept->take(), IsEmpty());
}

TEST(QVOSLogWriter, writesEachLineAsOneEntryOfItsType) {
  const testing::SinkInPlace<testing::RecordingSink> sink;
  QVOSLogWriter writer(OSLogger("org.example.player", "levels"));
  for (const int level : {0, 1, 2, 3, 4, 7}) writer.logMessage("100% %s\nof it", QVLoggerLevel{level});
  std::vector<OSLogType> types;
  for (const auto& entry : sink->take()) {
    types.push_back(entry.type);
    EXPECT_EQ(entry.message, "100% %s\nof it");
    EXPECT_EQ(entry.category, "levels");
  }
  using enum OSLogType;
  EXPECT_THAT(types, ElementsAre(info, info, error, error, info));

  setOSLogMinimumType("org.example.player", "levels", debug);
  writer.logMessage("line", QVLoggerLevelDebug);
  EXPECT_EQ(sink->take().at(0).type, debug);
  setOSLogMinimumType("org.example.player", "levels", error);
  writer.logMessage("line", QVLoggerLevelInfo);
  EXPECT_THAT(sink->take(), IsEmpty());
}

}  // namespace
}  // namespace QVFoundation
