#include "QVFoundation/platform/files/NSURL.h"

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <fcntl.h>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unordered_set>

#include <gtest/gtest.h>

#include "QVFoundation/platform/files/SystemCalls_p.h"
#include "QVFoundation/platform/text/Format.h"
#include "tests/platform/files/TemporaryFolder.h"

namespace QVFoundation {
namespace {

using testing::TemporaryFolder;
using IsDirectory = NSURL::IsDirectory;

NSURL parsed(std::string_view text) {
  const auto url = NSURL::URLWithString(text);
  if (!url) throw std::invalid_argument(std::string(text));
  return *url;
}

TEST(NSURL, holdsAnyPathOfAFile) {
  const struct {
    std::string path, text, want;
    bool isDirectory;
  } cases[] = {
      {"/a/b.c", "file:///a/b.c", "/a/b.c", false},
      {"/a/", "file:///a/", "/a", true},
      {"/a//", "file:///a//", "/a/", true},
      {"/", "file:///", "/", true},
      {"//a", "file:////a", "//a", false},
      {"/a b%20?#", "file:///a%20b%2520%3F%23", "/a b%20?#", false},
      {"/\xC3\xA4\xFF\n", "file:///%C3%A4%FF%0A", "/\xC3\xA4\xFF\n", false},
      {"/a;b:c@d&e=(f)'*+,$!~_-.", "file:///a;b:c@d&e=(f)'*+,$!~_-.", "/a;b:c@d&e=(f)'*+,$!~_-.", false},
  };
  for (const auto& [path, text, want, isDirectory] : cases) {
    SCOPED_TRACE(text);
    const NSURL url = std::filesystem::path(path);
    EXPECT_EQ(url.absoluteString(), text);
    EXPECT_EQ(url.path(), want);
    EXPECT_EQ(url.filePath().native(), want);
    EXPECT_EQ(url.hasDirectoryPath(), isDirectory);
    EXPECT_TRUE(url.isFileURL());
    EXPECT_EQ(parsed(text), url);
  }
  std::string allBytes = "/";
  for (int byte = 1; byte < 256; ++byte) allBytes += static_cast<char>(byte);
  EXPECT_EQ(parsed(NSURL(allBytes).absoluteString()).path(), allBytes);
}

TEST(NSURL, takesRelativePathsFromTheCurrentFolder) {
  const std::string here = std::filesystem::current_path().native();
  EXPECT_EQ(NSURL("a/b").path(), here + "/a/b");
  EXPECT_EQ(NSURL::fileURLWithPath("").path(), here);
  EXPECT_EQ(NSURL::fileURLWithPath("/a", IsDirectory::yes), NSURL("/a/"));
  EXPECT_EQ(NSURL::fileURLWithPath(std::string_view("/a/"), IsDirectory::yes), NSURL("/a/"));
}

TEST(NSURL, readsURLs) {
  const struct {
    std::string_view text, scheme, path, want;
  } cases[] = {
      {"http://h", "http", "", "http://h"},
      {"HTTP://Ada@H:80/a%2fb/?q=/?#f/?", "http", "/a/b", "http://Ada@H:80/a%2fb/?q=/?#f/?"},
      {"http://[::1]?q", "http", "", "http://[::1]?q"},
      {"mailto:ada@example.org", "mailto", "ada@example.org", "mailto:ada@example.org"},
      {"a+b-c.1:", "a+b-c.1", "", "a+b-c.1:"},
      {"x:?#", "x", "", "x:?#"},
      {"file:/a", "file", "/a", "file:/a"},
      {"x:/\xC3\xA4[\"]?[|]#a#b", "x", "/\xC3\xA4[\"]", "x:/%C3%A4%5B%22%5D?%5B%7C%5D#a%23b"},
      {"x:/%00", "x", std::string_view("/\0", 2), "x:/%00"},
  };
  for (const auto& [text, scheme, path, want] : cases) {
    const NSURL url = parsed(text);
    EXPECT_EQ(url.scheme(), scheme) << text;
    EXPECT_EQ(url.path(), path) << text;
    EXPECT_EQ(url.absoluteString(), want);
    EXPECT_EQ(parsed(want), url);
  }
}

TEST(NSURL, refusesWhatIsNoURL) {
  using namespace std::string_view_literals;
  for (const std::string_view text :
       {""sv, "/a"sv, ":"sv, ":/a"sv, "1a:b"sv, "a_b:c"sv, "\xC3\xA4:b"sv, "a/b:c"sv, "x:%"sv, "x:%4"sv,
        "x:%4g"sv, "x:#%zz"sv, "x://h%"sv, "x:a b"sv, " x:a"sv, "x:a\n"sv, "x:a\x7F"sv, "x:\0"sv}) {
    EXPECT_EQ(NSURL::URLWithString(text), std::nullopt) << text;
  }
}

TEST(NSURL, changesItsLastComponent) {
  const struct {
    std::string_view url, name, appended, deleted;
    IsDirectory isDirectory = IsDirectory::no;
  } cases[] = {
      {"file:///a", "b c", "file:///a/b%20c", "file:///"},
      {"file:///a/", "b", "file:///a/b/", "file:///", IsDirectory::yes},
      {"file:///a/b//", "/c/d/", "file:///a/b/c/d/", "file:///a/"},
      {"file:///", "b", "file:///b", "file:///"},
      {"file:////b", "c", "file:////b/c", "file:///"},
      {"http://h", "b", "http://h/b", "http://h"},
      {"http://h?q#f", "50%?", "http://h/50%25%3F?q#f", "http://h?q#f"},
      {"http://h/a%2Fb/c?q", "d", "http://h/a%2Fb/c/d?q", "http://h/a%2Fb/?q"},
      {"x:", "//b", "x:/b", "x:"},
      {"x:a", "b", "x:a/b", "x:"},
  };
  for (const auto& [text, name, appended, deleted, isDirectory] : cases) {
    const NSURL url = parsed(text);
    EXPECT_EQ(url.URLByAppendingPathComponent(name, isDirectory).absoluteString(), appended);
    EXPECT_EQ(url.URLByDeletingLastPathComponent().absoluteString(), deleted);
  }
  EXPECT_EQ(parsed("http://h/a%2Fb%2Ec/?q.r").lastPathComponent(), "b.c");
  EXPECT_EQ(parsed("http://h/a%2Fb%2Ec/?q.r").pathExtension(), "c");
}

TEST(NSURL, isAValue) {
  const NSURL url("/a b");
  EXPECT_EQ(stringWithFormat("%@ %@", url, Value::boxed(url)), "file:///a%20b file:///a%20b");
  EXPECT_EQ(Value(url).as<NSURL>(), url);
  EXPECT_EQ(Value("file:///a%20b").as<NSURL>(), std::nullopt);
  EXPECT_EQ((std::unordered_set<NSURL>{url, parsed("file:///a%20b"), NSURL("/a b/")}).size(), 2);
  EXPECT_EQ(Value(url), Value(parsed("FILE:///a%20b")));
  EXPECT_LT(NSURL("/a"), NSURL("/b"));
}

TEST(NSURLResources, tellWhatTheFileSystemKnows) {
  const TemporaryFolder folder;
  testing::makeFile(folder / "a b.txt", "12345");
  std::filesystem::create_directory(folder / "sub");
  std::filesystem::create_symlink("a b.txt", folder / "link");
  const NSURL file = folder / "a b.txt", sub = folder / "sub/", link = folder / "link";
  const Value nothing;
  const struct {
    std::string_view key;
    Value ofFile, ofFolder, ofLink;
  } cases[] = {
      {NSURLNameKey, "a b.txt", "sub", "link"},    {NSURLFileSizeKey, 5, nothing, 7},
      {NSURLTotalFileSizeKey, 5, nothing, 7},      {NSURLIsDirectoryKey, false, true, false},
      {NSURLIsRegularFileKey, true, false, false}, {NSURLIsSymbolicLinkKey, false, false, true},
  };
  for (const auto& [key, ofFile, ofFolder, ofLink] : cases) {
    std::optional<NSError> error;
    EXPECT_EQ(file.resourceValueForKey(key, &error), ofFile) << key;
    EXPECT_EQ(sub.resourceValueForKey(key, &error), ofFolder) << key;
    EXPECT_EQ(link.resourceValueForKey(key, &error), ofLink) << key;
    EXPECT_EQ(error, std::nullopt);
  }
  EXPECT_EQ(sub.resourceValueForKey(NSURLTypeIdentifierKey), "inode/directory");
  EXPECT_EQ(link.resourceValueForKey(NSURLTypeIdentifierKey), "inode/symlink");
  EXPECT_TRUE(file.resourceValueForKey(NSURLTypeIdentifierKey).as<std::string>());
}

/// Plays the system for a scope: every item is what `status` says, or `code` is what goes wrong.
class PlayedStatus {
public:
  PlayedStatus() : original_(detail::systemCalls().status) {
    self_ = this;
    detail::systemCalls().status = [](int, const char*, int flagsOfCall, unsigned, struct statx* out) {
      ++self_->calls;
      self_->flags = flagsOfCall;
      *out = self_->status;
      errno = self_->code;
      return self_->code == 0 ? 0 : -1;
    };
  }
  PlayedStatus(const PlayedStatus&) = delete;
  PlayedStatus& operator=(const PlayedStatus&) = delete;
  ~PlayedStatus() { detail::systemCalls().status = original_; }

