#include "QVFoundation/environment/QVSystemInformation.h"

#include <cerrno>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "QVFoundation/environment/SystemFacts_p.h"
#include "QVFoundation/platform/text/Format.h"
#include "tests/platform/files/EnvironmentVariable.h"
#include "tests/platform/files/TemporaryFolder.h"

namespace QVFoundation {
namespace {

using Files = std::vector<std::pair<std::string, std::string>>;

/// A system of some files.
class MadeUpSystem {
public:
  explicit MadeUpSystem(const Files& files) {
    for (const auto& [path, content] : files) {
      std::filesystem::create_directories((folder_ / path).parent_path());
      testing::makeFile(folder_ / path, content);
    }
  }

  [[nodiscard]] std::string root() const { return folder_.path(); }

private:
  testing::TemporaryFolder folder_;
};

TEST(QVSystemInformation, takesTheVersionFromWhereTheDistributionStatesItMostClosely) {
  const std::string etc = "etc/os-release", debian = "etc/debian_version", redHat = "etc/redhat-release";
  const struct {
    const char* row;
    Files files;
    std::vector<std::int64_t> digits;
  } cases[] = {
      {"noFiles", {}, {0, 0, 0}},
      {"point",
       {{etc, "ID=debian\nVERSION_ID=\"12\"\nVERSION=\"12 (bookworm)\"\n"}, {debian, "12.11\n"}},
       {12, 11, 0}},
      {"nameOfTheNext",
       {{etc, "VERSION_ID=\"24.04\"\nVERSION=\"24.04.2 LTS\""}, {debian, "trixie/sid\n"}},
       {24, 4, 2}},
      {"anotherVersion", {{etc, "VERSION_ID=6"}, {debian, "12.4\n"}}, {6, 0, 0}},
      {"longerNumberIsNoPoint", {{etc, "VERSION_ID=1"}, {debian, "12.4\n"}}, {1, 0, 0}},
      {"release",
       {{etc, "VERSION_ID=\"7\""}, {redHat, "CentOS Linux release 7.9.2009 (Core)\n"}},
       {7, 9, 2009}},
      {"moreThanThree", {{etc, "VERSION_ID=10.2.3.4\r\n"}}, {10, 2, 3}},
      {"letters", {{etc, "VERSION_ID='V10SP1'"}}, {10, 0, 0}},
      {"suffix", {{etc, "VERSION_ID=3.20-alpha2\n"}}, {3, 20, 0}},
      {"commentAndLast", {{etc, "VERSION_ID=1\n#VERSION_ID=3\n VERSION_ID=2\nXVERSION_ID=4"}}, {2, 0, 0}},
      {"alwaysRenewed", {{etc, "ID=arch\nBUILD_ID=rolling"}}, {0, 0, 0}},
      {"vendorFile", {{"usr/lib/os-release", "VERSION_ID=41"}}, {41, 0, 0}},
      {"ownFileHidesThatOfTheVendor", {{etc, ""}, {"usr/lib/os-release", "VERSION_ID=41"}}, {0, 0, 0}},
  };
  for (const auto& [row, files, digits] : cases)
    EXPECT_EQ(detail::systemVersion(MadeUpSystem(files).root()), digits) << row;
}

TEST(QVSystemInformation, namesTheBuildElseTheKernel) {
  const std::string etc = "etc/os-release", kernel = "proc/sys/kernel/osrelease";
  const struct {
    const char* row;
    Files files;
    std::optional<std::string> build;
  } cases[] = {
      {"noFiles", {}, {}},
      {"build",
       {{etc,
         "IMAGE_VERSION=3\n"
         R"(BUILD_ID="2026 \"a\" \\")"},
        {kernel, "6.1\n"}},
       R"(2026 "a" \)"},
      {"image", {{etc, "IMAGE_VERSION='33 \\'\nBUILD_ID="}, {kernel, "6.1\n"}}, "33 \\"},
      {"kernel", {{etc, "VERSION_ID=1"}, {kernel, "6.1.0-37-amd64\n"}}, "6.1.0-37-amd64"},
      {"openQuote", {{etc, "BUILD_ID=\"7"}}, "7"},
  };
  for (const auto& [row, files, build] : cases)
    EXPECT_EQ(detail::systemBuild(MadeUpSystem(files).root()), build) << row;
}

TEST(QVSystemInformation, takesTheFirstModelThatSomebodyHasFilledIn) {
  const std::string product = "sys/class/dmi/id/product_name", board = "sys/class/dmi/id/board_name",
                    tree = "sys/firmware/devicetree/base/model";
  const struct {
    const char* row;
    Files files;
    std::optional<std::string> model;
  } cases[] = {
      {"noFiles", {}, {}},
      {"product", {{product, "Precision 5530 \n"}, {board, "0FP2W2\n"}}, "Precision 5530"},
      {"board", {{product, "To Be Filled By O.E.M.\n"}, {board, "B450M\n"}}, "B450M"},
      {"tree", {{product, "\n"}, {board, "Default string\n"}, {tree, std::string("Pi 4\0", 5)}}, "Pi 4"},
      {"notUTF8", {{tree, "Caf\xE9"}}, "Caf\uFFFD"},
  };
  for (const auto& [row, files, model] : cases)
    EXPECT_EQ(detail::hardwareModel(MadeUpSystem(files).root()), model) << row;
}

TEST(QVSystemInformation, countsMemoryInBytesOrTellsTheCode) {
  const std::string status = "Name:\tVmRSS: 1\nVmSize:\t 40 kB\nVmHWM:\t 8388608 kB\nVmRSS:\t 20 kB\n";
  const struct {
    const char* row;
    Files files;
    Dictionary usage;
  } cases[] = {
      {"all",
       {{"proc/self/status", status}},
       {{"resident_size", 20480}, {"resident_size_max", 8589934592}, {"virtual_size", 40960}}},
      {"oneIsMissing", {{"proc/self/status", "VmSize:\t 40 kB\nVmRSS:\t 20 kB\n"}}, {{"error", ENODATA}}},
      {"noFile", {}, {{"error", ENOENT}}},
      {"folder", {{"proc/self/status/x", ""}}, {{"error", EISDIR}}},
  };
  for (const auto& [row, files, usage] : cases)
    EXPECT_EQ(detail::memoryUsage(MadeUpSystem(files).root()), usage) << row;
}

TEST(QVSystemInformation, knowsTheSystemThatRuns) {
  const QVVersionNumber* const version = QVSystemVersionNumber().get();
  EXPECT_EQ(version, QVSystemVersionNumber().get());
  EXPECT_EQ(version->countOfDigits(), 3U);
  EXPECT_EQ(stringWithFormat("%@", *version), version->description());
  EXPECT_TRUE(QVSystemVersionBuildString());
  EXPECT_EQ(QVHardwareModelName(), detail::hardwareModel("").value_or("Unknown Mac model"));
  const Dictionary before = QVCollectMemoryUsageInfo();
  const std::vector<char> touched(64UL << 20U, 'x');
  const Dictionary after = QVCollectMemoryUsageInfo();
  const auto grown = [&](std::string_view key) {
    return *after[key].as<std::uint64_t>() - *before[key].as<std::uint64_t>();
  };
  for (const char* const key : {"resident_size", "virtual_size"})
    EXPECT_GT(grown(key), touched.size() / 2) << key;
  EXPECT_GE(*after["resident_size_max"].number(), *after["resident_size"].number());
}

TEST(QVSystemInformation, knowsATestByItsVariableWhateverItHolds) {
  constexpr const char* name = "XCTestConfigurationFilePath";
  for (const auto& [value, isTest] :
       {std::pair<std::optional<std::string>, bool>({}, false), {"", true}, {"/tmp/x", true}}) {
    const testing::EnvironmentVariable variable(name, value);
    EXPECT_EQ(QVIsUnitTesting(), isTest) << value.value_or("none");
  }
}

}  // namespace
}  // namespace QVFoundation
