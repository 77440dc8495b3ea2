// Copies on volumes of several kinds, and what a well-known program has to say of them.

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "tests/platform/copying/CopyTesting.h"
#include "tests/platform/files/CommandOutput.h"
#include "tests/platform/files/Volume.h"

namespace QVFoundation {
namespace {

namespace fs = std::filesystem;
using testing::contentOf;
using testing::copyOf;
using testing::outputOf;

/// Items of all kinds, with all that they can have; some of it takes privileges that who mounts volumes has.
constexpr std::string_view script = R"sh(
  exec 2> /dev/null; mkdir -p a/b/c empty lists/sub closed; echo hi > a/file; : > a/nothing; echo x > "$(printf 'a/odd\nname\377')"
  ln a/file a/b/again; ln -s nowhere dangling; ln -s a/b folder; ln dangling a/again; mkfifo pipe; ln pipe a/pipe
  mknod null c 1 3; mknod disk b 7 99
  python3 -c 'import socket; socket.socket(socket.AF_UNIX).bind("socket")'
  for i in $(seq 200); do echo $i > a/b/c/$i; done
  truncate -s 50M holes; printf data | dd of=holes bs=1M seek=10 conv=notrunc
  printf data | dd of=holes bs=4k seek=10000 conv=notrunc; truncate -s 3M hole; head -c 33000000 /dev/urandom > large
  setfattr -n user.colour -v red a/file; setfattr -n user.colour -v green a/b; setfattr -n trusted.mark -v 1 a/b/c
  setfattr -h -n trusted.mark -v 1 dangling
  setfacl -m u:1:rwx,g:2:r lists; setfacl -d -m u:1:rw lists; echo y > lists/file; setfacl -m u:3:r large
  chown 1:2 a/file a/b; chown -h 3:4 dangling pipe; chmod 6755 large; chmod 2775 a/b; chmod 1777 a/b/c
  echo z > closed/file; chmod 0400 closed/file; chmod 0555 closed
  touch -h -d '2001-02-03 04:05:06.789123456' dangling a/file pipe; touch -d 1980-01-01 a/nothing a/b .
)sh";

class RealCopyTest : public ::testing::TestWithParam<std::string> {};

TEST_P(RealCopyTest, leavesNoDifferenceThatRsyncFinds) {
  const testing::Volume volume(GetParam());
  if (!volume.isMounted()) GTEST_SKIP() << "this machine mounts no " << GetParam();
  const fs::path source = volume.path() / "source";
  const fs::path copy = volume.path() / "copy";
  fs::create_directory(source);
  outputOf("cd " + source.native() + " && " + std::string(script));
  ASSERT_TRUE(fs::exists(source / "closed/file"));
  const bool canClone = GetParam() == "btrfs" || GetParam() == "xfs";
  for (const auto method : {detail::CopyMethod::copy, detail::CopyMethod::clone}) {
    const auto result = copyOf(source, copy, {{.method = method}, 0, {}});
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.report.lossCount, 0);
    EXPECT_EQ(result.report.cloned.files > 200, canClone && method == detail::CopyMethod::clone);
    EXPECT_TRUE(testing::descriptionOfTree(copy) == testing::descriptionOfTree(source));
    const std::string difference = outputOf("rsync -aHAXn --itemize-changes --checksum --delete " +
                                            source.native() + "/ " + copy.native() + "/ || echo cannot");
    EXPECT_EQ(difference, "");
    const auto blocks = [](const fs::path& tree) {
      return std::stoull(
          outputOf("find " + tree.native() + " -type f -printf '%b\\n' | awk '{ n += $1 } END { print n }'"));
    };
    EXPECT_LE(blocks(copy), blocks(source));
    fs::remove_all(copy);
  }
}

INSTANTIATE_TEST_SUITE_P(, RealCopyTest, ::testing::Values("ext4", "tmpfs", "xfs", "btrfs"),
                         [](const auto& row) { return row.param; });

}  // namespace
}  // namespace QVFoundation
