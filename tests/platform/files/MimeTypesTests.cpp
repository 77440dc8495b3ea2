#include <filesystem>
#include <string>
#include <string_view>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "QVFoundation/platform/files/MimeTypes_p.h"
#include "tests/platform/files/TemporaryFolder.h"

namespace QVFoundation::detail {
namespace {

using testing::TemporaryFolder;

constexpr std::string_view unknown = "application/octet-stream";

/// Data folders with databases, the most important one first.
class DataFolders {
public:
  void add(std::string_view globs) {
    paths_.push_back(folder_ / std::to_string(paths_.size()));
    std::filesystem::create_directories(paths_.back() / "mime");
    testing::makeFile(paths_.back() / "mime/globs2", globs);
  }
  [[nodiscard]] MimeTypes types() const { return MimeTypes(paths_); }

private:
  TemporaryFolder folder_;
  std::vector<std::filesystem::path> paths_;
};

MimeTypes typesOf(std::string_view globs) {
  DataFolders folders;
  folders.add(globs);
  return folders.types();
}

TEST(MimeTypes, goByTheGlobOfMostWeightThenLength) {
  const MimeTypes types = typesOf(
      "# comment\n"
      "80:application/heavy:*.over\n"
      "60:text/x-header:*.h:future\n"
      "50:image/png:*.png\n"
      "50:application/gzip:*.gz\n"
      "50:application/x-tar-gz:*.tar.gz\n"
      "50:text/x-csrc:*.c:cs\n"
      "50:text/x-c++src:*.C:later,cs\n"
      "50:text/x-makefile:makefile\n"
      "50:text/x-first:*.two\n"
      "50:text/x-second:*.two\n"
      "50:text/x-other:*.png\n"
      "50:video/x-anim:*.anim[1-9j]\n"
      "50:text/x-backup:*~\n"
      "40:text/x-light:light.gz\n"
      "10:text/x-readme:readme*\n"
      "5:text/x-anything:a*\n");
  const struct {
    std::string_view name, want;
  } cases[] = {
      {"a.png", "image/png"},
      {".png", "image/png"},
      {"png", unknown},
      {"", unknown},
      {"a.tar.gz", "application/x-tar-gz"},
      {"light.gz", "application/gzip"},
      {"x.tar.gz.over", "application/heavy"},
      {"main.c", "text/x-csrc"},
      {"main.C", "text/x-c++src"},
      {"IMAGE.PNG", "image/png"},
      {"A.TAR.gz", "application/gzip"},  // matches as it is, so case is not given up
      {"Makefile", "text/x-makefile"},
      {"old~", "text/x-backup"},
      {"x.anim3", "video/x-anim"},
      {"x.ANIMJ", "video/x-anim"},
      {"x.anim0", unknown},
      {"README.first", "text/x-readme"},
      {"a.two", "text/x-first"},
      {"x.h", "text/x-header"},
      {"\xFF\xFE.png", "image/png"},
  };
  for (const auto& [name, want] : cases) EXPECT_EQ(types.typeForName(name), want) << name;
}

TEST(MimeTypes, ofCaseSensitiveGlobsMatchInThatCaseAlone) {
  const MimeTypes types = typesOf("50:text/x-core:core:cs\n50:text/x-dir:*.D:cs\n");
  EXPECT_EQ(types.typeForName("core"), "text/x-core");
  EXPECT_EQ(types.typeForName("Core"), unknown);
  EXPECT_EQ(types.typeForName("a.d"), unknown);
}

TEST(MimeTypes, ofEarlierFoldersCountFirst) {
  DataFolders folders;
  folders.add("50:text/x-mine:*.both\n0:text/x-closed:__NOGLOBS__\n50:text/x-closed:*.new\n");
  folders.add("50:text/x-theirs:*.both\n50:text/x-closed:*.old\n60:text/x-theirs:*.heavy\n");
  folders.add("50:text/x-third:*.heavy\n50:text/x-closed:*.older\n");
  const MimeTypes types = folders.types();
  EXPECT_EQ(types.typeForName("a.both"), "text/x-mine");
  EXPECT_EQ(types.typeForName("a.new"), "text/x-closed");
  EXPECT_EQ(types.typeForName("a.old"), unknown);
  EXPECT_EQ(types.typeForName("a.older"), unknown);
  EXPECT_EQ(types.typeForName("a.heavy"), "text/x-theirs");
  EXPECT_EQ(MimeTypes({"/no/such/folder"}).typeForName("a.both"), unknown);
}

TEST(MimeTypes, survivePatternsThatMeanHarm) {
  std::string globs = "50:a/b\n:::\n50\n50:a/b:\n50:ab:*.x\n99999999999:a/b:*.x\n 50:a/b:*.x\n50:a/b:*.x" +
                      std::string(1, '\0') + "\n50:a/b:[\n50:a/b:*.[x\n50:a/b:" + std::string(300, 'x') +
                      "\n50:a/b:";
  for (int i = 0; i < 100; ++i) globs += "*a";
  globs += "*b\n" + std::string(2'000'000, 'y');
  for (int i = 0; i < 20'000; ++i) globs += "\n50:a/b:?" + std::to_string(i) + "*z";
  globs += "\n50:good/type:*.good";  // without a line's end
  const MimeTypes types = typesOf(globs);
  EXPECT_EQ(types.typeForName("a.x"), unknown);
  EXPECT_EQ(types.typeForName(std::string(255, 'a')), unknown);
  EXPECT_EQ(types.typeForName(std::string(300, 'x')), unknown);
  EXPECT_EQ(types.typeForName("a.good"), "good/type");

  EXPECT_EQ(typesOf("50:a/b:*.x\n" + std::string(4 * 1024 * 1024, '\n')).typeForName("a.x"), unknown);
}

TEST(MimeTypes, ofOtherItemsGoByTheirKind) {
  const MimeTypes types = typesOf("50:image/png:*.png\n");
  const struct {
    mode_t mode;
    std::string_view want;
  } cases[] = {{S_IFREG | 0644, "image/png"}, {S_IFDIR | 0755, "inode/directory"},
               {S_IFLNK, "inode/symlink"},    {S_IFIFO, "inode/fifo"},
               {S_IFSOCK, "inode/socket"},    {S_IFCHR, "inode/chardevice"},
               {S_IFBLK, "inode/blockdevice"}};
  for (const auto& [mode, want] : cases) EXPECT_EQ(types.typeForItem(mode, "a.png"), want);
}

}  // namespace
}  // namespace QVFoundation::detail
