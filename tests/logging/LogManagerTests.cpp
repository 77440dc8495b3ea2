#include <algorithm>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "QVFoundation/logging/LogFileName_p.h"
#include "QVFoundation/logging/QVFileHandleLogWriter.h"
#include "QVFoundation/logging/QVLogManager.h"
#include "QVFoundation/platform/runtime/NSErrorKeys.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "tests/platform/files/EnvironmentVariable.h"
#include "tests/platform/files/FailingSystem.h"
#include "tests/platform/files/SystemHook.h"
#include "tests/platform/files/TemporaryFolder.h"
#include "tests/platform/tracing/StandardErrorCapture.h"

namespace QVFoundation {
namespace {

namespace fs = std::filesystem;
using testing::contentOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using testing::makeFile;
using ::testing::MatchesRegex;
using testing::TemporaryFolder;

/// Writes down what it hears.
class Listener : public QVLogManagerDelegate {
public:
  void didCreateNewLogger(QVLogManager& /*logManager*/, const std::shared_ptr<QVLogger>& logger) override {
    heard += logger ? "new " : "none ";
  }
  void logManagerDidToggleDebugLogging(QVLogManager& logManager) override {
    heard += logManager.debugLoggingEnabled() ? "on " : "off ";
  }
  std::string heard;
};

class LogManagerTest : public ::testing::Test {
protected:
  LogManagerTest() { fs::create_directory(home / "Desktop"); }

  fs::path logFolder() const { return home / "Library/Logs/logging-tests"; }
  fs::path debugLog() const { return home / "Desktop/logging-tests.log"; }
  static fs::path pathOf(const QVLogManager& logs, std::string_view name) {
    for (const QVLogFile& file : logs.logFiles()) {
      if (file.name == name) return file.url.filePath();
    }
    return {};
  }
  static void setAge(const fs::path& path, std::chrono::hours age) {
    fs::last_write_time(path, fs::file_time_type::clock::now() - age);
  }

