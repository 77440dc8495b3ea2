// What the library says of real trees, beside what the system's own programs say of them.

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "QVFoundation/files/QVDirectoryIteration.h"
#include "QVFoundation/files/QVDirectoryPruning.h"
#include "QVFoundation/files/QVExtendedAttributes.h"
#include "QVFoundation/files/QVFileMeasures.h"
#include "QVFoundation/files/QVURLProperties.h"
#include "QVFoundation/files/QVVolumes.h"
#include "QVFoundation/platform/files/NSFileManager.h"
#include "tests/platform/files/CommandOutput.h"
#include "tests/platform/files/TemporaryFolder.h"
#include "tests/platform/files/Volume.h"

namespace QVFoundation {
namespace {

namespace fs = std::filesystem;
using testing::makeFile;
using testing::outputOf;
using testing::TemporaryFolder;
using testing::Volume;

/// What a command prints with a zero after each item, in order.
std::vector<std::string> itemsOf(const std::string& command) {
  std::istringstream output(outputOf(command));
  std::vector<std::string> items;
  for (std::string item; std::getline(output, item, '\0');) items.push_back(item);
  std::ranges::sort(items);
  return items;
}

std::uint64_t sumOf(const std::string& command) {
  std::istringstream output(outputOf(command));
  std::uint64_t sum = 0;
  for (std::uint64_t size = 0; output >> size;) sum += size;
  return sum;
}

std::vector<std::string> sorted(std::vector<std::string> items) {
  std::ranges::sort(items);
  return items;
}

/// What users have on their disks, and what some have in mind.
void makeTree(const fs::path& root) {
  fs::create_directories(root / "plain/sub");
  fs::create_directories(root / "secret");
  for (int i = 0; i < 300; ++i)
    makeFile(root / "plain/sub" / std::to_string(i), std::string(static_cast<std::size_t>(i) * 37, 'x'));
  makeFile(root / "secret/file", "secret");
  makeFile(root / "odd \n \xFF\x01 \\ \" name", "odd");
  makeFile(root / "holes", "begin");
  fs::resize_file(root / "holes", 50'000'000);
  fs::create_hard_link(root / "holes", root / "second");
  fs::create_directory_symlink("plain", root / "link");
  fs::create_directory_symlink("..", root / "plain/up");
  fs::create_directory_symlink(".", root / "plain/sub/here");
  fs::create_symlink("holes", root / "file-link");
  fs::create_symlink("nowhere", root / "dangling");
  fs::create_symlink("itself", root / "itself");
  mkfifo((root / "pipe").c_str(), 0644);
  chmod((root / "secret").c_str(), 0);
}

void expectAgreement(const fs::path& root) {
  SCOPED_TRACE(root);
  const std::string& at = root.native();
  std::vector<std::string> visited;
  const auto add = [&](std::string_view path) { visited.emplace_back(path); };
  const auto goOn = [](const NSError&, std::string_view) { return true; };
  qv_iterateDirectory(root, QVDirectoryRecursionPostOrder, add, goOn);
  // With links followed it prints those that lead nowhere, too.
  EXPECT_EQ(sorted(std::move(visited)), itemsOf("find -L " + at + " -depth ! -type l -print0"));

  visited.clear();
  std::uint64_t total = 0;
  for (auto& item : NSFileManager::defaultManager()->enumeratorAtPath(root)) {
    visited.emplace_back(item.path());
    total += item.fileSize();
  }
  EXPECT_EQ(sorted(std::move(visited)), itemsOf("find " + at + " -mindepth 1 -print0"));
  EXPECT_EQ(total, sumOf("find " + at + " -type f -printf '%s\\n'"));
  // Those of links to files are not followed, and count nothing.
  EXPECT_EQ(qv_physicalSizeOfFolderAtPath(root),
            512 * sumOf("find -L " + at + " -type f ! -xtype l -printf '%b\\n'"));
}

TEST(RealTrees, areSeenAsFindSeesThem) {
  expectAgreement("/usr");
  expectAgreement("/etc");
  // Without links, holes or second names the room is what du says, but for the folders'.
  const TemporaryFolder folder;
  for (int i = 0; i < 500; ++i)
    makeFile(folder / std::to_string(i), std::string(static_cast<std::size_t>(i) * 101, 'x'));
  EXPECT_EQ(qv_physicalSizeOfFolderAtPath(folder.path()),
            sumOf("du -S -B1 " + folder.path().native() + "/* | cut -f1"));
}

class VolumeTest : public ::testing::TestWithParam<std::string> {};

TEST_P(VolumeTest, isWalkedMeasuredTaggedAndPruned) {
  const Volume volume(GetParam());
  if (!volume.isMounted()) GTEST_SKIP() << "this machine mounts no " << GetParam();
  const fs::path root = volume.path() / "tree";
  makeTree(root);
  EXPECT_EQ(qv_volumeFormatStringAtPath(root), GetParam());
  EXPECT_EQ(qv_volumeMountPathForFilePath(root), volume.path());
  expectAgreement(root);

  const NSData value(700, std::byte{1});
  const fs::path file = root / "plain/sub/7";
  if (auto error = qv_setExtendedAttribute(value, "rating", file)) {
    EXPECT_EQ(error->code(), ENOTSUP) << error->what();  // an old tmpfs
  } else {
    EXPECT_EQ(qv_extendedAttributeForName("rating", file), value);
    EXPECT_FALSE(qv_setExtendedAttribute({}, "empty", file));
    EXPECT_EQ(qv_extendedAttributeNamesAtPath(file).size(), 2U);
    const std::string listed = outputOf("getfattr --absolute-names " + file.native());
    for (const std::string& name : qv_extendedAttributeNamesAtPath(file)) {
      EXPECT_NE(listed.find("user." + name + '\n'), std::string::npos) << listed;
    }
  }
  // The trash of this volume, in both forms that there are.
  const std::string user = std::to_string(geteuid());
  for (const fs::path& trash : {volume.path() / ".Trash" / user, volume.path() / (".Trash-" + user)}) {
    EXPECT_FALSE(isInTrash(file));
    fs::create_directories(trash / "files");
    makeFile(trash / "files/file", "");
    EXPECT_TRUE(isInTrash(trash / "files/file"));
    EXPECT_FALSE(isInTrash(trash));
  }
  // The same folder pruned here and by a script, which takes what was changed 20 or more days ago.
  const fs::path cache = volume.path() / "cache";
  for (const char* name : {"here", "script"}) {
    fs::create_directories(cache / name);
    for (int i = 0; i < 50; ++i) {
      const fs::path item = cache / name / std::to_string(i);
      makeFile(item, "x");
      fs::last_write_time(item, fs::file_time_type::clock::now() - std::chrono::hours(24 * i + 1));
    }
  }
  qv_removeFilesInDirectory(cache / "here", 20, 0);
  outputOf("find " + (cache / "script").native() + " -mindepth 1 -mmin +" + std::to_string(20 * 24 * 60) +
           " -delete");
  EXPECT_EQ(itemsOf("cd " + (cache / "here").native() + " && find . -print0"),
            itemsOf("cd " + (cache / "script").native() + " && find . -print0"));
  EXPECT_EQ(itemsOf("find " + (cache / "here").native() + " -mindepth 1 -print0").size(), 20U);
  EXPECT_TRUE(NSFileManager::defaultManager()->removeItemAtPath(root));
  EXPECT_FALSE(fs::exists(root));
}

INSTANTIATE_TEST_SUITE_P(Volumes, VolumeTest, ::testing::Values("ext4", "xfs", "btrfs", "tmpfs"),
                         [](const auto& parameter) { return parameter.param; });

// The superuser may read everything, so this is seen with the eyes of somebody else.
TEST(RealTrees, areSeenAsFarAsTheyMayBeRead) {
  const TemporaryFolder folder;
  chmod(folder.path().c_str(), 0755);
  const fs::path root = folder / "tree";
  makeTree(root);
  constexpr uid_t nobody = 65534;
  const bool isSuperuser = geteuid() == 0 && seteuid(nobody) == 0;
  std::vector<std::string> unreadable;
  std::size_t visits = 0;
  qv_iterateDirectory(
      root, QVDirectoryRecursionPreOrder, [&](std::string_view) { ++visits; },
      [&](const NSError& error, std::string_view path) {
        EXPECT_EQ(error.code(), EACCES);
        unreadable.emplace_back(path);
        return true;
      });
  const std::uint64_t size = qv_physicalSizeOfFolderAtPath(root);
  ASSERT_TRUE(!isSuperuser || seteuid(0) == 0);
  chmod((root / "secret").c_str(), 0755);
  EXPECT_EQ(unreadable, std::vector{(root / "secret").native()});
  EXPECT_GT(visits, 600U);
  EXPECT_EQ(qv_physicalSizeOfFolderAtPath(root) - size, qv_physicalSizeOfFileAtPath(root / "secret/file"));
}

}  // namespace
}  // namespace QVFoundation
