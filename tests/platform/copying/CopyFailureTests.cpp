#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <sys/wait.h>
#include <tuple>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/platform/copying/CopyTesting.h"
#include "tests/platform/files/FailingSystem.h"
#include "tests/platform/files/SystemHook.h"

namespace QVFoundation {
namespace {

namespace fs = std::filesystem;
using detail::CopyEvent;
using detail::CopyStage;
using detail::SystemCalls;
using testing::contentOf;
using testing::Copying;
using testing::copyOf;
using testing::descriptionOfTree;
using ::testing::ElementsAre;
using testing::makeFile;
using testing::mebibyte;
using ::testing::StartsWith;
using testing::SystemHook;
using testing::TemporaryFolder;

class CopyFailureTest : public ::testing::Test {
protected:
  const TemporaryFolder folder{testing::placeForManyFolders()};
  const fs::path source = folder / "source";
  const fs::path copy = folder / "copy";

  void makeTree() const {
    fs::create_directories(source / "a/b");
    makeFile(source / "a/text", "text");
    makeFile(source / "a/nothing", "");
    makeFile(source / "large", std::string(2 * mebibyte, 'l'));
    fs::create_hard_link(source / "a/text", source / "a/b/again");
    fs::create_symlink("nowhere", source / "link");
    setxattr((source / "a/text").c_str(), "user.colour", "red", 3, 0);
  }

