#include <algorithm>
#include <chrono>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <limits>
#include <string>
#include <sys/stat.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "QVFoundation/files/DirectoryPruning_p.h"
#include "QVFoundation/files/QVDirectoryPruning.h"
#include "QVFoundation/files/QVFileMeasures.h"
#include "tests/platform/files/EnvironmentVariable.h"
#include "tests/platform/files/FailingSystem.h"
#include "tests/platform/files/SystemHook.h"
#include "tests/platform/files/TemporaryFolder.h"

namespace QVFoundation {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using testing::makeFile;
using testing::TemporaryFolder;

class DirectoryPruningTest : public ::testing::Test {
protected:
  /// A file of a size that was last changed so many hours ago.
  void make(std::string_view name, std::size_t size, int hours) const {
    makeFile(folder / name, std::string(size, 'x'));
    setAge(folder / name, hours);
  }
  static void setAge(const fs::path& path, int hours) {
    const timespec then{.tv_sec = std::time(nullptr) - 3600L * hours, .tv_nsec = 0};
    const timespec times[] = {then, then};
    utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW);
  }
  std::vector<std::string> names() const {
    std::vector<std::string> all;
    for (const auto& entry : fs::directory_iterator(folder.path())) all.push_back(entry.path().filename());
    std::ranges::sort(all);
    return all;
  }

  const TemporaryFolder folder;
};

TEST_F(DirectoryPruningTest, removesTheOldestUntilThereIsRoom) {
  struct Case {
    const char* row;
    std::int64_t days;
    std::uint64_t limit;
    std::vector<std::string> left;
  };
  for (const Case& row : {
           Case{"enoughRoom", 0, 401, {"a", "b", "c", "d"}},
           Case{"justNotEnough", 0, 400, {"b", "c", "d"}},
           Case{"twoMustGo", 0, 300, {"c", "d"}},
           Case{"onlyOldOnes", 2, 0, {"c", "d"}},
           Case{"olderThanAll", 30, 0, {"a", "b", "c", "d"}},
           Case{"everything", 0, 0, {}},
           Case{"theFutureIsOld", -1, 0, {}},
           Case{"forEver", std::numeric_limits<std::int64_t>::max(), 0, {"a", "b", "c", "d"}},
           Case{"since ever", std::numeric_limits<std::int64_t>::min(), 0, {}},
       }) {
    fs::create_directories(folder.path());
    make("a", 100, 24 * 5);
    make("b", 100, 24 * 4);
    make("c", 100, 24 * 1);
    make("d", 100, 1);
    qv_removeFilesInDirectory(folder.path(), row.days, row.limit);
    EXPECT_EQ(names(), row.left) << row.row;
  }
}

TEST_F(DirectoryPruningTest, stopsAtTheFirstThatIsNotOldThoughThereIsNoRoom) {
  make("old", 10, 100);
  make("new", 1'000'000, 1);
  make("older", 10, 200);
  qv_removeFilesInDirectory(folder.path(), 1, 500);
  EXPECT_THAT(names(), ElementsAre("new"));
}

TEST_F(DirectoryPruningTest, countsFoldersByTheRoomTheyTakeAndLinksAsThemselves) {
  const TemporaryFolder outside;
  makeFile(outside / "precious", std::string(1'000'000, 'x'));
  fs::create_directories(folder / "folder/sub");
  make("folder/sub/file", 10, 1);
  fs::create_directory_symlink(outside.path(), folder / "folder/link");
  fs::create_directory_symlink(outside.path(), folder / "link");
  for (const char* name : {"folder", "link"}) setAge(folder / name, 100);
  make("new", 10, 1);
  // What a link leads to takes no room here.
  const std::uint64_t total = qv_physicalSizeOfFileAtPath(folder / "folder/sub/file") +
                              fs::read_symlink(folder / "link").native().size() + 10;
  qv_removeFilesInDirectory(folder.path(), 1, total + 1);
  EXPECT_THAT(names(), ElementsAre("folder", "link", "new"));
  qv_removeFilesInDirectory(folder.path(), 1, 1);
  EXPECT_THAT(names(), ElementsAre("new"));
  EXPECT_EQ(fs::file_size(outside / "precious"), 1'000'000U);
}

TEST_F(DirectoryPruningTest, goesOnWhereAnItemCannotBeRemoved) {
  for (const char* name : {"a", "b", "c"}) make(name, 100, 100);
  const testing::SystemHook hook(&detail::SystemCalls::remove, [](const auto& original, auto... args) {
    if (std::string_view("a") != std::get<1>(std::tuple(args...))) return original(args...);
    errno = EPERM;
    return -1;
  });
  qv_removeFilesInDirectory(folder.path(), 1, 200);
  EXPECT_THAT(names(), ElementsAre("a"));
}

TEST_F(DirectoryPruningTest, staysInItsFolderWhoeverExchangesIt) {
  const TemporaryFolder outside;
  makeFile(outside / "file", "precious");
  setAge(outside / "file", 100);
  const fs::path place = folder / "cache";
  fs::create_directory(place);
  make("cache/file", 100, 100);
  bool isDone = false;
  const testing::SystemHook hook(&detail::SystemCalls::statAt, [&](const auto& original, auto... args) {
    if (!std::exchange(isDone, true)) {
      fs::rename(place, folder / "aside");
      fs::create_directory_symlink(outside.path(), place);
    }
    return original(args...);
  });
  qv_removeFilesInDirectory(place, 1, 0);
  EXPECT_TRUE(isDone);
  EXPECT_TRUE(fs::exists(outside / "file"));
  EXPECT_FALSE(fs::exists(folder / "aside/file"));
}

TEST_F(DirectoryPruningTest, leavesWhatHasTakenTheNameMeanwhile) {
  make("first", 10, 200);
  make("second", 10, 100);
  const testing::SystemHook hook(&detail::SystemCalls::remove, [&](const auto& original, auto... args) {
    makeFile(folder / "fresh", "new");
    fs::rename(folder / "fresh", folder / "second");
    return original(args...);
  });
  qv_removeFilesInDirectory(folder.path(), 1, 0);
  EXPECT_THAT(names(), ElementsAre("second"));
}

TEST_F(DirectoryPruningTest, neverTakesWhatIsNewWhicheverCallFails) {
  testing::failAtEachCall(
      [&] {
        make("old", 100, 100);
        make("new", 100, 1);
      },
      [&] {
        qv_removeFilesInDirectory(folder.path(), 1, 0);
        return true;
      },
      [&](bool) { EXPECT_TRUE(fs::exists(folder / "new")); });
  EXPECT_THAT(names(), ElementsAre("new"));
}

TEST(PruningDays, areThoseOfTheCalendar) {
  const testing::EnvironmentVariable zone("TZ", "Europe/Berlin");
  tzset();
  constexpr std::int64_t noon = 1'711'882'800;  // on 31 March 2024, the day that began with an hour less
  EXPECT_EQ(noon - detail::secondsOfDaysBefore(noon, 1), 23 * 3600);
  EXPECT_EQ(noon - detail::secondsOfDaysBefore(noon, 0), 0);
  EXPECT_EQ(detail::secondsOfDaysBefore(noon, -1) - noon, 24 * 3600);
}

}  // namespace
}  // namespace QVFoundation
