#include <array>
#include <fstream>
#include <memory>
#include <optional>
#include <semaphore>
#include <string>
#include <thread>
#include <vector>

#include "QVFoundation/logging/QVArrayCompositeLogWriter.h"
#include "QVFoundation/logging/QVFileHandleLogWriter.h"
#include "QVFoundation/logging/QVToggleLogWriter.h"
#include "gmock/gmock.h"
#include "gtest/gtest.h"
#include "tests/logging/LogTesting.h"
#include "tests/platform/concurrency/OnThreads.h"
#include "tests/platform/files/TemporaryFolder.h"

namespace QVFoundation {
namespace {

using ::testing::ElementsAre;
using testing::FormatterOf;
using testing::KeepingWriter;
using testing::KeptLog;
using testing::onThreads;
using testing::WriterOf;

constexpr int threadCount = 4;
constexpr int linesPerThread = 500;

/// Of any length up to what fits into no buffer on the stack.
std::string paddingOf(int line) { return std::string(static_cast<std::size_t>(line * 37 % 3000), 'x'); }

/// Logs from several threads through two loggers that share a writer.
void logThroughTwoLoggers(const std::shared_ptr<QVLogWriter>& writer) {
  const auto newLogger = [&] {
    return std::make_unique<QVLogger>(writer, std::make_shared<QVLogBasicFormatter>(),
                                      std::make_shared<QVLogNoFilter>());
  };
  const std::array loggers{newLogger(), newLogger()};
  onThreads(threadCount, [&](int thread) {
    QVLogger& logger = *loggers.at(static_cast<std::size_t>(thread % 2));
    for (int i = 0; i < linesPerThread; ++i) logger.logInfo("%d %d %@|", thread, i, paddingOf(i));
  });
}

/// All lines are there and whole, those of each thread in their order.
void expectAll(const std::vector<std::string>& lines) {
  EXPECT_EQ(std::ssize(lines), threadCount * linesPerThread);
  std::array<int, threadCount> next{};
  for (const std::string& line : lines) {
    const auto thread = static_cast<std::size_t>(line.at(0) - '0');
    ASSERT_LT(thread, next.size());
    const int i = next.at(thread)++;
    ASSERT_EQ(line, std::to_string(thread) + ' ' + std::to_string(i) + ' ' + paddingOf(i) + '|');
  }
}

std::vector<std::string> linesIn(const std::filesystem::path& path) {
  std::vector<std::string> lines;
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

TEST(LoggerThreads, loggersThatShareAFileMixNoLines) {
  const testing::TemporaryFolder folder;
  logThroughTwoLoggers(QVFileHandleLogWriter::fileHandleForLoggingAtPath(folder / "log", 0600));
  expectAll(linesIn(folder / "log"));
}

TEST(LoggerThreads, eachLineReachesTheWholeListBeforeTheNext) {
  const testing::TemporaryFolder folder;
  const auto kept = std::make_shared<KeepingWriter>();
  logThroughTwoLoggers(std::make_shared<QVArrayCompositeLogWriter>(std::vector<std::shared_ptr<QVLogWriter>>{
      QVFileHandleLogWriter::fileHandleForLoggingAtPath(folder / "log", 0600),
      std::make_shared<QVToggleLogWriter>(kept)}));
  const auto lines = linesIn(folder / "log");
  expectAll(lines);
  EXPECT_EQ(kept->take(), lines);
}

TEST(LoggerThreads, aLineBeingFormattedHoldsUpNobodyAndGoesToTheNewestWriter) {
  std::binary_semaphore formatting{0}, goOn{0};
  KeptLog log(std::make_shared<QVLogNoFilter>(), std::make_shared<FormatterOf>([&](auto format) {
                if (format == "slow") {
                  formatting.release();
                  goOn.acquire();
                }
                return std::optional<std::string>(format);
              }));
  std::jthread slow([&] { log.logger.logInfoString("slow"); });
  formatting.acquire();
  log.logger.logInfoString("quick");
  const auto newest = std::make_shared<KeepingWriter>();
  log.logger.setWriter(newest);
  goOn.release();
  slow.join();
  EXPECT_THAT(log.take(), ElementsAre("quick"));
  EXPECT_THAT(newest->take(), ElementsAre("slow"));
}

TEST(LoggerThreads, partsAreExchangedWhileALineIsBeingWritten) {
  std::binary_semaphore writing{0}, goOn{0};
  KeptLog log;
  log.logger.setWriter(std::make_shared<WriterOf>([&](auto) {
    writing.release();
    goOn.acquire();
  }));
  std::jthread slow([&] { log.logger.logErrorString("slow"); });
  writing.acquire();
  log.logger.setWriter(log.writer);  // none of these waits for the line
  log.logger.addWriter(std::make_shared<KeepingWriter>());
  log.logger.setFormatter(nullptr);
  log.logger.setFilter(std::make_shared<QVLogLevelFilter>());
  log.logger.enableDebugLogging();
  EXPECT_FALSE(log.logger.writeLock().try_lock());
  goOn.release();
  slow.join();
  log.logger.logDebugString("next");
  EXPECT_THAT(log.take(), ElementsAre("next"));
}

TEST(LoggerThreads, whoHoldsTheWriteLockKeepsLinesOut) {
  KeptLog log;
  std::optional<std::jthread> other;
  {
    const UnfairLockGuard guard(log.logger.writeLock());
    other.emplace([&] { log.logger.logInfoString("later"); });
    EXPECT_TRUE(log.take().empty());
  }
  other->join();
  EXPECT_THAT(log.take(), ElementsAre("later"));
}

}  // namespace
}  // namespace QVFoundation
