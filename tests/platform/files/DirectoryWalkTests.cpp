#include <algorithm>
#include <filesystem>
#include <functional>
#include <string>
#include <sys/resource.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "QVFoundation/platform/files/DirectoryWalk_p.h"
#include "QVFoundation/platform/files/NSFileManager.h"
#include "tests/platform/files/DeepFolder.h"
#include "tests/platform/files/FailingSystem.h"
#include "tests/platform/files/SystemHook.h"
#include "tests/platform/files/TemporaryFolder.h"

namespace QVFoundation {
namespace {

namespace fs = std::filesystem;
using detail::DirectoryWalk;
using detail::FileLocation;
using testing::DeepFolder;
using ::testing::ElementsAre;
using testing::makeFile;
using testing::TemporaryFolder;
using ::testing::UnorderedElementsAre;
using Event = DirectoryWalk::Event;
using Links = DirectoryWalk::Links;

using Reaction = std::function<void(DirectoryWalk&, Event)>;

void walkThrough(const fs::path& root, Links links, const Reaction& react) {
  DirectoryWalk walk(FileLocation(root), root, links);
  for (Event event = walk.next(); event != Event::end; event = walk.next()) react(walk, event);
}

/// What a walk tells, as "directory b", "item b/c" and so on.
std::vector<std::string> eventsOf(const fs::path& root, Links links, const Reaction& react = {}) {
  constexpr const char* names[] = {"item", "directory", "unreadable", "left"};
  std::vector<std::string> events;
  walkThrough(root, links, [&](DirectoryWalk& walk, Event event) {
    const auto path = fs::path(walk.path()).lexically_relative(root);
    events.push_back(std::string(names[static_cast<int>(event)]) + ' ' + path.native());
    if (react) react(walk, event);
  });
  return events;
}

TEST(DirectoryWalk, tellsOfFoldersBeforeAndAfterWhatIsInThem) {
  const TemporaryFolder folder;
  fs::create_directories(folder / "b/c");
  makeFile(folder / "b/c/file", "");
  EXPECT_THAT(eventsOf(folder.path(), Links::items),
              ElementsAre("directory b", "directory b/c", "item b/c/file", "left b/c", "left b", "left ."));
  const auto skip = [](DirectoryWalk& walk, Event event) {
    if (event == Event::directory) walk.skip();
  };
  EXPECT_THAT(eventsOf(folder.path(), Links::items, skip), ElementsAre("directory b", "left ."));
  EXPECT_THAT(eventsOf(folder / "b/c/file", Links::items), ElementsAre("unreadable .", "left ."));
  EXPECT_THAT(eventsOf(folder / "none", Links::items), ElementsAre("unreadable .", "left ."));
}

TEST(DirectoryWalk, followsLinksAsItIsTold) {
  const TemporaryFolder folder;
  const TemporaryFolder outside;
  fs::create_directory(outside / "in");
  fs::create_directory_symlink(outside.path(), folder / "away");
  fs::create_directory_symlink("away", folder / "away-twice");
  fs::create_symlink("nowhere", folder / "dangling");
  fs::create_symlink("itself", folder / "itself");
  fs::create_directory_symlink(folder.path(), outside / "in/back");
  fs::create_directory_symlink(folder.path(), outside / "root");

  EXPECT_THAT(eventsOf(folder.path(), Links::rootOnly),
              UnorderedElementsAre("item away", "item away-twice", "item dangling", "item itself", "left ."));
  EXPECT_THAT(eventsOf(outside / "root", Links::items), ElementsAre("unreadable .", "left ."));
  EXPECT_EQ(eventsOf(outside / "root", Links::rootOnly).size(), 5U);

  std::size_t circles = 0;
  const auto count = [&](DirectoryWalk& walk, Event event) {
    circles += event == Event::directory && walk.leadsBack() ? 1 : 0;
  };
  const auto events = eventsOf(folder.path(), Links::followed, count);
  EXPECT_EQ(circles, 4U);  // from each of the two ways to "away": "in/back" and "root"
  EXPECT_THAT(events, ::testing::Contains("left away-twice/in"));
  EXPECT_THAT(events, ::testing::Not(::testing::Contains("item dangling")));
}

// Up behind a link, and down again through plain folders: that would tell all twice, and with more links
// for ever.
TEST(DirectoryWalk, doesNotComeBackFromOutside) {
  const TemporaryFolder folder;
  fs::create_directories(folder / "outer/root/sub");
  makeFile(folder / "outer/root/sub/file", "");
  makeFile(folder / "outer/other", "");
  fs::create_directory_symlink(folder / "outer", folder / "outer/root/sub/up");
  fs::create_directory_symlink(folder / "outer", folder / "outer/root/up");
  const auto events = eventsOf(folder / "outer/root", Links::followed);
  EXPECT_EQ(std::ranges::count_if(events, [](const std::string& event) { return event.ends_with("/file"); }),
            1);
  EXPECT_THAT(events, ::testing::Contains("item up/other"));
  EXPECT_THAT(events, ::testing::Contains("item sub/up/other"));
}

TEST(DirectoryWalk, isNotLedToTheCurrentFolderByALongPathThatLeadsNowhere) {
  const TemporaryFolder folder;
  const fs::path before = fs::current_path();
  fs::create_directory(folder / "sub");
  makeFile(folder / "sub/file", "");
  fs::current_path(folder.path());
  std::string path = "/nonexistent";
  while (path.size() < 5000) path += "/.";
  EXPECT_THAT(eventsOf(path + "/sub", Links::followed), ElementsAre("unreadable .", "left ."));
  EXPECT_FALSE(NSFileManager().contentsOfDirectoryAtPath(path + "/sub"));
  fs::current_path(before);
}

TEST(DirectoryWalk, comesBackFromDeepFoldersWithFewDescriptors) {
  const TemporaryFolder folder(testing::placeForManyFolders());
  const DeepFolder deep(folder / "deep", 10'000);
  // A second child in each folder of the upper part: there is something left to do on the way back.
  fs::path path = folder / "deep";
  for (int depth = 0; depth < 100; ++depth, path /= DeepFolder::name) makeFile(path / "file", "");

  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  for (const rlim_t few : {rlim_t{0}, static_cast<rlim_t>(testing::openDescriptorCount()) + 4}) {
    const rlimit lowered{few == 0 ? limit.rlim_cur : few, limit.rlim_max};
    setrlimit(RLIMIT_NOFILE, &lowered);
    std::size_t items = 0;
    std::size_t folders = 0;
    std::size_t lookups = 0;
    std::size_t failures = 0;
    walkThrough(folder / "deep", Links::items, [&](DirectoryWalk& walk, Event event) {
      items += event == Event::item ? 1 : 0;
      folders += event == Event::left ? 1 : 0;
      failures += event == Event::unreadable ? 1 : 0;
      struct stat status{};
      if (event == Event::item || event == Event::left) lookups += walk.status(status) == 0 ? 1 : 0;
    });
    setrlimit(RLIMIT_NOFILE, &limit);
    EXPECT_EQ(items, 100U) << few;
    EXPECT_EQ(folders, 10'001U) << few;
    EXPECT_EQ(lookups, items + folders) << few;
    EXPECT_EQ(failures, 0U) << few;
  }
}

// On the way back from deep down, with closed folders above.
TEST(DirectoryWalk, isNotLedAstrayByFoldersThatMove) {
  for (const bool isReplaced : {false, true}) {
    const TemporaryFolder folder(testing::placeForManyFolders());
    const DeepFolder deep(folder / "deep", 60);
    const fs::path upper = folder / "deep" / DeepFolder::name / DeepFolder::name;
    makeFile(upper / "file", "");
    makeFile(folder / "deep/file", "");
    bool hasMoved = false;
    std::vector<std::string> items;
    std::size_t failures = 0;
    walkThrough(folder / "deep", Links::items, [&](DirectoryWalk& walk, Event event) {
      if (event == Event::item) items.emplace_back(walk.path());
      failures += event == Event::unreadable ? 1 : 0;
      if (walk.depth() != 55 || hasMoved) return;
      hasMoved = true;
      // The walk is 55 folders deep; the third of them goes elsewhere, with all below it.
      fs::rename(upper / DeepFolder::name, folder / "elsewhere");
      if (isReplaced) fs::create_directory_symlink("/", upper / DeepFolder::name);
    });
    EXPECT_TRUE(hasMoved);
    // What was there before has been read; what stands above is found again by its name.
    EXPECT_EQ(items.size(), 2U) << isReplaced;
    EXPECT_EQ(failures, 0U) << isReplaced;
  }
}

TEST(DirectoryWalk, tellsOfFoldersThatCannotBeReadToTheirEnd) {
  const TemporaryFolder folder;
  fs::create_directories(folder / "a");
  int calls = 0;
  const testing::SystemHook hook(&detail::SystemCalls::readEntries, [&](const auto& original, auto... args) {
    if (++calls != 3) return original(args...);  // the first of "a"
    errno = EIO;
    return ssize_t{-1};
  });
  int error = 0;
  const auto events = eventsOf(folder.path(), Links::items, [&](DirectoryWalk& walk, Event event) {
    if (event == Event::unreadable) error = walk.error();
  });
  EXPECT_THAT(events, ElementsAre("directory a", "unreadable a", "left a", "left ."));
  EXPECT_EQ(error, EIO);
}

}  // namespace
}  // namespace QVFoundation
