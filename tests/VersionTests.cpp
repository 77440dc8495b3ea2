#include "QVFoundation/Version.h"

#include <string>

#include <gtest/gtest.h>

namespace QVFoundation {
namespace {

TEST(Version, textAgreesWithTheNumbers) {
  EXPECT_EQ(version, std::to_string(versionMajor) + "." + std::to_string(versionMinor) + "." +
                         std::to_string(versionPatch));
}

TEST(Version, loadedLibraryIsTheOneThatTheTestsWereBuiltFor) { EXPECT_EQ(versionAtRunTime(), version); }

}  // namespace
}  // namespace QVFoundation
