#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "QVFoundation/platform/files/FileReference.h"
#include "tests/platform/files/SystemCallsOverride.h"
#include "tests/platform/files/TemporaryFolder.h"

namespace QVFoundation {
namespace {

namespace fs = std::filesystem;
using testing::contentOf;
using testing::makeFile;
using testing::SystemCallsOverride;
using testing::TemporaryFolder;

class AliasFile : public ::testing::Test {
protected:
  AliasFile() { makeFile(target, "target"); }

  [[nodiscard]] FileReference reference() const { return FileReference::referenceToPath(target).value(); }
  [[nodiscard]] std::ptrdiff_t entries() const {
    return std::distance(fs::directory_iterator(folder / ""), fs::directory_iterator());
  }

  const TemporaryFolder folder;
  const fs::path target = folder / "target", alias = folder / "alias";
};

TEST_F(AliasFile, holdsAReference) {
  ASSERT_TRUE(reference().writeAliasFile(alias));
  EXPECT_EQ(entries(), 2) << "nothing but the target and the alias file";
  fs::rename(target, folder / "elsewhere");
  EXPECT_EQ(FileReference::fromAliasFile(alias)->resolve()->path, folder / "elsewhere");
}

TEST_F(AliasFile, replacesNothing) {
  makeFile(alias, "kept");
  for (const bool renames : {true, false}) {
    const SystemCallsOverride system;
    if (!renames)
      system->rename = [](int, const char*, int, const char*, unsigned) { return errno = EINVAL, -1; };
    std::optional<NSError> error;
    EXPECT_FALSE(reference().writeAliasFile(alias, &error));
    EXPECT_EQ(error->underlyingErrors().at(0).code(), EEXIST);
    EXPECT_EQ(error->userInfo()[NSFilePathErrorKey], alias.native());
    EXPECT_EQ(contentOf(alias), "kept");
    EXPECT_EQ(entries(), 2);
  }
}

template <int code, class Result, class... Arguments>
Result failsAlways(Arguments... /*unused*/) {
  return errno = code, Result{-1};
}

struct AliasFileFailure {
  const char* row;
  void (*breaks)(detail::SystemCalls&);
  int code;  // 0 where another way is found
};
constexpr AliasFileFailure aliasFileFailures[] = {
    {"disk full", [](detail::SystemCalls& system) { system.write = failsAlways<ENOSPC>; }, ENOSPC},
    {"little at a time",
     [](detail::SystemCalls& system) {
       system.write = [](int file, const void* bytes, std::size_t size) {
         return ::write(file, bytes, std::min<std::size_t>(size, 50));
       };
     },
     0},
    {"device broken", [](detail::SystemCalls& system) { system.sync = failsAlways<EIO>; }, EIO},
    {"rename fails", [](detail::SystemCalls& system) { system.rename = failsAlways<EACCES>; }, EACCES},
    {"rename replaces only", [](detail::SystemCalls& system) { system.rename = failsAlways<EINVAL>; }, 0},
    {"nor links",
     [](detail::SystemCalls& system) {
       system.rename = failsAlways<EINVAL>, system.link = failsAlways<EPERM>;
     },
     EPERM},
    {"read-only", [](detail::SystemCalls& system) { system.open = failsAlways<EROFS>; }, EROFS},
};

TEST_F(AliasFile, isWrittenWholeOrNotAtAll) {
  const FileReference toTarget = reference();
  for (const AliasFileFailure& failure : aliasFileFailures) {
    SCOPED_TRACE(failure.row);
    std::optional<NSError> error;
    bool isWritten = false;
    {
      const SystemCallsOverride system;
      failure.breaks(detail::systemCalls());
      isWritten = toTarget.writeAliasFile(alias, &error);
    }
    EXPECT_EQ(isWritten, failure.code == 0);
    EXPECT_EQ(entries(), isWritten ? 2 : 1);
    if (isWritten) {
      EXPECT_EQ(FileReference::fromAliasFile(alias)->data(), toTarget.data());
      fs::remove(alias);
    } else {
      ASSERT_TRUE(error);
      EXPECT_EQ(error->underlyingErrors().at(0).code(), failure.code);
    }
  }
  EXPECT_FALSE(FileReference().writeAliasFile(alias)) << "a reference to nothing";
  EXPECT_EQ(entries(), 1);
}

TEST_F(AliasFile, isKnownByItsContent) {
  ASSERT_TRUE(reference().writeAliasFile(alias));
  const std::string content = contentOf(alias);
  makeFile(folder / "renamed.txt", content);
  makeFile(folder / "cut", content.substr(0, content.size() - 1));
  makeFile(folder / "empty", "");
  makeFile(folder / "half a line", content.substr(0, 10));
  makeFile(folder / "huge", content);
  fs::resize_file(folder / "huge", 3 << 20);
  fs::create_symlink(alias, folder / "link");
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);

  struct Case {
    const char* name;
    bool isAlias;
    const char* problem;  // null where it can be read
  };
  constexpr Case cases[] = {
      {"alias", true, nullptr},
      {"renamed.txt", true, nullptr},
      {"cut", true, "The file reference could not be read: its checksum is wrong"},
      {"empty", false, "it is no alias file"},
      {"half a line", false, "it is no alias file"},
      {"target", false, "it is no alias file"},
      {"huge", false, "File too large"},
      {"link", false, "Invalid argument"},
      {"pipe", false, "Invalid argument"},
      {"", false, "Invalid argument"},
      {"missing", false, "No such file or directory"},
  };
  for (const Case& row : cases) {
    const fs::path path = folder / row.name;
    std::optional<NSError> error;
    EXPECT_EQ(FileReference::isAliasFile(path), row.isAlias) << row.name;
    EXPECT_EQ(FileReference::fromAliasFile(path, &error).has_value(), row.problem == nullptr) << row.name;
    if (row.problem == nullptr) continue;
    EXPECT_EQ(error->domain(), NSCocoaErrorDomain) << row.name;
    EXPECT_EQ(error->userInfo()[NSFilePathErrorKey], path.native());
    EXPECT_EQ(error->localizedDescription(),
              "The file \"" + path.native() + "\" could not be read: " + row.problem);
  }
}

}  // namespace
}  // namespace QVFoundation
