#include <filesystem>
#include <pwd.h>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "QVFoundation/platform/files/NSSearchPath.h"
#include "tests/platform/files/EnvironmentVariable.h"
#include "tests/platform/files/TemporaryFolder.h"

namespace QVFoundation {
namespace {

using testing::EnvironmentVariable;
using Kind = NSSearchPathDirectory;
using Domain = NSSearchPathDomainMask;
using Paths = std::vector<std::filesystem::path>;

constexpr auto folders = NSSearchPathForDirectoriesInDomains;

/// Without any settings of the user's; the home folder is a new one.
class SearchPath : public ::testing::Test {
protected:
  void writeUserDirectories(std::string_view content) {
    std::filesystem::create_directories(home / ".config");
    testing::makeFile(home / ".config/user-dirs.dirs", content);
  }
  [[nodiscard]] Paths ofUser(Kind kind) const { return folders(kind, Domain::user, ExpandTilde::no); }

  testing::TemporaryFolder parent;
  const std::filesystem::path home = parent / "ada";

private:
  EnvironmentVariable home_{"HOME", home.native() + "/"};
  EnvironmentVariable unset_[4]{
      {"XDG_DATA_HOME", {}}, {"XDG_CONFIG_HOME", {}}, {"XDG_CACHE_HOME", {}}, {"XDG_DATA_DIRS", {}}};
};

TEST_F(SearchPath, hasDefaults) {
  const struct {
    Kind kind;
    Paths user, local, system;
  } cases[] = {
      {Kind::applications,
       {"~/.local/share/applications"},
       {"/usr/local/share/applications"},
       {"/usr/share/applications"}},
      {Kind::library, {"~/Library"}, {"/usr/local/share"}, {"/usr/share"}},
      {Kind::applicationSupport, {"~/.local/share"}, {"/usr/local/share"}, {"/usr/share"}},
      {Kind::caches, {"~/.cache"}, {"/var/cache"}, {}},
      {Kind::trash, {"~/.local/share/Trash"}, {}, {}},
      {Kind::desktop, {"~/Desktop"}, {}, {}},
      {Kind::documents, {"~/Documents"}, {}, {}},
      {Kind::downloads, {"~/Downloads"}, {}, {}},
      {Kind::movies, {"~/Videos"}, {}, {}},
      {Kind::music, {"~/Music"}, {}, {}},
      {Kind::pictures, {"~/Pictures"}, {}, {}},
      {Kind::publicShare, {"~/Public"}, {}, {}},
      {Kind::templates, {"~/Templates"}, {}, {}},
  };
  for (const auto& [kind, user, local, system] : cases) {
    SCOPED_TRACE(user[0]);
    EXPECT_EQ(ofUser(kind), user);
    EXPECT_EQ(folders(kind, Domain::local, ExpandTilde::no), local);
    EXPECT_EQ(folders(kind, Domain::network, ExpandTilde::no), Paths());
    EXPECT_EQ(folders(kind, Domain::system, ExpandTilde::no), system);
    Paths all = user;
    all.insert(all.end(), local.begin(), local.end());
    all.insert(all.end(), system.begin(), system.end());
    EXPECT_EQ(folders(kind, Domain::all, ExpandTilde::no), all);
  }
  EXPECT_EQ(folders(Kind::caches, Domain::local | Domain::user, ExpandTilde::yes),
            Paths({home / ".cache", "/var/cache"}));
}

TEST_F(SearchPath, goesByTheEnvironmentWhereItIsAbsolute) {
  const EnvironmentVariable data("XDG_DATA_HOME", "/data/"), cache("XDG_CACHE_HOME", "relative");
  const EnvironmentVariable shared("XDG_DATA_DIRS", "/one::two:/usr/share/:/three");
  EXPECT_EQ(ofUser(Kind::trash), Paths{"/data/Trash"});
  EXPECT_EQ(ofUser(Kind::caches), Paths{"~/.cache"});
  EXPECT_EQ(folders(Kind::applications, Domain::local, ExpandTilde::yes),
            Paths({"/one/applications", "/usr/share/applications", "/three/applications"}));
  EXPECT_EQ(folders(Kind::applicationSupport, Domain::all, ExpandTilde::yes),
            Paths({"/data", "/one", "/usr/share", "/three"}));  // the system's is there already
  const EnvironmentVariable none("XDG_DATA_DIRS", "relative:");
  EXPECT_EQ(folders(Kind::applicationSupport, Domain::local, ExpandTilde::yes), Paths{"/usr/local/share"});
}

TEST_F(SearchPath, abbreviatesTheHomeFolderAndNoNameLikeIt) {
  for (const auto& [path, want] :
       {std::pair(home.native() + "va", home.native() + "va"), std::pair(home.native(), std::string("~")),
        std::pair(home.native() + "//x", std::string("~//x"))}) {
    const EnvironmentVariable cache("XDG_CACHE_HOME", path);
    EXPECT_EQ(ofUser(Kind::caches)[0].native(), want);
  }
  const EnvironmentVariable root("HOME", "/");
  EXPECT_EQ(ofUser(Kind::library), Paths{"~/Library"});
  EXPECT_EQ(folders(Kind::library, Domain::user, ExpandTilde::yes), Paths{"/Library"});
}

TEST_F(SearchPath, readsUserDirectories) {
  const struct {
    const char* row;
    std::string content, want;
  } cases[] = {
      {"below home", "XDG_DESKTOP_DIR=\"$HOME/Schreibtisch\"\n", "~/Schreibtisch"},
      {"absolute", "XDG_DESKTOP_DIR=\"/mnt/desk/\"", "/mnt/desk"},
      {"home itself", "XDG_DESKTOP_DIR=\"$HOME/\"", "~"},
      {"home without a slash", "XDG_DESKTOP_DIR=\"$HOME\"", "~"},
      {"blanks", "# first\n \tXDG_DESKTOP_DIR = \"$HOME/a b\"  # comment\n", "~/a b"},
      {"escapes", R"(XDG_DESKTOP_DIR="$HOME/a\"\$\\b")", "~/a\"$\\b"},
      {"last one counts", "XDG_DESKTOP_DIR=\"/a\"\nXDG_DESKTOP_DIR=\"/b\"\r\nXDG_MUSIC_DIR=\"/c\"", "/b"},
      {"junk is passed over", "XDG_DESKTOP_DIR=\"/a\"\nXDG_DESKTOP_DIR=\"b\"\nXDG_DESKTOP_DIR=\"/c", "/a"},
      {"relative", "XDG_DESKTOP_DIR=\"Desk\"", "~/Desktop"},
      {"another user", "XDG_DESKTOP_DIR=\"$HOMER/Desk\"", "~/Desktop"},
      {"no quotes", "XDG_DESKTOP_DIR=/desk", "~/Desktop"},
      {"ends in an escape", "XDG_DESKTOP_DIR=\"/desk\\", "~/Desktop"},
      {"zero byte", std::string("XDG_DESKTOP_DIR=\"/de\0sk\"", 24), "~/Desktop"},
      {"comment", "#XDG_DESKTOP_DIR=\"/desk\"", "~/Desktop"},
      {"longer name", "XDG_DESKTOP_DIRS=\"/desk\"", "~/Desktop"},
      {"far too large", "XDG_DESKTOP_DIR=\"/desk\"\n" + std::string(1 << 20, '#'), "~/Desktop"},
  };
  for (const auto& [row, content, want] : cases) {
    writeUserDirectories(content);
    EXPECT_EQ(ofUser(Kind::desktop), Paths{want}) << row;
  }
  writeUserDirectories(R"(XDG_DOWNLOAD_DIR="/d" )"
                       "\nXDG_TEMPLATES_DIR=\"/t\"\nXDG_PUBLICSHARE_DIR=\"/s\"\nXDG_DOCUMENTS_DIR=\"/o\"\n"
                       "XDG_MUSIC_DIR=\"/m\"\nXDG_PICTURES_DIR=\"/p\"\nXDG_VIDEOS_DIR=\"/v\"\n");
  const std::pair<Kind, const char*> entries[] = {
      {Kind::downloads, "/d"}, {Kind::templates, "/t"}, {Kind::publicShare, "/s"}, {Kind::documents, "/o"},
      {Kind::music, "/m"},     {Kind::pictures, "/p"},  {Kind::movies, "/v"}};
  for (const auto& [kind, want] : entries) EXPECT_EQ(ofUser(kind), Paths{want});

  const EnvironmentVariable elsewhere("XDG_CONFIG_HOME", (parent / "config").native());
  EXPECT_EQ(ofUser(Kind::music), Paths{"~/Music"});
}

TEST_F(SearchPath, knowsHomeAndTemporaryFolder) {
  EXPECT_EQ(NSHomeDirectory().native(), home.native());
  const EnvironmentVariable temporary("TMPDIR", "/scratch/");
  EXPECT_EQ(NSTemporaryDirectory().native(), "/scratch");
  const EnvironmentVariable relativeTemporary("TMPDIR", "scratch"), relativeHome("HOME", "ada");
  EXPECT_EQ(NSTemporaryDirectory().native(), "/tmp");
  const passwd* user = getpwuid(getuid());  // NOLINT(concurrency-mt-unsafe): this test has one thread
  EXPECT_EQ(NSHomeDirectory(), user != nullptr ? user->pw_dir : "/");
}

}  // namespace
}  // namespace QVFoundation
