#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "QVFoundation/files/QVDirectoryIteration.h"
#include "QVFoundation/files/QVFileMeasures.h"
#include "QVFoundation/files/QVURLContents.h"
#include "QVFoundation/platform/runtime/NSErrorKeys.h"
#include "tests/platform/files/DeepFolder.h"
#include "tests/platform/files/SystemHook.h"
#include "tests/platform/files/TemporaryFolder.h"

namespace QVFoundation {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using testing::makeFile;
using testing::TemporaryFolder;
using ::testing::UnorderedElementsAre;

class DirectoryIterationTest : public ::testing::Test {
protected:
  void SetUp() override {
    fs::create_directories(folder / "sub/deep");
    makeFile(folder / "file", "1");
    makeFile(folder / "sub/deep/leaf", "22");
    fs::create_directory_symlink("sub", folder / "link");
    fs::create_symlink("nowhere", folder / "dangling");
    fs::create_directory_symlink("..", folder / "sub/back");
    fs::create_directory_symlink(".", folder / "self");
  }

  std::vector<std::string> visited(QVDirectoryRecursion recursion) {
    std::vector<std::string> paths;
    const Value result = qv_iterateDirectory(folder.path(), recursion, [&](const fs::path& path) {
      paths.push_back(path.lexically_relative(folder.path()).native());
    });
    EXPECT_TRUE(result.isNothing());
    return paths;
  }

