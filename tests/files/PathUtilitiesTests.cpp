#include <filesystem>
#include <list>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "QVFoundation/files/QVPathUtilities.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/text/Unicode.h"

namespace QVFoundation {
namespace {

TEST(PathUtilities, putComponentsTogether) {
  EXPECT_EQ(qv_stringWithPathComponents({}), "/");
  EXPECT_EQ(qv_stringWithPathComponents({"/"}), "/");
  EXPECT_EQ(qv_stringWithPathComponents({"a", "b"}), "/a/b");
  EXPECT_EQ(qv_stringWithPathComponents({"/", "a", "/", "b", "/"}), "/a/b");
  EXPECT_EQ(qv_stringWithPathComponents(pathComponents("//a//b/")), "/a/b");

  EXPECT_EQ(qv_stringByPrependingPathComponent("/b/", "a"), "a/b");
  EXPECT_EQ(qv_stringByPrependingPathComponent("b", ""), "b");
}

TEST(PathUtilities, appendOneComponentAfterTheOther) {
  EXPECT_EQ(qv_stringByAppendingPathComponents("/a/"), "/a/");
  EXPECT_EQ(qv_stringByAppendingPathComponents("/a/", std::vector<std::string>()), "/a/");
  EXPECT_EQ(qv_stringByAppendingPathComponents("/a/", "b"), "/a/b");
  EXPECT_EQ(qv_stringByAppendingPathComponents("", std::string("b/"), std::filesystem::path("/c/d/")),
            "b/c/d");
  EXPECT_EQ(qv_stringByAppendingPathComponents("/", std::list<std::string_view>{"b", "", "c"}), "/b/c");
}

TEST(PathUtilities, putTextBeforeTheExtension) {
  const struct {
    const char *path, *want;
  } cases[] = {{"archive.tar.gz", "archive.tar 2.gz"},
               {"/a.b/c", "/a.b/c 2"},
               {".profile", ".profile 2"},
               {"name.", "name. 2"},
               {"/a/b.c/", "/a/b 2.c"},
               {"", " 2"}};
  for (const auto& [path, want] : cases)
    EXPECT_EQ(qv_stringByAppendingStringBeforePathExtension(path, " 2"), want);
}

struct Relation {
  std::string_view base, path;
  bool contains;
  std::optional<std::string> rest = {};  // nothing also where asking for it raises
};

constexpr std::string_view clef = "\xF0\x9D\x84\x9E";  // four bytes, two UTF-16 units

TEST(PathUtilities, tellWhatLiesBelowWhat) {
  const Relation cases[] = {
      {"/Users/x", "/Users/x", true},
      {"/Users/x", "/Users/xy", false},
      {"/Users/x", "/Users/X/y", false},
      {"/a/b", "/a/b/", true, ""},
      {"/a/b/", "/a/b/", true, ""},
      {"/a/b/", "/a/b", false},  // more characters
      {"/a", "/a/b/c", true, "b/c"},
      {"/a/", "/a/b/c", true, "b/c"},
      {"/a", "/a//b", true, "/b"},
      {"/a/b", "/a", false},
      {"/a/b", "/a/c", false},
      {"/", "/", true, ""},
      {"/", "/a", true, "a"},
      {"/", "", false},
      {"/", "a/b", true, "/b"},  // without its slash the base has no components
      {"//", "/", false},
      {"//", "/a", true, ""},
      {"", "", true},
      {"", "/a", true},
      {"a", "/a", false},
      {"/a", "a/b", false},
      {"a/b", "a/b/c", true, "c"},
      {"/a//b", "/a/b/c", true, ""},  // counted in characters, not in components
      {"/a//b", "/a/b/cd", true, "d"},
      {"/a//b", "/a/b/", true},  // of which there are not enough
      {"/a//b", "/a/b", false},
      {"/a/b", "/a//b/c", true, "/c"},
      {"/\xF0\x9D\x84\x9E", "/\xF0\x9D\x84\x9E/b", true, "b"},
      {"/\xF0\x9D\x84\x9E//b", "/\xF0\x9D\x84\x9E/b/cd", true, "d"},
      {"/\xFF//b", "/\xFF/b/cd", true, "d"},
      {"/a//b", "/a/b/\xF0\x9D\x84\x9E", true, std::string(clef)},  // never cut in two
      {"/\xC3", "/\xC3\xA4", false},
  };
  for (const auto& [base, path, contains, rest] : cases) {
    SCOPED_TRACE(std::string(base) + " and " + std::string(path));
    EXPECT_EQ(qv_containsPath(base, path), contains);
    std::optional<std::string> found;
    try {
      found = qv_relativePathForBasePath(path, base);
      EXPECT_FALSE(contains && !rest) << "should raise";
    } catch (const NSException& exception) {
      EXPECT_EQ(exception.name(), NSRangeException);
      EXPECT_TRUE(base.empty() || (contains && !rest)) << exception.what();
    }
    EXPECT_EQ(found, rest);
  }
  EXPECT_TRUE(qv_containsPath(std::filesystem::path("/a"), std::string("/a/b")));
}

/// Containment as one would write it down, without a thought for speed.
bool plainlyContains(std::string_view path, std::string_view other) {
  if (utf16UnitCount(path) > utf16UnitCount(other)) return false;
  std::vector<std::string> ours = pathComponents(path), theirs = pathComponents(other);
  for (auto* components : {&ours, &theirs}) {
    if (!components->empty() && components->back() == "/") components->pop_back();
  }
  return ours.size() <= theirs.size() && std::equal(ours.begin(), ours.end(), theirs.begin());
}

TEST(PathUtilities, takeShortCutsThatChangeNothing) {
  std::mt19937 random(1);
  const auto randomPath = [&random] {
    std::string path;
    for (auto length = random() % 7; length > 0; --length) path += "//aab\xC3"[random() % 6];
    return path;
  };
  for (int i = 0; i < 100'000; ++i) {
    const std::string path = randomPath(), other = i % 2 == 0 ? randomPath() : path + randomPath();
    ASSERT_EQ(qv_containsPath(path, other), plainlyContains(path, other)) << path << " and " << other;
  }
}

TEST(PathUtilities, knowTheTrashByItsNames) {
  EXPECT_TRUE(qv_isPathInTrash("/Volumes/Disk/.Trashes/501/f"));
  EXPECT_TRUE(qv_isPathInTrash(".Trash"));
  EXPECT_TRUE(qv_isPathInTrash("a//.Trash/"));
  EXPECT_FALSE(qv_isPathInTrash("/a/.trash/f"));
  EXPECT_FALSE(qv_isPathInTrash("/a/.Trash-1000/f"));
  EXPECT_FALSE(qv_isPathInTrash(""));
}

}  // namespace
}  // namespace QVFoundation
