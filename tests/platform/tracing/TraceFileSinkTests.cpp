#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>

#include "QVFoundation/Platform.h"
#include "QVFoundation/platform/files/SystemCalls_p.h"
#include "tests/platform/files/TemporaryFolder.h"
#include "tests/platform/tracing/SignpostRecording.h"
#include "tests/platform/tracing/StandardErrorCapture.h"

namespace QVFoundation {
namespace {

using testing::contentOf;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::SignpostSinkInPlace;
using testing::StandardErrorCapture;
using testing::TemporaryFolder;

constexpr OSSignposter traced("org.example.player", "import");
constexpr auto event = OSSignpostType::event;
constexpr auto begin = OSSignpostType::begin;
constexpr auto end = OSSignpostType::end;

const std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();

/// What a test says of a signpost; whose it is and where it is shown, by small numbers.
struct Mark {
  OSSignpostType type;
  StaticText name;
  std::size_t id = 1;
  std::size_t lane = 1;
  std::chrono::nanoseconds time{};
};

OSSignpostID idOf(std::size_t number) {
  static const std::array<char, 4> objects{};
  return OSSignpostID(&objects.at(number));
}

OSSignpost signpostOf(const Mark& mark) {
  return {.type = mark.type,
          .name = mark.name,
          .id = idOf(mark.id),
          .lane = idOf(mark.lane),
          .subsystem = traced.subsystem(),
          .category = traced.category(),
          .time = start + mark.time,
          .thread = gettid()};
}

/// The records of a file that was written to its end; without that of the process, which is the first.
std::vector<Value> recordsIn(const std::string& json) {
  const Array all = valueFromJSON(json).array();
  EXPECT_EQ(all[0]["name"], "process_name");
  for (const Value& record : all) EXPECT_EQ(record["pid"], Value(getpid()));
  return {all.begin() + 1, all.end()};
}

/// "1B load" for what begins in the first lane, "1M load" for its name.
std::string wordOf(const Value& record) {
  const Value& name = record["name"] == "thread_name" ? record["args"]["name"] : record["name"];
  return stringWithFormat("%@%@ %@", record["tid"], record["ph"], name);
}

std::string wordsOf(const std::vector<Value>& records) {
  std::string words;
  for (const Value& record : records) words.append(words.empty() ? "" : ", ").append(wordOf(record));
  return words;
}

/// What a file says of some signposts.
std::vector<Value> recordsOf(const std::vector<Mark>& marks) {
  const TemporaryFolder folder;
  {
    TraceFileSink sink(folder / "trace.json");
    for (const Mark& mark : marks) sink.write(signpostOf(mark));
  }
  return recordsIn(contentOf(folder / "trace.json"));
}

TEST(TraceFileSink, drawsALaneARowInWhichIntervalsNest) {
  const struct {
    const char* row;
    std::vector<Mark> marks;
    std::string words;
  } cases[] = {
      {"nothing", {}, ""},
      {"the first begin names the lane, once",
       {{event, "run"},
        {begin, "run"},
        {event, "load"},
        {begin, "load"},
        {end, "load"},
        {end, "run"},
        {begin, "x"}},
       "1i run, 1M run, 1B run, 1i load, 1B load, 1E load, 1E run, 1B x"},
      {"each in its own",
       {{begin, "a", 1, 1}, {begin, "a", 2, 2}, {end, "a", 1, 1}, {event, "b", 3, 3}, {end, "a", 2, 2}},
       "1M a, 1B a, 2M a, 2B a, 1E a, 3i b, 2E a"},
      {"a part in the lane of the whole, under a name that the whole has as well",
       {{begin, "run", 1, 1}, {begin, "run", 2, 1}, {end, "run", 2, 1}, {end, "run", 1, 1}},
       "1M run, 1B run, 1B run, 1E run, 1E run"},
      {"an end without a begin", {{end, "a"}, {begin, "b"}, {end, "a"}}, "1M b, 1B b"},
      {"an end of somebody else's", {{begin, "a", 1, 1}, {end, "a", 2, 1}}, "1M a, 1B a"},
      {"a begin without an end", {{begin, "a"}, {begin, "b"}}, "1M a, 1B a, 1B b"},
      {"begun twice", {{begin, "a"}, {begin, "a"}, {end, "a"}, {end, "a"}}, "1M a, 1B a, 1E a, 1B a, 1E a"},
      {"overlapping, so that the later ones are cut",
       {{begin, "a"}, {begin, "b"}, {begin, "c"}, {end, "a"}, {end, "c"}, {end, "b"}},
       "1M a, 1B a, 1B b, 1B c, 1E c, 1E b, 1E a, 1B b, 1B c, 1E c, 1E b"},
      {"begun twice, with another inside",
       {{begin, "a"}, {begin, "b"}, {begin, "a"}, {end, "a"}, {end, "b"}},
       "1M a, 1B a, 1B b, 1E b, 1E a, 1B b, 1B a, 1E a, 1E b"},
  };
  for (const auto& c : cases) EXPECT_EQ(wordsOf(recordsOf(c.marks)), c.words) << c.row;
}

TEST(TraceFileSink, callsALaneByTheNameThatItGetsFirst) {
  const TemporaryFolder folder;
  {
    TraceFileSink sink(folder / "trace.json");
    const OSSignpost whole = signpostOf({begin, "import", 1, 1});
    sink.nameLane(whole.lane, "\"Classical\"");
    sink.write(whole);
    sink.nameLane(whole.lane, "late");
  }
  EXPECT_EQ(wordsOf(recordsIn(contentOf(folder / "trace.json"))), "1M \"Classical\", 1B import");
}

TEST(TraceFileSink, saysWhenAndWhoseAndWhereACutIs) {
  using std::chrono::nanoseconds;
  const auto records = recordsOf({{begin, "a", 1, 1, nanoseconds(0)},
                                  {begin, "b", 2, 1, nanoseconds(500)},
                                  {end, "a", 1, 1, nanoseconds(1'250)},
                                  {end, "b", 2, 1, nanoseconds(2'000'000)}});
  ASSERT_EQ(wordsOf(records), "1M a, 1B a, 1B b, 1E b, 1E a, 1B b, 1E b");
  const std::vector<double> microseconds = {0, 0.5, 1.25, 1.25, 1.25, 2'000};
  const double first = std::chrono::duration<double, std::micro>(start.time_since_epoch()).count();
  for (std::size_t i = 0; i < microseconds.size(); ++i) {
    const Value& record = records[i + 1];
    EXPECT_NEAR(record["ts"].as<double>().value_or(0) - first, microseconds[i], 0.002) << i;
    const OSSignpostID id = idOf(record["name"] == "a" ? 1 : 2);
    EXPECT_EQ(record["args"]["id"], stringWithFormat("%#x", id.number()));
    EXPECT_EQ(record["args"]["thread"], Value(gettid()));
    EXPECT_EQ(record["cat"], "import");
  }
}

TEST(TraceFileSink, writesWhateverTheNameHolds) {
  const std::pair<Mark, const char*> cases[] = {
      {{begin, "\"],}\\\n\x01"}, "\"],}\\\n\x01"},
      {{begin, "100%s %n %@"}, "100%s %n %@"},
      {{begin, ""}, ""},
      {{begin, "Prélude"}, "Prélude"},
      {{begin, "a\xFF"}, "a\xEF\xBF\xBD"},
  };
  for (const auto& [mark, name] : cases) {
    const auto records = recordsOf({mark});
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0]["args"]["name"], name);
    EXPECT_EQ(records[1]["name"], name);
  }
}

TEST(TraceFileSink, writesWhenMuchHasComeTogetherOrTimeHasPassedOrItIsTold) {
  const TemporaryFolder folder;
  const auto path = folder / "trace.json";
  TraceFileSink sink(path);
  const auto write = [&](std::chrono::milliseconds time) {
    sink.write(signpostOf({event, "a", 1, 1, time}));
  };
  // It begins with no record, or one that a crash would leave, and can be opened as soon as it is closed.
  const auto records = [&] { return recordsIn(contentOf(path) + "\n]").size(); };
  const std::chrono::milliseconds hour = std::chrono::hours(1);  // after the file was made

  write(std::chrono::milliseconds(0));
  EXPECT_EQ(contentOf(path), "");
  write(hour);
  EXPECT_EQ(records(), 2U);
  write(hour + std::chrono::milliseconds(999));
  EXPECT_EQ(records(), 2U);
  sink.flush();
  EXPECT_EQ(records(), 3U);
  write(hour + std::chrono::milliseconds(1'000));
  EXPECT_EQ(records(), 4U);
  std::size_t kept = 0;
  for (; records() == 4 && kept < 1'000; ++kept) write(hour + std::chrono::milliseconds(1'001));
  EXPECT_EQ(records(), 4 + kept);
  EXPECT_GE(std::filesystem::file_size(path), 64U * 1024);
  EXPECT_LE(std::filesystem::file_size(path), 66U * 1024);
}

TEST(TraceFileSink, takesTheSignpostsOfManyThreads) {
  constexpr std::size_t threadCount = 4;
  constexpr std::size_t intervals = 500;
  const TemporaryFolder folder;
  {
    const SignpostSinkInPlace<TraceFileSink> sink(folder / "trace.json");
    std::vector<std::jthread> threads;
    threads.reserve(threadCount);
    for (std::size_t i = 0; i < threadCount; ++i) {
      threads.emplace_back([] {
        const OSSignpostID id = OSSignpostID::unique();
        for (std::size_t n = 0; n < intervals; ++n) {
          traced.mark(begin, "outer", id);
          traced.mark(begin, "inner", id);
          traced.mark(end, "inner", id);
          traced.mark(end, "outer", id);
        }
      });
    }
  }
  std::map<std::int64_t, std::string> lanes;
  std::map<std::int64_t, double> times;
  for (const Value& record : recordsIn(contentOf(folder / "trace.json"))) {
    const std::int64_t lane = record["tid"].as<std::int64_t>().value_or(0);
    if (record["ph"] == "M") continue;
    lanes[lane].append(*record["ph"].text()).append(record["name"].text()->substr(0, 1));
    const double time = record["ts"].as<double>().value_or(0);
    EXPECT_LE(std::exchange(times[lane], time), time);
  }
  std::string expected;
  for (std::size_t n = 0; n < intervals; ++n) expected += "BoBiEiEo";
  EXPECT_EQ(lanes.size(), threadCount);
  for (const auto& [lane, words] : lanes) EXPECT_EQ(words, expected) << lane;
}

TEST(TraceFileSink, isANewFile) {
  const TemporaryFolder folder;
  testing::makeFile(folder / "there.json", "mine");
  std::filesystem::create_symlink(folder / "elsewhere", folder / "link.json");
  const auto codeFor = [&](const char* name) {
    try {
      const TraceFileSink sink(folder / name);
    } catch (const std::system_error& failure) {
      EXPECT_THAT(failure.what(), HasSubstr(name));
      return failure.code();
    }
    return std::error_code();
  };
  EXPECT_EQ(codeFor("there.json"), std::errc::file_exists);
  EXPECT_EQ(codeFor("link.json"), std::errc::file_exists);
  EXPECT_EQ(codeFor("no folder/trace.json"), std::errc::no_such_file_or_directory);
  EXPECT_EQ(contentOf(folder / "there.json"), "mine");
  EXPECT_FALSE(exists(folder / "elsewhere"));
}

/// Has the disk fill up after some bytes, for a scope.
class FullDisk {
public:
  explicit FullDisk(std::size_t room) : original_(detail::systemCalls()) {
    room_ = room;
    detail::systemCalls().write = [](int descriptor, const void* bytes, std::size_t size) {
      const std::size_t count = std::min(size, std::exchange(room_, 0));
      if (count > 0) return ::write(descriptor, bytes, count);
      return errno = ENOSPC, ssize_t{-1};
    };
  }
  FullDisk(const FullDisk&) = delete;
  FullDisk& operator=(const FullDisk&) = delete;
  ~FullDisk() { detail::systemCalls() = original_; }

private:
  static inline std::size_t room_ = 0;
  const detail::SystemCalls original_;
};

TEST(TraceFileSink, thatFillsTheDiskSaysSoOnceAndLeavesWholeRecords) {
  const TemporaryFolder folder;
  const auto path = folder / "trace.json";
  StandardErrorCapture standardError;
  {
    const SignpostSinkInPlace<TraceFileSink> sink(path);
    const auto markUntilWritten = [] {
      for (int i = 0; i < 1'000; ++i) traced.mark(event, "moment", OSSignpostID(&traced));
    };
    markUntilWritten();
    EXPECT_GT(std::filesystem::file_size(path), 0U);
    EXPECT_THAT(standardError.take(), IsEmpty());
    {
      const FullDisk disk(100);
      markUntilWritten();
    }
    EXPECT_THAT(standardError.take(),
                ElementsAre(EndsWith("] Could not record a signpost: " + path.native() + ": " +
                                     std::generic_category().message(ENOSPC) + '\n')));
    markUntilWritten();
  }
  EXPECT_THAT(standardError.take(), IsEmpty());
  EXPECT_GT(recordsIn(contentOf(path) + ']').size(), 100U);

  {
    const FullDisk disk(10);
    TraceFileSink(folder / "other.json").write(signpostOf({event, "moment"}));
  }
  EXPECT_THAT(standardError.take(),
              ElementsAre(HasSubstr("] Could not record signposts: " + (folder / "other.json").native())));
  EXPECT_EQ(contentOf(folder / "other.json"), "");
}

TEST(TraceFileSink, recordsNothingInAForkedProcess) {
  const TemporaryFolder folder;
  {
    auto sink = std::make_unique<TraceFileSink>(folder / "trace.json");
    sink->write(signpostOf({event, "before"}));
    const pid_t child = fork();
    if (child == 0) {
      sink->write(signpostOf({event, "in the child"}));
      sink->flush();
      sink.reset();
      _exit(0);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    sink->write(signpostOf({event, "after"}));
  }
  EXPECT_EQ(wordsOf(recordsIn(contentOf(folder / "trace.json"))), "1i before, 1i after");
}

constexpr const char* tracedRunMark = "QV_TEST_MARKS_A_MOMENT";

/// Whether this process is the run of another one's test.
bool isTracedRun() { return secure_getenv(tracedRunMark) != nullptr; }

[[noreturn]] void becomeTracedRun(const char* traceFile) {
  setenv("QV_TRACE_FILE", traceFile, 1);  // NOLINT(concurrency-mt-unsafe): a forked process has one thread.
  setenv(tracedRunMark, "1", 1);          // NOLINT(concurrency-mt-unsafe): likewise.
  dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
  execl("/proc/self/exe", "tests", "--gtest_filter=QV_TRACE_FILE.*", nullptr);
  _exit(127);
}

struct TracedRun {
  std::string number;
  bool hasSucceeded;
  std::vector<std::string> standardError;
};

/// Runs the tests of the environment in a process of their own, in which they do no more than mark moments.
TracedRun runTraced(const std::string& traceFile) {
  StandardErrorCapture standardError;
  const pid_t process = fork();
  if (process == 0) becomeTracedRun(traceFile.c_str());
  int status = -1;
  EXPECT_EQ(waitpid(process, &status, 0), process);
  return {.number = std::to_string(process),
          .hasSucceeded = WIFEXITED(status) && WEXITSTATUS(status) == 0,
          .standardError = standardError.take()};
}

TEST(QV_TRACE_FILE, namesTheFileOfARunAndOverwritesNone) {
  if (isTracedRun()) return traced.mark(event, "moment", idOf(0));
  const TemporaryFolder folder;
  const auto run = [&](const char* name) {
    TracedRun ended = runTraced((folder / name).native());
    EXPECT_TRUE(ended.hasSucceeded) << name;
    return ended;
  };
  const auto isTrace = [&](const std::string& name) {
    const std::string content = contentOf(folder / name);
    return content.ends_with("\n]\n") && valueFromJSON(content).array()[1]["name"] == "moment";
  };

  EXPECT_THAT(run("trace.json").standardError, IsEmpty());
  EXPECT_TRUE(isTrace("trace.json"));
  const std::string before = contentOf(folder / "trace.json");

  const TracedRun second = run("trace.json");
  EXPECT_THAT(second.standardError, ElementsAre(HasSubstr("] Signposts go to ")));
  EXPECT_TRUE(isTrace("trace." + second.number + ".json"));
  EXPECT_EQ(contentOf(folder / "trace.json"), before);

  const TracedRun third = run("%p-%p");
  EXPECT_THAT(third.standardError, IsEmpty());
  EXPECT_TRUE(isTrace(third.number + "-" + third.number));
}

TEST(QV_TRACE_FILE, thatCannotBeWrittenCostsOneLine) {
  if (isTracedRun()) return traced.mark(event, "moment", idOf(0));
  const TemporaryFolder folder;
  for (const char* name : {"no folder/trace.json", ".", "", "/dev/null"}) {
    const TracedRun run = runTraced((folder / name).native());
    EXPECT_TRUE(run.hasSucceeded) << name;
    EXPECT_THAT(run.standardError, ElementsAre(HasSubstr("] Could not record signposts: "))) << name;
  }
  EXPECT_THAT(runTraced("").standardError, IsEmpty()) << "none is asked for";
}

}  // namespace
}  // namespace QVFoundation
