#include <array>
#include <cerrno>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "QVFoundation/logging/QVArrayCompositeLogWriter.h"
#include "QVFoundation/logging/QVLogStandardFormatter.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/runtime/NSException.h"
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
using ::testing::MatchesRegex;
using testing::WriterOf;

void logAtEachLevel(QVLogger& logger) {
  for (const int level : {1, 2, 3, 4, 7, -1}) logger.logMessage(std::to_string(level), QVLoggerLevel{level});
}

TEST(QVLogger, writesNothingWithoutAFilterOrAWriterButCountsErrors) {
  KeptLog unfiltered(nullptr);
  QVLogger unwritten(nullptr, nullptr, std::make_shared<QVLogNoFilter>());
  for (auto* logger : {QVLogger::nullLogger().get(), &unfiltered.logger, &unwritten}) {
    logger->setNumErrorsLogged(0);
    logAtEachLevel(*logger);
    logger->logError("%d", 1);
    EXPECT_EQ(logger->numErrorsLogged(), 2);
  }
  EXPECT_THAT(unfiltered.take(), IsEmpty());
}

TEST(QVLogLevelFilter, dropsByLevelAlone) {
  const auto filter = std::make_shared<QVLogLevelFilter>();
  KeptLog early(filter);
  const auto expectToAllow = [&](bool debug, bool verbose) {
    std::vector<std::string> want{"3", "4", "7", "-1"};
    if (verbose) want.insert(want.begin(), "2");
    if (debug) want.insert(want.begin(), "1");
    KeptLog late(filter);
    for (auto* log : {&early, &late}) {
      logAtEachLevel(log->logger);
      EXPECT_EQ(log->take(), want);
    }
    EXPECT_EQ(filter->verboseLoggingEnabled(), verbose);
    EXPECT_THAT(filter->description(), EndsWith(debug ? ": debugLoggingEnabled YES" : "Enabled NO"));
  };
  expectToAllow(false, true);  // as it is to begin with
  for (const auto& [debug, verbose] : {std::pair(true, true), {true, false}, {false, false}}) {
    filter->setDebugLoggingEnabled(debug);
    filter->setVerboseLoggingEnabled(verbose);
    expectToAllow(debug, verbose);
  }
}

/// Counts how often it is printed.
struct Costly {
  [[nodiscard]] std::string description() const { return "costly " + std::to_string(++printed); }
  mutable int printed = 0;
};

TEST(QVLogger, formatsOnlyWhatIsNotDroppedByItsLevelAndShowsTheFilterTheLine) {
  const auto filter = std::make_shared<FilterOf>([](auto line, auto level) {
    return line && line->find("costly") != std::string_view::npos && level == QVLoggerLevelError;
  });
  KeptLog log(filter);
  EXPECT_FALSE(log.logger.debugLoggingEnabled());
  const Costly costly;
  for (const bool isDropped : {true, false}) {
    filter->setDropped(QVLoggerLevelError, isDropped);
    log.logger.logError("%@", costly);
    log.logger.logErrorObject(NSError("Domain", 1));
    EXPECT_EQ(costly.printed, isDropped ? 0 : 1);
  }
  log.logger.logInfo("%@", costly);
  EXPECT_THAT(log.take(), ElementsAre("costly 1"));
  EXPECT_EQ(log.logger.numErrorsLogged(), 4);
}

TEST(QVLogger, fillsFormatsAndLeavesTextsAloneAtTheLevelOfEachCall) {
  KeptLog log;
  std::vector<std::string> lines;
  log.logger.setWriter(std::make_shared<WriterOf>(
      [&](auto line, auto level) { lines.push_back(std::to_string(level) + ": " + std::string(line)); }));
  log.logger.logDebug("%d of %@ %%", 2, "Etudes");
  log.logger.logInfo("100% done");
  log.logger.logError("");
  log.logger.logAssert("%d", 7);
  log.logger.logDebugString("%d");
  log.logger.logInfoString("100% done");
  log.logger.logErrorString("%");
  log.logger.logAssertString("");
  log.logger.logMarker("here %d");
  log.logger.logDebugMarker("there");
  EXPECT_THAT(lines, ElementsAre("1: 2 of Etudes %", "2: 100(missing)one", "3: ", "4: 7", "1: %d",
                                 "2: 100% done", "3: %", "4: ", "2: ➡️ here %d", "1: ➡️ there"));
}

