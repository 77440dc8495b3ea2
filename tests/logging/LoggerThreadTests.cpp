// What happens when parts are exchanged, and filters switched, while others log.

#include <array>
#include <atomic>
#include <map>
#include <memory>
#include <optional>
#include <semaphore>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "QVFoundation/logging/QVArrayCompositeLogWriter.h"
#include "QVFoundation/logging/QVFileHandleLogWriter.h"
#include "tests/logging/LogTesting.h"
#include "tests/platform/concurrency/OnThreads.h"
#include "tests/platform/files/TemporaryFolder.h"

namespace QVFoundation {
namespace {

using ::testing::ElementsAre;
using testing::FilterOf;
using testing::KeepingWriter;
using testing::KeptLog;
using testing::onThreads;
using testing::WriterOf;

constexpr int loggingThreads = 4;

/// Counts info lines, none of which may come once it has retired.
struct RetiringWriter : QVLogWriter {
  explicit RetiringWriter(std::atomic<int>& its) : written(its) {}
  void logMessage(std::string_view /*message*/, QVLoggerLevel level) override {
    EXPECT_FALSE(isRetired);
    if (level == QVLoggerLevelInfo) ++written;
  }

  std::atomic<int>& written;
  std::atomic<bool> isRetired{false};
};

/// Lines that were under way when a part was replaced have been written when this returns; later ones use the
/// new part.
void waitForLinesUnderWay(QVLogger& logger) { const UnfairLockGuard guard(logger.writeLock()); }

TEST(LoggerThreads, loseNoLineAndWriteNoneToAReplacedWriter) {
  constexpr int lines = 3'000;
  QVLogger logger(nullptr, nullptr, std::make_shared<QVLogNoFilter>());
  std::atomic<int> written{0}, running{loggingThreads};
  auto writer = std::make_shared<RetiringWriter>(written);
  logger.setWriter(writer);
  const auto log = [&] {
    for (int i = 0; i < lines; ++i) {
      logger.logInfo("%d of %d", i, lines);
      logger.logDebug("%d", i);
      logger.logErrorString("error");
    }
    --running;
  };
  const auto exchangeWriters = [&] {
    while (running > 0) {
      const auto replaced = std::exchange(writer, std::make_shared<RetiringWriter>(written));
      logger.setWriter(writer);
      waitForLinesUnderWay(logger);
      replaced->isRetired = true;
      logger.setFormatter(std::make_shared<QVLogBasicFormatter>());
    }
  };
  const auto exchangeFilters = [&] {
    const auto filter = std::make_shared<QVLogLevelFilter>();
    while (running > 0) {
      logger.setFilter(filter);
      logger.enableDebugLogging();
      logger.setFilter(std::make_shared<FilterOf>([](auto, auto) { return true; }));
      waitForLinesUnderWay(logger);
      filter->setVerboseLoggingEnabled(false);  // which the logger must not hear of any more
      std::this_thread::yield();
      filter->setVerboseLoggingEnabled(true);
    }
  };
  onThreads(loggingThreads + 2, [&](int thread) {
    thread < loggingThreads ? log() : thread == loggingThreads ? exchangeWriters() : exchangeFilters();
  });
  EXPECT_EQ(written, loggingThreads * lines);
  EXPECT_EQ(logger.numErrorsLogged(), loggingThreads * lines);
}

/// What one of several threads does to a logger and its filters: exchanges them, switches them, or gives them
/// to loggers that go at once.
void disturb(QVLogger& logger, const std::shared_ptr<QVLogLevelFilter>& filter, int role, int round) {
  for (int i = 0; i < 20; ++i) {
    if (role == 0) logger.setFilter(i % 4 == 3 ? nullptr : filter);
    if (role == 1) filter->setDebugLoggingEnabled(i % 2 == round % 2);
    if (role == 2) KeptLog(filter).logger.logDebugString("line");
  }
  if (role == 0) logger.setFilter(round % 3 == 0 ? nullptr : filter);
}

TEST(LoggerThreads, endUpDroppingWhatTheirFilterDrops) {
  const std::array filters{std::make_shared<QVLogLevelFilter>(), std::make_shared<QVLogLevelFilter>()};
  for (int round = 0; round < 200; ++round) {
    KeptLog log(filters[0]);
    onThreads(6, [&](int thread) {
      disturb(log.logger, filters.at(static_cast<std::size_t>(thread % 2)), thread / 2, round);
    });
    const auto filter = log.logger.filter();
    log.logger.logDebugString("line");
    EXPECT_EQ(!log.take().empty(), filter && filter->filterAllowsMessage({}, QVLoggerLevelDebug));
  }
}

TEST(LoggerThreads, rememberTheAnswerOfTheFilterThatCameLast) {
  std::binary_semaphore asked{0}, goOn{0};
  QVLogger logger;
  std::jthread first([&] {
    logger.setFilter(std::make_shared<FilterOf>([&](auto, auto) {
      asked.release();
      goOn.acquire();
      return false;
    }));
  });
  asked.acquire();
  logger.setFilter(std::make_shared<QVLogNoFilter>());
  goOn.release();
  first.join();
  EXPECT_TRUE(logger.debugLoggingEnabled());
}

TEST(LoggerThreads, loseNoWriterThatSeveralAddAndMayExchangePartsWhereOneIsDestroyed) {
  KeptLog log;
  const auto setFilter = [&] {
    log.logger.setFilter({new QVLogNoFilter, [&](QVLogFilter* filter) {
                            delete filter;
                            log.logger.setFilter(std::make_shared<QVLogNoFilter>());
                          }});
  };
  onThreads(4, [&](int) {
    for (int i = 0; i < 40; ++i) {
      const auto passing = std::make_shared<KeepingWriter>();
      log.logger.addWriter(passing);
      log.logger.addWriter(log.writer);
      log.logger.removeWriter(passing);
      setFilter();
    }
  });
  log.logger.setFilter(nullptr);
  log.logger.setFilter(std::make_shared<QVLogNoFilter>());
  log.logger.logInfoString("last");
  EXPECT_EQ(log.take().size(), 1U + 4 * 40);
}

TEST(LoggerThreads, mixNoLinesInAFileOrAList) {
  const testing::TemporaryFolder folder;
  const auto open = [&](const char* name) -> std::shared_ptr<QVLogWriter> {
    return QVFileHandleLogWriter::fileHandleForLoggingAtPath(folder / name, 0600);
  };
  const std::vector writers{open("first"), open("second")};
  const std::shared_ptr<QVLogWriter> list = std::make_shared<QVArrayCompositeLogWriter>(writers);
  for (const auto& writer : {writers[0], list}) {
    const auto all = std::make_shared<QVLogNoFilter>();
    std::array<QVLogger, 2> loggers{{{writer, nullptr, all}, {writer, nullptr, all}}};
    onThreads(loggingThreads, [&](int thread) {
      for (std::size_t length = 1; length < 3'000; length += 7) {  // some fit into no buffer on the stack
        loggers.at(static_cast<std::size_t>(thread) % 2)
            .logInfoString(std::string(length, static_cast<char>('a' + thread)));
      }
    });
  }
  const std::string first = testing::contentOf(folder / "first"),
                    second = testing::contentOf(folder / "second");
  EXPECT_TRUE(first.ends_with(second));  // each line reaches the whole list before the next
  std::map<std::string, int> times;
  std::istringstream lines(first);
  for (std::string line; std::getline(lines, line);) ++times[line];
  EXPECT_EQ(times.size(), loggingThreads * 429U);
  for (const auto& [line, count] : times)
    EXPECT_TRUE(count == 2 && line == std::string(line.size(), line[0]));
}

TEST(LoggerThreads, neitherFormattingNorWritingHoldsUpOthers) {
  std::binary_semaphore waiting{0}, goOn{0};
  const auto wait = [&] {
    waiting.release();
    goOn.acquire();
  };
  KeptLog log(std::make_shared<QVLogNoFilter>(), std::make_shared<testing::FormatterOf>([&](auto format) {
                if (format == "slow") wait();
                return std::optional<std::string>(format);
              }));
  std::jthread formatting([&] { log.logger.logInfoString("slow"); });
  waiting.acquire();
  log.logger.logInfoString("quick");
  EXPECT_THAT(log.take(), ElementsAre("quick"));
  log.logger.setWriter(std::make_shared<WriterOf>([&](auto line, auto) {
    EXPECT_EQ(line, "slow");  // goes to the newest writer
    wait();
  }));
  goOn.release();
  waiting.acquire();
  EXPECT_FALSE(log.logger.writeLock().try_lock());
  log.logger.setWriter(log.writer);  // none of these waits for the line
  log.logger.addWriter(std::make_shared<KeepingWriter>());
  log.logger.setFormatter(nullptr);
  log.logger.setFilter(std::make_shared<QVLogLevelFilter>());
  log.logger.enableDebugLogging();
  goOn.release();
  formatting.join();
  log.logger.logDebugString("next");
  EXPECT_THAT(log.take(), ElementsAre("next"));
}

}  // namespace
}  // namespace QVFoundation
