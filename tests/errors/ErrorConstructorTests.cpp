#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <optional>
#include <string_view>

#include <gtest/gtest.h>

#include "QVFoundation/errors/QVErrorBuilder.h"
#include "QVFoundation/errors/QVErrorConstructors.h"
#include "QVFoundation/platform/application/NSBundle_p.h"
#include "QVFoundation/platform/runtime/NSClass.h"
#include "tests/platform/files/TemporaryFolder.h"

namespace QVFoundation {
namespace {

constexpr auto none = std::nullopt;
constexpr auto text = NSLocalizedDescriptionKey;
constexpr auto suggestion = NSLocalizedRecoverySuggestionErrorKey;

using Limits64 = std::numeric_limits<std::int64_t>;
using Limits32 = std::numeric_limits<std::int32_t>;

TEST(ErrorConstructors, makeAnErrorOfEveryStatusButZero) {
  const struct {
    const char* row = "";
    std::optional<NSError> made;
    std::optional<NSError> want;
  } cases[] = {
      {"errno value", POSIXError(2, "Text."), NSError(NSPOSIXErrorDomain, 2, {{text, "Text."}})},
      {"errno value, no text", POSIXError(2, none), NSError(NSPOSIXErrorDomain, 2)},
      {"errno value, empty text", POSIXError(-5, ""), NSError(NSPOSIXErrorDomain, -5, {{text, ""}})},
      {"errno zero", POSIXError(0, "Text."), none},
      {"service status", carbonError(-128, "Text."), NSError(NSOSStatusErrorDomain, -128, {{text, "Text."}})},
      {"service zero", carbonError(0, "Text."), none},
      {"multiple of 2 to the 32nd", cocoaError(std::int64_t{1} << 32, none),
       NSError(NSCocoaErrorDomain, std::int64_t{1} << 32)},
      {"general zero", cocoaError(0, none), none},
      {"cancelled", userCancelledError(), NSError(NSCocoaErrorDomain, 3072)},
      {"application's, also zero", appError(0, "Text."), NSError(NSCocoaErrorDomain, 0, {{text, "Text."}})},
      {"text alone", errorWithDescription("Text."), NSError(NSCocoaErrorDomain, -1, {{text, "Text."}})},
      {"no suggestion", errorWithDomain("D", 7, "Text.", none), NSError("D", 7, {{text, "Text."}})},
      {"no text ends the list", errorWithDomain("D", 7, none, "Try."), NSError("D", 7)},
      {"no domain", errorWithDomain(none, 0, "", ""), NSError(none, 0, {{text, ""}, {suggestion, ""}})},
  };
  for (const auto& c : cases) EXPECT_EQ(c.made, c.want) << c.row;
}

TEST(ErrorConstructors, readErrnoOnlyForMinusOne) {
  for (const std::int32_t result : {0, 1, -2, 2, Limits32::min(), Limits32::max()}) {
    errno = ENOENT;
    EXPECT_EQ(errnoError(result, "Text."), none) << result;
  }
  errno = ENOENT;
  EXPECT_EQ(errnoError(-1, "Text."), NSError(NSPOSIXErrorDomain, ENOENT, {{text, "Text."}}));
  errno = EACCES;
  EXPECT_EQ(errnoError(-1, none), NSError(NSPOSIXErrorDomain, EACCES));
  errno = 0;
  EXPECT_EQ(errnoError(-1, "Text."), none);
}

TEST(ErrorConstructors, takeDomainAndLanguageFromTheMainBundle) {
  EXPECT_EQ(localizedError("It failed 100%.", "A comment"), errorWithDescription("It failed 100%."));

  const testing::TemporaryFolder folder;
  std::filesystem::create_directories(folder / "de.lproj");
  testing::makeFile(folder / "de.lproj/Localizable.strings",
                    "\"It failed 100%.\" = \"Es schlug zu 100% fehl.\";\n");
  testing::makeFile(folder / "Info.plist",
                    "<plist version=\"1.0\"><dict><key>CFBundleIdentifier</key>"
                    "<string>org.example.player</string></dict></plist>");
  const detail::MainBundleOverride german(detail::BundleFactory::bundleInFolder(folder / "", {"de"}));
  EXPECT_EQ(appError(9, none), NSError("org.example.player", 9));
  EXPECT_EQ(localizedError("It failed 100%."),
            NSError("org.example.player", -1, {{text, "Es schlug zu 100% fehl."}}));
}

TEST(ErrorConstructors, takeTheTextsOfTheCauseIntoTheirOwn) {
  const NSError silent("U", 1);
  const NSError plain("U", 1, {{text, "UD"}});
  const NSError advised("U", 1, {{text, "UD"}, {suggestion, "US"}});
  const NSError mistyped("U", 1, {{text, "UD"}, {suggestion, 5}});
  const struct {
    const char* row = "";
    OptionalText description;
    OptionalText ownSuggestion;
    std::optional<NSError> cause;
    OptionalText wantDescription;
    OptionalText wantSuggestion;
  } cases[] = {
      {"no cause", "D", "S", none, "D", "S"},
      {"no cause, no description", none, "S", none, none, "S"},
      {"no suggestion anywhere", "D", none, plain, "D", "UD"},
      {"no texts but the cause's description", none, none, plain, none, "UD"},
      {"own suggestion", "D", "S", plain, "D (UD)", "S"},
      {"the cause's suggestion", "D", none, advised, "D (UD)", "US"},
      {"both suggestions", "D", "S", advised, "D (UD)", "S (US)"},
      {"own suggestion, no description", none, "S", plain, none, "S"},
      {"the cause's suggestion, no description", none, none, advised, none, "US"},
      {"empty is not absent", "", "", advised, " (UD)", " (US)"},
      {"texts are no formats", "100%@", "%d", advised, "100%@ (UD)", "%d (US)"},
      {"a suggestion that is no text", "D", none, mistyped, "D", "UD"},
      {"generic text of the cause", "D", none, silent, "D",
       "The operation couldn’t be completed. (U error 1.)"},
  };
  for (const auto& c : cases) {
    const NSError want(
        "D", Limits64::max(),
        {{text, c.wantDescription}, {suggestion, c.wantSuggestion}, {NSUnderlyingErrorKey, c.cause}});
    EXPECT_EQ(qv_errorWithDomain("D", Limits64::max(), c.description, c.ownSuggestion, c.cause), want)
        << c.row;
  }
}

TEST(ErrorConstructors, findTheClassToRebuildAnErrorWith) {
  static const NSClass playerError("ConstructedPlayerError", NSError::staticClass());
  (void)QVErrorBuilder::staticClass();
  const struct {
    const char* row = "";
    OptionalText name;
    const NSClass& want;
  } cases[] = {
      {"absent", none, NSError::staticClass()},
      {"empty", "", NSError::staticClass()},
      {"base", "NSError", NSError::staticClass()},
      {"registered", "ConstructedPlayerError", playerError},
      {"unknown", "ConstructedPlayerErro", NSError::staticClass()},
      {"bridge", "__NSCFError", NSError::staticClass()},
      {"bridge of other exceptions", "__NSNativeError", NSError::staticClass()},
      {"no error class", "QVErrorBuilder", NSError::staticClass()},
  };
  for (const auto& c : cases) EXPECT_EQ(&errorClassForName(c.name), &c.want) << c.row;
}

}  // namespace
}  // namespace QVFoundation