TEST(QVLogger, dropsAnAbsentLineButCountsIt) {
  KeptLog log;
  for (const auto& formatter : {log.logger.formatter(), std::shared_ptr<QVLogFormatter>()}) {
    log.logger.setFormatter(formatter);
    log.logger.logInternalFunc("f", std::nullopt, std::nullopt, QVLoggerLevelError);
  }
  log.logger.logInfo("%d of %@", 2, "Etudes");  // stays as it is without a formatter
  log.logger.setFormatter(std::make_shared<FormatterOf>([](auto) { return std::nullopt; }));
  log.logger.logErrorString("text");
  EXPECT_THAT(log.take(), ElementsAre("%d of %@"));
  EXPECT_EQ(log.logger.numErrorsLogged(), 3);
}

TEST(QVLogger, remembersWhetherDebugLinesAreWantedAndCallsABlockOnlyThen) {
  EXPECT_FALSE(QVLogger().debugLoggingEnabled());
  EXPECT_TRUE(QVLogger(nullptr, nullptr, nullptr).debugLoggingEnabled());
  const auto filter = std::make_shared<QVLogLevelFilter>();
  KeptLog log(filter);
  QVLogger& logger = log.logger;
  int calls = 0;
  const auto expectWanted = [&](bool isWanted) {
    const int before = calls;
    logger.logDebugBlock([&] { return std::to_string(++calls); });
    logger.logDebugBlock([&]() -> std::optional<std::string> { return ++calls, std::nullopt; });
    EXPECT_EQ(calls, isWanted ? before + 2 : before);
  };
  filter->setDebugLoggingEnabled(true);
  logger.setFilter(filter);  // the same filter again
  expectWanted(false);
  EXPECT_TRUE(logger.shouldPerformDebugLogging());
  logger.setFilter(std::make_shared<QVLogNoFilter>());
  expectWanted(true);
  logger.disableDebugLogging();  // there is no switch to turn but the logger's own
  expectWanted(false);
  EXPECT_TRUE(logger.shouldPerformDebugLogging());
  logger.setFilter(filter);
  expectWanted(true);
  EXPECT_THAT(log.take(), ElementsAre("1", "3"));
  logger.disableDebugLogging();
  expectWanted(filter->debugLoggingEnabled());
  EXPECT_FALSE(logger.debugLoggingEnabled());
}

/// Is equal to any other of its kind.
class EqualWriter : public KeepingWriter {
  [[nodiscard]] bool isEqual(const NSObject& other) const override {
    return dynamic_cast<const EqualWriter*>(&other) != nullptr;
  }
};

TEST(QVLogger, addsWritersAndRemovesThoseThatAreEqual) {
  KeptLog log;
  const auto equal = std::make_shared<EqualWriter>();
  const auto second = std::make_shared<KeepingWriter>();
  EXPECT_THROW(QVLogger().addWriter(second), NSException);
  EXPECT_THROW(log.logger.addWriter(nullptr), NSException);
  EXPECT_THROW(log.logger.removeWriter(log.writer), NSException);  // there is no list yet
  log.logger.addWriter(equal);
  const auto list = log.logger.writer();
  log.logger.addWriter(second);
  log.logger.addWriter(equal);
  log.logger.removeWriter(std::make_shared<EqualWriter>());
  EXPECT_THAT(dynamic_cast<QVArrayCompositeLogWriter&>(*log.logger.writer()).writers(),
              ElementsAre(log.writer, second));
  EXPECT_THAT(dynamic_cast<QVArrayCompositeLogWriter&>(*list).writers(), ElementsAre(log.writer, equal));
}

