#include "QVFoundation/platform/application/NSBundle.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "QVFoundation/platform/application/NSBundle_p.h"
#include "tests/platform/application/BundleFolder.h"
#include "tests/platform/tracing/StandardErrorCapture.h"

namespace QVFoundation {
namespace {

using detail::BundleFactory;
using detail::MainBundleOverride;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

using Path = std::filesystem::path;
using Names = std::vector<std::string>;

constexpr std::string_view info = R"(<plist version="1.0"><dict>
  <key>CFBundleIdentifier</key><string>org.example.player</string>
  <key>CFBundleName</key><string>Player</string>
  <key>CFBundleDevelopmentRegion</key><string>en</string>
  <key>CFBundleVersion</key><string>1.2.3</string>
</dict></plist>)";

std::shared_ptr<NSBundle> bundleIn(const BundleFolder& folder, const Names& languages = {"de"}) {
  return BundleFactory::bundleInFolder(folder.path(), languages);
}

TEST(NSBundle, tellsWhatItsInfoPlistHolds) {
  const BundleFolder folder;
  folder.add("Info.plist", info);
  const auto bundle = NSBundle::bundleWithPath(folder.path());
  EXPECT_EQ(bundle->bundlePath(), folder.path());
  EXPECT_EQ(bundle->bundleIdentifier(), "org.example.player");
  EXPECT_EQ(bundle->name(), "Player");
  EXPECT_EQ(bundle->developmentLocalization(), "en");
  EXPECT_EQ(bundle->objectForInfoDictionaryKey("CFBundleVersion"), "1.2.3");
  EXPECT_TRUE(bundle->objectForInfoDictionaryKey("absent").isNothing());
  EXPECT_EQ(bundle->valueForKey("name"), "Player");
}

TEST(NSBundle, withoutInfoPlistHasItsFoldersName) {
  const BundleFolder folder;
  folder.add("My Plug-in.bundle/data");
  const auto bundle = NSBundle::bundleWithPath(folder.path() / "My Plug-in.bundle/");
  EXPECT_EQ(bundle->name(), "My Plug-in");
  EXPECT_EQ(bundle->bundlePath(), folder.path() / "My Plug-in.bundle");
  EXPECT_EQ(bundle->bundleIdentifier(), std::nullopt);
  EXPECT_TRUE(bundle->infoDictionary().empty());
  EXPECT_EQ(bundle->description(), "NSBundle <" + bundle->bundlePath().string() + '>');
}

TEST(NSBundle, isNullWhereThereIsNoFolder) {
  const BundleFolder folder;
  folder.add("file");
  EXPECT_EQ(NSBundle::bundleWithPath(folder.path() / "absent"), nullptr);
  EXPECT_EQ(NSBundle::bundleWithPath(folder.path() / "file"), nullptr);
}

TEST(NSBundle, reportsADamagedInfoPlistOnceAndGoesOn) {
  const BundleFolder folder;
  folder.add("Info.plist", "<dict><key>CFBundleName</key>").add("x.txt");
  QVFoundation::testing::StandardErrorCapture capture;
  const auto bundle = bundleIn(folder);
  EXPECT_FALSE(bundle->objectForInfoDictionaryKey("CFBundleName").text());
  EXPECT_TRUE(bundle->pathForResource("x", "txt"));
  EXPECT_THAT(capture.take(),
              ElementsAre(HasSubstr("Info.plist\" could not be read: Invalid property list at line 1")));
}

TEST(NSBundle, listsItsLocalizations) {
  const BundleFolder folder;
  folder.add("fr.lproj/x").add("de.lproj/x").add("Base.lproj/x").add("en.lproj").add("Info.plist", info);
  EXPECT_THAT(bundleIn(folder)->localizations(), ElementsAre("Base", "de", "fr"));
}

struct PreferenceCase {
  const char* row;
  Names localizations;
  Names preferences;
  Names chosen;
};

const PreferenceCase preferenceCases[] = {
    {"the same", {"de", "en", "fr"}, {"fr"}, {"fr"}},
    {"in the order of the preferences", {"de", "en", "fr"}, {"fr", "it", "de"}, {"fr", "de"}},
    {"each once", {"de"}, {"de-AT", "de-DE", "de"}, {"de"}},
    {"none", {"de", "en"}, {"fr"}, {}},
    {"nothing to choose from", {}, {"fr"}, {}},
    {"case and separators", {"pt_BR"}, {"pt-br"}, {"pt_BR"}},
    {"name of a locale", {"de-AT"}, {"de_AT.UTF-8"}, {"de-AT"}},
    {"the region before its language", {"de", "de-AT"}, {"de-AT"}, {"de-AT"}},
    {"without the region", {"de", "de-CH"}, {"de-AT"}, {"de"}},
    {"any other region", {"en", "de-CH"}, {"de-AT"}, {"de-CH"}},
    {"a region for the language", {"en-GB", "fr"}, {"en"}, {"en-GB"}},
    {"the language before a region", {"en-GB", "en"}, {"en"}, {"en"}},
    {"traditional Chinese by region", {"zh-Hans", "zh-Hant"}, {"zh-TW"}, {"zh-Hant"}},
    {"traditional Chinese in Hong Kong", {"zh_CN", "zh_TW"}, {"zh-HK"}, {"zh_TW"}},
    {"simplified Chinese by region", {"zh-Hant", "zh-Hans"}, {"zh-CN"}, {"zh-Hans"}},
    {"Chinese alone is simplified", {"zh-TW", "zh-CN"}, {"zh"}, {"zh-CN"}},
    {"never the other Chinese", {"zh-Hans"}, {"zh-TW"}, {}},
    {"scripts of other languages", {"sr-Latn", "sr-Cyrl"}, {"sr-Cyrl-RS"}, {"sr-Cyrl"}},
    {"English names", {"English", "German"}, {"de-AT"}, {"German"}},
    {"codes before names", {"German", "de"}, {"de"}, {"de"}},
    {"old codes", {"iw", "nb"}, {"no", "he"}, {"nb", "iw"}},
    {"Base is no language", {"Base"}, {"de"}, {}},
    {"empty names", {"", "de"}, {"", "fr"}, {}},
};

TEST(NSBundle, choosesLocalizationsForTheReader) {
  for (const PreferenceCase& c : preferenceCases) {
    EXPECT_EQ(NSBundle::preferredLocalizationsFromArray(c.localizations, c.preferences), c.chosen) << c.row;
  }
}

TEST(NSBundle, fallsBackToTheDevelopmentLocalizationAndToBase) {
  const BundleFolder folder;
  folder.add("Info.plist", info).add("de.lproj/x").add("English.lproj/x").add("Base.lproj/x");
  EXPECT_THAT(bundleIn(folder, {"de-AT", "en"})->preferredLocalizations(), ElementsAre("de", "English"));
  EXPECT_THAT(bundleIn(folder, {"fr"})->preferredLocalizations(), ElementsAre("English"));
  std::filesystem::remove_all(folder.path() / "English.lproj");
  EXPECT_THAT(bundleIn(folder, {"fr"})->preferredLocalizations(), ElementsAre("Base"));
  std::filesystem::remove_all(folder.path() / "Base.lproj");
  EXPECT_THAT(bundleIn(folder, {"fr"})->preferredLocalizations(), IsEmpty());
}

struct ResourceCase {
  const char* row;
  std::string_view name, type, subdirectory, localization;
  const char* found;  // null where nothing is
};

constexpr ResourceCase resourceCases[] = {
    {"name and type", "logo", "png", "", "", "logo.png"},
    {"type with its point", "logo", ".png", "", "", "logo.png"},
    {"extension in the name", "logo.png", "", "", "", "logo.png"},
    {"extension in both", "logo.png", "png", "", "", "logo.png"},
    {"no type", "logo", "", "", "", nullptr},
    {"subdirectory", "logo", "png", "icons/large", "", "icons/large/logo.png"},
    {"folder in the name", "icons/large/logo", "png", "", "", "icons/large/logo.png"},
    {"not outside of the subdirectory", "only-here", "png", "icons", "", nullptr},
    {"unlocalised first", "page", "html", "", "", "page.html"},
    {"the reader's language", "welcome", "html", "", "", "de.lproj/welcome.html"},
    {"the reader's next language", "french", "html", "", "", "fr.lproj/french.html"},
    {"the language of development", "english", "html", "", "", "en.lproj/english.html"},
    {"Base at last", "base", "html", "", "", "Base.lproj/base.html"},
    {"no other language", "italian", "html", "", "", nullptr},
    {"subdirectory of a localisation", "tip", "html", "tips", "", "de.lproj/tips/tip.html"},
    {"the localisation that is given", "welcome", "html", "", "it", "it.lproj/welcome.html"},
    {"that one only", "page", "html", "", "fr", nullptr},
    {"a localisation that is not there", "welcome", "html", "", "es", nullptr},
    {"no name", "", "html", "", "", nullptr},
};

TEST(NSBundle, findsResources) {
  const BundleFolder folder;
  folder.add("Info.plist", info)
      .add("logo.png")
      .add("only-here.png")
      .add("icons/large/logo.png")
      .add("page.html");
  folder.add("de.lproj/welcome.html")
      .add("de.lproj/page.html")
      .add("de.lproj/tips/tip.html")
      .add("fr.lproj/welcome.html");
  folder.add("fr.lproj/french.html")
      .add("en.lproj/english.html")
      .add("en.lproj/welcome.html")
      .add("Base.lproj/base.html");
  folder.add("it.lproj/welcome.html").add("it.lproj/italian.html");
  const auto bundle = bundleIn(folder, {"de-AT", "fr"});
  for (const ResourceCase& c : resourceCases) {
    const auto found = bundle->pathForResource(c.name, c.type, c.subdirectory, c.localization);
    const auto want = c.found != nullptr ? std::optional(folder.path() / c.found) : std::nullopt;
    EXPECT_EQ(found, want) << c.row;
  }
}

TEST(NSBundle, listsResourcesOfAType) {
  const BundleFolder folder;
  folder.add("b.png")
      .add("a.png")
      .add("a.gif")
      .add(".png")
      .add("icons/c.png")
      .add("de.lproj/d.png")
      .add("de.lproj/a.png");
  folder.add("fr.lproj/e.png");
  const auto bundle = bundleIn(folder);
  const Path& root = folder.path();
  EXPECT_THAT(bundle->pathsForResourcesOfType("png"),
              ElementsAre(root / "a.png", root / "b.png", root / "de.lproj/d.png"));
  EXPECT_THAT(bundle->pathsForResourcesOfType("png", "icons"), ElementsAre(root / "icons/c.png"));
  EXPECT_THAT(bundle->pathsForResourcesOfType("png", {}, "fr"), ElementsAre(root / "fr.lproj/e.png"));
  EXPECT_THAT(bundle->pathsForResourcesOfType("", {}, "de"),
              ElementsAre(root / "de.lproj/a.png", root / "de.lproj/d.png"));
  EXPECT_THAT(bundle->pathsForResourcesOfType("txt"), IsEmpty());
}

TEST(NSBundle, namesThatLeadOutOfItFindNothing) {
  const BundleFolder folder;
  folder.add("secret.txt")
      .add("secret.strings", "a = b;")
      .add("secret.lproj/x.txt")
      .add("player.resources/x.txt");
  folder.add("player.resources/de.lproj/y.txt");
  const auto bundle = BundleFactory::bundleInFolder(folder.path() / "player.resources", {"de"});
  const std::string absolute = (folder.path() / "secret").string();
  using namespace std::string_view_literals;
  for (const std::string_view name :
       {"../secret"sv, "x/../../secret"sv, std::string_view(absolute), "..\0"sv}) {
    EXPECT_FALSE(bundle->pathForResource(name, "txt")) << name;
    EXPECT_FALSE(bundle->pathForResource("x", "txt", name)) << name;
    EXPECT_FALSE(bundle->pathForResource("x", "txt", {}, name)) << name;
    EXPECT_THAT(bundle->pathsForResourcesOfType("txt", name), IsEmpty()) << name;
    EXPECT_THAT(bundle->pathsForResourcesOfType("txt", {}, name), IsEmpty()) << name;
    EXPECT_EQ(bundle->localizedStringForKey("a", {}, name), "a") << name;
  }
  EXPECT_FALSE(bundle->pathForResource("secret", "/../../secret.txt"));
  EXPECT_FALSE(bundle->pathForResource("x\0y"sv, "txt"));
  EXPECT_THAT(bundle->pathsForResourcesOfType("txt", ".."), IsEmpty());
  EXPECT_TRUE(bundle->pathForResource("./x", "txt"));
}

TEST(MainBundle, isTheFolderOfTheEnvironmentElseBesideTheProgramElseInShare) {
  const BundleFolder folder;
  const Path program = folder.path() / "bin/player";
  const auto mainBundle = [&](const Path& fromEnvironment = {}) {
    return BundleFactory::bundleOfProgram(program, fromEnvironment, {"de"});
  };

  EXPECT_EQ(mainBundle()->bundlePath(), folder.path() / "bin");
  folder.add("share/player/x.txt");
  EXPECT_EQ(mainBundle()->bundlePath(), folder.path() / "share/player");
  folder.add("bin/player.resources/x.txt");
  EXPECT_EQ(mainBundle()->bundlePath(), folder.path() / "bin/player.resources");
  folder.add("other/x.txt");
  EXPECT_EQ(mainBundle(folder.path() / "other")->bundlePath(), folder.path() / "other");
  EXPECT_EQ(mainBundle(folder.path() / "other")->name(), "player");

  QVFoundation::testing::StandardErrorCapture capture;
  EXPECT_EQ(mainBundle(folder.path() / "absent")->bundlePath(), folder.path() / "bin/player.resources");
  EXPECT_THAT(capture.take(), ElementsAre(HasSubstr("QV_BUNDLE_PATH names no folder: ")));
}

TEST(MainBundle, withoutResourcesHasANameAndGivesEachTextBack) {
  const BundleFolder folder;
  folder.add("x.txt").add("de.lproj/Localizable.strings", "a = b;").add("Info.plist", info);
  const auto bundle = BundleFactory::bundleOfProgram(folder.path() / "player", {}, {"de"});
  EXPECT_EQ(bundle->name(), "player");
  EXPECT_EQ(bundle->bundleIdentifier(), std::nullopt);
  EXPECT_TRUE(bundle->infoDictionary().empty());
  EXPECT_THAT(bundle->localizations(), IsEmpty());
  EXPECT_THAT(bundle->preferredLocalizations(), IsEmpty());
  EXPECT_FALSE(bundle->pathForResource("x", "txt"));
  EXPECT_THAT(bundle->pathsForResourcesOfType("txt"), IsEmpty());
  EXPECT_EQ(bundle->localizedStringForKey("a"), "a");
  EXPECT_EQ(bundle->localizedStringForKey("a", "value", "table"), "value");
}

TEST(MainBundle, canBeReplacedForAScope) {
  const std::shared_ptr<NSBundle>& original = NSBundle::mainBundle();
  ASSERT_NE(original, nullptr);
  EXPECT_FALSE(original->name().empty());
  const BundleFolder folder;
  folder.add("Info.plist", info);
  {
    const MainBundleOverride outer(bundleIn(folder));
    EXPECT_EQ(NSBundle::mainBundle()->name(), "Player");
    {
      const MainBundleOverride inner(original);
      EXPECT_EQ(NSBundle::mainBundle(), original);
    }
    EXPECT_EQ(NSBundle::mainBundle()->name(), "Player");
  }
  EXPECT_EQ(&NSBundle::mainBundle(), &original);
}

}  // namespace
}  // namespace QVFoundation
