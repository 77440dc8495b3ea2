#include <chrono>
#include <filesystem>
#include <optional>

#include <gtest/gtest.h>

#include "QVFoundation/files/QVURLProperties.h"
#include "tests/platform/files/TemporaryFolder.h"

namespace QVFoundation {
namespace {

using testing::TemporaryFolder;

TEST(URLProperties, compareByPath) {
  const struct {
    const char *one, *other;
    bool equal;
  } cases[] = {
      {"file:///a/b/", "file:///a/b", true},    {"file:///a/b//", "file:///a/b", false},
      {"file:///a/b//", "file:///a/b/", false}, {"http://h/a?q", "file:/%61#f", true},
      {"http://h", "http://h/", true},          {"file:///a", "file:///A", false},
  };
  for (const auto& [one, other, equal] : cases) {
    const auto url = NSURL::URLWithString(one), to = NSURL::URLWithString(other);
    EXPECT_EQ(isEqualByPath(url, to), equal) << one << " and " << other;
    EXPECT_EQ(isEqualByPath(to, url), equal) << one << " and " << other;
  }
  const NSURL url("/a");
  const std::optional<NSURL> none;
  EXPECT_FALSE(isEqualByPath(url, none));
  EXPECT_FALSE(isEqualByPath(none, url));
  EXPECT_FALSE(isEqualByPath(url, std::nullopt));
  EXPECT_TRUE(isEqualByPath(std::filesystem::path("/a/"), "/a"));
  EXPECT_TRUE(isEqualByPath(none, none));
}

TEST(URLProperties, tellOfItems) {
  const TemporaryFolder folder;
  testing::makeFile(folder / "file", "12345");
  std::filesystem::create_directory(folder / "sub");
  std::filesystem::create_symlink("file", folder / "link");
  std::filesystem::create_symlink("nowhere", folder / "dangling");
  const auto* web = "https://example.org/file";
  const struct {
    NSURL url;
    std::int64_t size = 0;
    bool exists = false, isFolder = false, hasType = false;
  } cases[] = {
      {folder / "file", 5, true, false, true},      {folder / "sub", 0, true, true, true},
      {folder / "link", 4, true, false, true},      {folder / "dangling", 7, false, false, true},
      {folder / "nothing", 0, false, false, false}, {*NSURL::URLWithString(web), 0, false, false, false},
  };
  for (const auto& [url, size, exists, isFolder, hasType] : cases) {
    SCOPED_TRACE(url.path());
    EXPECT_EQ(fileSize(url), size);
    EXPECT_EQ(fileExists(url), exists);
    EXPECT_EQ(isDirectory(url), isFolder);
    EXPECT_EQ(typeIdentifier(url).has_value(), hasType);
  }
  EXPECT_EQ(typeIdentifier(folder / "sub"), "inode/directory");
  const auto age = std::chrono::system_clock::now() - creationDate(folder / "file").value_or(NSDate());
  const bool isKept = creationDate(folder / "file").has_value();  // some file systems keep none
  EXPECT_EQ(std::chrono::abs(age) < std::chrono::hours(1), isKept);
  EXPECT_EQ(creationDate(folder / "nothing"), std::nullopt);
}

}  // namespace
}  // namespace QVFoundation
