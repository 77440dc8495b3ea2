#include <climits>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <ranges>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "QVFoundation/files/QVDictionaryFiles.h"
#include "QVFoundation/files/QVFileManagerUtilities.h"
#include "QVFoundation/files/QVFileNaming.h"
#include "QVFoundation/files/QVURLProperties.h"
#include "QVFoundation/files/QVVolumes.h"
#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/NSErrorKeys.h"
#include "QVFoundation/platform/runtime/Set.h"
#include "tests/platform/files/EnvironmentVariable.h"
#include "tests/platform/files/TemporaryFolder.h"

namespace QVFoundation {
namespace {

namespace fs = std::filesystem;
using testing::EnvironmentVariable;
using testing::makeFile;
using testing::TemporaryFolder;

TEST(FileManagerUtilities, giveEachThreadAManagerOfItsOwn) {
  const auto& mine = qv_currentThreadFileManager();
  EXPECT_EQ(qv_currentThreadFileManager(), mine);
  std::weak_ptr<NSFileManager> others;
  std::thread([&] {
    EXPECT_NE(qv_currentThreadFileManager(), mine);
    others = qv_currentThreadFileManager();
  }).join();
  EXPECT_TRUE(others.expired());
}

TEST(FileManagerUtilities, createFoldersAndSayWhyNot) {
  const TemporaryFolder folder;
  EXPECT_FALSE(qv_createDirectoryAtPath(folder / "a/b/c"));
  EXPECT_FALSE(qv_createDirectoryAtPath(folder / "a/b/c"));
  EXPECT_TRUE(fs::is_directory(folder / "a/b/c"));
  makeFile(folder / "file", "");
  EXPECT_EQ(qv_createDirectoryAtPath(folder / "file/a")->domain(), NSCocoaErrorDomain);

  const EnvironmentVariable temporary("TMPDIR", (folder / "tmp").c_str());
  const fs::path own = qv_createAppTemporaryDirectory();
  EXPECT_EQ(own.parent_path(), folder / "tmp");
  EXPECT_TRUE(fs::is_directory(own));
}

TEST(FileManagerUtilities, followOneLinkFromTheCurrentFolder) {
  const TemporaryFolder folder;
  makeFile(folder / "file", "12345");
  fs::create_symlink(folder / "file", folder / "link");
  fs::create_symlink(folder / "link", folder / "second");
  fs::create_symlink("file", folder / "relative");
  const auto attributes = [&](const char* name, TraverseLink traverse,
                              std::optional<NSError>* error = nullptr) {
    return qv_fileAttributesAtPath(folder / name, traverse, error);
  };
  EXPECT_EQ(attributes("link", TraverseLink::no)->type, NSFileType::symbolicLink);
  EXPECT_EQ(attributes("link", TraverseLink::yes)->size, 5U);
  EXPECT_EQ(attributes("second", TraverseLink::yes)->type, NSFileType::symbolicLink);
  std::optional<NSError> error;
  EXPECT_FALSE(attributes("relative", TraverseLink::yes, &error));
  EXPECT_EQ(error->userInfo()[NSFilePathErrorKey].as<std::string>(), "file");
  EXPECT_FALSE(attributes("none", TraverseLink::yes, &error));
}

TEST(FileManagerUtilities, tellEmptyFoldersByWhatIsIgnored) {
  const TemporaryFolder folder;
  fs::create_directories(folder / "a/b/c");
  EXPECT_TRUE(qv_isDirectoryEmpty(folder.path()));
  makeFile(folder / "a/b/.directory", "");
  makeFile(folder / "a/cache", "");
  const std::vector<std::string> names{".directory"};
  EXPECT_FALSE(qv_isDirectoryEmpty(folder.path()));
  EXPECT_FALSE(qv_isDirectoryEmpty(folder.path(), {}, names));
  EXPECT_TRUE(qv_isDirectoryEmpty(folder.path(), {folder / "a/cache"}, {".directory"}));
  EXPECT_TRUE(qv_isDirectoryEmpty(folder.path(), std::vector<std::string>{(folder / "a").native()}, {}));
  EXPECT_TRUE(qv_isDirectoryEmpty(folder / "a/b", {}, names));
  const auto made = std::views::transform(names, [](const std::string& name) { return std::string(name); });
  EXPECT_TRUE(qv_isDirectoryEmpty(folder / "a/b", {}, made));
  fs::create_directory_symlink(folder / "a/b/c", folder / "a/link");
  EXPECT_TRUE(qv_isDirectoryEmpty(folder / "a/b/c"));
  EXPECT_FALSE(qv_isDirectoryEmpty(folder / "a/link"));
  EXPECT_FALSE(qv_isDirectoryEmpty(folder.path(), {folder / "a/cache"}, names));
  EXPECT_FALSE(qv_isDirectoryEmpty(folder / "a/cache"));
  EXPECT_FALSE(qv_isDirectoryEmpty(folder / "none"));
}

TEST(FileNaming, numbersANameThatIsTaken) {
  const TemporaryFolder folder;
  const auto take = [&](std::string_view name) {
    const fs::path path = qv_uniqueFilePathForName(name, folder.path());
    makeFile(path, "");
    EXPECT_TRUE(fs::exists(path)) << path;
    return path.filename().native();
  };
  for (const char* expected : {"Report.pdf", "Report 2.pdf", "Report 3.pdf"})
    EXPECT_EQ(take("Report.pdf"), expected);
  for (const char* expected : {"Notes", "Notes 2", "Notes 3"}) EXPECT_EQ(take("Notes"), expected);
  for (const char* expected : {"a:b.txt", "a:b 2.txt"}) EXPECT_EQ(take("a/b.txt"), expected);
  for (const char* expected : {"x.tar.gz", "x.tar 2.gz"}) EXPECT_EQ(take("x.tar.gz"), expected);
  fs::create_symlink("nowhere", folder / "dangling");
  EXPECT_EQ(take("dangling"), "dangling 2");
  EXPECT_EQ(qv_uniqueFileURLForName("Notes", folder.path()), NSURL(folder / "Notes 4"));
  EXPECT_EQ(qv_uniqueFilePathForName("Notes", folder / "none"), folder / "none/Notes");
}

TEST(FileNaming, cutsANumberedNameToWhatFileSystemsTake) {
  const TemporaryFolder folder;
  EXPECT_EQ(qv_uniqueFilePathForName("", folder.path()), folder / " 2");
  EXPECT_EQ(qv_uniqueFilePathForName(std::string_view("a\0b", 3), folder.path()).native().size(),
            folder.path().native().size() + 4);
  for (const std::string& name :
       {std::string(250, 'x') + ".log", std::string(255, 'x'), "a." + std::string(253, 'e'),
        "a" + std::string(240, '\xC3').replace(1, 239, "") + ".t", std::string(254, '.'),
        "." + std::string(254, 'e')}) {
    for (int i = 0; i < 12; ++i) {
      const fs::path path = qv_uniqueFilePathForName(name, folder.path());
      EXPECT_FALSE(fs::exists(fs::symlink_status(path)));
      makeFile(path, "");
      EXPECT_TRUE(fs::exists(path)) << path.filename().native().size();
    }
  }
  std::string wide;
  while (wide.size() < 250) wide += "€";
  makeFile(folder / (wide + ".z"), "");
  const std::string numbered = qv_uniqueFilePathForName(wide + ".z", folder.path()).filename();
  EXPECT_EQ(numbered, wide.substr(0, 249) + " 2.z");
}

TEST(Volumes, areToldByWhatIsOnThem) {
  EXPECT_EQ(qv_volumeMountPathForFilePath("/proc/self/status"), "/proc");
  EXPECT_EQ(qv_volumeFormatStringAtPath("/proc/self/status"), "proc");
  // Behind chroot(2) the root is in no table of mounts.
  const bool rootIsInView = testing::contentOf("/proc/self/mountinfo").find(" / / ") != std::string::npos;
  EXPECT_EQ(qv_volumeMountPathForFilePath("/"), rootIsInView ? std::optional<fs::path>("/") : std::nullopt);
  EXPECT_FALSE(qv_volumeMountPathForFilePath("/none"));
  EXPECT_FALSE(qv_volumeFormatStringAtPath(std::nullopt));
  EXPECT_EQ(qv_volumeCapabilitiesAtPath("/").valid[0], 0U);
}

TEST(Trash, isTheUsersWhereverItIs) {
  const TemporaryFolder folder;
  const EnvironmentVariable data("XDG_DATA_HOME", folder.path().c_str());
  fs::create_directories(folder / "Trash/files/folder");
  makeFile(folder / "Trash/files/folder/file", "");
  makeFile(folder / "file", "");
  EXPECT_TRUE(isInTrash(folder / "Trash/files/folder/file"));
  EXPECT_TRUE(isInTrash(folder / "Trash/files"));
  EXPECT_FALSE(isInTrash(folder / "Trash"));
  EXPECT_FALSE(isInTrash(folder / "file"));
  EXPECT_FALSE(isInTrash(folder / "Trash/files/none"));
  EXPECT_FALSE(isInTrash(*NSURL::URLWithString("https:" + (folder / "Trash/files").native())));
}

TEST(DictionaryFiles, comeBackAsTheyWereWritten) {
  const TemporaryFolder folder;
  const Dictionary dictionary{{"name", "Prelude"}, {"tracks", Array{1, 2.5, true}}};
  std::optional<NSError> error;
  for (const auto atomically : {NSDataWritingOptions::none, NSDataWritingOptions::atomic}) {
    ASSERT_TRUE(qv_writeToFile(dictionary, folder / "file", atomically, &error));
    EXPECT_EQ(qv_dictionaryWithContentsOfFile(folder / "file"), dictionary);
    EXPECT_EQ(qv_dictionaryWithContentsOfURL(folder / "file"), dictionary);
  }
  EXPECT_FALSE(
      qv_writeToFile(Dictionary{{"set", Set{}}}, folder / "file", NSDataWritingOptions::atomic, &error));
  EXPECT_EQ(error->code(), NSPropertyListWriteInvalidError);
  EXPECT_FALSE(qv_writeToFile(dictionary, folder / "none/file", NSDataWritingOptions::atomic, &error));
  EXPECT_EQ(error->code(), NSFileNoSuchFileError);
  EXPECT_EQ(qv_dictionaryWithContentsOfFile(folder / "file"), dictionary);
}

TEST(DictionaryFiles, sayWhyTheyCannotBeRead) {
  const TemporaryFolder folder;
  makeFile(folder / "array", "<plist version=\"1.0\"><array/></plist>");
  makeFile(folder / "junk", "<plist version=\"1.0\"><dict>");
  std::optional<NSError> error;
  const auto read = [&](const char* name) {
    return qv_dictionaryWithContentsOfFile(folder / name, NSDataReadingOptions::none, &error);
  };
  EXPECT_FALSE(read("array"));
  EXPECT_EQ(error->localizedDescription(),
            "The contents of the file at " + (folder / "array").native() + " are not an NSDictionary");
  EXPECT_FALSE(read("junk"));
  EXPECT_EQ(error->code(), NSPropertyListReadCorruptError);
  EXPECT_FALSE(read("none"));
  EXPECT_EQ(error->code(), NSFileReadNoSuchFileError);
  EXPECT_FALSE(qv_dictionaryWithContentsOfURL(*NSURL::URLWithString("https://a.b/c"),
                                              NSDataReadingOptions::none, &error));
  EXPECT_EQ(error->code(), NSFileReadUnsupportedSchemeError);
}

}  // namespace
}  // namespace QVFoundation
