#include <atomic>
#include <fstream>
#include <latch>
#include <thread>

#include <gmock/gmock.h>

#include "QVFoundation/Platform.h"
#include "QVFoundation/platform/application/NSBundle_p.h"
#include "tests/platform/tracing/StandardErrorCapture.h"

namespace QVFoundation {
namespace {

using detail::BundleFactory;
using detail::MainBundleOverride;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::StandardErrorCapture;

using Path = std::filesystem::path;
using Names = std::vector<std::string>;

/// A folder for bundles, in a place of its own, for the length of a test.
class NSBundleTest : public ::testing::Test {
protected:
  NSBundleTest() {
    std::string pattern = (std::filesystem::temp_directory_path() / "NSBundleTests-XXXXXX").string();
    folder = mkdtemp(pattern.data());
  }
  ~NSBundleTest() override { std::filesystem::remove_all(folder); }

  /// Writes files, and makes the folders that they are in.
  void add(std::initializer_list<Path> files, std::string_view content = "content") const {
    for (const Path& file : files) {
      std::filesystem::create_directories((folder / file).parent_path());
      std::ofstream(folder / file, std::ios::binary) << content;
    }
  }
  void addInfo() const {
    add({"Info.plist"},
        "<dict><key>CFBundleIdentifier</key><string>org.example.player</string>"
        "<key>CFBundleName</key><string>Player</string>"
        "<key>CFBundleDevelopmentRegion</key><string>en</string></dict>");
  }
  [[nodiscard]] std::shared_ptr<NSBundle> bundle(const Names& languages = {"de"}) const {
    return BundleFactory::bundleInFolder(folder, languages);
  }
  /// What a bundle that is read anew has for "a".
  [[nodiscard]] std::string textFor(const char* language, std::string_view table = {}) const {
    return bundle({language})->localizedStringForKey("a", {}, table);
  }

