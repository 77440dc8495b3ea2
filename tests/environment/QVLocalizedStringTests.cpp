#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "QVFoundation/Environment.h"
#include "QVFoundation/platform/application/NSBundle_p.h"
#include "tests/platform/files/TemporaryFolder.h"

namespace QVFoundation {
namespace {

using detail::BundleFactory;
using detail::MainBundleOverride;
using testing::TemporaryFolder;
using Names = std::vector<std::string>;

/// A main bundle and another one, both read by a German.
class QVLocalizedStringTest : public ::testing::Test {
protected:
  QVLocalizedStringTest() {
    write("main/de.lproj/Localizable.strings",
          R"("%d of %@" = "%2$@: %1$d"; "42" = "%.1f Grad"; "hidden" = "sichtbar"; "%.1f" = "%.1f!";)");
    write("main/de.lproj/Menus.strings", R"("quit %@" = "%@ beenden";)");
    write("other/de.lproj/Localizable.strings", R"("42" = "zweiundvierzig %d"; "play" = "%d spielt";)");
    write("other/de.lproj/Menus.strings", R"("quit %@" = "%@ aus";)");
    other = BundleFactory::bundleInFolder(folder / "other", {"de"});
    main.emplace(BundleFactory::bundleInFolder(folder / "main", {"de"}));
  }

  void write(const std::string& path, std::string_view content) const {
    std::filesystem::create_directories((folder / path).parent_path());
    testing::makeFile(folder / path, content);
  }

  TemporaryFolder folder;
  std::shared_ptr<NSBundle> other;
  std::optional<MainBundleOverride> main;
};

struct Plugin {
  static inline std::shared_ptr<NSBundle> bundle;
  static std::shared_ptr<NSBundle> localizedStringBundle() { return bundle; }
};

TEST_F(QVLocalizedStringTest, findsATextWhereEachFormLooksAndFillsIt) {
  const std::shared_ptr<NSBundle> none;
  Plugin::bundle = other;
  const struct {
    const char* row;
    std::string text, expected;
  } cases[] = {
      {"main", QVLocalizedString("%d of %@", 3, "nine"), "nine: 3"},
      {"missing", QVLocalizedString("%@ is missing", "it"), "it is missing"},
      {"id", QVLocalizedStringWithID(42, "%.1f degrees", 1.5), "1.5 Grad"},
      {"idMissing", QVLocalizedStringWithID(43, "%.1f degrees", 1.5), "1.5 degrees"},
      {"idMissingWithoutDefault", QVLocalizedStringWithID(18446744073709551615U, "", 1),
       "18446744073709551615"},
      {"idInBundle", QVLocalizedStringWithIDInBundle(42, other, "forty-two", 7), "zweiundvierzig 7"},
      {"idInNoBundle", QVLocalizedStringWithIDInBundle(42, none, "forty-two %d", 7), "forty-two 7"},
      {"idInNoBundleWithoutDefault", QVLocalizedStringWithIDInBundle(42, none, ""), ""},
      {"default", QVLocalizedStringWithDefaultValue("hidden", "shown"), "sichtbar"},
      {"defaultMissing", QVLocalizedStringWithDefaultValue("missing", "%d shown", 2), "2 shown"},
      {"emptyDefault", QVLocalizedStringWithDefaultValue("hidden", ""), ""},
      {"emptyDefaultInBundle", QVLocalizedStringWithDefaultValueInBundle("play", other, "", 1), ""},
      {"defaultInBundle", QVLocalizedStringWithDefaultValueInBundle("play", other, "plays", 1), "1 spielt"},
      {"defaultInNoBundle", QVLocalizedStringWithDefaultValueInBundle("play", none, "plays"), "play"},
      {"table", QVLocalizedStringFromTable("quit %@", "Menus", "Player"), "Player beenden"},
      {"tableMissing", QVLocalizedStringFromTable("quit %@", "Absent", "Player"), "quit Player"},
      {"tableInBundle", QVLocalizedStringFromTableInBundle("quit %@", "Menus", other, "Player"),
       "Player aus"},
      {"tableInNoBundle", QVLocalizedStringFromTableInBundle("quit %@", "Menus", none, "P"), "quit P"},
      {"type", QVLocalizedStringWithArgs<Plugin>("quit %@", "Menus", "Player"), "Player aus"},
      {"object", QVLocalizedStringWithArgsInMyBundle(Plugin(), "play", "", 5), "5 spielt"},
  };
  for (const auto& [row, text, expected] : cases) EXPECT_EQ(text, expected) << row;
}

TEST_F(QVLocalizedStringTest, findsATextInALocalizationThatTheUserDoesNotRead) {
  write("main/fr.lproj/Menus.strings", R"("a" = "strings fr";)");
  write("main/it.lproj/Other.strings", R"("a" = "strings it";)");
  write("main/es.lproj/Menus.strings", "damaged {");
  write("main/Menus.loctable",
        "<plist><dict><key>fr</key><dict><key>a</key><string>loctable fr</string>"
        "<key>b</key><string>b</string></dict>"
        "<key>es</key><dict><key>a</key><string>loctable es</string></dict>"
        "<key>it</key><dict><key>a</key><string>loctable it</string></dict></dict></plist>");
  const auto bundle = BundleFactory::bundleInFolder(folder / "main", {"de"});
  const struct {
    const char* row;
    std::string key, table;
    Names preferences;
    std::optional<std::string> expected;
  } cases[] = {
      {"strings", "a", "Menus", {"fr-CA", "it"}, "strings fr"},
      {"notInStrings", "b", "Menus", {"fr"}, std::nullopt},  // the other table is not asked for it
      {"loctable", "a", "Menus", {"it"}, "loctable it"},
      {"damaged", "a", "Menus", {"es"}, std::nullopt},
      {"noSuchTable", "a", "Absent", {"fr"}, std::nullopt},
      {"noSuchLanguage", "a", "Menus", {"pl"}, std::nullopt},
      {"standardTable", "hidden", "", {"de"}, "sichtbar"},
  };
  for (const auto& [row, key, table, preferences, expected] : cases)
    EXPECT_EQ(qv_localizedStringForKey(*bundle, key, table, preferences), expected) << row;
}

}  // namespace
}  // namespace QVFoundation