TEST(QVLogger, survivesPartsThatThrowAndKeepsErrno) {
  enum Part { formatter, filter, writer, none } broken = none;
  const auto pass = [&](Part part) {
    errno = EIO;
    if (part == broken) throw std::runtime_error("no words");
  };
  KeptLog log(std::make_shared<FilterOf>([&](auto line, auto) {
                if (line) pass(filter);
                return true;
              }),
              std::make_shared<FormatterOf>([&](auto format) {
                pass(formatter);
                return std::optional<std::string>(format);
              }));
  log.logger.setWriter(std::make_shared<WriterOf>([&](auto line, auto level) {
    pass(writer);
    log.writer->logMessage(line, level);
  }));
  for (const Part part : {formatter, filter, writer}) {
    testing::StandardErrorCapture standardError;
    errno = ENOENT;
    broken = part;
    EXPECT_NO_THROW(log.logger.logErrorString("lost"));
    broken = none;
    log.logger.logErrorObject(NSError("Domain", 1));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_THAT(standardError.take(),
                ElementsAre(HasSubstr("std::runtime_error: no words"), EndsWith("Message was lost\n")));
    EXPECT_EQ(log.take().size(), 1U);
  }
  EXPECT_EQ(log.logger.numErrorsLogged(), 6);
}

/// A class of an application that builds on one of the library's formatters.
template <class Base>
class Marked : public Base {
public:
  std::optional<std::string> stringForFunc(std::optional<std::string_view> func,
                                           std::optional<std::string_view> format,
                                           std::optional<FormatArguments> arguments,
                                           QVLoggerLevel level) override {
    return "* " + Base::stringForFunc(func, format, arguments, level).value();
  }
};

TEST(QVLogger, asksADerivedFormatter) {
  KeptLog log(std::make_shared<QVLogNoFilter>(), std::make_shared<Marked<QVLogBasicFormatter>>());
  log.logger.logInfo("%d", 1);
  log.logger.setFormatter(std::make_shared<Marked<QVLogStandardFormatter>>());
  log.logger.logInfo("%d", 2);
  EXPECT_THAT(log.take(), ElementsAre("* 1", MatchesRegex("\\* ....-..-.. ..:..:..\\.... 2")));
}

TEST(QVLogStandardFormatter, writesTimeABlankAndTheMessageAndIsThereForOtherFormatters) {
  KeptLog log(std::make_shared<QVLogNoFilter>(), std::make_shared<QVLogStandardFormatter>());
  log.logger.logInfo("%d%% of %@", 50, "it");
  log.logger.logInternalFunc("f", std::nullopt, std::nullopt, QVLoggerLevelInfo);
  log.logger.logInfoString(std::string(100'000, 'x') + "%d");
  const std::string time = "....-..-.. ..:..:..\\.[0-9][0-9][0-9] ";
  EXPECT_THAT(log.take(), ElementsAre(MatchesRegex(time + "50% of it"),
                                      EndsWith(' ' + std::string(100'000, 'x') + "%d")));

  const std::array<FormatArgument, 1> seven{7};
  const auto formatted = [&](QVLogFormatter& formatter, std::optional<std::string_view> format) {
    return formatter.stringForFunc("f", format, FormatArguments(seven), QVLoggerLevelInfo);
  };
  QVLogBasicFormatter basic;
  QVLogStandardFormatter standard;
  EXPECT_EQ(formatted(basic, "%d"), "7");
  EXPECT_THAT(formatted(standard, "%d").value(), MatchesRegex(time + "7"));
  EXPECT_FALSE(formatted(basic, std::nullopt) || formatted(standard, std::nullopt));

  ::testing::internal::CaptureStdout();
  QVLogger::standardLogger()->logDebug("dropped");
  QVLogger::standardLogger()->logInfo("%d", 7);
  EXPECT_THAT(::testing::internal::GetCapturedStdout(), MatchesRegex(time + "7\n"));
}

}  // namespace
}  // namespace QVFoundation
