#include <algorithm>
#include <fcntl.h>
#include <filesystem>
#include <sys/resource.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/platform/copying/CopyTesting.h"
#include "tests/platform/files/DeepFolder.h"
#include "tests/platform/files/SystemHook.h"

namespace QVFoundation {
namespace {

namespace fs = std::filesystem;
using detail::CopyEvent;
using detail::CopyMethod;
using detail::CopyStage;
using detail::SystemCalls;
using testing::contentOf;
using testing::copyOf;
using testing::CopyQuestion;
using testing::descriptionOfTree;
using ::testing::ElementsAre;
using testing::makeFile;
using testing::mebibyte;
using testing::SystemHook;
using testing::TemporaryFolder;

class CopyEngineTest : public ::testing::Test {
protected:
  const TemporaryFolder folder;
  const fs::path source = folder / "source";
  const fs::path copy = folder / "copy";

  void setTime(const fs::path& path, time_t seconds) const {
    const std::array times = {timespec{seconds, 1}, timespec{seconds, 123456789}};
    utimensat(AT_FDCWD, path.c_str(), times.data(), AT_SYMLINK_NOFOLLOW);
  }

  /// Something of everything that needs no privilege.
  void makeTree() const {
    fs::create_directories(source / "a/b/empty");
    makeFile(source / "a/text", "text");
    makeFile(source / "a/nothing", "");
    makeFile(source / "a/new\nline\xff", "odd");
    makeFile(source / "large", std::string(3 * mebibyte, 'l'));
    fs::create_hard_link(source / "a/text", source / "a/b/again");
    fs::create_symlink("nowhere", source / "dangling");
    fs::create_hard_link(source / "dangling", source / "a/dangling again");
    fs::create_symlink("a", source / "link to folder");
    mkfifo((source / "pipe").c_str(), 0640);
    setxattr((source / "a/text").c_str(), "user.colour", "red", 3, 0);
    setxattr((source / "a").c_str(), "user.colour", "green", 5, 0);
    chmod((source / "large").c_str(), 0400);
    chmod((source / "a/nothing").c_str(), 06755);
    chmod((source / "a/b").c_str(), 02750);
    chmod((source / "a/b/empty").c_str(), 0555);
    for (const char* name : {"a/text", "dangling", "pipe", "a/b", "a"}) setTime(source / name, 1'000'000'000);
    setTime(source / "a/nothing", -1'000'000'000);
  }
};

TEST_F(CopyEngineTest, keepsAllThatItemsAre) {
  makeTree();
  const auto original = descriptionOfTree(source);
  for (const unsigned helpers : {0U, 1U, 3U}) {
    for (const auto policy : {CopyFlushPolicy::cached, CopyFlushPolicy::written}) {
      for (const auto method : {CopyMethod::copy, CopyMethod::clone}) {
        const auto result = copyOf(source, copy, {{method, policy, helpers}, 0, {}});
        EXPECT_EQ(result.code, 0);
        EXPECT_EQ(descriptionOfTree(copy), original);
        EXPECT_EQ(result.report.lossCount, 0);
        const auto& [cloned, offloaded, copied, linked, folders, others, losses, count] = result.report;
        EXPECT_EQ(cloned.files + offloaded.files + copied.files, 4);
        EXPECT_EQ(cloned.bytes + offloaded.bytes + copied.bytes, 3 * mebibyte + 7);
        EXPECT_EQ(linked, (CopyReport::Amount{2, 4 + 7}));
        EXPECT_EQ(folders, 4);
        EXPECT_EQ(others, 3);
        EXPECT_EQ(result.bytes, 3 * mebibyte + 4 + 4 + 3 + 7 + 7 + 1);
        fs::permissions(copy / "a/b/empty", fs::perms::owner_all);
        fs::remove_all(copy);
      }
    }
  }
}

TEST_F(CopyEngineTest, tellsOfOneFileAfterTheOther) {
  fs::create_directory(source);
  for (int i = 0; i < 300; ++i) makeFile(source / std::to_string(i), std::to_string(i));
  makeFile(source / "large", std::string(20 * mebibyte, 'l'));
  std::string last;
  std::size_t files = 0;
  const auto result = copyOf(
      source, copy, {{}, 0, [&](const CopyEvent& event) {
                       if (event.item == detail::CopyItem::folder) return;
                       EXPECT_EQ(event.destination,
                                 copy.native() + std::string(event.source.substr(source.native().size())));
                       if (event.stage == CopyStage::start) {
                         EXPECT_EQ(last, "");
                         last = event.source;
                       }
                       EXPECT_EQ(last, event.source);
                       if (event.stage != CopyStage::finish) return;
                       last.clear();
                       ++files;
                       EXPECT_EQ(contentOf(event.destination), contentOf(event.source))
                           << "whole when it is told of";
                     }});
  EXPECT_EQ(files, 301);
  EXPECT_EQ(result.events.front(), "start folder ");
  EXPECT_EQ(result.events.back(), "finish folder ");
  EXPECT_LE(result.longestStep, 8 * mebibyte);
}

TEST_F(CopyEngineTest, copiesSingleItemsOfAllKinds) {
  makeFile(source, "text");
  EXPECT_THAT(copyOf(source, copy).events, ElementsAre("start file ", "progress data ", "finish file "));
  EXPECT_EQ(descriptionOfTree(copy), descriptionOfTree(source));
  fs::create_symlink("source", folder / "link");
  EXPECT_EQ(copyOf(folder / "link", folder / "link copy").code, 0);
  EXPECT_EQ(fs::read_symlink(folder / "link copy"), "source") << "a link is an item, also as the source";
  EXPECT_EQ(copyOf("/proc/version", folder / "version").code, 0);
  EXPECT_EQ(contentOf(folder / "version"), contentOf("/proc/version")) << "whose size is said to be 0";
}

TEST_F(CopyEngineTest, keepsHoles) {
  const auto blocks = [](const fs::path& path) {
    struct stat status{};
    stat(path.c_str(), &status);
    return status.st_blocks;
  };
  makeFile(source, "");
  for (const char* row : {"all", "behind", "before", "between"}) {
    const int file = open(source.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
    const std::string data(mebibyte, 'd');
    const std::string_view kind = row;
    for (const auto& [other, offset] : {std::pair("behind", 0), std::pair("before", 9)}) {
      if (kind != other && kind != "between") continue;
      EXPECT_EQ(pwrite(file, data.data(), data.size(), offset * off_t{mebibyte}), data.size());
    }
    EXPECT_EQ(ftruncate(file, 10 * mebibyte), 0);
    fsync(file);
    close(file);
    const auto result = copyOf(source, copy, {{.helpers = 0}, 0, {}});
    EXPECT_EQ(result.code, 0) << row;
    EXPECT_EQ(result.bytes, 10 * mebibyte) << row;
    EXPECT_TRUE(contentOf(copy) == contentOf(source)) << row;
    EXPECT_LE(blocks(copy), blocks(source)) << row;
    fs::remove(copy);
  }
}

TEST_F(CopyEngineTest, inheritsNoAccessFromTheFolderItComesInto) {
  const fs::path shared = folder / "shared";
  fs::create_directory(shared);
  // Version 2; owner rwx, user 1 rwx, group r-x, mask rwx, others --- (acl(5)).
  constexpr std::array<unsigned char, 44> list = {
      2, 0, 0,    0,    1,    0,    7,  0, 0xff, 0xff, 0xff, 0xff, 2,    0,   7,
      0, 1, 0,    0,    0,    4,    0,  5, 0,    0xff, 0xff, 0xff, 0xff, 16,  0,
      7, 0, 0xff, 0xff, 0xff, 0xff, 32, 0, 0,    0,    0xff, 0xff, 0xff, 0xff};
  if (setxattr(shared.c_str(), "system.posix_acl_default", list.data(), list.size(), 0) != 0) {
    GTEST_SKIP() << "the file system of the temporary folder has no access lists";
  }
  makeTree();
  makeFile(folder / "file", "f");
  EXPECT_EQ(copyOf(source, shared / "copy").code, 0);
  EXPECT_EQ(descriptionOfTree(shared / "copy"), descriptionOfTree(source));
  EXPECT_EQ(copyOf(folder / "file", shared / "file").code, 0);
  EXPECT_EQ(descriptionOfTree(shared / "file"), descriptionOfTree(folder / "file"));
  EXPECT_EQ(copyOf(shared, folder / "shared copy").code, 0);
  EXPECT_EQ(descriptionOfTree(folder / "shared copy"), descriptionOfTree(shared))
      << "and keeps the lists of the source";
}

TEST_F(CopyEngineTest, goesDownAndComesBackWithFewOpenFolders) {
  const TemporaryFolder place{testing::placeForManyFolders()};
  const testing::DeepFolder deep(place / "deep", 3000);
  const auto result = copyOf(place / "deep", place / "copy");
  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.report.folders, 3001);
  NSFileManager().removeItemAtPath(place / "copy");

  makeTree();
  for (int i = 0; i < 200; ++i) makeFile(source / std::to_string(i), "");
  // A sanitizer opens a file of its own when it meets a class for the first time.
  EXPECT_EQ(copyOf(source, folder / "first copy", {{.helpers = 0}, 0, {}}).code, 0);
  rlimit before{};
  getrlimit(RLIMIT_NOFILE, &before);
  const auto next = static_cast<rlim_t>(dup(STDOUT_FILENO));
  close(static_cast<int>(next));
  const rlimit few{next + 20, before.rlim_max};
  setrlimit(RLIMIT_NOFILE, &few);
  const auto narrow = copyOf(source, copy, {{.helpers = 0}, 0, {}});
  setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_EQ(narrow.code, 0);
  EXPECT_EQ(descriptionOfTree(copy), descriptionOfTree(source));
}

struct Way {
  const char* row;
  int cloneCode, rangeCode, unnamedCode, linkCode;
};

// What file systems say of what they do not have; the copy is the same.
TEST_F(CopyEngineTest, findsAnotherWayWhereTheFileSystemHasNone) {
  makeTree();
  const auto wanted = descriptionOfTree(source);
  for (const auto& [row, cloneCode, rangeCode, unnamedCode, linkCode] :
       {Way{"no clones", EOPNOTSUPP, EXDEV, 0, 0}, Way{"not this one", EINVAL, ETXTBSY, 0, 0},
        Way{"no unnamed files", ENOTTY, ENOSYS, EOPNOTSUPP, 0},
        Way{"no links", ENOTTY, ENOSYS, EISDIR, EPERM},
        Way{"no links to unnamed files", EXDEV, EINVAL, 0, EPERM}}) {
    const auto fail = [](int code) {
      errno = code;
      return -1;
    };
    const SystemHook clone(&SystemCalls::clone, [&](auto original, int to, int from) {
      return cloneCode != 0 ? fail(cloneCode) : original(to, from);
    });
    const SystemHook range(&SystemCalls::copyRange, [&](auto original, int from, off_t* fromOffset, int to,
                                                        off_t* toOffset, std::size_t size, unsigned flags) {
      return rangeCode != 0 ? fail(rangeCode) : original(from, fromOffset, to, toOffset, size, flags);
    });
    const SystemHook open(&SystemCalls::open,
                          [&](auto original, int place, const char* path, int flags, mode_t mode) {
                            const bool refuses = unnamedCode != 0 && (flags & O_TMPFILE) == O_TMPFILE;
                            return refuses ? fail(unnamedCode) : original(place, path, flags, mode);
                          });
    const SystemHook link(&SystemCalls::link, [&](auto original, int place, const char* path, int newPlace,
                                                  const char* newPath, int flags) {
      return linkCode != 0 ? fail(linkCode) : original(place, path, newPlace, newPath, flags);
    });
    const auto result = copyOf(source, copy, {{.method = CopyMethod::clone, .helpers = 0}, 0, {}});
    EXPECT_EQ(result.code, 0) << row;
    EXPECT_EQ(result.bytes, 3 * mebibyte + 4 + 4 + 3 + 7 + 7 + 1) << row;
    if (linkCode == 0) {
      EXPECT_EQ(descriptionOfTree(copy), wanted) << row;
    } else {  // copies in place of further names, and no other names left over
      EXPECT_EQ(descriptionOfTree(copy).size(), wanted.size()) << row;
      EXPECT_EQ(contentOf(copy / "a/b/again"), "text") << row;
      EXPECT_EQ(result.report.linked.files, 0) << row;
    }
    fs::remove_all(copy);
  }
}

// The superuser may enter everything, so this is done as somebody else.
TEST_F(CopyEngineTest, copiesFoldersThatMayBeListedAndNotEntered) {
  const fs::path listed = source / "listed";
  fs::create_directories(listed);
  makeFile(source / "text", "text");
  constexpr uid_t nobody = 65534;
  const bool isSuperuser = geteuid() == 0;
  if (isSuperuser) {
    for (const fs::path& path : {folder.path(), source, listed, source / "text"}) {
      if (chown(path.c_str(), nobody, static_cast<gid_t>(-1)) != 0) GTEST_SKIP() << "there is nobody else";
    }
  }
  chmod(listed.c_str(), 0444);
  ASSERT_TRUE(!isSuperuser || seteuid(nobody) == 0);
  const int code = copyOf(source, copy).code;
  ASSERT_TRUE(!isSuperuser || seteuid(0) == 0);
  EXPECT_EQ(code, 0);
  EXPECT_EQ(descriptionOfTree(copy), descriptionOfTree(source));
}

// Without the privilege for what is not one's own.
TEST_F(CopyEngineTest, tellsWhatCouldNotBeKeptAndGivesNobodyMore) {
  fs::create_directory(source);
  makeFile(source / "file", "text");
  chmod((source / "file").c_str(), 06674);
  setxattr((source / "file").c_str(), "user.colour", "red", 3, 0);
  const auto refuse = [](auto...) {
    errno = EPERM;
    return -1;
  };
  const SystemHook foreign(&SystemCalls::stat, [](auto original, int file, struct stat* status) {
    const int result = original(file, status);
    if (S_ISREG(status->st_mode) && (status->st_mode & S_ISUID) != 0) ++status->st_uid, ++status->st_gid;
    return result;
  });
  const SystemHook owner(&SystemCalls::changeOwner, refuse);
  const SystemHook attribute(&SystemCalls::setAttributeOf, refuse);
  const auto result = copyOf(source, copy, {{.helpers = 0}, 0, {}});
  EXPECT_EQ(result.code, 0);
  std::vector<CopyLoss::Kind> kinds;
  for (const CopyLoss& loss : result.report.losses) {
    EXPECT_EQ(loss.path, source / "file");
    EXPECT_EQ(loss.code, EPERM);
    EXPECT_EQ(loss.attribute, loss.kind == CopyLoss::Kind::attribute ? "user.colour" : "");
    kinds.push_back(loss.kind);
  }
  EXPECT_THAT(kinds, ElementsAre(CopyLoss::Kind::owner, CopyLoss::Kind::group, CopyLoss::Kind::attribute));
  EXPECT_EQ(result.report.lossCount, 3);
  struct stat status{};
  stat((copy / "file").c_str(), &status);
  EXPECT_EQ(status.st_mode & 07777, 0644) << "another group has what all others have";
}

TEST_F(CopyEngineTest, remembersABoundedNumberOfLosses) {
  fs::create_directory(source);
  for (int i = 0; i < 1100; ++i) makeFile(source / std::to_string(i), "");
  const SystemHook times(&SystemCalls::setTimes, [](auto, int, const timespec*) {
    errno = EPERM;
    return -1;
  });
  const auto result = copyOf(source, copy);
  EXPECT_EQ(result.report.losses.size(), CopyReport::mostLosses);
  EXPECT_EQ(result.report.lossCount, 1101);
}

}  // namespace
}  // namespace QVFoundation
