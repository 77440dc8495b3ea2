#include <atomic>
#include <cerrno>
#include <functional>
#include <stdexcept>
#include <thread>
#include <unistd.h>

#include <gmock/gmock.h>

#include "QVFoundation/Platform.h"
#include "tests/platform/tracing/SignpostRecording.h"
#include "tests/platform/tracing/StandardErrorCapture.h"

namespace QVFoundation {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsEmpty;
using testing::RecordingSignpostSink;
using testing::SignpostSinkInPlace;
using testing::StandardErrorCapture;
using testing::textOf;

constexpr OSSignposter player("org.example.player", "import");

/// Does with each signpost what the test says.
struct ScriptedSignpostSink : OSSignpostSink {
  void write(const OSSignpost& signpost) override { onWrite(signpost); }
  std::function<void(const OSSignpost&)> onWrite = [](const OSSignpost&) {};
};

void markTimes(int count) {
  for (int i = 0; i < count; ++i) player.mark(OSSignpostType::event, "moment", OSSignpostID(&player));
}

TEST(OSSignpostID, isTheObjectsOrLikeNoOther) {
  const int object = 0;
  const int other = 0;
  EXPECT_EQ(OSSignpostID(&object), OSSignpostID(&object));
  EXPECT_NE(OSSignpostID(&object), OSSignpostID(&other));
  const OSSignpostID unique = OSSignpostID::unique();
  EXPECT_NE(unique, OSSignpostID::unique());
  EXPECT_NE(unique, OSSignpostID(&object));
  EXPECT_EQ(std::hash<OSSignpostID>()(unique), std::hash<OSSignpostID>()(OSSignpostID(unique)));
}

TEST(StaticText, isComparedByItsTextWhereverItStands) {
  static constexpr char here[] = "import";
  static constexpr char there[] = {'i', 'm', 'p', 'o', 'r', 't', '\0', 's'};
  EXPECT_NE(StaticText(here).data(), StaticText(there).data());
  EXPECT_EQ(StaticText(here), StaticText(there));
  EXPECT_EQ(std::hash<StaticText>()(here), std::hash<StaticText>()(there));
  EXPECT_NE(StaticText(here), StaticText("Import"));
  EXPECT_EQ(stringWithFormat("%@", StaticText(there)), "import");
}

TEST(OSSignposter, tellsTheSinkAllAboutASignpostAndKeepsErrno) {
  struct Careless : RecordingSignpostSink {
    void write(const OSSignpost& signpost) override {
      RecordingSignpostSink::write(signpost);
      errno = EIO;
    }
  };
  const SignpostSinkInPlace<Careless> sink;
  const OSSignpostID id = OSSignpostID::unique();
  const OSSignpostID lane = OSSignpostID::unique();
  errno = ENOTEMPTY;
  const auto before = std::chrono::steady_clock::now();
  player.mark(OSSignpostType::begin, "decode", id);
  player.mark(OSSignpostType::end, "decode", id, lane);
  EXPECT_EQ(errno, ENOTEMPTY);

  const auto written = sink->take();
  EXPECT_EQ(textOf(written), "begin decode, end decode");
  ASSERT_EQ(written.size(), 2U);
  const auto& [type, name, itsID, itsLane, subsystem, category, time, thread] = written[0];
  EXPECT_EQ(itsID, id);
  EXPECT_EQ(itsLane, id) << "its own, unless it is given one";
  EXPECT_EQ(written[1].id, id);
  EXPECT_EQ(written[1].lane, lane);
  EXPECT_EQ(subsystem, player.subsystem());
  EXPECT_EQ(category, player.category());
  EXPECT_EQ(thread, gettid());
  EXPECT_TRUE(before <= time && time <= written[1].time);
}

TEST(OSSignpostSink, isTheOneThatWasInstalledLastAndCanBePutBack) {
  markTimes(1);
  const auto first = std::make_shared<RecordingSignpostSink>();
  const auto original = setOSSignpostSink(first);
  markTimes(1);
  const auto second = std::make_shared<RecordingSignpostSink>();
  EXPECT_EQ(setOSSignpostSink(second), first);
  markTimes(2);
  EXPECT_EQ(setOSSignpostSink(nullptr), second);
  markTimes(1);
  EXPECT_EQ(setOSSignpostSink(original), nullptr);
  EXPECT_EQ(first->take().size(), 1U);
  EXPECT_EQ(second->take().size(), 2U);
  EXPECT_EQ(first.use_count(), 1) << "what was replaced is let go";
}

TEST(OSSignpostSink, thatThrowsIsReportedOncePerBurst) {
  StandardErrorCapture standardError;
  {
    const SignpostSinkInPlace<ScriptedSignpostSink> sink;
    sink->onWrite = [](const OSSignpost&) { throw std::runtime_error("no room"); };
    markTimes(3);
    EXPECT_THAT(standardError.take(), ElementsAre(EndsWith("] Could not record a signpost: no room\n")));
    sink->onWrite = [](const OSSignpost&) {};
    markTimes(2);
    EXPECT_THAT(standardError.take(), ElementsAre(EndsWith("] 2 more signposts were lost\n")));
    sink->onWrite = [](const OSSignpost&) { throw 42; };
    markTimes(2);
    EXPECT_THAT(standardError.take(), ElementsAre(EndsWith("something was thrown that is no exception\n")));
  }
  EXPECT_THAT(standardError.take(), ElementsAre(EndsWith("] 1 more signposts were lost\n")));
}

TEST(OSSignpostSink, doesNotCallItselfAndMayReplaceItselfAsItIsCalledWithoutALock) {
  const auto next = std::make_shared<RecordingSignpostSink>();
  int calls = 0;
  const SignpostSinkInPlace<ScriptedSignpostSink> sink;
  sink->onWrite = [&](const OSSignpost&) {
    ++calls;
    markTimes(1);
    EXPECT_NE(setOSSignpostSink(next), nullptr);
    markTimes(1);
  };
  markTimes(3);
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(next->take().size(), 2U);
}

TEST(OSSignpostSink, mayBeExchangedWhileOthersMarkWithoutLosingASignpost) {
  constexpr std::size_t marks = 1'000;
  const SignpostSinkInPlace first;
  std::vector<std::shared_ptr<RecordingSignpostSink>> sinks;
  const auto mark = [] { markTimes(marks); };
  std::vector<std::jthread> threads;
  threads.reserve(3);
  for (int i = 0; i < 3; ++i) threads.emplace_back(mark);
  sinks.reserve(50);
  for (int i = 0; i < 50; ++i)
    setOSSignpostSink(sinks.emplace_back(std::make_shared<RecordingSignpostSink>()));
  threads.clear();
  std::size_t written = first->take().size();
  for (const auto& sink : sinks) written += sink->take().size();
  EXPECT_EQ(written, 3 * marks);
}

TEST(OSSignpostSink, thatIsNoneWhileOthersMarkLeavesTheNextOneInPlace) {
  std::atomic<bool> isDone = false;
  std::vector<std::jthread> threads;
  threads.reserve(2);
  threads.emplace_back([&] {
    while (!isDone) markTimes(10);
  });
  threads.emplace_back([] {
    for (int i = 0; i < 500; ++i) setOSSignpostSink(nullptr);
  });
  for (int i = 0; i < 500; ++i) setOSSignpostSink(std::make_shared<RecordingSignpostSink>());
  threads.back().join();
  const SignpostSinkInPlace last;
  markTimes(1);
  EXPECT_GE(last->take().size(), 1U);
  isDone = true;
}

/// Says on standard error what is asked of it.
struct TalkingSink : OSSignpostSink {
  void write(const OSSignpost& signpost) override { say(signpost.name.view()); }
  void flush() override { say("flush"); }
  ~TalkingSink() override { say("gone"); }
  static void say(std::string_view word) {
    dprintf(STDERR_FILENO, "%.*s,", static_cast<int>(word.size()), word.data());
  }
};

TEST(OSSignpostSink, isFlushedAndLetGoWhenTheProcessExits) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        setOSSignpostSink(std::make_shared<TalkingSink>());
        markTimes(1);
        exit(3);  // NOLINT(concurrency-mt-unsafe): there is one thread.
      },
      ::testing::ExitedWithCode(3), "^moment,flush,gone,$");
}

}  // namespace
}  // namespace QVFoundation
