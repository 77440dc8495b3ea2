#include <csignal>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "QVFoundation/platform/application/UserDefaultsFile_p.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/serialization/PropertyList.h"
#include "tests/platform/files/FailingSystem.h"
#include "tests/platform/files/SystemHook.h"
#include "tests/platform/files/TemporaryFolder.h"

namespace QVFoundation {
namespace {

using detail::UserDefaultsFile;
using testing::contentOf;
using testing::FailingSystem;
using ::testing::HasSubstr;
using testing::makeFile;
using testing::SystemHook;
using testing::TemporaryFolder;

class UserDefaultsFileTest : public ::testing::Test {
protected:
  [[nodiscard]] std::string pathOf(std::string_view name) const {
    return (folder / "player" / name).string();
  }
  [[nodiscard]] Dictionary listAt(std::string_view name) const {
    return dictionaryFromPropertyListFile(pathOf(name)).value_or(Dictionary());
  }
  void empty() const { std::filesystem::remove_all(folder / "player"); }

  TemporaryFolder folder;
  const UserDefaultsFile file{pathOf("UserDefaults.plist")};
};

TEST_F(UserDefaultsFileTest, keepsWhatOthersHaveWrittenAndTheFileBefore) {
  EXPECT_TRUE(file.read().values.empty());
  EXPECT_TRUE(file.update({{"volume", 7}, {"name", "Prelude"}}).values.contains("name"));
  const UserDefaultsFile other(file.path());
  const Dictionary both{{"volume", 7}, {"width", 640}};
  EXPECT_EQ(other.update({{"width", 640}, {"name", {}}, {"absent", {}}}).values, both);
  EXPECT_EQ(file.read().values, both);
  EXPECT_EQ(listAt("UserDefaults.backup.plist"), (Dictionary{{"volume", 7}, {"name", "Prelude"}}));

  // Nothing is written for what is there already, but true is not 1 to who reads the file.
  const std::string before = contentOf(file.path());
  EXPECT_EQ(file.update({{"width", 640}}).values, both);
  EXPECT_EQ(contentOf(file.path()), before);
  EXPECT_TRUE(file.update({{"volume", 7}, {"width", true}}).values["width"].number()->isBoolean());
  EXPECT_NE(contentOf(file.path()), before);

  struct stat status{};
  for (const char* name : {"UserDefaults.plist", "UserDefaults.backup.plist"}) {
    ASSERT_EQ(stat(pathOf(name).c_str(), &status), 0) << name;
    EXPECT_EQ(status.st_mode & 0777, 0600U) << name;
  }
  ASSERT_EQ(stat(pathOf("").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0700U);
}

TEST_F(UserDefaultsFileTest, setsADamagedFileAsideAndTakesItsBackup) {
  const struct {
    const char* row;
    std::string content;
    const char* reason;
  } cases[] = {
      {"empty", "", "damaged"},
      {"cutOff", "bplist00\xd1\x01", "damaged"},
      {"noDictionary", "<plist><array/></plist>", "it holds no dictionary"},
  };
  for (const auto& [row, content, reason] : cases) {
    SCOPED_TRACE(row);
    for (const bool hasBackup : {false, true}) {
      empty();
      const Dictionary backup{{"volume", 7}};
      std::ignore = file.update({{"volume", hasBackup ? 7 : 1}});
      if (hasBackup) std::ignore = file.update({{"volume", 8}});
      for (const char* aside : {"UserDefaults.damaged.plist", "UserDefaults.damaged-2.plist"}) {
        makeFile(file.path(), content);
        const auto found = file.read();
        EXPECT_EQ(found.values, hasBackup ? backup : Dictionary());
        EXPECT_THAT(found.report, AllOf(HasSubstr(file.path()), HasSubstr(reason), HasSubstr(aside)));
        EXPECT_EQ(contentOf(pathOf(aside)), content);
      }
      EXPECT_EQ(file.read().report, "");
      makeFile(file.path(), content);
      EXPECT_NE(file.update({{"width", 640}}).report, "");
      EXPECT_EQ(file.read().values["volume"].isNothing(), !hasBackup);
    }
  }
}

TEST_F(UserDefaultsFileTest, isReadFromItsBackupWhereItCannotBeMended) {
  std::ignore = file.update({{"volume", 7}});
  std::ignore = file.update({{"volume", 8}});
  makeFile(file.path(), "damaged");
  const SystemHook hook(&detail::SystemCalls::lock, [](auto...) {
    errno = EIO;
    return -1;
  });
  const auto found = file.read();
  EXPECT_EQ(found.values, (Dictionary{{"volume", 7}}));
  EXPECT_NE(found.report, "");
  EXPECT_EQ(contentOf(file.path()), "damaged");
}

TEST_F(UserDefaultsFileTest, overwritesNothingThatItCannotRead) {
  std::filesystem::create_directories(file.path());  // a folder of that name
  EXPECT_THROW(std::ignore = file.read(), NSError);
  EXPECT_THROW(std::ignore = file.update({{"volume", 7}}), NSError);
  EXPECT_TRUE(std::filesystem::is_directory(file.path()));
}

TEST_F(UserDefaultsFileTest, leavesTheLockToNoForkedChild) {
  pid_t child = 0;
  {
    const SystemHook hook(&detail::SystemCalls::lock, [&](auto original, auto... args) {
      const int result = original(args...);
      if (child == 0) child = fork();
      while (child == 0) pause();
      return result;
    });
    std::ignore = file.update({{"volume", 7}});
  }
  EXPECT_NO_THROW(std::ignore = file.update({{"volume", 8}}));
  EXPECT_EQ(kill(child, SIGKILL), 0);
  EXPECT_EQ(waitpid(child, nullptr, 0), child);
}

// Whatever fails, the settings are those before or after, and an error means before.
TEST_F(UserDefaultsFileTest, survivesEachFailureOfTheSystem) {
  for (const bool isDamaged : {false, true}) {
    testing::failAtEachCall(
        [&] {
          empty();
          std::ignore = file.update({{"volume", 7}});
          std::ignore = file.update({{"name", "Prelude"}});
          if (isDamaged) makeFile(file.path(), "damaged");
        },
        [&]() -> std::optional<Dictionary> {
          try {
            return file.update({{"width", 640}}).values;
          } catch (const NSError& error) {
            EXPECT_EQ(error.domain(), NSCocoaErrorDomain);
            return {};
          }
        },
        [&](const std::optional<Dictionary>& found) {
          const bool isStillDamaged = isDamaged && contentOf(file.path()) == "damaged";
          const Dictionary now = listAt(isStillDamaged ? "UserDefaults.backup.plist" : "UserDefaults.plist");
          EXPECT_EQ(now["volume"], Value(7));
          if (found) {
            EXPECT_EQ(now, *found);
          }
          EXPECT_EQ(now.contains("width"), found.has_value());
        });
  }
}

/// Does something in a process of its own that is killed before a call. False where it was not so many calls.
template <class Action>
bool killAtCall(int call, const Action& action) {
  const pid_t child = fork();
  if (child == 0) {
    const FailingSystem system(call, FailingSystem::endOfProcess);
    action();
    _exit(EXIT_FAILURE);
  }
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status));
  return WEXITSTATUS(status) == EXIT_SUCCESS;
}

TEST_F(UserDefaultsFileTest, losesNothingWhereTheProcessIsKilled) {
  for (const bool isDamaged : {false, true}) {
    int calls = 0;
    for (bool wasKilled = true; wasKilled; ++calls) {
      SCOPED_TRACE("call " + std::to_string(calls));
      empty();
      std::ignore = file.update({{"volume", 7}});
      std::ignore = file.update({{"name", "Prelude"}});
      if (isDamaged) makeFile(file.path(), "damaged");
      wasKilled = killAtCall(calls, [&] { std::ignore = file.update({{"width", 640}}); });
      const Dictionary now = file.read().values;  // mends what nobody has mended
      EXPECT_EQ(now["volume"], Value(7));
      EXPECT_EQ(now.contains("name"), !isDamaged);
      if (!wasKilled) {
        EXPECT_EQ(now["width"], Value(640));
      }
    }
    EXPECT_GT(calls, 20);
    std::ignore = file.update({{"width", 800}});
    for (const auto& entry : std::filesystem::directory_iterator(folder / "player"))
      EXPECT_FALSE(entry.path().filename().native().starts_with('.')) << entry.path();
  }
}

}  // namespace
}  // namespace QVFoundation
