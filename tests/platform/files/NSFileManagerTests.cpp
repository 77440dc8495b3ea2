#include "QVFoundation/platform/files/NSFileManager.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "QVFoundation/platform/files/MountTable_p.h"
#include "QVFoundation/platform/runtime/NSErrorKeys.h"
#include "tests/platform/files/DeepFolder.h"
#include "tests/platform/files/FailingSystem.h"
#include "tests/platform/files/SystemHook.h"
#include "tests/platform/files/TemporaryFolder.h"

namespace QVFoundation {
namespace {

namespace fs = std::filesystem;
using testing::contentOf;
using testing::DeepFolder;
using testing::makeFile;
using testing::TemporaryFolder;
using ::testing::UnorderedElementsAre;
using Intermediates = NSFileManager::WithIntermediateDirectories;

class NSFileManagerTest : public ::testing::Test {
protected:
  const NSFileManager files;
  const TemporaryFolder folder{testing::placeForManyFolders()};
  std::optional<NSError> error;

  int cause() const { return error ? static_cast<int>(error->underlyingErrors().at(0).code()) : 0; }
};

TEST_F(NSFileManagerTest, followsLinksToSeeWhetherThereIsSomething) {
  makeFile(folder / "file", "");
  fs::create_directory(folder / "folder");
  fs::create_symlink("folder", folder / "link");
  fs::create_symlink("nowhere", folder / "dangling");
  fs::create_symlink("loop", folder / "loop");
  struct Case {
    const char* name;
    bool exists;
    bool isDirectory;
  };
  for (const Case& row : {Case{"file", true, false}, Case{"folder", true, true}, Case{"link", true, true},
                          Case{"dangling", false, false}, Case{"loop", false, false},
                          Case{"none", false, false}, Case{"file/none", false, false}}) {
    bool isDirectory = !row.isDirectory;
    EXPECT_EQ(files.fileExistsAtPath(folder / row.name, &isDirectory), row.exists) << row.name;
    EXPECT_EQ(isDirectory, row.isDirectory) << row.name;
  }
  const std::string name = (folder / "file").native();
  EXPECT_FALSE(files.fileExistsAtPath(std::string_view(name.c_str(), name.size() + 1)));
  EXPECT_FALSE(files.fileExistsAtPath(""));
}

TEST_F(NSFileManagerTest, tellsTheAttributesOfTheItemItself) {
  makeFile(folder / "file", std::string(5000, 'x'));
  chmod((folder / "file").c_str(), 0640);
  fs::create_hard_link(folder / "file", folder / "second");
  fs::create_symlink("file", folder / "link");
  const timespec times[] = {{.tv_sec = 0, .tv_nsec = UTIME_OMIT}, {.tv_sec = 1'000'000, .tv_nsec = 500}};
  utimensat(AT_FDCWD, (folder / "file").c_str(), times, 0);

  const auto file = files.attributesOfItemAtPath(folder / "file");
  ASSERT_TRUE(file);
  EXPECT_EQ(file->type, NSFileType::regular);
  EXPECT_EQ(file->size, 5000U);
  EXPECT_EQ(file->allocatedSize % 512, 0U);
  EXPECT_EQ(file->permissions, 0640U);
  EXPECT_EQ(file->linkCount, 2U);
  EXPECT_EQ(file->modificationDate, NSDate(std::chrono::seconds(1'000'000) + std::chrono::nanoseconds(500)));
  EXPECT_EQ(file->dictionary()[NSFileTypeKey].as<std::string>(), "NSFileTypeRegular");
  EXPECT_EQ(file->dictionary()[NSFileSizeKey].as<int>(), 5000);
  const auto link = files.attributesOfItemAtPath(folder / "link");
  EXPECT_EQ(link->type, NSFileType::symbolicLink);
  EXPECT_EQ(link->size, 4U);
  EXPECT_EQ(files.destinationOfSymbolicLinkAtPath(folder / "link"), "file");

  EXPECT_FALSE(files.attributesOfItemAtPath(folder / "none", &error));
  EXPECT_EQ(error->code(), NSFileReadNoSuchFileError);
  EXPECT_FALSE(files.destinationOfSymbolicLinkAtPath(folder / "file", &error));
  EXPECT_EQ(cause(), EINVAL);
  const auto device = files.attributesOfItemAtPath("/dev/null");
  EXPECT_EQ(device->type, NSFileType::characterDevice);
  EXPECT_TRUE(device->dictionary().contains(NSFileDeviceIdentifierKey));
}

TEST_F(NSFileManagerTest, listsFoldersAndAllThatIsInThem) {
  fs::create_directories(folder / "a/b");
  makeFile(folder / "a/b/file", "12345");
  makeFile(folder / ".hidden", "1");
  const std::string odd = "new\nline \xFF\x01";
  makeFile(folder / odd, "");
  EXPECT_THAT(files.contentsOfDirectoryAtPath(folder.path()).value(),
              UnorderedElementsAre("a", ".hidden", odd));
  std::vector<std::string> paths;
  std::uint64_t size = 0;
  std::size_t level = 0;
  for (auto& item : files.enumeratorAtPath(folder.path())) {
    paths.push_back(fs::path(item.path()).lexically_relative(folder.path()).native());
    size += item.fileSize();
    level = std::max(level, item.level());
    EXPECT_EQ(item.attributes().type, item.type());
  }
  EXPECT_THAT(paths, UnorderedElementsAre("a", "a/b", "a/b/file", ".hidden", odd));
  EXPECT_EQ(size, 6U);
  EXPECT_EQ(level, 3U);

  EXPECT_FALSE(files.contentsOfDirectoryAtPath(folder / ".hidden", &error));
  EXPECT_EQ(cause(), ENOTDIR);
  EXPECT_THAT(files.contentsOfDirectoryAtPath(folder / "a/b/..").value(), UnorderedElementsAre("b"));
}

TEST_F(NSFileManagerTest, asksWhetherToGoOnWithoutAFolderThatCannotBeRead) {
  fs::create_directories(folder / "bad");
  fs::create_directories(folder / "good");
  const testing::SystemHook hook(&detail::SystemCalls::open, [](const auto& original, auto... args) {
    const std::string_view path = std::get<1>(std::tuple(args...));
    if (path != "bad") return original(args...);
    errno = EACCES;
    return -1;
  });
  for (const bool goesOn : {true, false}) {
    std::vector<std::string> failed;
    std::size_t count = 0;
    auto all = files.enumeratorAtPath(folder.path(), [&](std::string_view path, const NSError& problem) {
      failed.emplace_back(path);
      EXPECT_EQ(problem.code(), NSFileReadNoPermissionError);
      return goesOn;
    });
    while (all.nextObject() != nullptr) ++count;
    EXPECT_THAT(failed, UnorderedElementsAre((folder / "bad").native()));
    EXPECT_LE(count, 2U);
    EXPECT_TRUE(count == 2 || !goesOn);
  }
}

TEST_F(NSFileManagerTest, createsFoldersAsDeepAsTheyAre) {
  const DeepFolder deep(folder / "deep", 300);
  const std::string path = deep.path() + "/x/../y//z/";
  EXPECT_TRUE(files.createDirectoryAtPath(path, Intermediates::yes, &error)) << error->what();
  bool isDirectory = false;
  EXPECT_TRUE(files.fileExistsAtPath(path, &isDirectory) && isDirectory);
  EXPECT_TRUE(files.createDirectoryAtPath(path, Intermediates::yes));

  makeFile(folder / "file", "");
  struct Case {
    const char* name;
    Intermediates intermediates;
    int cause;
  };
  for (const Case& row :
       {Case{"a/b", Intermediates::no, ENOENT}, Case{"deep", Intermediates::no, EEXIST},
        Case{"file", Intermediates::yes, EEXIST}, Case{"file/a", Intermediates::yes, ENOTDIR},
        Case{"file/a/b", Intermediates::yes, ENOTDIR}}) {
    EXPECT_FALSE(files.createDirectoryAtPath(folder / row.name, row.intermediates, &error)) << row.name;
    EXPECT_EQ(cause(), row.cause) << row.name;
  }
  EXPECT_FALSE(files.createDirectoryAtPath("", Intermediates::yes, &error));
}

TEST_F(NSFileManagerTest, movesWithoutReplacingAnything) {
  makeFile(folder / "file", "file");
  fs::create_directories(folder / "folder/sub");
  makeFile(folder / "taken", "taken");
  fs::create_symlink("nowhere", folder / "dangling");
  for (const bool isSupported : {true, false}) {
    const testing::SystemHook hook(&detail::SystemCalls::rename, [&](const auto& original, auto... args) {
      if (isSupported || std::get<4>(std::tuple(args...)) == 0) return original(args...);
      errno = EINVAL;
      return -1;
    });
    for (const char* name : {"file", "folder", "dangling"}) {
      EXPECT_FALSE(files.moveItemAtPath(folder / name, folder / "taken", &error)) << name;
      EXPECT_EQ(cause(), EEXIST);
      EXPECT_TRUE(files.moveItemAtPath(folder / name, folder / "moved", &error)) << error->what();
      EXPECT_FALSE(fs::exists(fs::symlink_status(folder / name)));
      EXPECT_TRUE(files.moveItemAtPath(folder / "moved", folder / name, &error)) << error->what();
    }
    EXPECT_FALSE(files.moveItemAtPath(folder / "folder", folder / "folder/sub/in", &error));
    EXPECT_FALSE(files.moveItemAtPath(folder / "none", folder / "some", &error));
    EXPECT_EQ(error->code(), NSFileNoSuchFileError);
  }
  EXPECT_EQ(contentOf(folder / "taken"), "taken");
  EXPECT_EQ(contentOf(folder / "file"), "file");
  EXPECT_TRUE(fs::exists(folder / "folder/sub"));
}

TEST_F(NSFileManagerTest, copiesAndMovesToAnotherVolumeWholeOrNotAtAll) {
  fs::create_directories(folder / "folder/sub");
  makeFile(folder / "folder/sub/file", "file");
  makeFile(folder / "folder/large", std::string(3 << 20, 'l'));
  EXPECT_TRUE(files.copyItemAtPath(folder / "folder", folder / "copy", &error)) << error->what();
  EXPECT_EQ(contentOf(folder / "copy/sub/file"), "file");
  EXPECT_FALSE(files.copyItemAtPath(folder / "folder", folder / "copy", &error));
  EXPECT_EQ(cause(), EEXIST);
  EXPECT_EQ(error->userInfo()[NSFilePathErrorKey], Value((folder / "copy").native()));

  const testing::SystemHook otherVolume(&detail::SystemCalls::rename, [](const auto&, auto...) {
    errno = EXDEV;
    return -1;
  });
  // Until all calls succeed, the source stays and the copy goes; or the other way round.
  testing::failAtEachCall(
      [&] {
        fs::remove_all(folder / "moved");
        fs::remove_all(folder / "source");
        fs::copy(folder / "folder", folder / "source", fs::copy_options::recursive);
      },
      [&] { return files.moveItemAtPath(folder / "source", folder / "moved", &error); },
      [&](bool hasMoved) {
        const bool isThere =
            contentOf(folder / "source/sub/file") == "file" && fs::exists(folder / "source/large");
        const bool isMoved = contentOf(folder / "moved/sub/file") == "file" &&
                             fs::file_size(folder / "moved/large") == std::size_t{3} << 20;
        EXPECT_TRUE(isThere || isMoved) << error->what();
        EXPECT_EQ(hasMoved, isMoved && !fs::exists(folder / "source"));
      });
}

TEST_F(NSFileManagerTest, removesNothingOfOthersAfterACopyThatFails) {
  makeFile(folder / "large", std::string(3 << 20, 'l'));
  fs::create_directory(folder / "folder");
  makeFile(folder / "folder/file", "x");
  // Others take the name: while a file is copied, and once a folder was made.
  for (const char* source : {"large", "folder"}) {
    const fs::path copy = folder / "copy";
    bool isTaken = false;
    const testing::SystemHook write(&detail::SystemCalls::write, [&](const auto&, auto...) {
      if (!std::exchange(isTaken, true)) {
        if (fs::exists(copy)) fs::rename(copy, folder / "moved");
        makeFile(copy, "precious");
      }
      errno = ENOSPC;
      return -1;
    });
    EXPECT_FALSE(files.copyItemAtPath(folder / source, copy, &error));
    EXPECT_EQ(contentOf(copy), "precious") << source;
    fs::remove(copy);
  }
}

TEST_F(NSFileManagerTest, replacesAnItemAndLosesNeitherBeforeTheOtherIsThere) {
  for (const bool canExchange : {true, false}) {
    testing::failAtEachCall(
        [&] {
          for (const auto& item : fs::directory_iterator(folder.path())) fs::remove_all(item);
          makeFile(folder / "letter", "old");
          fs::create_directory(folder / "new");
          makeFile(folder / "new/page", "new");
        },
        [&] {
          const testing::SystemHook rename(
              &detail::SystemCalls::rename, [&](const auto& original, auto... args) {
                if (canExchange || std::get<4>(std::tuple(args...)) != RENAME_EXCHANGE)
                  return original(args...);
                errno = EINVAL;
                return -1;
              });
          return files.replaceItemAtPath(folder / "letter", folder / "new", &error);
        },
        [&](NSFileManager::Replacement result) {
          std::vector<std::string> contents;
          for (const auto& item : fs::recursive_directory_iterator(folder.path())) {
            if (item.is_regular_file()) contents.push_back(contentOf(item));
          }
          EXPECT_THAT(contents, ::testing::Contains("new"));
          const bool isNew = contentOf(folder / "letter/page") == "new";
          EXPECT_TRUE(isNew || std::ranges::count(contents, "old") == 1);
          EXPECT_EQ(result != NSFileManager::Replacement::failed, isNew);
          EXPECT_EQ(result == NSFileManager::Replacement::done, isNew && contents.size() == 1);
        });
  }
  EXPECT_EQ(files.replaceItemAtPath(folder / "none", folder / "letter", &error),
            NSFileManager::Replacement::failed);
  EXPECT_EQ(error->code(), NSFileNoSuchFileError);
}

class RemovalTest : public NSFileManagerTest {
protected:
  void SetUp() override {
    fs::create_directories(outside / "precious");
    makeFile(outside / "precious/file", "precious");
    fs::create_directories(folder / "top/a/b");
    makeFile(folder / "top/a/b/file", "");
    makeFile(folder / "top/file", "");
    fs::create_directory_symlink(outside / "precious", folder / "top/link");
    mkfifo((folder / "top/pipe").c_str(), 0600);
  }
  void TearDown() override { EXPECT_EQ(contentOf(outside / "precious/file"), "precious"); }

