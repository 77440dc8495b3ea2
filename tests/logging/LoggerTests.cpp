#include <cerrno>
#include <memory>
#include <optional>
#include <regex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

#include "QVFoundation/logging/QVArrayCompositeLogWriter.h"
#include "QVFoundation/logging/QVLogStandardFormatter.h"
#include "QVFoundation/logging/QVLogger.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "gmock/gmock.h"
#include "gtest/gtest.h"
#include "tests/logging/LogTesting.h"
#include "tests/platform/tracing/StandardErrorCapture.h"

namespace QVFoundation {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using testing::FilterOf;
using testing::FormatterOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::KeepingWriter;
using testing::KeptLog;
using testing::WriterOf;

void logAtEachLevel(QVLogger& logger) {
  logger.logDebugString("debug");
  logger.logInfoString("info");
  logger.logErrorString("error");
  logger.logAssertString("assert");
  logger.logMessage("seven", QVLoggerLevel{7});
  logger.logMessage("minus", QVLoggerLevel{-1});
}

TEST(QVLogger, writesNothingWithoutAFilterOrAWriterButCountsErrors) {
  const auto writer = std::make_shared<KeepingWriter>();
  const auto all = std::make_shared<QVLogNoFilter>();
  const std::shared_ptr<QVLogger> loggers[] = {
      QVLogger::nullLogger(),
      std::make_shared<QVLogger>(),
      std::make_shared<QVLogger>(writer, std::make_shared<QVLogBasicFormatter>(), nullptr),
      std::make_shared<QVLogger>(nullptr, std::make_shared<QVLogBasicFormatter>(), all),
      std::make_shared<QVLogger>(nullptr, nullptr, all),
  };
  for (const auto& logger : loggers) {
    const auto before = logger->numErrorsLogged();
    logAtEachLevel(*logger);
    logger->logError("%d", 1);
    EXPECT_EQ(logger->numErrorsLogged(), before + 2);
  }
  EXPECT_THAT(writer->take(), IsEmpty());
  EXPECT_EQ(QVLogger::nullLogger(), QVLogger::nullLogger());
}

struct SwitchCase {
  bool debug, verbose;
  std::vector<std::string> want;
};

TEST(QVLogLevelFilter, dropsByLevelAlone) {
  const SwitchCase cases[] = {
      {false, true, {"info", "error", "assert", "seven", "minus"}},
      {true, true, {"debug", "info", "error", "assert", "seven", "minus"}},
      {true, false, {"debug", "error", "assert", "seven", "minus"}},
      {false, false, {"error", "assert", "seven", "minus"}},
  };
  const auto filter = std::make_shared<QVLogLevelFilter>();
  EXPECT_FALSE(filter->debugLoggingEnabled());
  EXPECT_TRUE(filter->verboseLoggingEnabled());
  KeptLog early(filter);
  for (const auto& [debug, verbose, want] : cases) {
    filter->setDebugLoggingEnabled(debug);
    filter->setVerboseLoggingEnabled(verbose);
    EXPECT_EQ(filter->filterAllowsMessage(std::nullopt, QVLoggerLevelDebug), debug);
    EXPECT_EQ(filter->filterAllowsMessage("", QVLoggerLevelInfo), verbose);
    EXPECT_EQ(filter->description(),
              filter->shortDescription() + ": debugLoggingEnabled " + (debug ? "YES" : "NO"));
    KeptLog late(filter);
    for (auto* log : {&early, &late}) {
      logAtEachLevel(log->logger);
      EXPECT_EQ(log->take(), want);
    }
  }
}

/// Counts how often it is printed.
struct Costly {
  [[nodiscard]] std::string description() const { return "costly " + std::to_string(++printed); }
  mutable int printed = 0;
};

TEST(QVLogger, neverFormatsWhatIsDroppedByItsLevel) {
  const auto filter = std::make_shared<FilterOf>([](auto, auto) { return true; });
  KeptLog log(filter);
  const Costly costly;
  filter->setDropped(QVLoggerLevelError, true);
  log.logger.logError("%@", costly);
  log.logger.logErrorObject(NSError("Domain", 1));
  EXPECT_EQ(costly.printed, 0);
  EXPECT_THAT(log.take(), IsEmpty());
  EXPECT_EQ(log.logger.numErrorsLogged(), 2);

  filter->setDropped(QVLoggerLevelError, false);
  log.logger.logError("%@", costly);
  EXPECT_THAT(log.take(), ElementsAre("costly 1"));
  EXPECT_EQ(log.logger.numErrorsLogged(), 3);
}

TEST(QVLogger, showsTheFilterTheFinishedLine) {
  KeptLog log(std::make_shared<FilterOf>([](auto message, auto level) {
    return message && message->find("2 of") != std::string_view::npos && level == QVLoggerLevelInfo;
  }));
  EXPECT_FALSE(log.logger.debugLoggingEnabled());
  for (int i = 1; i <= 3; ++i) {
    log.logger.logInfo("%d of 3", i);
    log.logger.logError("%d of 3", i);
  }
  EXPECT_THAT(log.take(), ElementsAre("2 of 3"));
  EXPECT_EQ(log.logger.numErrorsLogged(), 3);
}

TEST(QVLogger, fillsFormatsAndLeavesTextsAlone) {
  KeptLog log;
  log.logger.logInfo("%d of %@ %%", 2, "Etudes");
  log.logger.logInfoString("100% done");
  log.logger.logInfo("100% done");
  log.logger.logMarker("here %d");
  log.logger.logDebugMarker("there");
  EXPECT_THAT(log.take(),
              ElementsAre("2 of Etudes %", "100% done", "100(missing)one", "➡️ here %d", "➡️ there"));

  log.logger.setFormatter(nullptr);
  log.logger.logInfo("%d of %@", 2, "Etudes");
  log.logger.logInfoString("100% done");
  EXPECT_THAT(log.take(), ElementsAre("%d of %@", "100% done"));
}

TEST(QVLogger, eachCallHasItsLevel) {
  KeptLog log;
  log.logger.logDebug("a");
  log.logger.logInfo("b");
  log.logger.logError("c");
  log.logger.logAssert("d");
  logAtEachLevel(log.logger);
  log.logger.logMarker("e");
  log.logger.logDebugMarker("f");
  log.logger.logDebugBlock([] { return "g"; });
  std::vector<int> levels;
  for (const auto& [text, level] : log.writer->takeLines()) levels.push_back(level);
  EXPECT_THAT(levels, ElementsAre(1, 2, 3, 4, 1, 2, 3, 4, 7, -1, 2, 1, 1));
  EXPECT_EQ(log.logger.numErrorsLogged(), 2);
}

TEST(QVLogger, dropsAnAbsentLineButCountsIt) {
  for (const bool hasFormatter : {true, false}) {
    KeptLog log;
    if (!hasFormatter) log.logger.setFormatter(nullptr);
    log.logger.logInternalFunc("f", std::nullopt, std::nullopt, QVLoggerLevelError);
    EXPECT_EQ(log.logger.numErrorsLogged(), 1);
    log.logger.setFormatter(std::make_shared<FormatterOf>([](auto) { return std::nullopt; }));
    log.logger.logErrorString("text");
    EXPECT_EQ(log.logger.numErrorsLogged(), 2);
    EXPECT_THAT(log.take(), IsEmpty());
  }
}

TEST(QVLogger, callsADebugBlockOnlyWhereItsTextIsWanted) {
  KeptLog log(std::make_shared<QVLogLevelFilter>());
  std::size_t calls = 0;
  const auto logBlocks = [&] {
    log.logger.logDebugBlock([&] { return std::string(++calls, 'x'); });
    log.logger.logDebugBlock([&]() -> std::optional<std::string> { return ++calls, std::nullopt; });
    log.logger.logDebugBlock([] { return std::string_view("view"); });
  };
  logBlocks();
  EXPECT_EQ(calls, 0);
  log.logger.enableDebugLogging();
  logBlocks();
  EXPECT_EQ(calls, 2);
  EXPECT_THAT(log.take(), ElementsAre("x", "view"));
}

TEST(QVLogger, remembersWhetherDebugLinesAreWanted) {
  EXPECT_FALSE(QVLogger().debugLoggingEnabled());
  EXPECT_TRUE(QVLogger(nullptr, nullptr, nullptr).debugLoggingEnabled());

  const auto filter = std::make_shared<QVLogLevelFilter>();
  QVLogger logger(nullptr, nullptr, filter);
  EXPECT_FALSE(logger.debugLoggingEnabled());
  filter->setDebugLoggingEnabled(true);
  logger.setFilter(filter);  // the same filter again
  EXPECT_FALSE(logger.debugLoggingEnabled());
  EXPECT_TRUE(logger.shouldPerformDebugLogging());
  logger.setFilter(std::make_shared<QVLogNoFilter>());
  EXPECT_TRUE(logger.debugLoggingEnabled());
  logger.disableDebugLogging();  // there is no switch to turn but the logger's own
  EXPECT_FALSE(logger.debugLoggingEnabled());
  EXPECT_TRUE(logger.shouldPerformDebugLogging());

  logger.setFilter(filter);
  EXPECT_TRUE(logger.debugLoggingEnabled());
  logger.disableDebugLogging();
  EXPECT_FALSE(logger.debugLoggingEnabled() || filter->debugLoggingEnabled());
  logger.enableDebugLogging();
  EXPECT_TRUE(logger.debugLoggingEnabled() && filter->debugLoggingEnabled());
  logger.setDebugLoggingEnabled(false);
  logger.setFilter(nullptr);
  EXPECT_TRUE(logger.debugLoggingEnabled());
}

TEST(QVLogger, addsAndRemovesWriters) {
  KeptLog log;
  const auto first = std::make_shared<KeepingWriter>();
  const auto second = std::make_shared<KeepingWriter>();
  const auto writers = [&] {
    return std::dynamic_pointer_cast<QVArrayCompositeLogWriter>(log.logger.writer())->writers();
  };
  EXPECT_THROW(log.logger.removeWriter(log.writer), NSException);  // there is no list yet
  log.logger.addWriter(first);
  const auto list = log.logger.writer();
  log.logger.addWriter(second);
  log.logger.addWriter(first);
  EXPECT_THAT(writers(), ElementsAre(log.writer, first, second, first));
  log.logger.removeWriter(first);
  EXPECT_THAT(writers(), ElementsAre(log.writer, second));
  EXPECT_EQ(std::dynamic_pointer_cast<QVArrayCompositeLogWriter>(list)->writers().size(), 2U);

  log.logger.logInfoString("line");
  EXPECT_THAT(log.take(), ElementsAre("line"));
  EXPECT_THAT(second->take(), ElementsAre("line"));
  EXPECT_THAT(first->take(), IsEmpty());
}

/// Is equal to any other of its kind.
class EqualWriter : public KeepingWriter {
  [[nodiscard]] bool isEqual(const NSObject& other) const override {
    return dynamic_cast<const EqualWriter*>(&other) != nullptr;
  }
};

TEST(QVLogger, removesEveryWriterThatIsEqual) {
  KeptLog log;
  log.logger.addWriter(std::make_shared<EqualWriter>());
  log.logger.removeWriter(std::make_shared<EqualWriter>());
  EXPECT_EQ(std::dynamic_pointer_cast<QVArrayCompositeLogWriter>(log.logger.writer())->writers().size(), 1U);
}

TEST(QVLogger, refusesToMakeAListOfMissingWriters) {
  QVLogger logger;
  EXPECT_THROW(logger.addWriter(std::make_shared<KeepingWriter>()), NSException);
  KeptLog log;
  EXPECT_THROW(log.logger.addWriter(nullptr), NSException);
  EXPECT_EQ(log.logger.writer(), log.writer);
}

struct ThrowCase {
  const char* row;
  void (*fail)();
  std::string reason;
};

const ThrowCase throwing[] = {
    {"an exception", [] { throw std::runtime_error("no words"); }, "std::runtime_error: no words"},
    {"an error", [] { throw NSError("Domain", 7); }, "Domain Code=7"},
    {"no exception", [] { throw 7; }, "unknown exception"},
};

TEST(QVLogger, survivesPartsThatThrow) {
  enum Part { formatter, filter, writer };
  for (const ThrowCase& c : throwing) {
    for (const Part broken : {formatter, filter, writer}) {
      SCOPED_TRACE(c.row);
      bool isBroken = true;
      const auto pass = [&](Part part) {
        if (part == broken && isBroken) c.fail();
      };
      KeptLog log(std::make_shared<FilterOf>([&](auto message, auto) {
                    if (message) pass(filter);
                    return true;
                  }),
                  std::make_shared<FormatterOf>([&](auto format) {
                    pass(formatter);
                    return std::optional<std::string>(format);
                  }));
      log.logger.setWriter(std::make_shared<WriterOf>([&](auto line) {
        pass(writer);
        log.writer->logMessage(line, QVLoggerLevelError);
      }));
      testing::StandardErrorCapture standardError;
      EXPECT_NO_THROW(log.logger.logErrorString("lost"));
      EXPECT_THAT(standardError.take(), ElementsAre(HasSubstr(c.reason), EndsWith("Message was lost\n")));
      EXPECT_EQ(log.logger.numErrorsLogged(), 1);

      isBroken = false;
      log.logger.logErrorString("kept");
      EXPECT_THAT(log.take(), ElementsAre("kept"));
    }
  }
}

struct Unspeakable {
  [[nodiscard]] static std::string description() { throw std::runtime_error("no words"); }
};

TEST(QVLogger, survivesArgumentsThatThrow) {
  KeptLog log;
  testing::StandardErrorCapture standardError;
  EXPECT_NO_THROW(log.logger.logError("It is %@", Unspeakable()));
  EXPECT_EQ(log.logger.numErrorsLogged(), 1);
  EXPECT_THAT(standardError.take().at(1), EndsWith("Message was It is %@\n"));
}

TEST(QVLogger, keepsErrno) {
  KeptLog log(std::make_shared<FilterOf>([](auto, auto) { return errno = EIO, true; }));
  log.logger.setWriter(std::make_shared<WriterOf>([](auto) {
    errno = EBADF;
    throw 7;
  }));
  testing::StandardErrorCapture standardError;
  errno = ENOENT;
  log.logger.logErrorObject(NSError(std::string(NSPOSIXErrorDomain), errno));
  log.logger.logError("%d", errno);
  EXPECT_EQ(errno, ENOENT);
}

TEST(QVLogStandardFormatter, writesTimeABlankAndTheMessage) {
  const auto formatter = std::make_shared<QVLogStandardFormatter>();
  KeptLog log(std::make_shared<QVLogNoFilter>(), formatter);
  log.logger.logInfo("%d%% of %@", 50, "it");
  log.logger.logInfoString("");
  log.logger.logInfoString(std::string(100'000, 'x') + "%d");
  const std::string time = R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} )";
  const auto lines = log.take();
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_TRUE(std::regex_match(lines[0], std::regex(time + "50% of it"))) << lines[0];
  EXPECT_TRUE(std::regex_match(lines[1], std::regex(time))) << lines[1];
  EXPECT_EQ(lines[2].substr(24), std::string(100'000, 'x') + "%d");
  EXPECT_EQ(formatter->stringForFunc("f", std::nullopt, std::nullopt, QVLoggerLevelInfo), std::nullopt);
  EXPECT_EQ(formatter->processName(), program_invocation_short_name);
  EXPECT_EQ(formatter->processIdentifier(), getpid());
}

TEST(QVLogger, standardLoggerWritesToStandardOutput) {
  ::testing::internal::CaptureStdout();
  QVLogger::standardLogger()->logDebug("dropped");
  QVLogger::standardLogger()->logInfo("%d", 7);
  const std::string output = ::testing::internal::GetCapturedStdout();
  EXPECT_EQ(output.size(), 24U + 2U);
  EXPECT_THAT(output, EndsWith(" 7\n"));
}

}  // namespace
}  // namespace QVFoundation