  const TemporaryFolder folder;
};

TEST_F(DirectoryIterationTest, visitsFoldersAsItIsTold) {
  EXPECT_THAT(visited(QVDirectoryRecursionNone), UnorderedElementsAre("file", "sub", "link", "self"));

  const auto all = {".", "file", "sub", "sub/deep", "sub/deep/leaf", "link/deep", "link/deep/leaf", "link"};
  for (const auto recursion : {QVDirectoryRecursionPreOrder, QVDirectoryRecursionPostOrder}) {
    auto paths = visited(recursion);
    EXPECT_THAT(paths, ::testing::UnorderedElementsAreArray(all));
    const auto position = [&](std::string_view path) {
      return std::ranges::find(paths, path) - paths.begin();
    };
    const bool folderFirst = recursion == QVDirectoryRecursionPreOrder;
    EXPECT_EQ(position(".") < position("file"), folderFirst);
    EXPECT_EQ(position("sub") < position("sub/deep"), folderFirst);
    EXPECT_EQ(position("link/deep") < position("link/deep/leaf"), folderFirst);
    EXPECT_EQ(position("."), folderFirst ? 0 : std::ssize(paths) - 1);
  }
}

TEST_F(DirectoryIterationTest, endsWithWhatTheCallbackReturnsOrThrows) {
  for (const auto recursion :
       {QVDirectoryRecursionNone, QVDirectoryRecursionPreOrder, QVDirectoryRecursionPostOrder}) {
    int calls = 0;
    const auto third = [&](std::string_view path) { return ++calls == 3 ? Value(path) : Value(); };
    EXPECT_TRUE(qv_iterateDirectory(folder.path(), recursion, third).as<std::string>());
    EXPECT_EQ(calls, 3) << recursion;
    const auto thrower = [](std::string_view) { throw std::runtime_error("enough"); };
    EXPECT_THROW(qv_iterateDirectory(folder.path(), recursion, thrower), std::runtime_error);
    const auto withString = [](const std::string& path) { return Value(path); };
    EXPECT_TRUE(qv_iterateDirectory(folder.path().native() + "/", recursion, withString).as<std::string>());
  }
}

TEST_F(DirectoryIterationTest, asksWhatToDoAboutAFolderThatCannotBeRead) {
  const testing::SystemHook hook(&detail::SystemCalls::open, [](const auto& original, auto... args) {
    const std::string_view path = std::get<1>(std::tuple(args...));
    if (path != "deep") return original(args...);
    errno = EACCES;
    return -1;
  });
  fs::remove(folder / "sub/back");
  std::vector<std::string> names;
  const auto visit = [&](const fs::path& path) { names.push_back(path.filename()); };
  const Value result = qv_iterateDirectory(folder / "sub", QVDirectoryRecursionPostOrder, visit);
  ASSERT_TRUE(result.error());
  EXPECT_EQ(result.error()->domain(), NSPOSIXErrorDomain);
  EXPECT_EQ(result.error()->code(), EACCES);
  EXPECT_EQ(result.error()->localizedDescription(),
            "The directory " + (folder / "sub/deep").native() + " could not be read");
  EXPECT_TRUE(names.empty());

  std::string asked;
  const auto goOn = [&](const NSError& error, std::string_view path) {
    asked = path;
    return error.code() == EACCES;
  };
  EXPECT_TRUE(qv_iterateDirectory(folder / "sub", QVDirectoryRecursionPostOrder, visit, goOn).isNothing());
  EXPECT_EQ(asked, (folder / "sub/deep").native());
  EXPECT_THAT(names, ElementsAre("deep", "sub"));
}

TEST_F(DirectoryIterationTest, visitsAFolderThatIsNotThereAsFarAsItCan) {
  int calls = 0;
  const auto count = [&](std::string_view) { ++calls; };
  const auto goOn = [](const NSError&, std::string_view) { return true; };
  EXPECT_EQ(qv_iterateDirectory(folder / "none", QVDirectoryRecursionPostOrder, count).error()->code(),
            ENOENT);
  EXPECT_EQ(calls, 0);
  qv_iterateDirectory(folder / "none", QVDirectoryRecursionPostOrder, count, goOn);
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(qv_iterateDirectory(folder / "file", QVDirectoryRecursionPreOrder, count).error()->code(),
            ENOTDIR);
  EXPECT_EQ(calls, 2);
}

TEST_F(DirectoryIterationTest, enumeratesURLsWithoutFollowingLinks) {
  std::vector<std::string> found;
  enumerateContents(folder.path(), [&](const NSURL& url) {
    found.push_back(url.filePath().lexically_relative(folder.path()).native() +
                    (url.hasDirectoryPath() ? "/" : ""));
  });
  EXPECT_THAT(found, UnorderedElementsAre("file", "sub/", "sub/deep/", "sub/deep/leaf", "link", "dangling",
                                          "sub/back", "self"));
  const auto fail = [](const NSURL&) { throw std::runtime_error("enough"); };
  EXPECT_THROW(enumerateContents(folder.path(), fail), std::runtime_error);
  for (const char* none : {"file", "link", "none"}) EXPECT_NO_THROW(enumerateContents(folder / none, fail));
  EXPECT_NO_THROW(enumerateContents(*NSURL::URLWithString("https://a.b/"), fail));

  EXPECT_TRUE(qv_containsURL(folder.path(), NSURL(folder / "link/deep")));
  EXPECT_FALSE(qv_containsURL(folder.path(), NSURL(folder.path())));
  EXPECT_FALSE(qv_containsURL(folder.path(), NSURL(folder / "none")));
  EXPECT_FALSE(qv_containsURL(folder.path(), std::nullopt));
}

TEST_F(DirectoryIterationTest, measuresFilesAndFoldersHoweverDeep) {
  const std::string content(100'000, 'x');
  makeFile(folder / "sub/large", content);
  fs::create_symlink("sub/large", folder / "file-link");
  fs::resize_file(folder / "sub/large", 100'000'000);  // with a hole
  EXPECT_EQ(qv_totalSizeOfFileAtPath(folder / "sub/large"), 100'000'000U);
  EXPECT_LT(qv_physicalSizeOfFileAtPath(folder / "sub/large"), 10'000'000U);
  EXPECT_GE(qv_physicalSizeOfFileAtPath(folder / "sub/large"), 100'000U);
  for (const char* none : {"sub", "file-link", "none", "dangling"}) {
    EXPECT_EQ(qv_totalSizeOfFileAtPath(folder / none), 0U) << none;
    EXPECT_EQ(qv_physicalSizeOfFileAtPath(folder / none), 0U) << none;
  }
  std::uint64_t sum = 0;
  qv_iterateDirectory(folder.path(), QVDirectoryRecursionPostOrder,
                      [&](std::string_view path) { return addPhysicalSizeOfPath(path, sum); });
  EXPECT_EQ(qv_physicalSizeOfFolderAtPath(folder.path()), sum);
  EXPECT_EQ(qv_physicalSizeOfFolderAtPath(folder / "sub/large"), 0U);

  const TemporaryFolder other(testing::placeForManyFolders());
  const testing::DeepFolder deep(other / "deep", 3000);
  makeFile(other / "deep/file", content);
  EXPECT_EQ(qv_physicalSizeOfFolderAtPath(other / "deep"), qv_physicalSizeOfFileAtPath(other / "deep/file"));
  EXPECT_TRUE(qv_isDirectoryAtPath(deep.path()));
}

TEST_F(DirectoryIterationTest, tellsKindsAndNumbersOfItems) {
  mkfifo((folder / "pipe").c_str(), 0600);
  struct Case {
    const char* path;
    NSFileType type;
    NSFileType traversed;
  };
  using enum NSFileType;
  for (const Case& row : {Case{"file", regular, regular}, Case{"sub", directory, directory},
                          Case{"link", symbolicLink, directory}, Case{"dangling", symbolicLink, none},
                          Case{"pipe", fifo, fifo}, Case{"none", none, none}}) {
    EXPECT_EQ(qv_objectTypeAtPath(folder / row.path), row.type) << row.path;
    EXPECT_EQ(qv_objectTypeAtPath(folder / row.path, TraverseLink::yes), row.traversed) << row.path;
    EXPECT_EQ(qv_isDirectoryAtPath(folder / row.path), row.traversed == directory) << row.path;
    EXPECT_EQ(qv_objectIDAtPath(folder / row.path, TraverseLink::yes) != 0, row.traversed != none)
        << row.path;
  }
  EXPECT_EQ(qv_objectTypeAtPath("/dev/null"), characterDevice);
  EXPECT_EQ(qv_objectIDAtPath(folder / "link", TraverseLink::yes),
            qv_objectIDAtPath(folder / "sub", TraverseLink::no));
  EXPECT_NE(qv_objectIDAtPath(folder / "link", TraverseLink::no),
            qv_objectIDAtPath(folder / "sub", TraverseLink::no));
}

}  // namespace
}  // namespace QVFoundation
