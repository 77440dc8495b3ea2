#include <array>
#include <atomic>
#include <memory>
#include <optional>
#include <semaphore>
#include <string>
#include <thread>
#include <vector>

#include "QVFoundation/logging/QVArrayCompositeLogWriter.h"
#include "gtest/gtest.h"
#include "tests/logging/LogTesting.h"
#include "tests/platform/concurrency/OnThreads.h"

// What happens when parts are exchanged, and filters switched, while others log.

namespace QVFoundation {
namespace {

using testing::FilterOf;
using testing::KeepingWriter;
using testing::KeptLog;
using testing::onThreads;

constexpr int loggingThreads = 4;
constexpr int linesPerThread = 3'000;

/// Counts info lines, none of which may come once it has retired. Destroying it exchanges parts of its
/// logger, as anything may that an application does there.
class RetiringWriter : public QVLogWriter {
public:
  explicit RetiringWriter(std::atomic<int>& written) : written_(written) {}

  void logMessage(std::string_view /*message*/, QVLoggerLevel level) override {
    EXPECT_FALSE(isRetired_);
    if (level == QVLoggerLevelInfo) ++written_;
  }
  void retire() { isRetired_ = true; }

private:
  std::atomic<int>& written_;
  std::atomic<bool> isRetired_{false};
};

/// Lines that were under way when a part was replaced have been written when this returns; later ones use the
/// new part.
void waitForLinesUnderWay(QVLogger& logger) { const UnfairLockGuard guard(logger.writeLock()); }

TEST(LogSwitching, losesNoLineAndWritesNoneToAReplacedWriter) {
  QVLogger logger(nullptr, nullptr, std::make_shared<QVLogNoFilter>());
  std::atomic<int> written{0}, running{loggingThreads};
  auto writer = std::make_shared<RetiringWriter>(written);
  logger.setWriter(writer);
  const auto filter = std::make_shared<QVLogLevelFilter>();
  const std::array<std::shared_ptr<QVLogFilter>, 2> others{
      std::make_shared<QVLogNoFilter>(), std::make_shared<FilterOf>([](auto, auto) { return true; })};

  const auto log = [&] {
    for (int i = 0; i < linesPerThread; ++i) {
      logger.logInfo("%d of %d", i, linesPerThread);
      logger.logDebug("%d", i);
      logger.logErrorString("error");
    }
    --running;
  };
  const auto exchangeWriters = [&] {
    while (running > 0) {
      auto replaced = std::exchange(writer, std::make_shared<RetiringWriter>(written));
      logger.setWriter(writer);
      waitForLinesUnderWay(logger);
      replaced->retire();
      logger.setFormatter(std::make_shared<QVLogBasicFormatter>());
    }
  };
  const auto exchangeFilters = [&] {
    for (std::size_t i = 0; running > 0; ++i) {
      logger.setFilter(filter);
      i % 2 == 0 ? logger.enableDebugLogging() : logger.disableDebugLogging();
      logger.setFilter(others.at(i % 2));
      waitForLinesUnderWay(logger);
      filter->setVerboseLoggingEnabled(false);  // which the logger must not hear of any more
      std::this_thread::yield();
      filter->setVerboseLoggingEnabled(true);
    }
  };
  onThreads(loggingThreads + 2, [&](int thread) {
    thread < loggingThreads ? log() : thread == loggingThreads ? exchangeWriters() : exchangeFilters();
  });
  EXPECT_EQ(written, loggingThreads * linesPerThread);
  EXPECT_EQ(logger.numErrorsLogged(), loggingThreads * linesPerThread);
}

TEST(LogSwitching, writersMayExchangePartsWhereTheyAreDestroyed) {
  QVLogger logger;
  const auto newFilter = [] { return std::make_shared<QVLogNoFilter>(); };
  const auto newWriter = [&] {
    return std::shared_ptr<QVLogWriter>(new KeepingWriter, [&](QVLogWriter* writer) {
      delete writer;
      logger.setFilter(newFilter());
    });
  };
  onThreads(4, [&](int thread) {
    for (int i = 0; i < 1'000; ++i) {
      if (thread == 0) logger.setWriter(newWriter());
      if (thread == 1) logger.setFilter(newFilter());
      if (thread > 1) logger.logInfoString("line");
    }
  });
  logger.setWriter(nullptr);
}

TEST(LogSwitching, loggersComeAndGoWhileTheirFilterIsSwitched) {
  const auto filter = std::make_shared<QVLogLevelFilter>();
  std::atomic<int> running{loggingThreads};
  onThreads(loggingThreads + 1, [&](int thread) {
    if (thread == loggingThreads) {
      for (bool enabled = true; running > 0; enabled = !enabled) filter->setDebugLoggingEnabled(enabled);
      return;
    }
    for (int i = 0; i < 500; ++i) {
      KeptLog log(filter);
      log.logger.logInfoString("line");
      EXPECT_EQ(log.take().size(), 1U);
    }
    --running;
  });
  for (const bool enabled : {false, true}) {
    filter->setDebugLoggingEnabled(enabled);
    KeptLog log(filter);
    log.logger.logDebugString("line");
    EXPECT_EQ(log.take().size(), enabled ? 1U : 0U);
  }
}

TEST(LogSwitching, aLoggerEndsUpDroppingWhatItsFilterDrops) {
  const std::array filters{std::make_shared<QVLogLevelFilter>(), std::make_shared<QVLogLevelFilter>()};
  for (int round = 0; round < 200; ++round) {
    KeptLog log(filters[0]);
    onThreads(4, [&](int thread) {
      const auto& own = filters.at(static_cast<std::size_t>(thread % 2));
      for (int i = 0; i < 20; ++i) {
        if (thread < 2) {
          log.logger.setFilter(i % 4 == 3 ? nullptr : own);
        } else {
          own->setDebugLoggingEnabled(i % 2 == round % 2);
        }
      }
      if (thread < 2) log.logger.setFilter(round % 3 == 0 ? nullptr : own);
    });
    const auto filter = log.logger.filter();
    log.logger.logDebugString("line");
    EXPECT_EQ(!log.take().empty(), filter && filter->filterAllowsMessage({}, QVLoggerLevelDebug));
  }
}

TEST(LogSwitching, remembersTheAnswerOfTheFilterThatCameLast) {
  std::binary_semaphore asked{0}, goOn{0};
  const auto slow = std::make_shared<FilterOf>([&](auto, auto) {
    asked.release();
    goOn.acquire();
    return false;
  });
  QVLogger logger;
  std::jthread first([&] { logger.setFilter(slow); });
  asked.acquire();
  logger.setFilter(std::make_shared<QVLogNoFilter>());
  goOn.release();
  first.join();
  EXPECT_TRUE(logger.debugLoggingEnabled());
}

TEST(LogSwitching, losesNoWriterThatSeveralThreadsAdd) {
  constexpr std::size_t writersPerThread = 40;
  KeptLog log;
  log.logger.addWriter(std::make_shared<KeepingWriter>());
  std::array<std::vector<std::shared_ptr<KeepingWriter>>, 4> added;
  onThreads(5, [&](int thread) {
    if (thread == 4) {
      for (int i = 0; i < 200; ++i) log.logger.logInfoString("line");
      return;
    }
    auto& own = added.at(static_cast<std::size_t>(thread));
    for (std::size_t i = 0; i < writersPerThread; ++i) {
      own.push_back(std::make_shared<KeepingWriter>());
      log.logger.addWriter(own.back());
      if (i % 2 == 1) log.logger.removeWriter(own.at(i - 1));
    }
  });
  EXPECT_EQ(log.take().size(), 200U);
  log.logger.logInfoString("last");
  for (const auto& own : added) {
    for (std::size_t i = 0; i < own.size(); ++i) {
      const auto lines = own[i]->take();
      EXPECT_EQ(!lines.empty() && lines.back() == "last", i % 2 == 1);
    }
  }
}

}  // namespace
}  // namespace QVFoundation
