#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <gtest/gtest.h>

#include "QVFoundation/files/PNAlias.h"
#include "QVFoundation/platform/application/NSBundle_p.h"
#include "QVFoundation/platform/text/Format.h"
#include "tests/platform/files/SystemCallsOverride.h"
#include "tests/platform/files/TemporaryFolder.h"

namespace QVFoundation {
namespace {

namespace fs = std::filesystem;
using testing::makeFile;
using testing::SystemCallsOverride;
using testing::TemporaryFolder;

/// Runs from another folder for a scope.
class CurrentFolder {
public:
  explicit CurrentFolder(const fs::path& folder) { fs::current_path(folder); }
  CurrentFolder(const CurrentFolder&) = delete;
  CurrentFolder& operator=(const CurrentFolder&) = delete;
  ~CurrentFolder() { fs::current_path(before_); }

private:
  const fs::path before_ = fs::current_path();
};

/// "real/docs/file" and "real/other".
class Alias : public ::testing::Test {
protected:
  Alias() {
    fs::create_directories(root / "real/docs");
    makeFile(root / "real/docs/file", "file");
    makeFile(root / "real/other", "other");
  }

  void makeAliasFile(const fs::path& alias, const fs::path& target) const {
    ASSERT_TRUE(FileReference::referenceToPath(target)->writeAliasFile(alias));
  }
  /// Alias files "1", "2" and so on, each to the one before it, "0".
  void makeChain(int length) const {
    for (int i = 1; i <= length; ++i) {
      makeAliasFile(root / std::to_string(i), root / std::to_string(i - 1));
    }
  }
  /// A path whose walk would have no end: "sub/l" is a link to "sub/l" in "sub", as it is seen from the
  /// folder "here"; the system itself ends at a file.
  [[nodiscard]] fs::path makeCircle() const {
    for (const char* path : {"walk/sub", "here/sub/sub"}) fs::create_directories(root / path);
    makeFile(root / "walk/sub/l", "");
    makeFile(root / "here/sub/sub/l", "");
    fs::create_symlink("sub/l", root / "walk/l");
    fs::create_symlink("sub/l", root / "here/sub/l");
    return root / "walk/l/rest";
  }

