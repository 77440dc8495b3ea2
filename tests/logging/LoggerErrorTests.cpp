#include <cerrno>
#include <iterator>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "QVFoundation/errors/QVErrorConstructors.h"
#include "QVFoundation/platform/application/NSBundle_p.h"
#include "QVFoundation/platform/concurrency/CancellationError.h"
#include "QVFoundation/platform/runtime/ErrorConversion.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "tests/logging/LogTesting.h"
#include "tests/platform/files/TemporaryFolder.h"
#include "tests/platform/tracing/StandardErrorCapture.h"

namespace QVFoundation {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using testing::KeptLog;
using ::testing::StartsWith;

NSError errorWith(std::int64_t code, std::optional<std::string> suggestion, Value callStack = {}) {
  return {"Domain",
          code,
          {{NSLocalizedDescriptionKey, "It failed."},
           {NSLocalizedRecoverySuggestionErrorKey, std::move(suggestion)},
           {QVExceptionCallStackSymbolsKey, std::move(callStack)}}};
}

TEST(QVLogger, logsErrorsButNoCancellations) {
  KeptLog log;
  const NSError cancelled(NSPOSIXErrorDomain, 89, {{QVExceptionCallStackSymbolsKey, "0 main"}});
  EXPECT_EQ(log.logger.logErrorObject(cancelled), cancelled);
  EXPECT_EQ(log.logger.logErrorObject(userCancelledError()), userCancelledError());
  EXPECT_EQ(log.logger.logErrorObject(std::nullopt), std::nullopt);
  EXPECT_EQ(log.logger.logErrorObject(errorWith(-1234567, {})), std::nullopt);
  log.logger.logErrorObject(errorWith(7, "Do %d."));
  log.logger.logErrorObject(asNSError(NSException("Name", "The reason")));
  EXPECT_THAT(log.take(),
              ElementsAre("An error occurred (-1234567): It failed.",  // digits are not grouped
                          "An error occurred (7): It failed. (Do %d.)",
                          "An error occurred (1003): The reason", StartsWith("Exception call stack: 0")));
  EXPECT_EQ(log.logger.numErrorsLogged(), 4);
}

TEST(QVLogger, logsErrorsInTheUsersLanguage) {
  const testing::TemporaryFolder folder;
  std::filesystem::create_directories(folder / "de.lproj");
  testing::makeFile(folder / "de.lproj/Localizable.strings",
                    "\"An error occurred (%ld): %@\" = \"%2$@, Fehler %1$ld\";\n"
                    "\"Exception call stack: %@\" = \"Aufrufe: %@ %@ %n\";\n");
  const detail::MainBundleOverride german(detail::BundleFactory::bundleInFolder(folder / "", {"de"}));
  KeptLog log;
  log.logger.logErrorObject(errorWith(7, {}, "0 main"));
  EXPECT_THAT(log.take(), ElementsAre("It failed., Fehler 7", "Aufrufe: 0 main (missing) %n"));
}

/// An object of an application that cannot be printed.
class Unspeakable : public NSObject {
  [[nodiscard]] std::string description() const override {
    errno = EIO;
    throw 7;
  }
};

TEST(QVLogger, survivesErrorsAndArgumentsThatCannotBePrinted) {
  KeptLog log;
  testing::StandardErrorCapture standardError;
  const NSError error = errorWith(7, {}, std::make_shared<Unspeakable>());
  errno = ENOENT;
  EXPECT_NO_THROW(log.logger.logErrorObject(error));
  EXPECT_EQ(errno, ENOENT);
  EXPECT_NO_THROW(log.logger.logThrownError("Import", [&] { throw error; }));
  EXPECT_NO_THROW(log.logger.logError("It is %@", Unspeakable()));
  EXPECT_THAT(log.take(), ElementsAre("An error occurred (7): It failed."));
  EXPECT_EQ(log.logger.numErrorsLogged(), 4);
  const auto reported = standardError.take();
  EXPECT_EQ(reported.size(), 6U);
  EXPECT_THAT(reported.back(), EndsWith("Message was It is %@\n"));
}

TEST(QVLogger, returnsWhatACallableReturnsAndLogsWhatItThrows) {
  KeptLog log;
  const std::string text = "text";
  std::optional<std::string> copied = log.logger.logThrownError([&]() -> const std::string& { return text; });
  EXPECT_EQ(copied, "text");
  EXPECT_EQ(*log.logger.logThrownError("Import", [] { return std::make_unique<int>(7); }).value(), 7);
  EXPECT_TRUE(log.logger.logThrownError([] {}).has_value());
  EXPECT_TRUE(log.take().empty());

  static const NSError error("Domain", 7, {{NSLocalizedDescriptionKey, "It failed."}});
  const struct {
    void (*fail)();
    std::string withMessage, alone;
  } cases[] = {
      {[] { throw error; }, error.description(), "It failed."},
      {[] { throw std::runtime_error("no %d"); }, "std::runtime_error: no %d", "no %d"},
      {[] { throw NSException("Name", "Why"); }, "Name: Why", "Why"},
      {[] { throw CancellationError(); }, CancellationError().description(),
       asNSError(CancellationError()).localizedDescription()},
  };
  for (const auto& [fail, withMessage, alone] : cases) {
    EXPECT_FALSE(log.logger.logThrownError("Import", fail));
    EXPECT_FALSE(log.logger.logThrownError(fail));
    EXPECT_THAT(log.take(), ElementsAre("Import: " + withMessage, alone));
  }
  EXPECT_EQ(log.logger.numErrorsLogged(), 2 * std::ssize(cases));
}

}  // namespace
}  // namespace QVFoundation
