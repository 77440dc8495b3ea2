#include <atomic>
#include <latch>
#include <limits>
#include <sys/wait.h>
#include <thread>

#include <gmock/gmock.h>

#include "QVFoundation/Platform.h"
#include "QVFoundation/platform/application/UserDefaultsFactory_p.h"
#include "QVFoundation/platform/application/UserDefaultsFile_p.h"
#include "tests/platform/files/EnvironmentVariable.h"
#include "tests/platform/files/FailingSystem.h"
#include "tests/platform/files/SystemHook.h"
#include "tests/platform/files/TemporaryFolder.h"
#include "tests/platform/tracing/StandardErrorCapture.h"

namespace QVFoundation {
namespace {

using detail::UserDefaultsFactory;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::makeFile;
using testing::StandardErrorCapture;
using testing::SystemHook;
using testing::TemporaryFolder;

class NSUserDefaultsTest : public ::testing::Test {
protected:
  // Or else the folder goes while they are saved.
  ~NSUserDefaultsTest() override {
    for (const auto& defaults : processes) defaults->synchronize();
  }
  /// As of another process each time.
  [[nodiscard]] std::shared_ptr<NSUserDefaults> defaultsOfAProcess() {
    return processes.emplace_back(UserDefaultsFactory::defaultsInFile(path));
  }