  /// What has a name is whole.
  void expectWholeFiles() const {
    if (!fs::exists(copy)) return;
    for (const auto& item : fs::recursive_directory_iterator(copy)) {
      if (!item.is_regular_file() || item.is_symlink()) continue;
      const fs::path original = source / item.path().lexically_relative(copy);
      EXPECT_TRUE(fs::exists(original)) << item.path();
      EXPECT_TRUE(contentOf(item.path()) == contentOf(original)) << item.path();
    }
  }
};

TEST_F(CopyFailureTest, tellsOfEachCallThatFailsAndLeavesNoHalfFile) {
  makeTree();
  for (const auto method : {detail::CopyMethod::copy, detail::CopyMethod::clone}) {
    for (const auto policy : {CopyFlushPolicy::cached, CopyFlushPolicy::written}) {
      const auto original = descriptionOfTree(source);
      testing::failAtEachCall([&] { fs::remove_all(copy); },
                              [&] { return copyOf(source, copy, {{method, policy, 0}, 0, {}}); },
                              [&](const Copying& result) {
                                expectWholeFiles();
                                if (result.code != 0) {
                                  EXPECT_EQ(result.code, EIO);
                                  EXPECT_EQ(result.error, EIO);
                                  EXPECT_THAT(result.events.back(), StartsWith("error"));
                                } else if (result.report.lossCount == 0) {
                                  EXPECT_EQ(descriptionOfTree(copy).size(), original.size());
                                }
                              });
      EXPECT_EQ(descriptionOfTree(source), original);
    }
  }
}

TEST_F(CopyFailureTest, stopsAtWhateverEventItIsTold) {
  makeTree();
  const std::size_t count = copyOf(source, copy).events.size();
  EXPECT_GT(count, 15);
  for (std::size_t event = 1; event <= count; ++event) {
    fs::remove_all(copy);
    const auto descriptors = testing::openDescriptorCount();
    const auto result = copyOf(source, copy, {{}, event, {}});
    EXPECT_EQ(result.code, ECANCELED);
    EXPECT_EQ(result.events.size(), event);
    EXPECT_EQ(testing::openDescriptorCount(), descriptors);
    expectWholeFiles();
  }
}

TEST_F(CopyFailureTest, goesThroughWithWhatTheCallbackThrows) {
  makeTree();
  for (int i = 0; i < 100; ++i) makeFile(source / std::to_string(i), "");
  const auto descriptors = testing::openDescriptorCount();
  const auto throwAtFile = [](const CopyEvent& event) {
    if (event.item == detail::CopyItem::file) throw std::runtime_error("enough");
  };
  EXPECT_THROW(copyOf(source, copy, {{}, 0, throwAtFile}), std::runtime_error);
  EXPECT_EQ(testing::openDescriptorCount(), descriptors);
  expectWholeFiles();
}

TEST_F(CopyFailureTest, refusesWhatIsThereBeforeAByteIsCopied) {
  makeTree();
  makeFile(folder / "file", "old");
  fs::create_directory(folder / "folder");
  fs::create_symlink("nowhere", folder / "dangling");
  fs::create_symlink("source/a", folder / "way in");
  struct Case {
    const char* from;
    const char* to;
    int code;
  };
  for (const auto& [from, to, code] : {
           Case{"source", "file", EEXIST},
           {"source", "folder", EEXIST},
           {"source", "folder/", EEXIST},
           {"source", "dangling", EEXIST},
           {"source", "source", EEXIST},
           {"source", "folder/.", EEXIST},
           {"source", "source/new", EINVAL},
           {"source", "source/a/b/new", EINVAL},
           {"source", "way in/new", EINVAL},
           {"source", "none/new", ENOENT},
           {"source", "file/new", ENOTDIR},
           {"source/large", "dangling", EEXIST},
           {"none", "new", ENOENT},
           {"file/none", "new", ENOTDIR},
       }) {
    const auto before = descriptionOfTree(folder.path());
    const auto result = copyOf(folder.path() / from, folder.path() / to);
    EXPECT_EQ(result.code, code) << from << " to " << to;
    EXPECT_EQ(result.error, code);
    EXPECT_EQ(result.events.size(), 1);
    EXPECT_THAT(result.events[0], StartsWith("error"));
    EXPECT_EQ(descriptionOfTree(folder.path()), before);
  }
  EXPECT_EQ(copyOf("", copy).code, ENOENT);
  EXPECT_EQ(copyOf(source, "").code, ENOENT);
}

TEST_F(CopyFailureTest, neverReplacesWhatComesIntoItsWay) {
  makeTree();
  for (const char* name : {"a", "a/text", "large", "link"}) {
    fs::remove_all(copy);
    const auto result =
        copyOf(source, copy, {{.helpers = 0}, 0, [&](const CopyEvent& event) {
                                if (event.stage != CopyStage::start) return;
                                // As soon as there is a folder that can have it.
                                if (!fs::exists(copy / name) && fs::exists((copy / name).parent_path()))
                                  makeFile(copy / name, "mine");
                              }});
    if (result.code == 0) continue;  // it had been copied ahead by then
    EXPECT_EQ(result.code, EEXIST) << name;
    EXPECT_EQ(contentOf(copy / name), "mine") << name;
  }
}

TEST_F(CopyFailureTest, followsNoLinkThatIsPutInItsWay) {
  makeTree();
  fs::create_directory(folder / "elsewhere");
  const SystemHook made(&SystemCalls::makeFolder,
                        [&](auto original, int place, const char* name, mode_t mode) {
                          const int result = original(place, name, mode);
                          if (std::string_view(name) == "a") {
                            fs::remove(copy / "a");
                            fs::create_symlink(folder / "elsewhere", copy / "a");
                          }
                          return result;
                        });
  const auto result = copyOf(source, copy, {{.helpers = 0}, 0, {}});
  EXPECT_EQ(result.code, ENOTDIR);
  EXPECT_TRUE(fs::is_empty(folder / "elsewhere"));
}

TEST_F(CopyFailureTest, endsWhereTheSourceVanishesOrMayNotBeRead) {
  makeTree();
  const auto vanishes = copyOf(source, copy, {{.helpers = 0}, 0, [&](const CopyEvent& event) {
                                                if (event.item == detail::CopyItem::folder)
                                                  fs::remove(source / "large");
                                              }});
  // The folder has been read by then, or not.
  EXPECT_TRUE(vanishes.code == 0 ||
              (vanishes.code == ENOENT && vanishes.events.back() == "error file /large"));

  fs::remove_all(copy);
  const SystemHook refuses(&SystemCalls::open,
                           [&](auto original, int place, const char* path, int flags, mode_t mode) {
                             if (std::string_view(path) != "text") return original(place, path, flags, mode);
                             errno = EACCES;
                             return -1;
                           });
  const auto forbidden = copyOf(source, copy, {{.helpers = 0}, 0, {}});
  EXPECT_EQ(forbidden.code, EACCES);
  EXPECT_EQ(forbidden.events.back(), "error file /a/text");
}

// With a file that only grows, and one that is cut off, while they are read.
TEST_F(CopyFailureTest, tellsTheSizeThatWasMeasuredWhateverBecomesOfTheFile) {
  for (const off_t change : {off_t{-1}, off_t{5}}) {
    fs::remove_all(source);
    fs::remove_all(copy);
    makeFile(source, std::string(4 * mebibyte, 'x'));
    bool isChanged = false;
    const auto result = copyOf(source, copy, {{}, 0, [&](const CopyEvent& event) {
                                                if (event.stage != CopyStage::start || isChanged) return;
                                                isChanged = true;
                                                fs::resize_file(source, change < 0 ? mebibyte : 5 * mebibyte);
                                              }});
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.bytes, 4 * mebibyte);
    EXPECT_EQ(fs::file_size(copy), fs::file_size(source));
  }
}

// Whoever appends as fast as it is copied.
TEST_F(CopyFailureTest, canBeStoppedWhileAFileGrows) {
  for (const std::size_t size : {std::size_t{100}, 3 * mebibyte}) {
    fs::remove_all(copy);
    makeFile(source, std::string(size, 'x'));
    const SystemHook read(&SystemCalls::read, [&](auto original, int file, void* buffer, std::size_t most) {
      fs::resize_file(source, fs::file_size(source) + 2 * most);
      return original(file, buffer, most);
    });
    const auto result = copyOf(source, copy, {{.helpers = 0}, 6, {}});
    EXPECT_EQ(result.code, ECANCELED);
    EXPECT_LE(result.bytes, size);
    EXPECT_FALSE(fs::exists(copy));
  }
}

// A folder of the same name, but another, is there when the copy of the first one is finished.
TEST_F(CopyFailureTest, finishesAFolderAsTheOneThatWasRead) {
  makeTree();
  fs::permissions(source / "a", fs::perms::owner_all);
  const auto result =
      copyOf(source, copy, {{.helpers = 0}, 0, [&](const CopyEvent& event) {
                              if (event.stage != CopyStage::start || fs::exists(folder / "hidden")) return;
                              if (!std::string_view(event.source).ends_with("/text")) return;
                              fs::rename(source / "a", folder / "hidden");
                              fs::create_directory(source / "a");
                            }});
  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(fs::status(copy / "a").permissions(), fs::perms::owner_all);
}

TEST_F(CopyFailureTest, linksToTheNextWhereOneLinkCannotBeMade) {
  fs::create_directories(source);
  makeFile(source / "0", "text");
  for (const char* name : {"1", "2", "3"}) fs::create_hard_link(source / "0", source / name);
  int links = 0;
  const SystemHook link(&SystemCalls::link, [&](auto original, auto... args) {
    const bool isFurtherName = std::get<4>(std::tuple(args...)) == 0;
    if (!isFurtherName || ++links != 1) return original(args...);
    errno = EMLINK;
    return -1;
  });
  const auto result = copyOf(source, copy, {{.helpers = 0}, 0, {}});
  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.report.linked.files, 2);
  EXPECT_EQ(result.report.lossCount, 1);
  EXPECT_EQ(result.report.losses.at(0).kind, CopyLoss::Kind::hardLink);
}

