#include "QVFoundation/platform/files/NSDataFiles.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <span>
#include <string>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <gtest/gtest.h>

#include "QVFoundation/platform/runtime/NSErrorKeys.h"
#include "tests/platform/files/FailingSystem.h"
#include "tests/platform/files/SystemHook.h"
#include "tests/platform/files/TemporaryFolder.h"

namespace QVFoundation {
namespace {

namespace fs = std::filesystem;
using testing::contentOf;
using testing::makeFile;
using testing::TemporaryFolder;
using Writing = NSDataWritingOptions;

bool writeText(const fs::path& path, std::string_view text, Writing options,
               std::optional<NSError>* error = nullptr) {
  return writeDataToFile(std::as_bytes(std::span(text)), path, options, error);
}

std::ptrdiff_t itemsIn(const TemporaryFolder& folder) {
  return std::distance(fs::directory_iterator(folder.path()), {});
}

TEST(NSDataFiles, areAsTheyWereWrittenInEveryWay) {
  const TemporaryFolder folder;
  for (const Writing options : {Writing::none, Writing::atomic, Writing::atomicWithoutOverwriting}) {
    const fs::path path = folder / std::to_string(static_cast<int>(options));
    const std::string content(100'000, 'x');
    ASSERT_TRUE(writeText(path, content, options));
    const auto data = dataWithContentsOfFile(path, NSDataReadingOptions::uncached);
    ASSERT_TRUE(data);
    EXPECT_EQ(data->size(), content.size());
    EXPECT_EQ(contentOf(path), content);
  }
  EXPECT_EQ(itemsIn(folder), 3);
}

TEST(NSDataFiles, keepTheLinkThePermissionsAndTheOwnerOfWhatTheyReplace) {
  const TemporaryFolder folder;
  fs::create_directory(folder / "real");
  makeFile(folder / "real/file", "old");
  chmod((folder / "real/file").c_str(), 0600);
  const bool mayGiveAway = chown((folder / "real/file").c_str(), 12, 34) == 0;
  fs::create_symlink("real/link", folder / "link");
  fs::create_symlink("file", folder / "real/link");
  ASSERT_TRUE(writeText(folder / "link", "new", Writing::atomic));

  EXPECT_TRUE(fs::is_symlink(folder / "link"));
  EXPECT_EQ(contentOf(folder / "real/file"), "new");
  struct stat status{};
  stat((folder / "real/file").c_str(), &status);
  EXPECT_EQ(status.st_mode & 07777, 0600U);
  if (mayGiveAway) {
    EXPECT_EQ(std::pair(status.st_uid, status.st_gid), std::pair(uid_t{12}, gid_t{34}));
  }

  EXPECT_TRUE(writeText(folder / "fresh", "", Writing::atomic));
  const mode_t mask = umask(0);
  umask(mask);
  stat((folder / "fresh").c_str(), &status);
  EXPECT_EQ(status.st_mode & 07777, 0666U & ~mask);
}

TEST(NSDataFiles, refuseWhatIsNoFileAndSayWhy) {
  const TemporaryFolder folder;
  makeFile(folder / "file", "old");
  fs::create_directory(folder / "folder");
  mkfifo((folder / "pipe").c_str(), 0600);
  struct Case {
    const char* name;
    Writing options;
    std::int64_t code;
    int cause;
  };
  for (const Case& row : {Case{"file", Writing::atomicWithoutOverwriting, NSFileWriteFileExistsError, EEXIST},
                          Case{"folder", Writing::atomic, NSFileWriteUnknownError, EISDIR},
                          Case{"pipe", Writing::atomic, NSFileWriteUnknownError, EINVAL},
                          Case{"none/file", Writing::atomic, NSFileNoSuchFileError, ENOENT},
                          Case{"none/file", Writing::none, NSFileNoSuchFileError, ENOENT},
                          Case{"file/file", Writing::atomic, NSFileNoSuchFileError, ENOTDIR}}) {
    std::optional<NSError> error;
    EXPECT_FALSE(writeText(folder / row.name, "new", row.options, &error)) << row.name;
    ASSERT_TRUE(error) << row.name;
    EXPECT_EQ(error->code(), row.code) << row.name;
    EXPECT_EQ(error->underlyingErrors().at(0).code(), row.cause) << row.name;
    EXPECT_EQ(error->userInfo()[NSFilePathErrorKey].as<std::string>(), (folder / row.name).native());
  }
  EXPECT_FALSE(writeDataToFile({}, std::string_view("file\0evil", 9), Writing::atomic));
  EXPECT_EQ(contentOf(folder / "file"), "old");
  EXPECT_EQ(itemsIn(folder), 3);
}

// Whichever call of the system fails: the old file or the new one, nothing else, and nothing left open.
TEST(NSDataFiles, areReplacedWholeOrNotAtAll) {
  const TemporaryFolder folder;
  for (const Writing options : {Writing::atomic, Writing::atomicWithoutOverwriting}) {
    const bool replaces = options == Writing::atomic;
    std::optional<NSError> error;
    testing::failAtEachCall(
        [&] {
          error.reset();
          fs::remove(folder / "file");
          if (replaces) makeFile(folder / "file", "old");
        },
        [&] { return writeText(folder / "file", "new", options, &error); },
        [&](bool isWritten) {
          const std::string before = replaces ? "old" : "";
          EXPECT_EQ(contentOf(folder / "file"), isWritten ? "new" : before);
          EXPECT_EQ(itemsIn(folder), isWritten || replaces ? 1 : 0);
          EXPECT_EQ(error.has_value(), !isWritten);
        });
  }
}

// What cannot be kept takes rights away and gives none.
TEST(NSDataFiles, giveNobodyARightThatTheOldOneDidNotGive) {
  const TemporaryFolder folder;
  const fs::path path = folder / "file";
  makeFile(path, "old");
  chmod(path.c_str(), 0660);
  // Version 2: the owner rw, user 3000 rw, the group nothing, mask rw, others nothing (acl(5)).
  const unsigned char list[] = {2,    0,    0,    0,    1,    0, 6, 0, 0xFF, 0xFF, 0xFF, 0xFF, 2,    0, 6, 0,
                                0xB8, 0x0B, 0,    0,    4,    0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0x10, 0, 6, 0,
                                0xFF, 0xFF, 0xFF, 0xFF, 0x20, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF};
  if (setxattr(path.c_str(), "system.posix_acl_access", list, sizeof list, 0) != 0) {
    GTEST_SKIP() << "no access lists on this volume";
  }
  setxattr(path.c_str(), "user.tag", "kept", 4, 0);
  ASSERT_TRUE(writeText(path, "new", Writing::atomic));
  std::array<unsigned char, 256> kept{};
  EXPECT_EQ(getxattr(path.c_str(), "system.posix_acl_access", kept.data(), kept.size()), std::ssize(list));
  EXPECT_TRUE(std::ranges::equal(list, std::span(kept).first(sizeof list)));
  EXPECT_EQ(getxattr(path.c_str(), "user.tag", kept.data(), kept.size()), 4);

  for (const bool isList : {true, false}) {
    const testing::SystemHook noList(&detail::SystemCalls::setAttribute,
                                     [&](const auto& original, auto... args) {
                                       if (!isList) return original(args...);
                                       errno = ENOTSUP;
                                       return -1;
                                     });
    const testing::SystemHook noOwner(&detail::SystemCalls::changeOwner,
                                      [&](const auto& original, auto... args) {
                                        if (isList) return original(args...);
                                        errno = EPERM;
                                        return -1;
                                      });
    ASSERT_TRUE(writeText(path, "newer", Writing::atomic));
    EXPECT_EQ(fs::status(path).permissions() & fs::perms::group_all, fs::perms::none) << isList;
  }
}

TEST(NSDataFiles, areCreatedAloneWhereTheFileSystemCannotPromiseIt) {
  const TemporaryFolder folder;
  const testing::SystemHook hook(&detail::SystemCalls::rename, [](const auto& original, auto... args) {
    const unsigned flags = std::get<4>(std::tuple(args...));
    if (flags == 0) return original(args...);
    errno = EINVAL;
    return -1;
  });
  EXPECT_TRUE(writeText(folder / "file", "first", Writing::atomicWithoutOverwriting));
  EXPECT_FALSE(writeText(folder / "file", "second", Writing::atomicWithoutOverwriting));
  EXPECT_EQ(contentOf(folder / "file"), "first");
  EXPECT_EQ(itemsIn(folder), 1);
}

}  // namespace
}  // namespace QVFoundation