  TemporaryFolder folder;
  const std::filesystem::path path = folder / "UserDefaults.plist";
  std::vector<std::shared_ptr<NSUserDefaults>> processes;
};

TEST_F(NSUserDefaultsTest, takesAChoiceBeforeARegisteredDefault) {
  const auto defaults = defaultsOfAProcess();
  defaults->registerDefaults({{"volume", 7}, {"title", "Untitled"}});
  EXPECT_EQ(defaults->objectForKey("volume"), Value(7));
  defaults->setObject(9, "volume");
  defaults->registerDefaults({{"volume", 5}, {"width", 640}});
  EXPECT_EQ(defaults->dictionaryRepresentation(),
            (Dictionary{{"volume", 9}, {"title", "Untitled"}, {"width", 640}}));
  defaults->removeObjectForKey("volume");
  EXPECT_EQ(defaults->objectForKey("volume"), Value(5));
  defaults->setValueForKey(true, "shown");
  EXPECT_EQ(defaults->valueForKey("shown"), Value(true));
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_EQ(defaultsOfAProcess()->dictionaryRepresentation(), (Dictionary{{"shown", true}}));
}

TEST_F(NSUserDefaultsTest, readsEachKindAsFarAsItGoes) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  constexpr auto most = std::numeric_limits<std::int64_t>::max();
  constexpr auto least = std::numeric_limits<std::int64_t>::min();
  const auto defaults = defaultsOfAProcess();
  const struct {
    Value setting;
    bool truth;
    std::int64_t integer;
    double number;
    std::optional<std::string> text;
  } cases[] = {
      {{}, false, 0, 0, {}},
      {true, true, 1, 1, "1"},
      {-2.75, true, -2, -2.75, "-2.75"},
      {1e300, true, most, 1e300, "1e+300"},
      {-infinity, true, least, -infinity, "-inf"},
      {std::numeric_limits<double>::quiet_NaN(), true, 0, 0, "nan"},
      {std::numeric_limits<std::uint64_t>::max(), true, most, 0x1p64, "18446744073709551615"},
      {"YES", true, 0, 0, "YES"},
      {"True", true, 0, 0, "True"},
      {"no", false, 0, 0, "no"},
      {"0", false, 0, 0, "0"},
      {" +12.5 pixels", true, 12, 12.5, " +12.5 pixels"},
      {"-99999999999999999999", true, least, -1e20, "-99999999999999999999"},
      {Array{1}, false, 0, 0, {}},
  };
  for (const auto& [setting, truth, integer, number, text] : cases) {
    SCOPED_TRACE(setting.description());
    defaults->setObject(setting, "key");
    EXPECT_EQ(defaults->boolForKey("key"), truth);
    EXPECT_EQ(defaults->integerForKey("key"), integer);
    if (!std::isnan(defaults->doubleForKey("key"))) {
      EXPECT_EQ(defaults->doubleForKey("key"), number);
    }
    EXPECT_EQ(defaults->stringForKey("key"), text);
  }
  defaults->setObject(Array{"a", "b"}, "key");
  EXPECT_THAT(*defaults->stringArrayForKey("key"), ElementsAre("a", "b"));
  EXPECT_EQ(defaults->arrayForKey("key"), (Array{"a", "b"}));
  EXPECT_EQ(defaults->dictionaryForKey("key"), std::nullopt);
}

TEST_F(NSUserDefaultsTest, keepsANumberInItsRange) {
  const auto defaults = defaultsOfAProcess();
  const struct {
    Value setting;
    int withRange, withoutRange;
  } cases[] = {
      {{}, 7, 7},    {3, 3, 3},   {-3, 0, -3}, {12.0, 11, 12},
      {1e12, 11, 7}, {2.5, 7, 7}, {"3", 7, 7}, {std::numeric_limits<double>::quiet_NaN(), 7, 7},
  };
  for (const auto& [setting, withRange, withoutRange] : cases) {
    defaults->setObject(setting, "volume");
    EXPECT_EQ(defaults->value("volume", 7, {.least = 0, .most = 11}), withRange) << setting.description();
    EXPECT_EQ(defaults->value("volume", 7), withoutRange) << setting.description();
  }
  EXPECT_EQ(defaults->value("title", "Untitled"), "Untitled");
}

TEST_F(NSUserDefaultsTest, refusesWhatNoFileCanHold) {
  const auto defaults = defaultsOfAProcess();
  const Value bad[] = {NSNull(), NSError("domain", 1), Dictionary{{"a", Array{1, NSNull()}}}, "\xff"};
  for (const Value& value : bad) {
    EXPECT_THROW(defaults->setObject(value, "key"), NSException);
    EXPECT_THROW(defaults->registerDefaults({{"key", value}}), NSException);
  }
  EXPECT_THROW(defaults->setObject(1, "\xff"), NSException);
  EXPECT_THROW(defaults->registerDefaults({{1, 2}}), NSException);
  try {
    defaults->setObject(Dictionary{{"a", Array{1, NSNull()}}}, "key");
  } catch (const NSException& exception) {
    EXPECT_EQ(exception.name(), NSInvalidArgumentException);
    EXPECT_THAT(*exception.reason(), HasSubstr("key.a"));
  }
  EXPECT_THAT(defaults->dictionaryRepresentation(), IsEmpty());
  for (const std::string& name :
       {std::string(), std::string("."), std::string(".."), std::string("a/b"), std::string(256, 'a')})
    EXPECT_THROW(std::ignore = NSUserDefaults::defaultsWithSuiteName(name), NSException) << name;
}

TEST_F(NSUserDefaultsTest, keepsWhatTwoProcessesWriteAndTellsOfTheOthersChanges) {
  const auto mine = defaultsOfAProcess();
  const auto other = defaultsOfAProcess();
  mine->setObject(1, "mine");
  mine->setObject(1, "both");
  EXPECT_TRUE(mine->synchronize());
  other->setObject(2, "other");
  other->setObject(2, "both");
  EXPECT_TRUE(other->synchronize());

  std::vector<std::string> heard;
  const auto observation =
      observe(*mine, "both", NSKeyValueObservingOptionOld | NSKeyValueObservingOptionNew,
              [&](NSUserDefaults& defaults, const NSKeyValueChange& change) {
                heard.push_back(change.oldValue().description() + change.newValue().description());
                EXPECT_TRUE(defaults.synchronize());  // holds no lock meanwhile
                defaults.setObject(3, "heard");
              });
  int posted = 0;
  const auto token = NSNotificationCenter::defaultCenter()->addObserverForName(
      std::string(NSUserDefaultsDidChangeNotification), mine, nullptr,
      [&](const NSNotification&) { ++posted; });
  EXPECT_TRUE(mine->synchronize());
  EXPECT_THAT(heard, ElementsAre("12"));
  EXPECT_EQ(posted, 2);
  EXPECT_EQ(mine->dictionaryRepresentation(),
            (Dictionary{{"mine", 1}, {"other", 2}, {"both", 2}, {"heard", 3}}));
  NSNotificationCenter::defaultCenter()->removeObserver(token);
}

TEST_F(NSUserDefaultsTest, doesNotChangeByBeingSaved) {
  const auto defaults = defaultsOfAProcess();
  const NSDate date(std::chrono::nanoseconds(1'234'567'890'123'456'789));
  int heard = 0;
  const auto observation =
      observe(*defaults, "opened", [&](NSUserDefaults&, const NSKeyValueChange&) { ++heard; });
  for (const Value& value : {Value(date), Value(Array{Dictionary{{"when", date}}})}) {
    heard = 0;
    defaults->setObject(value, "opened");
    const Value chosen = defaults->objectForKey("opened");
    EXPECT_TRUE(defaults->synchronize());
    EXPECT_TRUE(defaults->synchronize());  // finds nothing that it would not know
    EXPECT_EQ(defaults->objectForKey("opened"), chosen);
    EXPECT_EQ(heard, 1);
  }
}

TEST_F(NSUserDefaultsTest, savesInTheBackground) {
  std::latch saved(1);
  {
    const SystemHook hook(&detail::SystemCalls::rename, [&](auto original, auto... args) {
      const int result = original(args...);
      saved.count_down();
      return result;
    });
    const auto defaults = defaultsOfAProcess();
    defaults->setObject("now", "written");
    saved.wait();
    EXPECT_TRUE(defaults->synchronize());
  }
  EXPECT_EQ(defaultsOfAProcess()->stringForKey("written"), "now");
}

TEST_F(NSUserDefaultsTest, savesWhatIsLeftWhenTheProgramEnds) {
  const testing::EnvironmentVariable place("XDG_CONFIG_HOME", folder.path().string());
  const pid_t child = fork();  // has no thread that could save in the background
  if (child == 0) {
    const auto& defaults = NSUserDefaults::standardUserDefaults();
    EXPECT_EQ(defaults, NSUserDefaults::standardUserDefaults());
    for (int i = 0; i < 100; ++i) defaults->setObject(i, "last");
    NSUserDefaults::defaultsWithSuiteName("suite")->setObject(1, "first");
    std::exit(EXIT_SUCCESS);  // NOLINT(concurrency-mt-unsafe): the only thread
  }
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(NSUserDefaults::standardUserDefaults()->value("last", 0), 99);
  EXPECT_EQ(NSUserDefaults::defaultsWithSuiteName("suite")->value("first", 0), 1);
}

// It would undo what its parent has saved since then.
TEST_F(NSUserDefaultsTest, savesNothingOfItsParentWhenAForkedChildEnds) {
  const testing::EnvironmentVariable place("XDG_CONFIG_HOME", folder.path().string());
  makeFile(folder / "suite", "not a folder");
  const auto defaults = NSUserDefaults::defaultsWithSuiteName("suite");
  defaults->setObject(1, "unsaved");
  EXPECT_FALSE(defaults->synchronize());
  constexpr int endOfItsOwn = 3;
  const pid_t child = fork();
  if (child == 0) {
    const testing::FailingSystem system(0, testing::FailingSystem::endOfProcess);
    std::exit(endOfItsOwn);  // NOLINT(concurrency-mt-unsafe): the only thread
  }
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(WEXITSTATUS(status), endOfItsOwn);
  std::filesystem::remove(folder / "suite");
  EXPECT_TRUE(defaults->synchronize());
}

TEST_F(NSUserDefaultsTest, staysAsItIsWhereItCannotBeSavedAndReportsThatOnce) {
  StandardErrorCapture output;
  const auto blocked = UserDefaultsFactory::defaultsInFile(folder / "file/UserDefaults.plist");
  makeFile(folder / "file", "not a folder");
  blocked->setObject(7, "volume");
  std::optional<NSError> error;
  EXPECT_FALSE(blocked->synchronize(&error));
  EXPECT_THAT(error->localizedDescription(), HasSubstr("file"));
  EXPECT_EQ(blocked->value("volume", 0), 7);
  std::filesystem::remove(folder / "file");
  EXPECT_TRUE(blocked->synchronize());

  makeFile(path, "damaged");
  EXPECT_THAT(defaultsOfAProcess()->dictionaryRepresentation(), IsEmpty());
  EXPECT_THAT(output.take(), ::testing::Contains(HasSubstr("are damaged")));
}

TEST_F(NSUserDefaultsTest, knowsWhatADamagedFileHeldIfItWasTheLastToSave) {
  const StandardErrorCapture output;
  const auto mine = defaultsOfAProcess();
  const auto save = [](NSUserDefaults& defaults, const Value& value, std::string_view key) {
    defaults.setObject(value, key);
    EXPECT_TRUE(defaults.synchronize());
  };
  save(*mine, 1, "first");
  makeFile(path, "damaged");
  save(*mine, 2, "second");  // there was no backup yet
  EXPECT_EQ(defaultsOfAProcess()->dictionaryRepresentation(), (Dictionary{{"first", 1}, {"second", 2}}));
  save(*mine, {}, "first");
  makeFile(path, "damaged");
  EXPECT_TRUE(mine->synchronize());
  EXPECT_EQ(defaultsOfAProcess()->dictionaryRepresentation(), (Dictionary{{"second", 2}}));
  for (const int volume : {3, 4}) std::ignore = detail::UserDefaultsFile(path).update({{"volume", volume}});
  makeFile(path, "damaged");
  EXPECT_TRUE(mine->synchronize());  // what it knows is older than the backup
  EXPECT_EQ(mine->dictionaryRepresentation(), (Dictionary{{"second", 2}, {"volume", 3}}));
}

TEST_F(NSUserDefaultsTest, mayBeUsedByManyThreads) {
  constexpr int rounds = 200;
  const auto defaults = defaultsOfAProcess();
  std::atomic<int> heard = 0;
  const auto observation =
      observe(*defaults, "key0", [&](NSUserDefaults&, const NSKeyValueChange&) { ++heard; });
  {
    std::vector<std::jthread> threads;
    threads.reserve(4);
    for (int thread = 0; thread < 3; ++thread) {
      threads.emplace_back([&, thread] {
        const std::string key = "key" + std::to_string(thread);
        for (int i = 0; i <= rounds; ++i) {
          defaults->setObject(i, key);
          EXPECT_EQ(defaults->value(key, -1), i);
        }
      });
    }
    threads.emplace_back([&, other = defaultsOfAProcess()] {
      for (int i = 0; i <= rounds / 20; ++i) {
        other->setObject(i, "other");
        EXPECT_TRUE(other->synchronize());
        EXPECT_TRUE(defaults->synchronize());
        defaults->registerDefaults({{"registered", i}});
      }
    });
  }
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_GT(heard, rounds);
  EXPECT_EQ(defaultsOfAProcess()->dictionaryRepresentation(),
            (Dictionary{{"key0", rounds}, {"key1", rounds}, {"key2", rounds}, {"other", rounds / 20}}));
}

}  // namespace
}  // namespace QVFoundation
