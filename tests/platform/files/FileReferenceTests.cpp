#include "QVFoundation/platform/files/FileReference.h"

#include <cerrno>
#include <cstdint>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "QVFoundation/platform/files/FileSearch_p.h"
#include "tests/platform/files/SystemCallsOverride.h"
#include "tests/platform/files/TemporaryFolder.h"

namespace QVFoundation {
namespace {

namespace fs = std::filesystem;
using testing::contentOf;
using testing::makeFile;
using testing::SystemCallsOverride;
using testing::TemporaryFolder;

int handlesAreForbidden(int, file_handle*, int) { return errno = EPERM, -1; }

int statusWithoutBirthTime(int folder, const char* path, int flags, unsigned mask, struct statx* status) {
  const int result = ::statx(folder, path, flags, mask, status);
  status->stx_mask &= ~STATX_BTIME;
  return result;
}

/// The numbers of devices as they could be after the computer was started again.
int statusOnOtherDevice(int folder, const char* path, int flags, unsigned mask, struct statx* status) {
  const int result = ::statx(folder, path, flags, mask, status);
  status->stx_dev_minor += 1;
  return result;
}

ssize_t entriesWithoutTypes(int folder, void* buffer, std::size_t size) {
  const ssize_t filled = ::getdents64(folder, buffer, size);
  for (ssize_t at = 0; at < filled;) {
    auto& entry = *reinterpret_cast<dirent64*>(static_cast<char*>(buffer) + at);
    entry.d_type = DT_UNKNOWN;
    at += entry.d_reclen;
  }
  return filled;
}

FileReference referenceTo(const fs::path& path) { return FileReference::referenceToPath(path).value(); }

/// "disk/home/work/item", with other folders around it.
struct ReferenceTree {
  ReferenceTree() {
    fs::create_directories(root / "disk/home/work/inner");
    fs::create_directories(root / "disk/home/beside");
    fs::create_directories(root / "disk/far/away");
    makeFile(item, "the item");
    makeFile(root / "disk/home/work/other", "another");
  }
  const TemporaryFolder root;
  const fs::path item = root / "disk/home/work/item";
  const fs::path other = root / "disk/home/work/other";
};

struct ReferenceMove {
  const char* row;
  std::function<void(const ReferenceTree&)> happens;
  const char* foundAt;  // null where it is not
  const char* content = "the item";
};

auto renaming(const char* from, const char* to) {
  return [=](const ReferenceTree& tree) { fs::rename(tree.root / from, tree.root / to); };
}
auto movingTo(const char* path) { return renaming("disk/home/work/item", path); }

const ReferenceMove referenceMoves[] = {
    {"nothing", [](const ReferenceTree&) {}, "disk/home/work/item"},
    {"renamed", movingTo("disk/home/work/new"), "disk/home/work/new"},
    {"into a folder", movingTo("disk/home/work/inner/item"), "disk/home/work/inner/item"},
    {"to the folder above", movingTo("disk/home/item"), "disk/home/item"},
    {"to a folder beside", movingTo("disk/home/beside/item"), "disk/home/beside/item"},
    {"far", movingTo("disk/far/away/item"), nullptr},
    {"folder renamed", renaming("disk/home/work", "disk/home/play"), "disk/home/play/item"},
    {"folder above renamed", renaming("disk/home", "disk/house"), "disk/house/work/item"},
    {"moved, another one in its place",
     [](const ReferenceTree& tree) {
       movingTo("disk/home/beside/item")(tree);
       makeFile(tree.item, "another");
     },
     "disk/home/beside/item"},
    {"replaced", renaming("disk/home/work/other", "disk/home/work/item"), "disk/home/work/item", "another"},
    {"replaced, the old one kept",
     [](const ReferenceTree& tree) {
       movingTo("disk/home/work/item~")(tree);
       fs::rename(tree.other, tree.item);
     },
     "disk/home/work/item~"},
    {"deleted", [](const ReferenceTree& tree) { fs::remove(tree.item); }, nullptr},
    {"replaced by a folder",
     [](const ReferenceTree& tree) {
       fs::remove(tree.item);
       fs::create_directory(tree.item);
     },
     nullptr},
    {"far, and reached by a link",
     [](const ReferenceTree& tree) {
       movingTo("disk/far/away/item")(tree);
       fs::create_directory_symlink(tree.root / "disk/far/away", tree.root / "disk/home/work/link");
     },
     nullptr},
    {"renamed, its folder under a link",
     [](const ReferenceTree& tree) {
       fs::rename(tree.root / "disk/home/work", tree.root / "disk/far/work");
       fs::create_directory_symlink(tree.root / "disk/far/work", tree.root / "disk/home/work");
       movingTo("disk/far/work/new")(tree);
     },
     "disk/home/work/new"},
};

struct ReferenceVolume {
  const char* row;
  decltype(detail::SystemCalls::status) statusBefore, statusAfter;
  decltype(detail::SystemCalls::readEntries) readEntries;
};
constexpr ReferenceVolume referenceVolumes[] = {
    {"birth times", ::statx, ::statx, ::getdents64},
    {"birth times, other device", ::statx, statusOnOtherDevice, ::getdents64},
    {"no birth times", statusWithoutBirthTime, statusWithoutBirthTime, entriesWithoutTypes},
};

TEST(FileReference, findsWhatHasMovedNearby) {
  const SystemCallsOverride system;
  system->openHandle = handlesAreForbidden;
  for (const ReferenceVolume& volume : referenceVolumes) {
    for (const ReferenceMove& move : referenceMoves) {
      SCOPED_TRACE(std::string(volume.row) + ": " + move.row);
      const ReferenceTree tree;
      system->status = volume.statusBefore;
      FileReference reference = referenceTo(tree.item);
      const NSData before = reference.data();
      move.happens(tree);

      system->status = volume.statusAfter;
      system->readEntries = volume.readEntries;
      std::optional<NSError> error;
      const auto found = reference.resolve(&error);
      ASSERT_EQ(found.has_value(), move.foundAt != nullptr);
      if (!found) {
        EXPECT_EQ(error->code(), NSFileReadNoSuchFileError);
        EXPECT_EQ(error->userInfo()[NSFilePathErrorKey], tree.item.native());
        EXPECT_EQ(reference.data(), before);
        continue;
      }
      EXPECT_EQ(found->path, tree.root / move.foundAt);
      EXPECT_EQ(contentOf(found->path), move.content);
      EXPECT_EQ(found->changed, found->path != tree.item || move.content == std::string("another"));
      EXPECT_EQ(reference.path(), found->path) << "is remembered";
      EXPECT_EQ(reference, referenceTo(found->path)) << "is remembered";
      EXPECT_FALSE(reference.resolve()->changed) << "has been said";
    }
  }
}

TEST(FileReference, looksAtNoMoreEntriesThanItSays) {
  const TemporaryFolder folder;
  const fs::path old = folder / "old/item";
  fs::create_directories(old.parent_path());
  for (int i = 0; i < 10; ++i) makeFile(folder / ("old/" + std::to_string(i)), "");
  makeFile(old, "");
  const auto item = detail::identityOf(detail::FileLocation(old)).value();
  fs::rename(old, folder / "item");  // in a folder of two entries

  EXPECT_EQ(detail::searchNearby(old.native(), item, 10), std::nullopt);
  EXPECT_EQ(detail::searchNearby(old.native(), item, 12), folder / "item");
}

TEST(FileReference, staysOnTheVolumeWhileItSearches) {
  static std::uint64_t mounted;
  const ReferenceTree tree;
  const auto item = detail::identityOf(detail::FileLocation(tree.item)).value();
  mounted = detail::identityOf(detail::FileLocation(tree.root / "disk/home/beside"))->inode;
  movingTo("disk/home/beside/item")(tree);

  const SystemCallsOverride system;
  ASSERT_TRUE(detail::searchNearby(tree.item.native(), item));
  system->status = [](int folder, const char* path, int flags, unsigned mask, struct statx* result) {
    const int code = ::statx(folder, path, flags, mask, result);
    if (result->stx_ino == mounted) result->stx_dev_major += 1;
    return code;
  };
  EXPECT_FALSE(detail::searchNearby(tree.item.native(), item));
}

TEST(FileReference, findsWhatHasMovedFarByItsHandle) {
  static bool isPermitted;
  const ReferenceTree tree;
  for (const fs::path& path : {tree.item, tree.root / "disk/home/beside"}) {
    FileReference reference = referenceTo(path);
    fs::rename(path, tree.root / "disk/far/away/moved");
    const SystemCallsOverride system;
    isPermitted = true;
    system->openHandle = [](int mount, file_handle* handle, int flags) {
      const int opened = ::open_by_handle_at(mount, handle, flags);
      isPermitted = opened >= 0 || errno != EPERM;
      return opened;
    };
    const auto found = reference.resolve();
    if (!isPermitted) GTEST_SKIP() << "takes CAP_DAC_READ_SEARCH";
    ASSERT_TRUE(found) << path;
    EXPECT_EQ(found->path, tree.root / "disk/far/away/moved");
    EXPECT_TRUE(found->changed);
    fs::remove_all(found->path);
    EXPECT_FALSE(reference.resolve());
  }
}

TEST(FileReference, believesAHandleOnlyWhatItSees) {
  static int opened;
  for (const char* place : {"disk/home/work/other", "disk/far/away/item", "/"}) {  // the second is deleted
    const ReferenceTree tree;
    FileReference reference = referenceTo(tree.item);
    movingTo("disk/far/away/item")(tree);
    opened = open((tree.root / place).c_str(), O_PATH | O_CLOEXEC);
    fs::remove(tree.root / "disk/far/away/item");
    const SystemCallsOverride system;
    system->openHandle = [](int, file_handle*, int) { return opened; };
    EXPECT_FALSE(reference.resolve()) << place;
  }
}

TEST(FileReference, isToTheItemItselfWhateverTheFormOfItsPath) {
  const ReferenceTree tree;
  const fs::path link = tree.root / "link", name = tree.root / "name";
  fs::create_symlink(tree.item, link);
  fs::create_hard_link(tree.item, name);
  EXPECT_EQ(referenceTo(name), referenceTo(tree.item));
  EXPECT_NE(referenceTo(link), referenceTo(tree.item));
  EXPECT_EQ(referenceTo(link.native() + "//./").path(), link);
  EXPECT_EQ(referenceTo(tree.root / "disk/../name").path(), tree.root / "disk/../name") << "may be a link";
  EXPECT_EQ(referenceTo(".").path(), fs::current_path());
  EXPECT_EQ(referenceTo("/").path(), "/");
}

TEST(FileReference, cannotBeMadeToNothing) {
  const ReferenceTree tree;
  for (const auto& [path, reason] : std::initializer_list<std::pair<std::string, int>>{
           {tree.root / "missing", ENOENT},
           {tree.item / "below", ENOTDIR},
           {"", ENOENT},
           {tree.item.native() + std::string("\0x", 2), ENOENT},
           {"/" + std::string(2 << 20, 'x'), ENAMETOOLONG}}) {
    std::optional<NSError> error;
    EXPECT_FALSE(FileReference::referenceToPath(path, &error));
    EXPECT_EQ(error->code(), reason == ENAMETOOLONG ? NSFileReadUnknownError : NSFileReadNoSuchFileError);
    EXPECT_EQ(error->userInfo()[NSFilePathErrorKey], path);
    EXPECT_EQ(error->underlyingErrors().at(0).code(), reason);
  }
  EXPECT_FALSE(FileReference().resolve());
  EXPECT_NE(FileReference(), referenceTo(tree.item));
}

struct ReferenceBase {
  const char* row;
  const char* base;
  const char* baseThen;
  const char* foundAt;
};
constexpr ReferenceBase referenceBases[] = {
    {"folder", "disk/home", "copy/home", "copy/home/work/item"},
    {"file beside", "disk/home/work/other", "copy/home/work/other", "copy/home/work/item"},
    {"the item itself", "disk/home/work/item", "copy/home/work/item", "copy/home/work/item"},
    {"slash at the end", "disk/home/", "copy/home/", "copy/home/work/item"},
    {"nothing there", "disk/home", "disk/far", "disk/home/work/item"},
    {"a folder there", "disk/home", "false", "disk/home/work/item"},
};

TEST(FileReference, isFoundFromItsBaseFirst) {
  for (const ReferenceBase& row : referenceBases) {
    const ReferenceTree tree;
    auto reference = FileReference::referenceToPath(tree.item, tree.root / row.base).value();
    FileReference withoutBase = referenceTo(tree.item);
    fs::copy(tree.root / "disk", tree.root / "copy", fs::copy_options::recursive);
    fs::create_directories(tree.root / "false/work/item");

    const auto found = reference.resolve(tree.root / row.baseThen).value();
    EXPECT_EQ(found.path, tree.root / row.foundAt) << row.row;
    EXPECT_EQ(found.changed, found.path != tree.item) << row.row;
    EXPECT_EQ(reference, referenceTo(tree.root / row.foundAt)) << row.row;
    EXPECT_EQ(withoutBase.resolve(tree.root / row.baseThen)->path, tree.item) << row.row;
  }
}

TEST(FileReference, learnsTheNewWayFromItsBase) {
  const ReferenceTree tree;
  auto reference = FileReference::referenceToPath(tree.item, tree.root / "disk/home").value();
  fs::rename(tree.item, tree.root / "disk/home/new");
  EXPECT_TRUE(reference.resolve(tree.root / "disk/home")->changed);
  fs::rename(tree.root / "disk", tree.root / "moved");
  makeFile(tree.root / "moved/home/work/item", "another");
  EXPECT_EQ(reference.resolve(tree.root / "moved/home")->path, tree.root / "moved/home/new");
}

}  // namespace
}  // namespace QVFoundation
