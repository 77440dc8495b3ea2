#include <algorithm>
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>
#include <sys/xattr.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "QVFoundation/files/QVExtendedAttributes.h"
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

NSData bytes(std::string_view text) {
  const auto* const begin = reinterpret_cast<const std::byte*>(text.data());
  return {begin, begin + text.size()};
}

class ExtendedAttributesTest : public ::testing::Test {
protected:
  void SetUp() override {
    makeFile(path, "");
    if (setxattr(path.c_str(), "user.probe", "", 0, 0) != 0) GTEST_SKIP() << "no attributes on this volume";
    removexattr(path.c_str(), "user.probe");
  }

  const TemporaryFolder folder;
  const fs::path path = folder / "file";
  std::optional<NSError> error;
};

TEST_F(ExtendedAttributesTest, areKeptInTheNamespaceOfApplications) {
  EXPECT_TRUE(qv_extendedAttributeNamesAtPath(path, &error).empty());
  EXPECT_FALSE(error);
  for (const char* name :
       {"rating", "user", "security.mine", "user.twice", "ünïcödé", "com.apple.FinderInfo"}) {
    const std::string system = name == std::string_view("security.mine") ? "user.security.mine" : name;
    EXPECT_FALSE(qv_setExtendedAttribute(bytes(name), system, path)) << name;
    EXPECT_EQ(qv_extendedAttributeForName(system, path), bytes(name));
  }
  EXPECT_THAT(qv_extendedAttributeNamesAtPath(path),
              UnorderedElementsAre("rating", "user", "user.security.mine", "twice", "ünïcödé"));
  char value[16] = {};
  EXPECT_EQ(getxattr(path.c_str(), "user.rating", value, sizeof value), 6);
  for (const std::string& name : qv_extendedAttributeNamesAtPath(path)) {
    EXPECT_TRUE(qv_extendedAttributeForName(name, path)) << name;
    EXPECT_FALSE(qv_removeExtendedAttributeWithName(name, path)) << name;
  }
  EXPECT_TRUE(qv_extendedAttributeNamesAtPath(path).empty());
}

TEST_F(ExtendedAttributesTest, haveTheirLengthAloneFrom4096BytesOn) {
  // As a file system would have it that takes more than this one may.
  std::size_t stored = 0;
  const testing::SystemHook hook(&detail::SystemCalls::getAttribute, [&](const auto&, auto... args) {
    const std::size_t size = std::get<3>(std::tuple(args...));
    if (size > 0) std::memset(std::get<2>(std::tuple(args...)), 7, stored);
    return static_cast<ssize_t>(stored);
  });
  for (const std::size_t size : {0UL, 1UL, 4095UL, 4096UL, 60'000UL}) {
    stored = size;
    const auto value = qv_extendedAttributeForName("large", path);
    ASSERT_TRUE(value);
    EXPECT_EQ(*value, NSData(size, size < 4096 ? std::byte{7} : std::byte{0})) << size;
  }
}

TEST_F(ExtendedAttributesTest, areReadAgainWhereTheyHaveGrown) {
  ASSERT_FALSE(qv_setExtendedAttribute(bytes("short"), "a", path));
  int calls = 0;
  const testing::SystemHook hook(&detail::SystemCalls::getAttribute, [&](const auto& original, auto... args) {
    if (++calls == 2) setxattr(path.c_str(), "user.a", "much longer", 11, 0);
    return original(args...);
  });
  EXPECT_EQ(qv_extendedAttributeForName("a", path), bytes("much longer"));

  int lists = 0;
  const testing::SystemHook listHook(&detail::SystemCalls::listAttributes,
                                     [&](const auto& original, auto... args) {
                                       if (++lists == 2) setxattr(path.c_str(), "user.another", "", 0, 0);
                                       return original(args...);
                                     });
  EXPECT_THAT(qv_extendedAttributeNamesAtPath(path), UnorderedElementsAre("a", "another"));
}

TEST_F(ExtendedAttributesTest, sayWhatTheyCouldNotDo) {
  const std::string place = path.native();
  EXPECT_FALSE(qv_extendedAttributeForName("none", path, &error));
  EXPECT_EQ(error->domain(), NSPOSIXErrorDomain);
  EXPECT_EQ(error->code(), ENODATA);
  EXPECT_EQ(error->localizedDescription(),
            "Could not retrieve extended attribute “none” for path “" + place + "”.");
  EXPECT_EQ(qv_removeExtendedAttributeWithName("none", path)->localizedDescription(),
            "Could not remove extended attribute “none” for path “" + place + "”.");
  EXPECT_EQ(qv_setExtendedAttribute({}, "a", folder / "none")->localizedDescription(),
            "Could not set extended attribute “a” for path “" + (folder / "none").native() + "”.");
  EXPECT_TRUE(qv_extendedAttributeNamesAtPath(folder / "none", &error).empty());
  EXPECT_EQ(error->localizedDescription(),
            "Unable to read extended attribute names for path “" + (folder / "none").native() + "”.");
  EXPECT_EQ(error->code(), ENOENT);
  EXPECT_EQ(qv_setExtendedAttribute({}, std::string_view("a\0b", 3), path)->code(), EINVAL);
  EXPECT_EQ(qv_setExtendedAttribute(NSData(1'000'000), "a", path)->domain(), NSPOSIXErrorDomain);
  EXPECT_EQ(qv_setExtendedAttribute({}, "a", "/proc/self/status")->domain(), NSPOSIXErrorDomain);

  // What only the file system knows is read by the name under which it is listed.
  const testing::SystemHook foreign(
      &detail::SystemCalls::getAttribute, [](const auto& original, auto... args) {
        if (std::get<1>(std::tuple(args...)) != std::string_view("btrfs.compression"))
          return original(args...);
        return ssize_t{0};
      });
  EXPECT_EQ(qv_extendedAttributeForName("btrfs.compression", path), NSData());
  EXPECT_FALSE(qv_extendedAttributeForName("btrfs.other", path, &error));
  EXPECT_EQ(error->code(), ENODATA);

  // A list that cannot be read though its size could is empty, and no error.
  const testing::SystemHook hook(&detail::SystemCalls::listAttributes,
                                 [](const auto& original, auto... args) {
                                   if (std::get<2>(std::tuple(args...)) == 0) return original(args...) + 8;
                                   errno = EIO;
                                   return ssize_t{-1};
                                 });
  error.reset();
  EXPECT_TRUE(qv_extendedAttributeNamesAtPath(path, &error).empty());
  EXPECT_FALSE(error);
}

TEST_F(ExtendedAttributesTest, areThoseOfTheLinkItselfAndOfPathsOfAnyLength) {
  fs::create_symlink("file", folder / "link");
  EXPECT_TRUE(qv_setExtendedAttribute(bytes("x"), "a", folder / "link"));
  EXPECT_TRUE(qv_extendedAttributeNamesAtPath(path).empty());
  const testing::DeepFolder deep(folder / "deep", 300);
  EXPECT_FALSE(qv_setExtendedAttribute(bytes("x"), "a", deep.path()));
  EXPECT_THAT(qv_extendedAttributeNamesAtPath(deep.path()), ElementsAre("a"));
}

}  // namespace
}  // namespace QVFoundation
