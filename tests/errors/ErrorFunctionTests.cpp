#include <cerrno>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "QVFoundation/errors/QVCodableError.h"
#include "QVFoundation/errors/QVErrorBuilder.h"
#include "QVFoundation/errors/QVErrorConstructors.h"
#include "QVFoundation/errors/QVErrorInspection.h"
#include "QVFoundation/errors/QVErrorKeys.h"
#include "QVFoundation/platform/application/NSBundle_p.h"
#include "QVFoundation/platform/concurrency/CancellationError.h"
#include "QVFoundation/platform/runtime/ErrorConversion.h"
#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "tests/platform/files/TemporaryFolder.h"

namespace QVFoundation {
namespace {

using ::testing::MatchesRegex;

constexpr auto none = std::nullopt;
constexpr auto descriptionKey = NSLocalizedDescriptionKey;
constexpr auto suggestion = NSLocalizedRecoverySuggestionErrorKey;

template <class Exception>
std::exception_ptr thrown(const Exception& exception) {
  return std::make_exception_ptr(exception);
}

/// What is made of a call that returned and left a number in `errno`.
std::optional<NSError> afterCall(std::int64_t result, int number, OptionalText description) {
  errno = number;
  return errnoError(result, description);
}

TEST(ErrorConstructors, makeAnErrorOfEveryStatusButZero) {
  const struct {
    const char* row = "";
    std::optional<NSError> made, want;
  } cases[] = {
      {"errno value", POSIXError(-5, "Text."), NSError(NSPOSIXErrorDomain, -5, {{descriptionKey, "Text."}})},
      {"errno zero", POSIXError(0, "Text."), none},
      {"call that failed", afterCall(-1, ENOENT, "T"),
       NSError(NSPOSIXErrorDomain, ENOENT, {{descriptionKey, "T"}})},
      {"call that failed without saying why", afterCall(-1, 0, "Text."), none},
      {"call that did not fail", afterCall(0, ENOENT, "Text."), none},
      {"call that returned another number below zero", afterCall(-2, ENOENT, "Text."), none},
      {"service status", carbonError(-128, "Text."),
       NSError(NSOSStatusErrorDomain, -128, {{descriptionKey, "Text."}})},
      {"multiple of 2 to the 32nd", cocoaError(std::int64_t{1} << 32, none),
       NSError(NSCocoaErrorDomain, std::int64_t{1} << 32)},
      {"cancelled", userCancelledError(), NSError(NSCocoaErrorDomain, 3072)},
      {"no text ends the list", errorWithDomain("D", 7, none, "Try."), NSError("D", 7)},
      {"null pointers are absent", errorWithDomain(nullptr, 7, static_cast<const char*>(nullptr), none),
       NSError(none, 7)},
      {"no domain", errorWithDomain(none, 0, "", ""),
       NSError(none, 0, {{descriptionKey, ""}, {suggestion, ""}})},
  };
  for (const auto& c : cases) EXPECT_EQ(c.made, c.want) << c.row;
}

TEST(ErrorConstructors, takeDomainAndLanguageFromTheMainBundle) {
  EXPECT_EQ(localizedError("It failed 100%.", "A comment"), errorWithDescription("It failed 100%."));

  const testing::TemporaryFolder folder;
  std::filesystem::create_directories(folder / "de.lproj");
  testing::makeFile(folder / "de.lproj/Localizable.strings", R"("It failed 100%." = "Fehler 100%.";)");
  testing::makeFile(folder / "Info.plist",
                    "<plist version=\"1.0\"><dict><key>CFBundleIdentifier</key>"
                    "<string>org.example.player</string></dict></plist>");
  const detail::MainBundleOverride german(detail::BundleFactory::bundleInFolder(folder / "", {"de"}));
  EXPECT_EQ(localizedError("It failed 100%."),
            NSError("org.example.player", -1, {{descriptionKey, "Fehler 100%."}}));
}

TEST(ErrorConstructors, takeTheTextsOfTheCauseIntoTheirOwn) {
  const NSError silent("U", 1);
  const NSError plain("U", 1, {{descriptionKey, "UD"}, {suggestion, 5}});  // which is no text
  const NSError advised("U", 1, {{descriptionKey, "UD"}, {suggestion, "US"}});
  const struct {
    const char* row = "";
    OptionalText description, ownSuggestion;
    std::optional<NSError> cause;
    OptionalText wantDescription, wantSuggestion;
  } cases[] = {
      {"no cause", "D", "S", none, "D", "S"},
      {"no suggestion anywhere", "D", none, plain, "D", "UD"},
      {"the cause's suggestion", "D", none, advised, "D (UD)", "US"},
      {"own suggestion, no description", none, "S", plain, none, "S"},
      {"empty is not absent", "", "", advised, " (UD)", " (US)"},
      {"texts are no formats", "100%@", "%d", advised, "100%@ (UD)", "%d (US)"},
      {"generic text", "D", none, silent, "D", "The operation couldn’t be completed. (U error 1.)"},
  };
  for (const auto& c : cases) {
    const NSError want("D", 7,
                       {{descriptionKey, c.wantDescription},
                        {suggestion, c.wantSuggestion},
                        {NSUnderlyingErrorKey, c.cause}});
    EXPECT_EQ(qv_errorWithDomain("D", 7, c.description, c.ownSuggestion, c.cause), want) << c.row;
  }
}

TEST(ErrorConstructors, findTheClassToRebuildAnErrorWith) {
  static const NSClass playerError("ConstructedPlayerError", NSError::staticClass());
  (void)QVErrorBuilder::staticClass();
  EXPECT_EQ(&errorClassForName("ConstructedPlayerError"), &playerError);
  for (const OptionalText name : {OptionalText(), OptionalText("Unknown"), OptionalText("__NSCFError"),
                                  OptionalText("__NSNativeError"), OptionalText("QVErrorBuilder")}) {
    EXPECT_EQ(&errorClassForName(name), &NSError::staticClass()) << name.value_or("none");
  }
}

TEST(ErrorInspection, knowsTheCancellationsInWhateverWasThrown) {
  const struct {
    const char* row;
    std::exception_ptr exception;
    bool want;
  } cases[] = {
      {"service status", thrown(NSError(NSOSStatusErrorDomain, -128)), true},
      {"errno value of stored errors", thrown(NSError(NSPOSIXErrorDomain, 89)), true},
      {"the library's own, whatever its text", thrown(NSError(QVErrorDomain, 1002, {{descriptionKey, "T"}})),
       true},
      {"cancelled task", thrown(CancellationError()), true},
      {"system call", thrown(std::system_error(89, std::generic_category())), true},
      {"caught exception", thrown(NSError(QVErrorDomain, 1003)), false},
      {"equal in 32 bits", thrown(NSError(NSCocoaErrorDomain, 3072 + (std::int64_t{1} << 32))), false},
      {"no domain", thrown(NSError(none, 3072)), false},
      {"cause alone", thrown(NSError("D", 1, {{NSUnderlyingErrorKey, userCancelledError()}})), false},
      {"record of a cancellation", thrown(QVCodableError(userCancelledError())), false},
      {"no exception", thrown(3072), false},
      {"nothing", nullptr, false},
  };
  for (const auto& c : cases) EXPECT_EQ(isUserCancelledError(c.exception), c.want) << c.row;
}

TEST(ErrorInspection, tellsAllThatIsKnownOfWhateverWasThrown) {
  const NSError odd("100%d", std::numeric_limits<std::int64_t>::min(), {{"%@", "a b"}});
  EXPECT_THAT(debugDescription(odd),
              MatchesRegex("<NSError: 0x[0-9a-f]+ domain=100%d code=-9223372036854775808 "
                           "userInfo=\\{\n    \"%@\" = \"a b\";\n\\}>"));
  const NSError error("D", 1, {{descriptionKey, "It failed."}});
  const struct {
    std::exception_ptr exception;
    std::string_view want;
  } cases[] = {
      {thrown(error), "Error Domain=D Code=1 \"It failed.\" UserInfo={NSLocalizedDescription=It failed.}"},
      {thrown(QVCodableError(error)), "It failed."},
      {thrown(NSException(NSRangeException, "Too far.")), "NSRangeException: Too far."},
      {thrown(NSException(NSRangeException, {})), "NSRangeException"},
      {thrown(std::runtime_error("text")), "std::runtime_error: text"},
      {thrown(7),
       "Error Domain=QVErrorDomain Code=1 \"unknown exception\" UserInfo="
       "{NSLocalizedDescription=unknown exception}"},
      {nullptr, "(null)"},
  };
  for (const auto& [exception, want] : cases) EXPECT_EQ(fullDescription(exception), want);
}

TEST(ErrorInspection, readsTheStyleAndChangesOneEntryOfACopy) {
  const NSError error(none, 1, {{QVErrorStyleKey, std::int64_t{1} << 40}, {"b", 2}});
  EXPECT_EQ(errorStyle(error), std::int64_t{1} << 40);
  EXPECT_EQ(errorStyle(errorBySettingUserInfoObject(error, "7", QVErrorStyleKey)), 2);
  EXPECT_EQ(errorBySettingUserInfoObject(error, {}, "b").address(), error.address());
  const NSError native = asNSError(std::runtime_error("x"));
  EXPECT_EQ(&errorBySettingUserInfoObject(native, NSNull{}, "null").errorClass(), &NSError::staticClass());
}

}  // namespace
}  // namespace QVFoundation