  Path folder;
};

TEST_F(NSBundleTest, tellsWhatItsInfoPlistHoldsElseItsFoldersName) {
  addInfo();
  add({"My Plug-in.bundle/data"});
  const auto player = NSBundle::bundleWithPath(folder);
  EXPECT_EQ(player->bundleIdentifier(), "org.example.player");
  EXPECT_EQ(player->objectForInfoDictionaryKey("CFBundleName"), player->valueForKey("name"));
  const auto plugIn = NSBundle::bundleWithPath(folder / "My Plug-in.bundle/");
  EXPECT_EQ(plugIn->name(), "My Plug-in");
  EXPECT_EQ(plugIn->bundleIdentifier(), std::nullopt);
  EXPECT_EQ(plugIn->description(), "NSBundle <" + (folder / "My Plug-in.bundle>").string());
  EXPECT_EQ(NSBundle::bundleWithPath(folder / "absent"), nullptr);
  EXPECT_EQ(NSBundle::bundleWithPath(folder / "Info.plist"), nullptr);
}

TEST_F(NSBundleTest, choosesLocalizationsForTheReader) {
  const struct {
    Names localizations, preferences, chosen;
  } cases[] = {
      {{"de", "en", "fr"}, {"fr", "it", "de"}, {"fr", "de"}},
      {{"de"}, {"de-AT", "de-DE", "de"}, {"de"}},  // each once
      {{"pt_BR"}, {"pt-br.UTF-8"}, {"pt_BR"}},
      {{"de", "de-AT"}, {"de-AT"}, {"de-AT"}},
      {{"de", "de-CH"}, {"de-AT"}, {"de"}},
      {{"en", "de-CH"}, {"de-AT"}, {"de-CH"}},
      {{"en-GB", "en"}, {"en"}, {"en"}},
      {{"zh-Hans", "zh-Hant"}, {"zh-TW"}, {"zh-Hant"}},
      {{"zh_CN", "zh_TW"}, {"zh-HK"}, {"zh_TW"}},
      {{"zh-TW", "zh-CN"}, {"zh"}, {"zh-CN"}},
      {{"zh-Hans"}, {"zh-TW"}, {}},
      {{"sr-Latn", "sr-Cyrl"}, {"sr-Cyrl-RS"}, {"sr-Cyrl"}},
      {{"German", "de"}, {"de"}, {"de"}},
      {{"English", "German"}, {"de-AT"}, {"German"}},
      {{"iw", "nb"}, {"no", "he"}, {"nb", "iw"}},  // old codes
      {{"Base", ""}, {"de", "", "fr"}, {}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(NSBundle::preferredLocalizationsFromArray(c.localizations, c.preferences), c.chosen);
  }
}

TEST_F(NSBundleTest, fallsBackToTheDevelopmentLocalizationAndToBase) {
  addInfo();
  add({"de.lproj/x", "English.lproj/x", "Base.lproj/x", "fr.lproj"});
  EXPECT_THAT(bundle()->localizations(), ElementsAre("Base", "English", "de"));
  EXPECT_THAT(bundle({"de-AT", "en"})->preferredLocalizations(), ElementsAre("de", "English"));
  EXPECT_THAT(bundle({"fr"})->preferredLocalizations(), ElementsAre("English"));
  std::filesystem::remove_all(folder / "English.lproj");
  EXPECT_THAT(bundle({"fr"})->preferredLocalizations(), ElementsAre("Base"));
}

TEST_F(NSBundleTest, findsResources) {
  addInfo();
  add({"logo.png", "only-here.png", "icons/large/logo.png", "page.html", "de.lproj/welcome.html",
       "de.lproj/page.html", "de.lproj/tips/tip.html", "fr.lproj/welcome.html", "fr.lproj/french.html",
       "en.lproj/english.html", "Base.lproj/base.html", "it.lproj/welcome.html", "it.lproj/italian.html"});
  const struct {
    std::string_view name, type, subdirectory, localization;
    const char* found;  // null where nothing is
  } cases[] = {
      {"logo", "png", "", "", "logo.png"},
      {"logo", ".png", "", "", "logo.png"},
      {"logo.png", "png", "", "", "logo.png"},
      {"logo", "", "", "", nullptr},
      {"logo", "png", "icons/large", "", "icons/large/logo.png"},
      {"icons/large/logo.png", "", "", "", "icons/large/logo.png"},
      {"only-here", "png", "icons", "", nullptr},
      {"page", "html", "", "", "page.html"},  // before localised ones
      {"welcome", "html", "", "", "de.lproj/welcome.html"},
      {"french", "html", "", "", "fr.lproj/french.html"},
      {"english", "html", "", "", "en.lproj/english.html"},  // the language of development
      {"base", "html", "", "", "Base.lproj/base.html"},
      {"italian", "html", "", "", nullptr},
      {"tip", "html", "tips", "", "de.lproj/tips/tip.html"},
      {"welcome", "html", "", "it", "it.lproj/welcome.html"},
      {"page", "html", "", "fr", nullptr},
  };
  const auto found = bundle({"de-AT", "fr"});
  for (const auto& c : cases) {
    const auto want = c.found != nullptr ? std::optional((folder / c.found).string()) : std::nullopt;
    EXPECT_EQ(found->pathForResource(c.name, c.type, c.subdirectory, c.localization), want) << c.name;
  }
}

TEST_F(NSBundleTest, listsResourcesOfAType) {
  add({"b.png", "a.png", "a.gif", ".png", "icons/c.png", "de.lproj/d.png", "de.lproj/a.png",
       "fr.lproj/e.png"});
  EXPECT_THAT(bundle()->pathsForResourcesOfType("png"),
              ElementsAre(folder / "a.png", folder / "b.png", folder / "de.lproj/d.png"));
  EXPECT_THAT(bundle()->pathsForResourcesOfType("png", "icons"), ElementsAre(folder / "icons/c.png"));
  EXPECT_THAT(bundle()->pathsForResourcesOfType("", {}, "fr"), ElementsAre(folder / "fr.lproj/e.png"));
}

TEST_F(NSBundleTest, namesThatLeadOutOfItFindNothing) {
  add({"secret.txt", "secret.lproj/x.txt", "player/x.txt", "player/de.lproj/y.txt"});
  add({"secret.strings"}, "a = b;");
  const auto player = BundleFactory::bundleInFolder(folder / "player", {"de"});
  using namespace std::string_literals;
  for (const auto& name : {"../secret"s, "x/../../secret"s, (folder / "secret").string(), "..\0"s}) {
    EXPECT_FALSE(player->pathForResource(name, "txt")) << name;
    EXPECT_FALSE(player->pathForResource("x", "txt", name)) << name;
    EXPECT_FALSE(player->pathForResource("x", "txt", {}, name)) << name;
    EXPECT_THAT(player->pathsForResourcesOfType("txt", name), IsEmpty()) << name;
    EXPECT_THAT(player->pathsForResourcesOfType("txt", {}, name), IsEmpty()) << name;
    EXPECT_EQ(player->localizedStringForKey("a", {}, name), "a") << name;
  }
  EXPECT_FALSE(player->pathForResource("secret", "/../../secret.txt"));
  EXPECT_TRUE(player->pathForResource("./x", "txt"));
  EXPECT_THAT(player->pathsForResourcesOfType("txt", ".."), IsEmpty());
}

TEST_F(NSBundleTest, ofAProgramIsTheFolderOfTheEnvironmentElseBesideTheProgramElseInShare) {
  const auto mainPath = [&](const char* fromEnvironment = nullptr) {
    const Path environment = fromEnvironment != nullptr ? folder / fromEnvironment : Path();
    return BundleFactory::bundleOfProgram(folder / "bin/player", environment, {"de"})->bundlePath();
  };
  EXPECT_EQ(mainPath(), folder / "bin");
  add({"share/player/x.txt"});
  EXPECT_EQ(mainPath(), folder / "share/player");
  add({"bin/player.resources/x.txt", "other/x.txt"});
  EXPECT_EQ(mainPath(), folder / "bin/player.resources");
  EXPECT_EQ(mainPath("other"), folder / "other");
  StandardErrorCapture capture;
  EXPECT_EQ(mainPath("absent"), folder / "bin/player.resources");
  EXPECT_THAT(capture.take(), ElementsAre(HasSubstr("QV_BUNDLE_PATH names no folder: ")));
}

TEST_F(NSBundleTest, ofAProgramWithoutResourcesHasANameAndGivesEachTextBack) {
  addInfo();
  add({"de.lproj/Localizable.strings"}, "a = b;");
  const auto main = BundleFactory::bundleOfProgram(folder / "player", {}, {"de"});
  EXPECT_EQ(main->name(), "player");
  EXPECT_TRUE(main->infoDictionary().empty() && main->localizations().empty());
  EXPECT_FALSE(main->pathForResource("Info", "plist"));
  EXPECT_EQ(main->localizedStringForKey("a"), "a");
}

TEST_F(NSBundleTest, canReplaceTheMainBundleForAScope) {
  const std::shared_ptr<NSBundle>& original = NSBundle::mainBundle();
  {
    const auto replacement = bundle();
    const MainBundleOverride outer(replacement);
    {
      const MainBundleOverride inner(original);
    }
    EXPECT_EQ(NSBundle::mainBundle(), replacement);
  }
  EXPECT_EQ(&NSBundle::mainBundle(), &original);
}

TEST_F(NSBundleTest, hasTheTranslationElseTheValueElseTheKeyAndReadsTablesOnce) {
  add({"de.lproj/Localizable.strings", "de.lproj/Other.strings"}, R"("a" = "Mediathek"; "nothing" = "";)");
  const auto library = bundle();
  EXPECT_EQ(library->localizedStringForKey("a", "Library", ""), "Mediathek");
  EXPECT_EQ(library->localizedStringForKey("a", {}, "Other.strings"), "Mediathek");
  EXPECT_EQ(library->localizedStringForKey("nothing", "something"), "");
  EXPECT_EQ(library->localizedStringForKey("absent", "value"), "value");
  EXPECT_EQ(library->localizedStringForKey("a", {}, "Late"), "a");
  std::filesystem::remove_all(folder / "de.lproj");
  add({"Late.strings"}, "a = b;");
  EXPECT_EQ(library->localizedStringForKey("a"), "Mediathek");
  EXPECT_EQ(library->localizedStringForKey("a", {}, "Late"), "a");
}

std::string binary(const Dictionary& dictionary) {
  const NSData data = dataFromPropertyList(dictionary, PropertyListFormat::binary);
  return {reinterpret_cast<const char*>(data.data()), data.size()};
}

TEST_F(NSBundleTest, takesTextsFromTheFirstTableOnTheWayElseFromALocalizationTable) {
  add({"Localizable.loctable"}, binary({{"de", Dictionary{{"a", "ä"}}}, {"en", Dictionary{{"a", "e"}}}}));
  EXPECT_EQ(textFor("de-AT"), "ä");
  EXPECT_EQ(textFor("fr"), "a");
  addInfo();
  EXPECT_EQ(textFor("fr"), "e");
  add({"en.lproj/Localizable.strings"}, "a = en;");
  add({"Base.lproj/Other.strings"}, "a = base;");
  EXPECT_EQ(textFor("fr"), "en");
  EXPECT_EQ(textFor("fr", "Other"), "base");
  add({"de.lproj/Localizable.strings"}, "b = de;");
  EXPECT_EQ(textFor("de"), "a") << "the other tables are not asked";
}

TEST_F(NSBundleTest, readsTablesInEachForm) {
  using namespace std::string_literals;
  for (const auto& content :
       {"\"a\" = \"ä€\";"s, "\xEF\xBB\xBF\"a\" = \"ä€\";"s,
        "\xFF\xFE"
        "a\0=\0\"\0\xE4\0\xAC\x20\"\0;\0"s,
        "<plist><dict><key>a</key><string>ä€</string></dict></plist>"s, binary({{"a", "ä€"}})}) {
    add({"de.lproj/Localizable.strings"}, content);
    EXPECT_EQ(textFor("de"), "ä€") << content;
  }
}

TEST_F(NSBundleTest, reportsEachDamagedFileOnceAndTakesItAsAbsentWhicheverThreadAsksFirst) {
  constexpr int threadCount = 8;
  constexpr int tableCount = 20;
  for (int table = 0; table < tableCount; ++table)
    add({stringWithFormat("de.lproj/T%d.strings", table)}, stringWithFormat("a = text%d;", table));
  add({"de.lproj/Damaged.strings"}, "a = b;\nc = ;");
  add({"Other.loctable"}, "<array/>");
  add({"Info.plist"}, "<dict><key>CFBundleName</key>");
  StandardErrorCapture capture;
  const auto damaged = bundle();
  EXPECT_THAT(capture.take(),
              ElementsAre(HasSubstr("Info.plist\" could not be read: Invalid property list at line 1")));

  std::latch start(threadCount);
  std::atomic<int> wrong = 0;
  std::vector<std::jthread> threads;
  threads.reserve(threadCount);
  for (int thread = 0; thread < threadCount; ++thread) {
    threads.emplace_back([&, thread] {
      start.arrive_and_wait();
      for (int step = 0; step < tableCount; ++step) {
        const std::string number = std::to_string((step + thread * 3) % tableCount);
        wrong += damaged->localizedStringForKey("a", {}, "T" + number) != "text" + number;
        wrong += damaged->localizedStringForKey("a", {}, "Damaged") != "a";
        wrong += NSBundle::mainBundle() == nullptr;
      }
    });
  }
  threads.clear();
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(damaged->localizedStringForKey("a", {}, "Other"), "a");
  EXPECT_THAT(capture.take(), ElementsAre(AllOf(HasSubstr("de.lproj/Damaged.strings"),
                                                HasSubstr("line 2, column 5: expected a text after =")),
                                          HasSubstr("it holds no dictionary")));
}

}  // namespace
}  // namespace QVFoundation