  // Without links on the way to it, which a walk would resolve as well.
  const TemporaryFolder folder;
  const fs::path root = fs::canonical(folder / "");
  const fs::path file = root / "real/docs/file";
};

fs::path walk(const fs::path& path, std::optional<NSError>* error = nullptr) {
  return PNAlias::pathByResolvingSymlinksAndAliasesInPath(path, error);
}

struct WalkCase {
  const char* path;
  const char* leadsTo;
};
constexpr WalkCase walkCases[] = {
    {"real//docs/file/", "real/docs/file"},
    {"link/file", "real/docs/file"},
    {"link2", "real/docs"},  // a link to a link
    {"alias/docs/file", "real/docs/file"},
    {"mixed/docs/file", "real/docs/file"},  // an alias file to a link to an alias file
    {"link/missing/link/x", "real/docs/missing/link/x"},
    {"real/other/x", "real/other/x"},  // below a file
    {"dangling/x", "dangling/x"},
    {"circle1/x", "circle1/x"},
};

TEST_F(Alias, walksThroughLinksAndAliasFiles) {
  fs::create_symlink(root / "real/docs", root / "link");
  fs::create_symlink(root / "link", root / "link2");
  makeAliasFile(root / "alias", root / "real");
  fs::create_symlink(root / "alias", root / "link to alias");
  makeAliasFile(root / "mixed", root / "link to alias");
  fs::create_symlink(root / "nowhere", root / "dangling");
  fs::create_symlink(root / "circle1", root / "circle2");
  fs::create_symlink(root / "circle2", root / "circle1");

  for (const WalkCase& row : walkCases) {
    std::optional<NSError> error;
    EXPECT_EQ(walk(root / row.path, &error), root / row.leadsTo);
    EXPECT_FALSE(error) << row.path;
  }
  EXPECT_EQ(walk(""), "/");
  EXPECT_EQ(walk(file.relative_path()), file) << "from the root";
}

TEST_F(Alias, takesARelativeLinkAsItStands) {
  fs::create_symlink("docs", root / "real/relative");
  const CurrentFolder without(root);
  EXPECT_EQ(walk(root / "real/relative/file"), "/docs/relative/file");
  const CurrentFolder with(root / "real");  // where there is a "docs"
  EXPECT_EQ(walk(root / "real/relative/file"), "/docs/file");
}

TEST_F(Alias, endsACircleThatTheFileSystemDoesNotHave) {
  const fs::path path = makeCircle();
  const CurrentFolder current(root / "here");
  std::optional<NSError> error;
  EXPECT_EQ(walk(path, &error), "/sub/l");
  EXPECT_TRUE(error);
}

TEST_F(Alias, endsItsWalkAtTheFirstError) {
  fs::create_symlink(root / "real", root / "link");
  const auto expectBrokenAt = [&](const fs::path& place) {
    std::optional<NSError> error;
    EXPECT_EQ(walk(root / "link/docs", &error), place);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->userInfo()[NSFilePathErrorKey], (root / "link").native());
    EXPECT_EQ(error->underlyingErrors().at(0).code(), EIO);
  };
  const SystemCallsOverride system;
  system->readLink = [](int, const char*, char*, std::size_t) { return errno = EIO, ssize_t{-1}; };
  expectBrokenAt(root);
  system->status = [](int at, const char* path, int flags, unsigned mask, struct statx* status) {
    const bool isBroken = std::string_view(path).ends_with("/link") && flags == AT_SYMLINK_NOFOLLOW;
    return isBroken ? (errno = EIO, -1) : ::statx(at, path, flags, mask, status);
  };
  expectBrokenAt(root / "link");
}

TEST_F(Alias, followsChainsOfAliasFiles) {
  makeFile(root / "0", "");
  makeChain(41);
  EXPECT_EQ(PNAlias::pathFromAliasFile(root / "40", 0), root / "0");
  EXPECT_FALSE(PNAlias::pathFromAliasFile(root / "41", 0)) << "one too many";
  EXPECT_TRUE(PNAlias::isAliasFileFromPath(root / "1"));
  EXPECT_FALSE(PNAlias::isAliasFileFromPath(root / "0"));
  EXPECT_EQ(PNAlias::pathFromAliasFile(file, 0), file) << "is no alias file";
  EXPECT_EQ(PNAlias::pathFromAliasFile(root / "real", 0), root / "real");
}

TEST_F(Alias, saysWhyAnAliasFileLeadsNowhere) {
  const fs::path cut = root / "cut", lost = root / "lost", loop = root / "loop", back = root / "back";
  makeAliasFile(cut, file);
  fs::resize_file(cut, 60);
  makeFile(back, "");
  makeAliasFile(loop, back);
  fs::remove(back);
  makeAliasFile(back, loop);
  makeAliasFile(lost, file);
  fs::remove(file);

  for (const auto& [path, status] : {std::pair(cut, -36), std::pair(lost, -43), std::pair(loop, -36)}) {
    std::optional<NSError> error, errorOfWalk;
    EXPECT_FALSE(PNAlias::pathFromAliasFile(path, 0, &error)) << path;
    ASSERT_TRUE(error) << path;
    EXPECT_EQ(error->domain(), NSOSStatusErrorDomain);
    EXPECT_EQ(error->code(), status);
    EXPECT_EQ(walk(path / "x", &errorOfWalk), root);
    EXPECT_EQ(errorOfWalk, error);
  }
}

TEST_F(Alias, turnsPathsIntoReferencesAndBack) {
  FileReference reference;
  EXPECT_EQ(PNPathFromFSRef(reference), std::nullopt);
  ASSERT_TRUE(PNFSRefFromPath(file, reference));
  fs::rename(file, root / "real/docs/renamed");
  EXPECT_EQ(PNPathFromFSRef(reference), root / "real/docs/renamed");
  EXPECT_EQ(reference.path(), file) << "stays as it was";
  EXPECT_FALSE(PNFSRefFromPath(root / "missing", reference));
  EXPECT_EQ(reference.path(), file);
}

TEST_F(Alias, findsAnItemThatWasRenamedAndSaysSoOnce) {
  const auto alias = PNAlias::aliasWithPath(file);
  fs::rename(file, root / "real/docs/renamed");
  EXPECT_EQ(alias->aliasPath(), file);
  bool wasChanged = false;
  EXPECT_EQ(alias->resolveAliasRelativeToPath({}, &wasChanged), root / "real/docs/renamed");
  EXPECT_TRUE(wasChanged);
  EXPECT_EQ(alias->aliasPath(), root / "real/docs/renamed");
  EXPECT_TRUE(alias->resolveAliasRelativeToPath({}, &wasChanged));
  EXPECT_FALSE(wasChanged);

  fs::remove(root / "real/docs/renamed");
  EXPECT_EQ(alias->resolveAlias(), std::nullopt);
}

TEST_F(Alias, goesByTheFolderThatItIsRelativeTo) {
  FileReference toFile, toFolder;
  ASSERT_TRUE(PNFSRefFromPath(file, toFile) && PNFSRefFromPath(root / "real", toFolder));
  for (const auto& alias :
       {PNAlias::aliasWithPath(file, root / "real"), PNAlias::aliasWithFSRef(toFile, toFolder)}) {
    fs::remove_all(root / "copy");
    fs::copy(root / "real", root / "copy", fs::copy_options::recursive);
    bool wasChanged = false;
    EXPECT_EQ(alias->resolveAliasRelativeToPath(root / "missing"), file);
    EXPECT_EQ(alias->resolveAliasRelativeToPath(root / "copy", &wasChanged), root / "copy/docs/file");
    EXPECT_TRUE(wasChanged);
  }
}

TEST_F(Alias, isNotMadeToNothing) {
  std::optional<NSError> error;
  EXPECT_EQ(PNAlias::aliasWithPath(std::nullopt, &error), nullptr);
  EXPECT_FALSE(error);
  EXPECT_EQ(PNAlias::aliasWithPath(root / "missing", &error), nullptr);
  EXPECT_TRUE(PNAlias::aliasWithURL(file));
  EXPECT_FALSE(PNAlias::aliasWithURL(*NSURL::URLWithString("https://a.b/c")));
  EXPECT_EQ(PNAlias::aliasWithFSRef(FileReference(), &error), nullptr);
  EXPECT_EQ(PNAlias::aliasWithData({}, &error), nullptr);
  EXPECT_EQ(error->code(), NSCoderReadCorruptError);
  const auto toFile = FileReference::referenceToPath(file).value();
  EXPECT_EQ(PNAlias::aliasWithPath(file, root / "missing"), nullptr);
  EXPECT_EQ(PNAlias::aliasWithPath(root / "missing", root), nullptr);
  EXPECT_EQ(PNAlias::aliasWithFSRef(FileReference(), toFile), nullptr);
  EXPECT_EQ(PNAlias::aliasWithFSRef(toFile, FileReference()), nullptr);
  EXPECT_EQ(PNAlias::aliasWithAliasHandle(nullptr), nullptr);
}

TEST_F(Alias, sharesItsHandleButNotWithItsCopy) {
  const auto alias = PNAlias::aliasWithPath(file);
  const auto sharing = PNAlias::aliasWithAliasHandle(alias->aliasHandle());
  const auto copy = std::dynamic_pointer_cast<PNAlias>(alias->copy());
  const auto kept = PNAlias::aliasWithData(alias->aliasData());
  fs::rename(file, root / "real/docs/renamed");
  EXPECT_EQ(alias->resolveAliasWithNoUI(), root / "real/docs/renamed");
  EXPECT_EQ(sharing->aliasPath(), root / "real/docs/renamed");
  EXPECT_EQ(copy->aliasPath(), file);
  EXPECT_EQ(copy->aliasData(), kept->aliasData());
  EXPECT_EQ(kept->resolveAlias(), root / "real/docs/renamed");
}

TEST_F(Alias, describesItself) {
  const auto alias = PNAlias::aliasWithPath(file);
  EXPECT_EQ(alias->allPaths(), std::nullopt);
  EXPECT_EQ(alias->description(), stringWithFormat("<PNAlias: %p aliasPath = %@>",
                                                   static_cast<const void*>(alias.get()), file.native()));
  EXPECT_EQ(alias->scriptingFileDescriptor().descriptorType, 0x616C6973U);
  EXPECT_EQ(alias->scriptingFileDescriptor().data, alias->aliasData());
  EXPECT_EQ(alias->valueForKey("aliasPath"), file.native());
}

TEST_F(Alias, tellsItsErrorsInTheUsersLanguage) {
  fs::create_directories(root / "bundle/de.lproj");
  makeFile(root / "bundle/de.lproj/Localizable.strings", R"-(
    "Path %@ contains circular alias/symlink references" = "Kreis: %@";
    "Could not resolve alias file at %@ because a reference to the file could not be created" = "Nichts: %@";
    "Could not resolve alias file at %@ (%d)" = "%2$d: %1$@";
    "Could not create file system reference for path %@" = "Fehlt: %@";
    "Alias could not be created" = "Kein Alias";
  )-");
  makeAliasFile(root / "alias", file);
  fs::remove(file);
  const fs::path path = makeCircle();
  const CurrentFolder current(root / "here");
  const detail::MainBundleOverride german(detail::BundleFactory::bundleInFolder(root / "bundle", {"de"}));

  std::optional<NSError> error;
  const auto expect = [&](std::int64_t code, const std::string& text) {
    EXPECT_EQ(error->domain() == NSOSStatusErrorDomain, code != -1) << text;
    EXPECT_EQ(error->code(), code) << text;
    EXPECT_EQ(error->localizedDescription(), text);
  };
  (void)walk(path, &error);
  expect(-1, "Kreis: " + path.native());
  (void)PNAlias::pathFromAliasFile(file, 0, &error);
  expect(-1, "Nichts: " + file.native());
  (void)PNAlias::pathFromAliasFile(root / "alias", PNAlias::noUserInteraction, &error);
  expect(-43, "-43: " + (root / "alias").native());
  (void)PNAlias::aliasWithPath(file, &error);
  expect(-43, "Fehlt: " + file.native());
  (void)PNAlias::aliasWithFSRef(FileReference(), &error);
  expect(-43, "Kein Alias");
}

}  // namespace
}  // namespace QVFoundation
