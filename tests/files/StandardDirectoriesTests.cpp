#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "QVFoundation/files/QVStandardDirectories.h"
#include "QVFoundation/platform/application/NSBundle.h"
#include "tests/platform/files/EnvironmentVariable.h"

namespace QVFoundation {
namespace {

using testing::EnvironmentVariable;
using Paths = std::vector<std::filesystem::path>;

TEST(StandardDirectories, lieBelowThoseOfThePlatform) {
  constexpr auto kind = NSSearchPathDirectory::caches;
  constexpr auto domains = NSSearchPathDomainMask::user | NSSearchPathDomainMask::local;
  const EnvironmentVariable home("HOME", "/users/ada"), caches("XDG_CACHE_HOME", std::nullopt);

  EXPECT_EQ(QVSearchPathForDirectoriesInDomains(kind, domains), Paths({"/users/ada/.cache", "/var/cache"}));
  EXPECT_EQ(QVSearchPathForDirectoriesInDomains(kind, domains, ExpandTilde::no, "player/covers"),
            Paths({"~/.cache/player/covers", "/var/cache/player/covers"}));

  const std::string name = NSBundle::mainBundle()->name();  // that of the program, which has no identifier
  EXPECT_EQ(QVApplicationSupportSubPath(), "Application Support/" + name);
  EXPECT_EQ(QVCacheDirectory(), std::filesystem::path("/users/ada/.cache") / name);
  EXPECT_EQ(QVCacheDirectoryURL().filePath(), QVCacheDirectory());
  EXPECT_EQ(QVHomeDirectoryURL().absoluteString(), "file:///users/ada/");
}

}  // namespace
}  // namespace QVFoundation
