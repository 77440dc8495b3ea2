#include "QVFoundation/platform/application/NSBundle.h"

#include <atomic>
#include <latch>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "QVFoundation/platform/application/NSBundle_p.h"
#include "QVFoundation/platform/text/PropertyList.h"
#include "tests/platform/application/BundleFolder.h"
#include "tests/platform/tracing/StandardErrorCapture.h"

namespace QVFoundation {
namespace {

using detail::BundleFactory;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

std::shared_ptr<NSBundle> bundleIn(const BundleFolder& folder,
                                   const std::vector<std::string>& languages = {"de"}) {
  return BundleFactory::bundleInFolder(folder.path(), languages);
}

std::string binary(const Dictionary& dictionary) {
  const NSData data = dataFromPropertyList(dictionary, PropertyListFormat::binary);
  return {reinterpret_cast<const char*>(data.data()), data.size()};
}

TEST(NSBundleText, isTheTranslationElseTheValueElseTheKey) {
  const BundleFolder folder;
  folder.add("de.lproj/Localizable.strings", R"("library" = "Mediathek"; "nothing" = "";)");
  folder.add("de.lproj/Other.strings", R"("library" = "Bibliothek";)");
  const auto bundle = bundleIn(folder);
  EXPECT_EQ(bundle->localizedStringForKey("library"), "Mediathek");
  EXPECT_EQ(bundle->localizedStringForKey("library", "Library", ""), "Mediathek");
  EXPECT_EQ(bundle->localizedStringForKey("library", {}, "Other"), "Bibliothek");
  EXPECT_EQ(bundle->localizedStringForKey("library", {}, "Other.strings"), "Bibliothek");
  EXPECT_EQ(bundle->localizedStringForKey("nothing", "something"), "");
  EXPECT_EQ(bundle->localizedStringForKey("absent", "value"), "value");
  EXPECT_EQ(bundle->localizedStringForKey("absent"), "absent");
  EXPECT_EQ(bundle->localizedStringForKey("library", {}, "NoSuchTable"), "library");
  EXPECT_EQ(bundle->localizedStringForKey(""), "");
}

TEST(NSBundleText, comesFromTheFirstTableOnTheWay) {
  const BundleFolder folder;
  folder.add("Info.plist", "<dict><key>CFBundleDevelopmentRegion</key><string>en</string></dict>");
  folder.add("en.lproj/Localizable.strings", "a = en; only = en;")
      .add("de.lproj/Localizable.strings", "a = de;");
  folder.add("Base.lproj/Other.strings", "a = base;");
  EXPECT_EQ(bundleIn(folder, {"de"})->localizedStringForKey("a"), "de");
  EXPECT_EQ(bundleIn(folder, {"de"})->localizedStringForKey("only"), "only");
  EXPECT_EQ(bundleIn(folder, {"fr"})->localizedStringForKey("a"), "en");
  EXPECT_EQ(bundleIn(folder, {"fr"})->localizedStringForKey("a", {}, "Other"), "base");
}

TEST(NSBundleText, comesFromALocalizationTableWhereThereIsNoOther) {
  const BundleFolder folder;
  folder.add("Localizable.loctable",
             binary({{"de", Dictionary{{"a", "ä"}}}, {"en", Dictionary{{"a", "e"}}}}));
  EXPECT_EQ(bundleIn(folder, {"de-AT"})->localizedStringForKey("a"), "ä");
  EXPECT_EQ(bundleIn(folder, {"fr"})->localizedStringForKey("a"), "a");
  folder.add("Info.plist", "<dict><key>CFBundleDevelopmentRegion</key><string>en</string></dict>");
  EXPECT_EQ(bundleIn(folder, {"fr"})->localizedStringForKey("a"), "e");
  folder.add("de.lproj/Localizable.strings", "b = c;");
  EXPECT_EQ(bundleIn(folder, {"de"})->localizedStringForKey("a"), "a");
}

struct EncodingCase {
  const char* row;
  std::string content;
};

const EncodingCase encodings[] = {
    {"UTF-8", "\"a\" = \"ä€\";"},
    {"UTF-8 with a mark", "\xEF\xBB\xBF\"a\" = \"ä€\";"},
    {"UTF-16", std::string("\xFF\xFE"
                           "a\0=\0\"\0\xE4\0\xAC\x20\"\0;\0",
                           16)},
    {"XML", "<plist><dict><key>a</key><string>ä€</string></dict></plist>"},
    {"binary", binary({{"a", "ä€"}})},
};

TEST(NSBundleText, isReadInEachForm) {
  for (const EncodingCase& c : encodings) {
    const BundleFolder folder;
    folder.add("de.lproj/Localizable.strings", c.content);
    EXPECT_EQ(bundleIn(folder)->localizedStringForKey("a"), "ä€") << c.row;
  }
}

TEST(NSBundleText, aDamagedTableIsReportedOnceAndTakenAsAbsent) {
  const BundleFolder folder;
  folder.add("de.lproj/Localizable.strings", "a = b;\nc = ;").add("Other.loctable", "<array/>");
  const auto bundle = bundleIn(folder);
  QVFoundation::testing::StandardErrorCapture capture;
  EXPECT_EQ(bundle->localizedStringForKey("a"), "a");
  EXPECT_EQ(bundle->localizedStringForKey("a", "value"), "value");
  EXPECT_THAT(capture.take(), ElementsAre(AllOf(HasSubstr("de.lproj/Localizable.strings"),
                                                HasSubstr("line 2, column 5: expected a text after ="))));
  EXPECT_EQ(bundle->localizedStringForKey("a", {}, "Other"), "a");
  EXPECT_EQ(bundle->localizedStringForKey("a", {}, "Other"), "a");
  EXPECT_THAT(capture.take(), ElementsAre(HasSubstr("it holds no dictionary")));
}

TEST(NSBundleText, tablesAreReadOnceAndKept) {
  const BundleFolder folder;
  folder.add("de.lproj/Localizable.strings", "a = b;");
  const auto bundle = bundleIn(folder);
  EXPECT_EQ(bundle->localizedStringForKey("a"), "b");
  EXPECT_EQ(bundle->localizedStringForKey("x", {}, "Late"), "x");
  std::filesystem::remove_all(folder.path() / "de.lproj");
  folder.add("Late.strings", "x = y;");
  EXPECT_EQ(bundle->localizedStringForKey("a"), "b");
  EXPECT_EQ(bundle->localizedStringForKey("x", {}, "Late"), "x");
}

TEST(NSBundleText, manyThreadsMayAskForTheirFirstTextAtOnce) {
  constexpr int threadCount = 8;
  constexpr int tableCount = 20;
  const BundleFolder folder;
  for (int table = 0; table < tableCount; ++table) {
    folder.add("de.lproj/T" + std::to_string(table) + ".strings", "a = text" + std::to_string(table) + ";");
  }
  folder.add("de.lproj/Damaged.strings", "a");
  const auto bundle = bundleIn(folder);

  QVFoundation::testing::StandardErrorCapture capture;
  std::latch start(threadCount);
  std::atomic<int> wrong = 0;
  std::vector<std::thread> threads;
  threads.reserve(threadCount);
  for (int thread = 0; thread < threadCount; ++thread) {
    threads.emplace_back([&, thread] {
      start.arrive_and_wait();
      for (int step = 0; step < tableCount; ++step) {
        const std::string number = std::to_string((step + thread * 3) % tableCount);
        wrong += bundle->localizedStringForKey("a", {}, "T" + number) != "text" + number;
        wrong += bundle->localizedStringForKey("a", {}, "Damaged") != "a";
        wrong += !NSBundle::mainBundle();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
  EXPECT_THAT(capture.take(), ElementsAre(HasSubstr("Damaged.strings")));
}

}  // namespace
}  // namespace QVFoundation
