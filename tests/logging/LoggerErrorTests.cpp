#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "QVFoundation/errors/QVErrorConstructors.h"
#include "QVFoundation/platform/application/NSBundle_p.h"
#include "QVFoundation/platform/concurrency/CancellationError.h"
#include "QVFoundation/platform/runtime/ErrorConversion.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "gmock/gmock.h"
#include "gtest/gtest.h"
#include "tests/logging/LogTesting.h"
#include "tests/platform/files/TemporaryFolder.h"
#include "tests/platform/tracing/StandardErrorCapture.h"

namespace QVFoundation {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::KeptLog;

struct ErrorCase {
  const char* row;
  std::optional<NSError> error;
  std::vector<std::string> want;
  bool comesBack = false;
};

NSError errorWith(std::int64_t code, std::optional<std::string> suggestion, Value callStack = {}) {
  return {"Domain",
          code,
          {{NSLocalizedDescriptionKey, "It failed."},
           {NSLocalizedRecoverySuggestionErrorKey, std::move(suggestion)},
           {QVExceptionCallStackSymbolsKey, std::move(callStack)}}};
}

TEST(QVLogger, logsErrorsButNoCancellations) {
  const ErrorCase cases[] = {
      {"none", {}, {}},
      {"plain", errorWith(7, {}), {"An error occurred (7): It failed."}},
      {"digits are not grouped", errorWith(-1234567, {}), {"An error occurred (-1234567): It failed."}},
      {"suggestion", errorWith(7, "Do %d."), {"An error occurred (7): It failed. (Do %d.)"}},
      {"exception",
       errorWith(7, {}, "0 main"),
       {"An error occurred (7): It failed.", "Exception call stack: 0 main"}},
      {"cancelled", userCancelledError(), {}, true},
      {"cancelled as the system says", cocoaError(3072, "Cancelled"), {}, true},
      {"cancelled with a call stack",
       NSError(std::string(NSPOSIXErrorDomain), 89, {{QVExceptionCallStackSymbolsKey, "0 main"}}),
       {},
       true},
  };
  for (const auto& [row, error, want, comesBack] : cases) {
    KeptLog log;
    EXPECT_EQ(log.logger.logErrorObject(error), comesBack ? error : std::nullopt) << row;
    EXPECT_EQ(log.logger.numErrorsLogged(), std::ssize(want)) << row;
    EXPECT_EQ(log.take(), want) << row;
  }
}

TEST(QVLogger, logsAPlatformExceptionInTwoLines) {
  KeptLog log;
  log.logger.logErrorObject(asNSError(NSException("Name", "The reason")));
  const auto lines = log.take();
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0], "An error occurred (1003): The reason");
  EXPECT_TRUE(lines[1].starts_with("Exception call stack: 0")) << lines[1];
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
  log.logger.logErrorObject(errorWith(7, "Suggestion."));
  EXPECT_THAT(log.take(), ElementsAre("It failed., Fehler 7", "Aufrufe: 0 main (missing) %n",
                                      "An error occurred (7): It failed. (Suggestion.)"));
}

/// An object of an application that cannot be printed.
class Unspeakable : public NSObject {
  [[nodiscard]] std::string description() const override { throw 7; }
};

TEST(QVLogger, survivesErrorsThatCannotBePrinted) {
  KeptLog log;
  testing::StandardErrorCapture standardError;
  const NSError error = errorWith(7, {}, std::make_shared<Unspeakable>());
  EXPECT_NO_THROW(log.logger.logErrorObject(error));
  EXPECT_NO_THROW(log.logger.logThrownError("Import", [&] { throw error; }));
  EXPECT_THAT(log.take(), ElementsAre("An error occurred (7): It failed."));
  EXPECT_EQ(log.logger.numErrorsLogged(), 3);
  EXPECT_EQ(standardError.take().size(), 4U);
}

TEST(QVLogger, returnsWhatACallableReturns) {
  KeptLog log;
  const std::string text = "text";
  const std::optional<std::string> copied =
      log.logger.logThrownError([&]() -> const std::string& { return text; });
  EXPECT_EQ(copied, "text");
  EXPECT_EQ(*log.logger.logThrownError("Import", [] { return std::make_unique<int>(7); }).value(), 7);
  bool called = false;
  EXPECT_TRUE(log.logger.logThrownError([&] { called = true; }).has_value());
  EXPECT_TRUE(called);
  EXPECT_THAT(log.take(), IsEmpty());
}

struct ThrownCase {
  const char* row;
  void (*fail)();
  std::string withMessage, alone;
};

TEST(QVLogger, logsWhatACallableThrows) {
  static const NSError error("Domain", 7, {{NSLocalizedDescriptionKey, "It failed."}});
  const ThrownCase cases[] = {
      {"error", [] { throw error; }, error.description(), "It failed."},
      {"exception", [] { throw std::runtime_error("no %d"); }, "std::runtime_error: no %d", "no %d"},
      {"platform exception", [] { throw NSException("Name", "Why"); }, "Name: Why", "Why"},
      {"cancellation", [] { throw CancellationError(); }, CancellationError().description(),
       asNSError(CancellationError()).localizedDescription()},
      {"no exception", [] { throw 7; }, asNSError(std::make_exception_ptr(7)).description(),
       "unknown exception"},
  };
  for (const auto& [row, fail, withMessage, alone] : cases) {
    KeptLog log;
    EXPECT_FALSE(log.logger.logThrownError("Import", fail)) << row;
    EXPECT_FALSE(log.logger.logThrownError(fail)) << row;
    EXPECT_EQ(log.logger.numErrorsLogged(), 2) << row;
    EXPECT_THAT(log.writer->takeLines(), ElementsAre(std::pair("Import: " + withMessage, QVLoggerLevelError),
                                                     std::pair(alone, QVLoggerLevelError)))
        << row;
  }
}

}  // namespace
}  // namespace QVFoundation
