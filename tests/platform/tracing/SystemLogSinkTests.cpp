#include <array>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <sched.h>
#include <string>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <syslog.h>
#include <system_error>
#include <unistd.h>

#include <gmock/gmock.h>

#include "QVFoundation/platform/tracing/SystemLogSink_p.h"

namespace QVFoundation {
namespace {

using detail::SystemLogSink;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

OSLogEntry entryOf(std::string_view message, OSLogType type = OSLogType::error) {
  return {.type = type,
          .subsystem = "player",
          .category = "import",
          .message = message,
          .identifier = "tracks",
          .time = {},
          .thread = 4711};
}

/// All that comes, with a separator behind each piece.
std::string readAll(int descriptor, std::string_view separator = {}) {
  std::string text;
  std::array<char, 65536> buffer{};
  for (ssize_t size = 0; (size = read(descriptor, buffer.data(), buffer.size())) > 0;)
    text.append(buffer.data(), static_cast<std::size_t>(size)).append(separator);
  return text;
}

/// A service's socket: takes datagrams where the machine's own service would.
class DatagramSocket {
public:
  explicit DatagramSocket(const std::filesystem::path& path)
      : descriptor_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
    std::filesystem::create_directories(path.parent_path());
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    path.native().copy(std::data(address.sun_path), sizeof address.sun_path - 1);
    if (bind(descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) std::abort();
  }
  DatagramSocket(const DatagramSocket&) = delete;
  DatagramSocket& operator=(const DatagramSocket&) = delete;
  ~DatagramSocket() { close(descriptor_); }

  [[nodiscard]] std::string receive() const { return readAll(descriptor_, "|"); }

private:
  int descriptor_;
};

/// Runs `body` in a child process that has a /run and a /dev of its own, both empty, and returns the text
/// that it returned. Nothing where the system does not let this process have them.
std::optional<std::string> withPrivateSystemFolders(const std::function<std::string()>& body) {
  std::array<int, 2> ends{};
  if (pipe(ends.data()) != 0) return {};
  const pid_t child = fork();
  if (child == 0) {
    const bool isAlone = (unshare(CLONE_NEWNS) == 0 || unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0) &&
                         mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                         mount("none", "/run", "tmpfs", 0, nullptr) == 0 &&
                         mount("none", "/dev", "tmpfs", 0, nullptr) == 0;
    if (!isAlone) _exit(1);
    const std::string text = body();
    _exit(write(ends[1], text.data(), text.size()) == static_cast<ssize_t>(text.size()) ? 0 : 2);
  }
  close(ends[1]);
  const std::string text = readAll(ends[0]);
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  if (WIFEXITED(status) && WEXITSTATUS(status) == 1) return {};
  return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? text : "the child process failed";
}

TEST(SystemLogSink, givesTheJournalAFieldForEachPartOfAnEntry) {
  EXPECT_THAT(detail::journalFieldsOf(entryOf("50%s\n=two\nlines")),
              ElementsAre("MESSAGE=50%s\n=two\nlines", "PRIORITY=3", "SUBSYSTEM=player", "CATEGORY=import",
                          "SYSLOG_IDENTIFIER=tracks", "TID=4711"));
  EXPECT_EQ(detail::syslogPriorityOf(OSLogType::debug), LOG_DEBUG);
  EXPECT_EQ(detail::syslogPriorityOf(OSLogType::default_), LOG_NOTICE);
  EXPECT_EQ(detail::syslogPriorityOf(OSLogType::fault), LOG_CRIT);
}

TEST(SystemLogSink, tellsSyslogTheSourceAndHowMuchOfALongMessageIsMissing) {
  const std::string source = "[player:import] ";
  const std::string fits(65'536 - source.size(), 'x');
  EXPECT_EQ(detail::syslogTextOf(entryOf({"50%s\na\0b", 8})), source + "50%s\na\uFFFDb");
  EXPECT_EQ(detail::syslogTextOf(entryOf(fits)), source + fits);
  EXPECT_EQ(detail::syslogTextOf(entryOf(fits.substr(1) + "ä!")),
            source + fits.substr(1) + "… (3 more bytes)");
}

TEST(SystemLogSink, sendsWholeEntriesToTheJournalElseToSyslogWhicheverRuns) {
  const auto received = withPrivateSystemFolders([] {
    SystemLogSink sink;
    std::string text;
    try {
      sink.write(entryOf("none"));
    } catch (const std::system_error& failure) {
      if (failure.code() == std::errc::no_such_file_or_directory) text = "no log|";
    }
    const DatagramSocket syslogService(_PATH_LOG);
    sink.write(entryOf("100%n\nover"));
    text += syslogService.receive();
#ifdef QV_HAVE_JOURNAL
    const DatagramSocket journal("/run/systemd/journal/socket");
    sink.write(entryOf("100%n\nover", OSLogType::fault));
    text += journal.receive() + syslogService.receive();
    std::filesystem::remove("/run/systemd/journal/socket");
#endif
    sink.write(entryOf(std::string(5'000'000, 'x')));
    return text + syslogService.receive().substr(0, 4);
  });
  if (!received) GTEST_SKIP() << "needs the right to mount";
  // <11> is LOG_USER | LOG_ERR.
  const std::string source = program_invocation_short_name + std::string(": [player:import] ");
  EXPECT_THAT(*received,
              AllOf(StartsWith("no log|<11>"), HasSubstr(source + "100%n\nover|"), EndsWith("|<11>")));
#ifdef QV_HAVE_JOURNAL
  // systemd's native journal protocol: a value with a line feed goes as its length, of 64 bits, and its bytes.
  const std::string length{'\x0A', 0, 0, 0, 0, 0, 0, 0};
  EXPECT_THAT(*received, HasSubstr("over|MESSAGE\n" + length +
                                   "100%n\nover\nPRIORITY=2\nSUBSYSTEM=player\nCATEGORY=import\n"
                                   "SYSLOG_IDENTIFIER=tracks\nTID=4711\n|<11>"));
#endif
}

}  // namespace
}  // namespace QVFoundation