  const TemporaryFolder outside;
};

TEST_F(RemovalTest, opensReadOnlyFoldersWhereItIsToldTo) {
  // As the system does for those who may not do everything.
  const testing::SystemHook remove(&detail::SystemCalls::remove,
                                   [](const auto& original, int place, const char* name, int flags) {
                                     struct stat status{};
                                     const bool isKnown = fstat(place, &status) == 0;
                                     if (!isKnown || (status.st_mode & S_IWUSR) != 0)
                                       return original(place, name, flags);
                                     errno = EACCES;
                                     return -1;
                                   });
  chmod((folder / "top/a/b").c_str(), 0555);
  EXPECT_FALSE(files.removeItemAtPath(folder / "top", &error));
  EXPECT_EQ(cause(), EACCES);
  EXPECT_TRUE(files.removeItemAtPath(folder / "top", &error, NSFileManager::ReadOnlyFolders::remove));
  EXPECT_FALSE(fs::exists(folder / "top"));
}

TEST_F(RemovalTest, takesAllThatIsInAFolderAndNothingBehindLinks) {
  EXPECT_TRUE(files.removeItemAtPath(folder / "top/link"));
  fs::create_directory_symlink(outside / "precious", folder / "top/link");
  EXPECT_TRUE(files.removeItemAtPath(folder / "top", &error));
  EXPECT_FALSE(fs::exists(folder / "top"));
  EXPECT_FALSE(files.removeItemAtPath(folder / "top", &error));
  EXPECT_EQ(error->code(), NSFileNoSuchFileError);
  {
    const DeepFolder deep(folder / "deep", 10'000);
  }
  EXPECT_FALSE(fs::exists(folder / "deep"));
}

TEST_F(RemovalTest, isNotLedOutOfTheFolderByWhoExchangesOneForALink) {
  for (const char* victim : {"top", "a", "b"}) {
    bool isDone = false;
    const testing::SystemHook hook(&detail::SystemCalls::open, [&](const auto& original, auto... args) {
      const std::string_view path = std::get<1>(std::tuple(args...));
      if (!isDone && fs::path(path).filename() == victim) {
        isDone = true;
        const fs::path place = victim == std::string_view("top") ? folder / "top"
                               : victim == std::string_view("a") ? folder / "top/a"
                                                                 : folder / "top/a/b";
        fs::rename(place, folder / "aside");
        fs::create_directory_symlink(outside / "precious", place);
      }
      return original(args...);
    });
    static_cast<void>(files.removeItemAtPath(folder / "top"));
    EXPECT_TRUE(isDone) << victim;
    fs::remove_all(folder / "aside");
    fs::remove_all(folder / "top");
    fs::create_directories(folder / "top/a/b");
  }
}

TEST_F(RemovalTest, takesWhatComesMeanwhileButNotForEver) {
  int more = 3;
  int made = 0;
  const testing::SystemHook hook(&detail::SystemCalls::remove, [&](const auto& original, auto... args) {
    if (more > 0 && std::get<2>(std::tuple(args...)) == AT_REMOVEDIR) {
      --more;
      makeFile(folder / "top/a" / std::to_string(++made), "");
    }
    return original(args...);
  });
  EXPECT_TRUE(files.removeItemAtPath(folder / "top", &error)) << error->what();
  fs::create_directories(folder / "top/a");
  more = 1'000'000;
  EXPECT_FALSE(files.removeItemAtPath(folder / "top", &error));
  EXPECT_EQ(cause(), ENOTEMPTY);
}

TEST_F(RemovalTest, leavesNothingHalfSaidWhicheverCallFails) {
  testing::failAtEachCall(
      [&] {
        fs::remove_all(folder / "top");
        RemovalTest::SetUp();
      },
      [&] { return files.removeItemAtPath(folder / "top"); },
      [&](bool isRemoved) { EXPECT_EQ(fs::exists(folder / "top"), !isRemoved); });
}

TEST_F(RemovalTest, refusesWhatIsNoNameAndFollowsNoLinkBeforeASlash) {
  const std::string top = (folder / "top").native();
  for (const std::string& path :
       {top + "/.", top + "/a/..", top + "/../top/./", std::string("/"), std::string("//"), std::string(),
        std::string("."), top + std::string("\0x", 2)}) {
    EXPECT_FALSE(files.removeItemAtPath(path, &error)) << path;
  }
  EXPECT_TRUE(fs::exists(folder / "top/a/b/file"));
  for (const std::string& slashes : {std::string("/"), std::string(5000, '/')}) {
    fs::remove(folder / "link");
    fs::create_directory_symlink(outside / "precious", folder / "link");
    EXPECT_TRUE(files.removeItemAtPath((folder / "link").native() + slashes));
    EXPECT_FALSE(fs::exists(fs::symlink_status(folder / "link")));
  }
  EXPECT_TRUE(files.removeItemAtPath(top + "//"));
}

TEST_F(NSFileManagerTest, leavesNothingHalfDoneWhicheverCallFails) {
  for (const bool isSupported : {true, false}) {
    for (const char* name : {"file", "folder"}) {
      testing::failAtEachCall(
          [&] {
            fs::remove_all(folder / "old");
            fs::remove_all(folder / "new");
            if (name == std::string_view("file")) {
              makeFile(folder / "old", "content");
            } else {
              fs::create_directory(folder / "old");
            }
          },
          [&] {
            const testing::SystemHook hook(&detail::SystemCalls::rename,
                                           [&](const auto& original, auto... args) {
                                             if (isSupported || std::get<4>(std::tuple(args...)) == 0)
                                               return original(args...);
                                             errno = EINVAL;
                                             return -1;
                                           });
            return files.moveItemAtPath(folder / "old", folder / "new");
          },
          [&](bool hasMoved) {
            EXPECT_TRUE(fs::exists(folder / (hasMoved ? "new" : "old")));
            // Where the name that came first cannot be taken back either, there are two, and nothing is lost.
            EXPECT_FALSE(hasMoved && fs::exists(folder / "old"));
          });
    }
  }
  testing::failAtEachCall([&] { fs::remove_all(folder / "a"); },
                          [&] { return files.createDirectoryAtPath(folder / "a/b/c", Intermediates::yes); },
                          [&](bool isMade) { EXPECT_EQ(fs::exists(folder / "a/b/c"), isMade); });
  EXPECT_FALSE(files.createDirectoryAtPath(std::string_view("zero\0/x", 7), Intermediates::yes));
}

TEST_F(NSFileManagerTest, tellsHowAFolderStandsToAnItem) {
  fs::create_directories(folder / "a/b/c");
  fs::create_directories(folder / "ab");
  fs::create_directory_symlink("a", folder / "link");
  makeFile(folder / "a/b/file", "");
  fs::create_symlink("a/b/file", folder / "file-link");
  const DeepFolder deep(folder / "a/deep", 500);
  using enum NSURLRelationship;
  struct Case {
    const char* directory;
    std::string item;
    NSURLRelationship expected;
  };
  for (const Case& row :
       {Case{"a", "a/b/c", contains}, Case{"a", "a/b/file", contains}, Case{"a", "a", same},
        Case{"a", "ab", other}, Case{"a/b", "a", other}, Case{"link", "a/b", contains},
        Case{"a", "link/b/file", contains}, Case{"link", "a", same}, Case{"a", "link", other},
        Case{"a/b", "file-link", other}, Case{"a/b/../b/c/", "a/b/c", same},
        Case{"a", fs::path(deep.path()).lexically_relative(folder.path()), contains}}) {
    EXPECT_EQ(files.getRelationship(folder / row.directory, folder / row.item), row.expected)
        << row.directory << ' ' << row.item.substr(0, 50);
  }
  EXPECT_EQ(files.getRelationship(fs::path("/"), folder.path()), contains);
  EXPECT_FALSE(files.getRelationship(folder / "a", folder / "none", &error));
  EXPECT_EQ(error->code(), NSFileReadNoSuchFileError);
  EXPECT_FALSE(files.getRelationship(folder / "a/b/file", folder / "a", &error));
  EXPECT_EQ(cause(), ENOTDIR);
  EXPECT_FALSE(files.getRelationship(folder / "a", *NSURL::URLWithString("https://a.b/c"), &error));
  EXPECT_EQ(error->code(), NSFileReadUnsupportedSchemeError);
}

TEST(MountTable, findsTheVolumeByItsNumberWhateverItsName) {
  constexpr std::string_view table =
      "22 1 0:20 / / rw,relatime shared:1 master:2 - ext4 /dev/vda rw\n"
      "223 22 0:21 / /media/My\\040Disk\\134x\\01 rw - fuse.iso dev rw\n"
      "24 22 0:21 / /proc rw";
  EXPECT_EQ(detail::mountInTable(table, 22)->format, "ext4");
  EXPECT_EQ(detail::mountInTable(table, 223)->path, "/media/My Disk\\x\\01");
  EXPECT_EQ(detail::mountInTable(table, 223)->format, "fuse.iso");
  EXPECT_EQ(detail::mountInTable(table, 24)->format, "");
  EXPECT_FALSE(detail::mountInTable(table, 2));
  EXPECT_FALSE(detail::mountInTable("", 1));
}

}  // namespace
}  // namespace QVFoundation
