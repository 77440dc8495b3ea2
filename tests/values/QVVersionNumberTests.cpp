#include "QVFoundation/values/QVVersionNumber.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "QVFoundation/platform/application/NSBundle_p.h"
#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/MutableArrayProxy.h"
#include "QVFoundation/platform/runtime/NSKeyValueObserving.h"
#include "QVFoundation/platform/runtime/ValueOrder.h"
#include "QVFoundation/platform/serialization/NSKeyedArchiver.h"
#include "QVFoundation/platform/serialization/NSKeyedUnarchiver.h"
#include "QVFoundation/platform/serialization/PropertyList.h"
#include "QVFoundation/values/QVBundleVersion.h"
#include "tests/platform/files/TemporaryFolder.h"
#include "tests/platform/runtime/RaisedException.h"

namespace QVFoundation {
namespace {

using Digits = std::vector<std::int64_t>;
using Version = std::shared_ptr<QVVersionNumber>;

Version parsed(std::optional<std::string_view> text) { return QVVersionNumber::versionWithString(text); }

Version withDigits(const Digits& digits) { return std::make_shared<QVVersionNumber>(digits); }

TEST(QVVersionNumber, isReadFromTextAndWrittenBack) {
  const struct {
    const char* row;
    std::optional<std::string_view> text;
    Digits digits;  // none where there is no version
    std::string written;
  } cases[] = {
      {"absent", {}, {}, ""},
      {"empty", "", {}, ""},
      {"noVersion", "version 1", {}, ""},
      {"onlyADot", ".1", {}, ""},
      {"upperCaseStage", "B1", {}, ""},
      {"plain", "2.1.3", {2, 1, 3}, "2.1.3"},
      {"stage", "1.0b2", {1, 0, -24, 2}, "1.0b2"},
      {"stageAlone", "b", {-24}, "b"},
      {"runOfStagesIsItsFirst", "1ab2", {1, -25, 2}, "1a2"},
      {"letterThatIsNoStageEnds", "beta", {-24}, "b"},
      {"suffixEnds", "1.2.3-beta", {1, 2, 3}, "1.2.3"},
      {"oneDotOnly", "1..2", {1}, "1"},
      {"dotAtTheEnd", "1.", {1}, "1"},
      {"noDotBehindALetter", "1b.2", {1, -24}, "1b"},
      {"whiteSpace", " 1.0 b\n3 ", {1, 0, -24, 3}, "1.0b3"},
      {"whiteSpaceBeforeTheDot", "1 . 2", {1, 2}, "1.2"},
      {"numbersWithoutDots", "1 2", {1, 2}, "1.2"},
      {"leadingZeros", "01.002", {1, 2}, "1.2"},
      {"signs", "+1.-5", {1, -5}, "1u"},  // what is negative is written as a letter
      {"tooLarge", "99999999999.1", {2147483647, 1}, "2147483647.1"},
      {"longNumberBehindShort", "1.2.2147483648.3", {1, 2, 2147483647, 3}, "1.2.2147483647.3"},
      {"dotApartBehindPlain", "1.2 .999999999\t. 4", {1, 2, 999999999, 4}, "1.2.999999999.4"},
      {"manyDigits", "1.2.3.4.5.6.7.8", {1, 2, 3, 4, 5, 6, 7, 8}, "1.2.3.4.5.6.7.8"},
  };
  for (const auto& [row, text, digits, written] : cases) {
    const Version version = parsed(text);
    EXPECT_EQ(version == nullptr, digits.empty()) << row;
    if (version == nullptr) continue;
    EXPECT_EQ(version->digits(), digits) << row;
    EXPECT_EQ(version->versionString(), written) << row;
  }
  EXPECT_EQ(withDigits({})->versionString(), "");
  EXPECT_EQ(withDigits({-200, 1})->versionString(),
            "\uFFB2"
            "1");
  EXPECT_EQ(withDigits({1, std::int64_t{1} << 31, 4'294'967'296 + 7})->versionString(), "1.-2147483648.7");
}

TEST(QVVersionNumber, isReadFromABuildNumber) {
  const struct {
    const char* row;
    std::optional<std::string_view> text;
    Digits digits;
    std::string written;
  } cases[] = {
      {"absent", {}, {}, ""},
      {"neither", "?1", {}, ""},
      {"plain", "9A581", {9, 65, 581}, "9.65.581"},
      {"variant", "9A581a", {9, 65, 0, 581, 97}, "9.65.0.581.97"},
      {"runsAreTheirFirst", "9XYZ5 abc", {9, 88, 0, 5, 97}, "9.88.0.5.97"},
      {"twoVariants", "1a2b", {0, 1, 97, 0, 2, 98}, "0.1.97.0.2.98"},
      {"variantOfATrain", "Zz", {0, 90, 122}, "0.90.122"},
      {"dotEnds", "10.5", {10}, "10"},
      {"moreThan32Bits", "8589934593C", {8589934593, 67}, "1.67"},
      {"sign", "5-3", {5, -3}, "5w"},
  };
  for (const auto& [row, text, digits, written] : cases) {
    const Version version = QVVersionNumber::versionWithBuildVersionString(text);
    EXPECT_EQ(version->digits(), digits) << row;
    EXPECT_EQ(version->versionString(), written) << row;
  }
  const std::string raised =
      testing::raisedBy([] { (void)QVVersionNumber::versionWithBuildVersionString(" a1"); });
  EXPECT_TRUE(raised.starts_with("NSRangeException: ")) << raised;
}

TEST(QVVersionNumber, comparesDigitByDigitAndOneSidedBehindTheShorter) {
  const struct {
    const char *a, *b;
    int order, reversed;
  } cases[] = {
      {"1.0", "1.0", 0, 0},
      {"2.10", "2.9", 1, -1},
      {"1.0", "1.0.0", 0, 0},
      {"1.0a1", "1.0b1", -1, 1},
      {"1.0b1", "1.0", -1, 1},
      {"1.0", "1.0.1", -1, 1},
      {"1.0a9", "1.0.1", -1, 1},
      {"1", "1.0.1", 0, 1},  // of a longer other version only the first digit more counts
      {"1", "1.0a", 0, -1},
      {"1", "1a", 1, -1},
      {"1", "1.2", -1, 1},
      {"1.2.0.0.0.0.0.1", "1.2", 1, 0},
  };
  for (const auto& [a, b, order, reversed] : cases) {
    const Version first = parsed(a), second = parsed(b);
    EXPECT_EQ(first->compare(*second), order) << a << ' ' << b;
    EXPECT_EQ(second->compare(*first), reversed) << a << ' ' << b;
    EXPECT_EQ(first->compare(b), order) << a << ' ' << b;
    EXPECT_EQ(QVVersionNumber::compareVersionString(a, b), order) << a << ' ' << b;
    EXPECT_EQ(compareValues(first, second), order) << a << ' ' << b;
    EXPECT_EQ(first->isEqual(*second), order == 0) << a << ' ' << b;
  }
  // Builds have letters above zero.
  const auto build = &QVVersionNumber::versionWithBuildVersionString;
  EXPECT_EQ(build("9A581a")->compare(*build("9A581")), -1);
  EXPECT_EQ(build("9A581")->compare(*build("9A581a")), 1);
}

TEST(QVVersionNumber, comparesWithWhatIsNoVersion) {
  const struct {
    std::optional<std::string_view> a, b;
    int order = 0;
  } cases[] = {
      {{}, "1", 0}, {"?", "1", 0}, {"1", {}, 1}, {"1", "?", 1}, {"0.0", "?", 0}, {"a", {}, -1}, {{}, {}, 0},
  };
  for (const auto& [a, b, order] : cases)
    EXPECT_EQ(QVVersionNumber::compareVersionString(a, b), order) << a.value_or("-") << b.value_or("-");
  EXPECT_EQ(parsed("1")->compare(std::nullopt), 1);

  class Later : public QVVersionNumber {};
  class Stranger : public NSObject {};
  const QVVersionNumber nothing;
  EXPECT_TRUE(parsed("0")->isEqual(Later()));
  EXPECT_FALSE(nothing.isEqual(Stranger()));
  EXPECT_TRUE(nothing.compare(Stranger()) == std::partial_ordering::unordered);
  EXPECT_NE(withDigits({1})->hash(), withDigits({1})->hash());
}

TEST(QVVersionNumber, itsCopyIsTheObjectItself) {
  const Version version = parsed("3");
  const auto copy = std::dynamic_pointer_cast<QVVersionNumber>(version->copy());
  version->addDigit(1);
  EXPECT_EQ(copy->versionString(), "3.1");
  EXPECT_EQ(version->description(),
            version->shortDescription() + ": {digits = (\n    3,\n    1\n), versionString = 3.1}");
}

TEST(QVVersionNumber, givesItsFirstDigitsByNameAndZeroForWhatIsMissing) {
  for (const auto& [text, first, second, third] :
       {std::tuple("3", 3, 0, 0), {"1b2", 1, -24, 2}, {"1.2.3.4", 1, 2, 3}}) {
    const Version version = parsed(text);
    EXPECT_EQ(version->majorVersionNumber(), first) << text;
    EXPECT_EQ(version->minorVersionNumber(), second) << text;
    EXPECT_EQ(version->bugFixVersionNumber(), third) << text;
  }
  EXPECT_EQ(withDigits({})->majorVersionNumber(), 0);
}

TEST(QVVersionNumber, tellsObserversWhichDigitsChange) {
  const Version version = parsed("1.2");
  std::string told;
  const auto digits = observe(
      *version, "digits", NSKeyValueObservingOptionNone, [&](NSObject&, const NSKeyValueChange& change) {
        told += std::to_string(static_cast<int>(change.kind())) + change.indexes().description() + ' ';
      });
  const auto text = observe(*version, "versionString", NSKeyValueObservingOptionNew,
                            [&](NSObject&, const NSKeyValueChange& change) {
                              told += change.newValue().as<std::string>().value_or("?") + ' ';
                            });
  const auto take = [&] { return std::exchange(told, {}); };
  version->addDigit(7);
  EXPECT_EQ(take(), "2{2} 1.2.7 ");
  version->insertObject(-25, 0);
  EXPECT_EQ(take(), "2{0} a1.2.7 ");
  version->removeObjectFromDigitsAtIndex(1);
  EXPECT_EQ(take(), "3{1} a2.7 ");
  mutableArrayValueForKey(*version, "digits").replace(0, 4);
  EXPECT_EQ(take(), "4{0} 4.2.7 ");
  version->setDigits({5, 1, 2, 3, 4, 5, 6});
  EXPECT_EQ(take(), "1{} 5.1.2.3.4.5.6 ");
  version->removeObjectFromDigitsAtIndex(6);
  version->removeObjectFromDigitsAtIndex(0);
  EXPECT_EQ(version->digits(), (Digits{1, 2, 3, 4, 5}));
  EXPECT_EQ(version->objectInDigitsAtIndex(4), 5);
  version->setValueForKey(Array{8, 1}, "digits");
  EXPECT_EQ(version->countOfDigits(), 2U);

  const Digits before = version->digits();
  for (const std::string& raised : {testing::raisedBy([&] { (void)version->objectInDigitsAtIndex(2); }),
                                    testing::raisedBy([&] { version->insertObject(1, 3); }),
                                    testing::raisedBy([&] { version->removeObjectFromDigitsAtIndex(2); })}) {
    EXPECT_TRUE(raised.starts_with("NSRangeException: ")) << raised;
  }
  for (const Array& unfit : {Array{1, "2"}, Array{1.5}}) {
    const std::string raised = testing::raisedBy([&] { version->setValueForKey(unfit, "digits"); });
    EXPECT_TRUE(raised.starts_with("NSInvalidArgumentException: ")) << raised;
  }
  EXPECT_EQ(version->digits(), before);
}

TEST(QVVersionNumber, isArchivedAsItsDigits) {
  const auto archived = [](const Dictionary& values) {
    return dataFromPropertyList(
        Dictionary{{"archiver", "NSKeyedArchiver"},
                   {"version", 1},
                   {"top", Dictionary{{"object", 0}}},
                   {"objects", Array{Dictionary{{"class", "QVVersionNumber"}, {"values", values}}}}},
        PropertyListFormat::binary);
  };
  using Read = std::shared_ptr<QVVersionNumber>;
  const Read version = QVVersionNumber::versionWithString("1.0b2");
  const auto data = NSKeyedArchiver::archivedDataWithRootObject(version);
  EXPECT_EQ(propertyListFromData(*data), propertyListFromData(archived({{"digits", Array{1, 0, -24, 2}}})));
  EXPECT_EQ((*NSKeyedUnarchiver::unarchivedObject<Read>(*data))->compare(*version), 0);
  EXPECT_TRUE((*NSKeyedUnarchiver::unarchivedObject<Read>(archived({})))->digits().empty());
  for (const Value& damage :
       {Value("1.0"), Value(Array{1, "0"}), Value(Array{1.5}), Value(Array{1, Array{1}})})
    EXPECT_FALSE(NSKeyedUnarchiver::unarchivedObject<Read>(archived({{"digits", damage}})))
        << damage.description();
}

TEST(QVBundleVersion, readsWhatTheBundleSaysOfItself) {
  const testing::TemporaryFolder folder;
  const auto bundleSaying = [&](const std::string& entries) {
    testing::makeFile(folder / "Info.plist", "<plist><dict>" + entries + "</dict></plist>");
    return NSBundle::bundleWithPath(folder / ".");
  };
  const auto text = [](const Version& version) { return version ? version->versionString() : "none"; };
  const auto bundle = bundleSaying(
      "<key>CFBundleVersion</key><string>1042</string>"
      "<key>CFBundleShortVersionString</key><string>2.1b3</string>");
  EXPECT_EQ(text(versionNumber(*bundle)), "1042");
  EXPECT_EQ(text(qv_displayVersionNumber(*bundle)), "2.1b3");
  const auto silent = bundleSaying("<key>CFBundleVersion</key><string>new</string>");
  EXPECT_EQ(text(versionNumber(*silent)), "none");
  EXPECT_EQ(text(qv_displayVersionNumber(*silent)), "none");
  const detail::MainBundleOverride main(bundle);
  EXPECT_EQ(text(QVVersionNumber::mainBundleDisplayVersion()), "2.1b3");
}

}  // namespace
}  // namespace QVFoundation
