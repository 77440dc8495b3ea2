#include <array>
#include <optional>
#include <string>

#include <gmock/gmock.h>

#include "QVFoundation/Environment.h"
#include "QVFoundation/platform/application/NSBundle_p.h"
#include "QVFoundation/platform/application/UserDefaultsFactory_p.h"
#include "tests/platform/files/EnvironmentVariable.h"
#include "tests/platform/files/TemporaryFolder.h"

namespace QVFoundation {
namespace {

using detail::UserDefaultsFactory;
using ::testing::IsEmpty;

enum class Flags : std::uint8_t { none = 0, all = 255 };

enum class Size { small = 1, large = 2 };
constexpr auto rawValues(Size /*any*/) { return std::array{Size::small, Size::large}; }

enum class Theme { light, dark, hidden };
constexpr auto rawValues(Theme /*any*/) {
  return std::array{QVRawValue{Theme::light, "light"}, QVRawValue{Theme::dark, "dark"}};
}

/// Even numbers only.
struct Even {
  int number;
  [[nodiscard]] int rawValue() const { return number; }
  static std::optional<Even> fromRawValue(int number) {
    return number % 2 == 0 ? std::optional(Even{number}) : std::nullopt;
  }
  friend bool operator==(const Even&, const Even&) = default;
};

class QVUserDefaultsTest : public ::testing::Test {
protected:
  ~QVUserDefaultsTest() override { defaults->synchronize(); }  // or else the folder goes while they are saved

  template <class T>
  T read(const Value& setting, T defaultValue) const {
    defaults->setObject(setting, "key");
    return rawRepresentable(*defaults, "key", defaultValue);
  }

  testing::TemporaryFolder folder;
  const std::shared_ptr<NSUserDefaults> defaults = UserDefaultsFactory::defaultsInFile(folder / "U.plist");
};

TEST_F(QVUserDefaultsTest, readsWhatASettingStandsForElseTheDefault) {
  EXPECT_EQ(read({}, Size::small), Size::small);
  EXPECT_EQ(read(2, Size::small), Size::large);
  EXPECT_EQ(read(2.0, Size::small), Size::large);
  EXPECT_EQ(read(3, Size::small), Size::small);    // no enumerator
  EXPECT_EQ(read("2", Size::small), Size::small);  // of another kind
  EXPECT_EQ(read(7, Flags::none), static_cast<Flags>(7));
  EXPECT_EQ(read(256, Flags::all), Flags::all);  // does not fit
  EXPECT_EQ(read("dark", Theme::light), Theme::dark);
  EXPECT_EQ(read("Dark", Theme::light), Theme::light);
  EXPECT_EQ(read(1, Theme::light), Theme::light);
  EXPECT_EQ(read(4, Even{2}), Even{4});
  EXPECT_EQ(read(5, Even{2}), Even{2});
}

TEST_F(QVUserDefaultsTest, storesWhatStandsForAValue) {
  const auto stored = [&](const auto& value) {
    setRawRepresentable(*defaults, value, "key");
    return defaults->objectForKey("key");
  };
  EXPECT_EQ(stored(Size::large), Value(2));
  EXPECT_EQ(stored(Theme::dark), Value("dark"));
  EXPECT_EQ(stored(Theme::hidden), Value());  // has no text
  EXPECT_EQ(stored(std::optional(Even{4})), Value(4));
  EXPECT_EQ(stored(std::optional<Even>()), Value());
}

TEST_F(QVUserDefaultsTest, registersDefaultsOfAFileOrNothing) {
  const auto load = [&](std::string_view content) {
    testing::makeFile(folder / "Defaults.plist", content);
    return qv_loadDefaultsFromFile(*defaults, folder / "Defaults.plist");
  };
  EXPECT_FALSE(qv_loadDefaultsFromFile(*defaults, folder / "absent"));
  EXPECT_FALSE(qv_loadDefaultsFromBundle(*defaults, *detail::BundleFactory::bundleInFolder(folder / "", {})));
  EXPECT_FALSE(load("damaged"));
  EXPECT_FALSE(load("<plist><array/></plist>"));
  EXPECT_THAT(defaults->dictionaryRepresentation(), IsEmpty());
  EXPECT_TRUE(load("<plist><dict><key>volume</key><integer>7</integer></dict></plist>"));
  EXPECT_EQ(defaults->value("volume", 0), 7);

  const detail::MainBundleOverride main(detail::BundleFactory::bundleInFolder(folder / "", {}));
  const auto others = UserDefaultsFactory::defaultsInFile(folder / "Others.plist");
  EXPECT_TRUE(qv_loadDefaults(*others));
  EXPECT_EQ(others->value("volume", 0), 7);
  EXPECT_TRUE(others->synchronize());
  EXPECT_FALSE(std::filesystem::exists(folder / "Others.plist"));  // nothing was chosen
}

TEST_F(QVUserDefaultsTest, suppressesTheMenuForFeedback) {
  const testing::EnvironmentVariable place("XDG_CONFIG_HOME", folder.path().string());
  qv_suppressShowFeedbackMenu();
  EXPECT_EQ(NSUserDefaults::standardUserDefaults()->objectForKey("NSShowFeedbackMenu"), Value(false));
  EXPECT_TRUE(NSUserDefaults::standardUserDefaults()->synchronize());
}

}  // namespace
}  // namespace QVFoundation