  const TemporaryFolder home;
  const testing::EnvironmentVariable homeVariable{"HOME", home.path().native()};
  const testing::EnvironmentVariable config{"XDG_CONFIG_HOME", std::nullopt};
};

TEST_F(LogManagerTest, beginsTheGeneralLogAndKnowsItsPlaces) {
  const auto logs = std::make_shared<QVLogManager>();
  EXPECT_EQ(logs->logFolderURL(), NSURL(logFolder()));
  EXPECT_EQ(logs->debugLogURL(), NSURL(debugLog()));
  EXPECT_FALSE(logs->debugLogWriter()->writingEnabled());
  logs->generalLogger()->logInfo("begun");
  logs->generalLogger()->logDebug("not yet");
  ASSERT_EQ(logs->logFiles().size(), 1U);
  const QVLogFile file = logs->logFiles().front();
  EXPECT_EQ(file.name, "General");
  EXPECT_LT(std::chrono::abs(std::chrono::system_clock::now() - file.date), std::chrono::minutes(1));
  EXPECT_THAT(contentOf(file.url.filePath()), MatchesRegex(".* begun\n"));
  EXPECT_EQ(file.size, contentOf(file.url.filePath()).size());
  EXPECT_EQ(fs::status(file.url.filePath()).permissions() & fs::perms(0777), fs::perms(0644));
  EXPECT_FALSE(fs::exists(debugLog()));
}

TEST_F(LogManagerTest, givesEachLoggerAFileOfItsOwn) {
  const auto logs = std::make_shared<QVLogManager>();
  fs::remove_all(logFolder());
  constexpr int count = 8;
  std::vector<fs::path> paths(count);
  {
    std::vector<std::jthread> threads;
    threads.reserve(paths.size());
    for (fs::path& path : paths) {
      threads.emplace_back([&] { logs->newLoggerWithName("Job/1", &path)->logInfo("%@", path.native()); });
    }
  }
  EXPECT_EQ(std::set(paths.begin(), paths.end()).size(), paths.size());
  for (const fs::path& path : paths) {
    EXPECT_THAT(path.filename().native(), MatchesRegex("[-0-9]{17}-Job:1( [0-9])?\\.log"));
    EXPECT_THAT(contentOf(path), HasSubstr(path.native()));
  }
  EXPECT_FALSE(fs::exists(logs->newLoggerURLWithName("Job").filePath()));
  EXPECT_EQ(QVLogManager::newLoggerURLWithName("Job", home.path()).filePath().parent_path(), home.path());
}

TEST_F(LogManagerTest, saysWhyThereIsNoLogger) {
  const auto logs = std::make_shared<QVLogManager>();
  const auto listener = std::make_shared<Listener>();
  logs->setDelegate(listener);
  makeFile(home / "file", "");
  fs::create_directory(home / "sealed");
  const testing::SystemHook hook(&detail::SystemCalls::open, [](const auto& original, auto... args) {
    const std::string_view path = std::get<1>(std::tuple(args...));
    if (path.find("/sealed/") == std::string_view::npos) return original(args...);
    errno = EROFS;
    return -1;
  });
  for (const auto& [place, code] :
       {std::pair("file/logs", NSFileNoSuchFileError), {"sealed", NSFileWriteVolumeReadOnlyError}}) {
    logs->setLogFolderURL(home / place);
    std::optional<NSError> error;
    fs::path path;
    EXPECT_EQ(logs->newLoggerWithName("Job", &path, &error), nullptr);
    ASSERT_TRUE(error) << place;
    EXPECT_EQ(error->code(), code) << error->what();
    EXPECT_EQ(path.parent_path(), home / place);
  }
  EXPECT_EQ(listener->heard, "none none ");

  const testing::EnvironmentVariable elsewhere("HOME", (home / "file").native());
  testing::StandardErrorCapture output;
  EXPECT_EQ(std::make_shared<QVLogManager>()->generalLogger(), nullptr);
  EXPECT_THAT(output.take(), ::testing::Contains(HasSubstr("Could not create general log file: ")));
}

TEST_F(LogManagerTest, writesEverythingToTheDebugLogWhileThatIsOn) {
  const auto logs = std::make_shared<QVLogManager>();
  fs::path path;
  const auto job = logs->newLoggerWithName("Job", &path);
  const auto debug = logs->debugLogger();
  EXPECT_EQ(logs->debugLogger(), debug);
  const auto say = [&](const std::string& text) {
    job->logInfo("%@ of job", text);
    debug->logDebug("%@ of debugging", text);
  };
  say("first");
  logs->debugLogWriter()->setWritingEnabled(true);
  say("second");
  EXPECT_THAT(contentOf(debugLog()), MatchesRegex("[^\n]*second of job\n[^\n]*second of debugging\n"));
  logs->debugLogWriter()->setWritingEnabled(true);
  EXPECT_EQ(contentOf(debugLog()), "");
  say("third");
  logs->debugLogWriter()->setWritingEnabled(false);
  say("fourth");
  EXPECT_THAT(contentOf(debugLog()), MatchesRegex("[^\n]*third of job\n[^\n]*third of debugging\n"));
  EXPECT_THAT(contentOf(path), MatchesRegex("([^\n]* of job\n){4}"));

  // Another switch takes the place of the first, which is left alone from then on.
  const auto former = logs->debugLogWriter();
  logs->setDebugLogWriter(std::make_shared<QVToggleLogWriter>());
  logs->setDebugLogURL(home / "other.log");
  former->setWritingEnabled(true);
  EXPECT_FALSE(fs::exists(home / "other.log"));
  logs->debugLogWriter()->setWritingEnabled(true);
  EXPECT_TRUE(fs::exists(home / "other.log"));
  EXPECT_THROW(logs->setDebugLogWriter(nullptr), NSException);
  say("fifth");
  EXPECT_THAT(contentOf(home / "other.log"), MatchesRegex("[^\n]*fifth of debugging\n"));
}

TEST_F(LogManagerTest, leavesAFolderThatHasThePlaceOfTheDebugLog) {
  const auto logs = std::make_shared<QVLogManager>();
  fs::create_directories(debugLog() / "precious");
  testing::StandardErrorCapture output;
  logs->debugLogWriter()->setWritingEnabled(true);
  EXPECT_TRUE(fs::exists(debugLog() / "precious"));
  EXPECT_THAT(output.take(), ::testing::Contains(HasSubstr("Could not create debug log file: ")));
  const NSURL elsewhere = *NSURL::URLWithString("https://a.b/c");
  EXPECT_THROW(logs->setDebugLogURL(elsewhere), NSException);
  EXPECT_THROW(logs->setLogFolderURL(elsewhere), NSException);
}

TEST_F(LogManagerTest, hasOneSwitchWhoeverSetsIt) {
  const auto logs = std::make_shared<QVLogManager>();
  {
    std::vector<std::jthread> threads;
    threads.reserve(4);
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back([&] {
        for (int round = 0; round < 50; ++round) {
          const auto toggle = std::make_shared<QVToggleLogWriter>();
          toggle->setWritingEnabled(false);
          logs->setDebugLogWriter(toggle);
        }
      });
    }
  }
  logs->debugLogWriter()->setWritingEnabled(true);
  EXPECT_TRUE(fs::exists(debugLog()));
}

TEST_F(LogManagerTest, letsTheSwitchOutliveIt) {
  auto logs = std::make_shared<QVLogManager>();
  const auto toggle = logs->debugLogWriter();
  logs.reset();
  toggle->setWritingEnabled(true);
  EXPECT_FALSE(fs::exists(debugLog()));
}

TEST_F(LogManagerTest, turnsDebugLinesOnForTheGeneralLogAndForLoggersToCome) {
  const auto logs = std::make_shared<QVLogManager>();
  const auto listener = std::make_shared<Listener>();
  logs->setDelegate(listener);
  fs::path with;
  fs::path without;
  logs->setDebugLoggingEnabled(true);
  logs->newLoggerWithName("With", &with)->logDebug("seen");
  logs->setDebugLoggingEnabled(false);
  logs->newLoggerWithName("Without", &without)->logDebug("unseen");
  logs->generalLogger()->logDebug("still");
  EXPECT_THAT(contentOf(with), HasSubstr("seen"));
  EXPECT_EQ(contentOf(without), "");
  EXPECT_THAT(contentOf(pathOf(*logs, "General")), HasSubstr("still"));
  EXPECT_EQ(listener->heard, "on new off new ");
}

TEST_F(LogManagerTest, listsTheLogsOfAllRunsNewestFirst) {
  auto logs = std::make_shared<QVLogManager>();
  for (const char* name : {"2024-03-05-140709-Backup.log", "2024-03-05-140709-Backup 2.log",
                           "2023-12-31-235959-a-b.c.log", "2024-03-05-14070x-no.log", "notes.txt", ".log"}) {
    makeFile(logFolder() / name, name);
  }
  fs::create_directory(logFolder() / "2024-03-05-140709-Folder.log");
  makeFile(logFolder() / "2024-03-05-140709-Folder.log/2024-03-05-140709-x.log", "");
  logs = std::make_shared<QVLogManager>();
  std::vector<std::string> names;
  for (const QVLogFile& file : logs->logFiles()) names.push_back(file.name);
  EXPECT_THAT(names, ElementsAre(::testing::StartsWith("General"), "General", "Backup 2", "Backup", "a-b.c"));
  EXPECT_EQ(logs->logFiles().back().size, 27U);
  logs->setLogFolderURL(home / "none");
  EXPECT_TRUE(logs->logFiles().empty());
}

TEST_F(LogManagerTest, prunesWhatNobodyWritesTo) {
  auto logs = std::make_shared<QVLogManager>();
  fs::path open;
  fs::path closed;
  const auto logger = logs->newLoggerWithName("Open", &open);
  static_cast<void>(logs->newLoggerWithName("Closed", &closed));
  fs::create_directories(logFolder() / "busy/sub");
  const auto below = QVFileHandleLogWriter::fileHandleForLoggingAtPath(logFolder() / "busy/sub/log", 0644);
  fs::create_directories(logFolder() / "idle");
  makeFile(logFolder() / "idle/log", "");
  const fs::path general = pathOf(*logs, "General");
  // One that another process has open, as its lock tells.
  const fs::path foreign = logFolder() / "foreign.log";
  makeFile(foreign, "");
  const int lock = ::open(foreign.c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(flock(lock, LOCK_SH), 0);
  const auto age = [&] {
    for (const auto& entry : fs::directory_iterator(logFolder()))
      setAge(entry.path(), std::chrono::hours(100));
  };
  age();
  logs->clearLogFilesOlderThanNumDays(1, -1);
  EXPECT_TRUE(fs::exists(closed));
  logs->clearLogFilesOlderThanNumDays(1, 0);
  EXPECT_FALSE(fs::exists(closed));
  EXPECT_FALSE(fs::exists(logFolder() / "idle"));
  for (const fs::path& path : {open, general, logFolder() / "busy/sub/log", foreign})
    EXPECT_TRUE(fs::exists(path)) << path;
  logger->logInfo("still here");
  EXPECT_THAT(contentOf(open), HasSubstr("still here"));

  // In the next run nobody has them open.
  close(lock);
  logs.reset();
  age();
  const auto next = std::make_shared<QVLogManager>();
  next->clearLogFilesOlderThanNumDays(1, 0);
  EXPECT_FALSE(fs::exists(foreign));
  EXPECT_FALSE(fs::exists(general));
  EXPECT_TRUE(fs::exists(open));
  EXPECT_EQ(next->logFiles().size(), 2U);
}

TEST_F(LogManagerTest, prunesNothingOfWhichItCannotTell) {
  const auto logs = std::make_shared<QVLogManager>();
  for (const char* name : {"a.log", "b.log"}) {
    makeFile(logFolder() / name, "");
    setAge(logFolder() / name, std::chrono::hours(100));
  }
  {
    const testing::SystemHook noLocks(&detail::SystemCalls::lock, [](const auto&, auto...) {
      errno = ENOLCK;
      return -1;
    });
    logs->clearLogFilesOlderThanNumDays(1, 0);
  }
  EXPECT_TRUE(fs::exists(logFolder() / "a.log"));
  {
    // Somebody else has pruned it, and a logger has begun it anew, before the lock was there.
    const testing::SystemHook late(&detail::SystemCalls::lock, [&](const auto& original, auto... args) {
      fs::remove(logFolder() / "a.log");
      makeFile(logFolder() / "a.log", "new");
      return original(args...);
    });
    logs->clearLogFilesOlderThanNumDays(1, 0);
  }
  EXPECT_EQ(contentOf(logFolder() / "a.log"), "new");
}

// A log that is pruned while it is being opened is begun again: no line goes to a file without a name.
TEST_F(LogManagerTest, opensNoLogThatIsJustBeingPruned) {
  const fs::path path = home / "log";
  makeFile(path, "old\n");
  bool isDone = false;
  const testing::SystemHook hook(&detail::SystemCalls::lock, [&](const auto& original, auto... args) {
    if (!std::exchange(isDone, true)) fs::remove(path);
    return original(args...);
  });
  QVFileHandleLogWriter::fileHandleForLoggingAtPath(path, 0644)->logMessage("new", QVLoggerLevelInfo);
  EXPECT_EQ(contentOf(path), "new\n");
}

TEST_F(LogManagerTest, beginsALogOrSaysWhyNotWhicheverCallFails) {
  const auto logs = std::make_shared<QVLogManager>();
  std::optional<NSError> error;
  testing::failAtEachCall(
      [&] {
        error.reset();
        fs::remove_all(logFolder());
      },
      [&] { return logs->newLoggerWithName("Job", nullptr, &error); },
      [&](const std::shared_ptr<QVLogger>& logger) { EXPECT_EQ(logger == nullptr, error.has_value()); });
}

TEST(LogFileNames, areMadeAndReadByOneRule) {
  const testing::EnvironmentVariable zone("TZ", "Asia/Kolkata");
  tzset();
  constexpr std::int64_t seconds = 1'709'627'829;
  EXPECT_EQ(detail::logFileName("Backup", seconds), "2024-03-05-140709-Backup.log");
  EXPECT_EQ(detail::logFileName("a/b", seconds), "2024-03-05-140709-a:b.log");
  const std::string long300 = detail::logFileName(std::string(300, 'x'), seconds);
  EXPECT_EQ(long300.size(), 254U);
  EXPECT_TRUE(long300.ends_with("x.log"));
  std::string wide;
  for (int i = 0; i < 200; ++i) wide += "€";
  const std::string longWide = detail::logFileName(wide, seconds);
  EXPECT_LE(longWide.size(), 255U);
  EXPECT_TRUE(longWide.ends_with("€.log")) << longWide;
  const std::string longest = detail::logFileName(std::string(232, 'x'), seconds);  // 254 units
  EXPECT_TRUE(longest.ends_with(std::string(232, 'x') + ".log"));

  for (const char* name : {"Backup", "", "a-b.log", "x 2"}) {
    const auto parsed = detail::parseLogFileName(detail::logFileName(name, seconds), 0);
    ASSERT_TRUE(parsed) << name;
    EXPECT_EQ(parsed->name, name);
    EXPECT_EQ(parsed->seconds, seconds);
  }
  {
    // An hour that comes twice.
    const testing::EnvironmentVariable summer("TZ", "Europe/Berlin");
    for (const std::int64_t when : {std::int64_t{1'729'989'000}, std::int64_t{1'729'992'600}}) {
      EXPECT_EQ(detail::parseLogFileName(detail::logFileName("x", when), when + 60)->seconds, when);
    }
  }
  for (const char* other :
       {"", ".log", "2024-03-05-140709.log", "2024-03-05-14070-x.log", "2024-03-05-140709-x.txt",
        "2024_03_05_140709_x.log", "x2024-03-05-140709-x.log"}) {
    EXPECT_FALSE(detail::parseLogFileName(other, 0)) << other;
  }
}

// The first to ask decides of which class the shared manager is, whatever others ask for later.
TEST_F(LogManagerTest, isSharedByAll) {
  class OwnManager : public QVLogManager {};
  EXPECT_EXIT(
      {
        const auto& first = QVLogManager::defaultManager<OwnManager>();
        const bool isOwn = dynamic_cast<OwnManager*>(first.get()) != nullptr;
        std::_Exit(isOwn && QVLogManager::defaultManager() == first ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace QVFoundation
