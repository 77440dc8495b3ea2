#include "QVFoundation/platform/files/PathComponents.h"

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace QVFoundation {
namespace {

struct Parts {
  std::string path;
  std::vector<std::string> components;
  std::string last, extension, withoutExtension, withoutLast;
};

TEST(PathComponents, takePathsApart) {
  const Parts cases[] = {
      {"", {}, "", "", "", ""},
      {"/", {"/"}, "/", "", "/", "/"},
      {"///", {"/"}, "/", "", "/", "/"},
      {"a", {"a"}, "a", "", "a", ""},
      {"a/", {"a", "/"}, "a", "", "a", ""},
      {"/a", {"/", "a"}, "a", "", "/a", "/"},
      {"//a", {"/", "a"}, "a", "", "//a", "/"},
      {"/a/b.tar.gz", {"/", "a", "b.tar.gz"}, "b.tar.gz", "gz", "/a/b.tar", "/a"},
      {"/a//b.c///", {"/", "a", "b.c", "/"}, "b.c", "c", "/a//b", "/a"},
      {"a.b/c", {"a.b", "c"}, "c", "", "a.b/c", "a.b"},
      {"/a/.profile", {"/", "a", ".profile"}, ".profile", "", "/a/.profile", "/a"},
      {".a.b", {".a.b"}, ".a.b", "b", ".a", ""},
      {"name.", {"name."}, "name.", "", "name.", ""},
      {"a/..", {"a", ".."}, "..", "", "a/..", "a"},
      {"\xFF/\xC3", {"\xFF", "\xC3"}, "\xC3", "", "\xFF/\xC3", "\xFF"},
  };
  for (const Parts& want : cases) {
    SCOPED_TRACE(want.path);
    EXPECT_EQ(pathComponents(want.path), want.components);
    EXPECT_EQ(lastPathComponent(want.path), want.last);
    EXPECT_EQ(pathExtension(want.path), want.extension);
    EXPECT_EQ(stringByDeletingPathExtension(want.path), want.withoutExtension);
    EXPECT_EQ(stringByDeletingLastPathComponent(want.path), want.withoutLast);
  }
}

TEST(PathComponents, areJoinedByOneSlash) {
  const struct {
    const char *path, *component, *want;
  } cases[] = {
      {"/a", "b", "/a/b"}, {"/a/", "/b/", "/a/b"}, {"/a//", "//b", "/a/b"}, {"/", "b", "/b"},
      {"//", "/", "/"},    {"", "b/", "b"},        {"", "/b", "/b"},        {"", "", ""},
      {"/a/", "", "/a"},   {"/a", "/", "/a"},      {"a", "b/c", "a/b/c"},   {"", "//", "/"},
  };
  for (const auto& [path, component, want] : cases)
    EXPECT_EQ(stringByAppendingPathComponent(path, component), want) << path << " + " << component;
  EXPECT_EQ(stringByAppendingPathComponent(std::filesystem::path("a"), std::string("b")), "a/b");
}

}  // namespace
}  // namespace QVFoundation
