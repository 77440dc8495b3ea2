#include <string>
#include <syslog.h>
#include <system_error>

#include "QVFoundation/platform/tracing/SystemLogSink_p.h"
#include "gmock/gmock.h"
#include "gtest/gtest.h"
#include "tests/platform/tracing/PrivateSystemFolders.h"

namespace QVFoundation {
namespace {

using detail::SystemLogSink;
using ::testing::AllOf;
using testing::DatagramSocket;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using testing::withPrivateSystemFolders;

OSLogEntry entryOf(OSLogType type, std::string_view message) {
  return {.type = type,
          .subsystem = "player",
          .category = "import",
          .message = message,
          .identifier = "tracks",
          .time = {},
          .thread = 4711};
}

TEST(SystemLogSink, givesTheJournalAFieldForEachPartOfAnEntry) {
  EXPECT_THAT(detail::journalFieldsOf(entryOf(OSLogType::error, "50%s\n=two\nlines")),
              ElementsAre("MESSAGE=50%s\n=two\nlines", "PRIORITY=3", "SUBSYSTEM=player", "CATEGORY=import",
                          "SYSLOG_IDENTIFIER=tracks", "TID=4711"));
}

TEST(SystemLogSink, knowsThePriorityOfEachType) {
  EXPECT_EQ(detail::syslogPriorityOf(OSLogType::debug), 7);
  EXPECT_EQ(detail::syslogPriorityOf(OSLogType::info), 6);
  EXPECT_EQ(detail::syslogPriorityOf(OSLogType::default_), 5);
  EXPECT_EQ(detail::syslogPriorityOf(OSLogType::error), 3);
  EXPECT_EQ(detail::syslogPriorityOf(OSLogType::fault), 2);
}

TEST(SystemLogSink, tellsSyslogTheSourceInFrontOfTheMessage) {
  EXPECT_EQ(detail::syslogTextOf(entryOf(OSLogType::info, "50%s\nlines")), "[player:import] 50%s\nlines");
  EXPECT_EQ(detail::syslogTextOf(entryOf(OSLogType::info, std::string_view("a\0b", 3))),
            "[player:import] a\uFFFDb");
}

TEST(SystemLogSink, tellsSyslogHowMuchOfALongMessageIsMissing) {
  constexpr std::size_t room = 65'536 - std::string_view("[player:import] ").size();
  const std::string fits(room, 'x');
  EXPECT_EQ(detail::syslogTextOf(entryOf(OSLogType::info, fits)), "[player:import] " + fits);
  EXPECT_EQ(detail::syslogTextOf(entryOf(OSLogType::info, fits.substr(1) + "ä!")),
            "[player:import] " + fits.substr(1) + "… (3 more bytes)");
}

TEST(SystemLogSink, losesNoLongMessage) {
  const auto received = withPrivateSystemFolders([] {
    const DatagramSocket syslogService(_PATH_LOG);
    SystemLogSink().write(entryOf(OSLogType::error, std::string(5'000'000, 'x')));
    return syslogService.receive();
  });
  if (!received) GTEST_SKIP() << "needs the right to mount";
  EXPECT_THAT(*received, StartsWith("<11>"));
}

#ifdef QV_HAVE_JOURNAL

TEST(SystemLogSink, sendsOneWholeEntryToTheJournal) {
  const auto received = withPrivateSystemFolders([] {
    const DatagramSocket journal("/run/systemd/journal/socket");
    const DatagramSocket syslogService(_PATH_LOG);
    SystemLogSink().write(entryOf(OSLogType::fault, "100%n\nover"));
    return journal.receive() + syslogService.receive();
  });
  if (!received) GTEST_SKIP() << "needs the right to mount";
  // systemd's native journal protocol: a value with a line feed goes as its length, of 64 bits, and
  // its bytes.
  const std::string length{'\x0A', 0, 0, 0, 0, 0, 0, 0};
  EXPECT_EQ(*received, "MESSAGE\n" + length +
                           "100%n\nover\nPRIORITY=2\nSUBSYSTEM=player\nCATEGORY=import\n"
                           "SYSLOG_IDENTIFIER=tracks\nTID=4711\n|");
}

#endif

TEST(SystemLogSink, sendsOneWholeEntryToSyslogWhereNoJournalRuns) {
  const auto received = withPrivateSystemFolders([] {
    const DatagramSocket syslogService(_PATH_LOG);
    SystemLogSink().write(entryOf(OSLogType::error, "100%n\nover"));
    return syslogService.receive();
  });
  if (!received) GTEST_SKIP() << "needs the right to mount";
  // <11> is LOG_USER | LOG_ERR.
  EXPECT_THAT(*received, AllOf(StartsWith("<11>"), HasSubstr(program_invocation_short_name),
                               EndsWith(": [player:import] 100%n\nover|")));
}

TEST(SystemLogSink, followsAJournalThatComesAndGoes) {
  const auto received = withPrivateSystemFolders([] {
    const DatagramSocket syslogService(_PATH_LOG);
    SystemLogSink sink;
    sink.write(entryOf(OSLogType::info, "one"));
    std::string text = syslogService.receive();
#ifdef QV_HAVE_JOURNAL
    const DatagramSocket journal("/run/systemd/journal/socket");
    sink.write(entryOf(OSLogType::info, "two"));
    text += journal.receive().substr(0, 12);
    std::filesystem::remove("/run/systemd/journal/socket");
    sink.write(entryOf(OSLogType::info, "three"));
    text += syslogService.receive();
#endif
    return text;
  });
  if (!received) GTEST_SKIP() << "needs the right to mount";
  EXPECT_THAT(*received, HasSubstr("] one|"));
#ifdef QV_HAVE_JOURNAL
  EXPECT_THAT(*received, AllOf(HasSubstr("|MESSAGE=two\n"), EndsWith("] three|")));
#endif
}

TEST(SystemLogSink, throwsWhereNoLogRuns) {
  const auto outcome = withPrivateSystemFolders([]() -> std::string {
    try {
      SystemLogSink().write(entryOf(OSLogType::info, "one"));
      return "no word of it";
    } catch (const std::system_error& failure) {
      return failure.code() == std::errc::no_such_file_or_directory ? "no log" : failure.what();
    }
  });
  if (!outcome) GTEST_SKIP() << "needs the right to mount";
  EXPECT_EQ(*outcome, "no log");
}

}  // namespace
}  // namespace QVFoundation