  struct statx status{};
  int code = 0, calls = 0, flags = 0;

private:
  static inline PlayedStatus* self_ = nullptr;
  decltype(detail::SystemCalls::status) original_;
};

TEST(NSURLResources, tellDatesAndSizesAsFarAsTheyAreKnown) {
  using namespace std::chrono;
  PlayedStatus system;
  const NSURL url("/a");
  EXPECT_EQ(url.resourceValueForKey(NSURLCreationDateKey), Value());
  system.status.stx_mask = STATX_BTIME;
  const struct {
    std::int64_t seconds = 0;
    std::uint32_t nanoseconds = 0;
    NSDate want;
  } cases[] = {
      {1, 500'000'000, NSDate(1500ms)},
      {-1, 250'000'000, NSDate(-750ms)},
      {1LL << 34, 999'999'999, NSDate(floor<seconds>(NSDate::duration::max()) - 1s + 999'999'999ns)},
      {INT64_MIN, 0, NSDate(ceil<seconds>(NSDate::duration::min()))},
  };
  for (const auto& [seconds, nanoseconds, want] : cases) {
    system.status.stx_btime.tv_sec = system.status.stx_mtime.tv_sec = seconds;
    system.status.stx_btime.tv_nsec = system.status.stx_mtime.tv_nsec = nanoseconds;
    EXPECT_EQ(url.resourceValueForKey(NSURLCreationDateKey), Value(want)) << seconds;
    EXPECT_EQ(url.resourceValueForKey(NSURLContentModificationDateKey), Value(want)) << seconds;
  }
  system.status.stx_blocks = 24;
  system.calls = 0;
  EXPECT_EQ(url.resourceValueForKey(NSURLFileAllocatedSizeKey), Value(12288));
  EXPECT_EQ(system.calls, 1);
  EXPECT_EQ(system.flags, AT_SYMLINK_NOFOLLOW);
}

TEST(NSURLResources, sayWhatWentWrong) {
  const NSURL url("/a b");
  for (const auto& [code, expected] : {std::pair(ENOENT, NSFileReadNoSuchFileError),
                                       {ENOTDIR, NSFileReadNoSuchFileError},
                                       {EACCES, NSFileReadNoPermissionError},
                                       {EIO, NSFileReadUnknownError}}) {
    PlayedStatus system;
    system.code = code;
    std::optional<NSError> ofValue, ofReach;
    EXPECT_EQ(url.resourceValueForKey(NSURLFileSizeKey, &ofValue), Value());
    EXPECT_FALSE(url.checkResourceIsReachable(&ofReach));
    EXPECT_EQ(ofValue->code(), expected);
    EXPECT_EQ(ofValue->userInfo()[NSFilePathErrorKey], "/a b");
    EXPECT_EQ(ofValue->underlyingErrors().at(0).code(), code);
    EXPECT_EQ(ofReach, ofValue);
  }
  std::optional<NSError> error;
  EXPECT_EQ(url.resourceValueForKey("NSURLNoSuchKey", &error), Value());
  EXPECT_EQ(error->code(), NSFileReadUnknownError);
  EXPECT_EQ(parsed("http://h/etc").resourceValueForKey(NSURLNameKey, &error), Value());
  EXPECT_EQ(error->code(), NSFileReadUnsupportedSchemeError);
  EXPECT_FALSE(parsed("http://h/").checkResourceIsReachable());
  EXPECT_FALSE(parsed("file:///%00").checkResourceIsReachable());
}

TEST(NSURLResources, areReachedThroughLinksAndLongPaths) {
  const TemporaryFolder folder;
  std::filesystem::create_symlink("nowhere", folder / "link");
  const NSURL link = folder / "link";
  EXPECT_FALSE(link.checkResourceIsReachable());
  EXPECT_EQ(link.resourceValueForKey(NSURLIsSymbolicLinkKey), true);
  testing::makeFile(folder / "nowhere", "");
  EXPECT_TRUE(link.checkResourceIsReachable());

  std::string longPath = (folder / "").native();
  while (longPath.size() < 5000) longPath += "./";
  EXPECT_EQ(NSURL(longPath + "nowhere").resourceValueForKey(NSURLFileSizeKey), 0);
}

}  // namespace
}  // namespace QVFoundation