// The number of a file that has gone may be that of another one by the time that it is met.
TEST_F(CopyFailureTest, linksOnlyWhatIsTheSame) {
  fs::create_directories(source);
  makeFile(source / "0", "text");
  fs::create_hard_link(source / "0", source / "1");
  int files = 0;
  const SystemHook stat(&SystemCalls::stat, [&](auto original, int file, struct stat* status) {
    const int result = original(file, status);
    if (S_ISREG(status->st_mode) && status->st_nlink == 2 && ++files == 2) ++status->st_mtim.tv_sec;
    return result;
  });
  const auto result = copyOf(source, copy, {{.helpers = 0}, 0, {}});
  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.report.linked.files, 0);
  EXPECT_EQ(result.report.copied.files, 2);
}

TEST_F(CopyFailureTest, ownsUpToWhatIsSaidOnlyAtClosing) {
  makeTree();
  const SystemHook unnamed(&SystemCalls::open,
                           [](auto original, int place, const char* path, int flags, mode_t mode) {
                             if ((flags & O_TMPFILE) != O_TMPFILE) return original(place, path, flags, mode);
                             errno = EOPNOTSUPP;
                             return -1;
                           });
  const SystemHook close(&SystemCalls::close, [](auto original, int file) {
    const bool isNew = (fcntl(file, F_GETFL) & O_ACCMODE) == O_WRONLY;
    original(file);
    errno = EDQUOT;
    return isNew ? -1 : 0;
  });
  const auto result = copyOf(source, copy, {{.helpers = 0}, 0, {}});
  EXPECT_EQ(result.code, EDQUOT);
  expectWholeFiles();
}

TEST_F(CopyFailureTest, endsWhereACopyIsMovedIntoItsSource) {
  makeTree();
  const auto result =
      copyOf(source, copy, {{.helpers = 0}, 0, [&](const CopyEvent& event) {
                              if (event.stage != CopyStage::start || !event.source.ends_with("/a")) return;
                              fs::create_directory(source / "a/zz");
                              fs::rename(copy / "a", source / "a/zz/in");
                            }});
  EXPECT_TRUE(result.code == 0 || result.code == EINVAL) << "by whether its folder had been read";
  EXPECT_LT(result.report.folders, 10);
}

TEST_F(CopyFailureTest, leavesNothingHalfWhenItIsKilled) {
  fs::create_directory(source);
  for (int i = 0; i < 400; ++i)
    makeFile(source / std::to_string(i), std::string(static_cast<std::size_t>(i) * 500, 'x'));
  for (int round = 0; round < 8; ++round) {
    fs::remove_all(copy);
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const pid_t child = fork();
    if (child == 0) {
      int events = 0;
      copyOf(source, copy, {{.helpers = 0}, 0, [&](const CopyEvent&) {
                              if (++events == 2 + 150 * round) static_cast<void>(!write(ready[1], "!", 1));
                            }});
      _exit(0);
    }
    close(ready[1]);
    char byte = 0;
    static_cast<void>(!read(ready[0], &byte, 1));
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    close(ready[0]);
    expectWholeFiles();
  }
}

}  // namespace
}  // namespace QVFoundation
