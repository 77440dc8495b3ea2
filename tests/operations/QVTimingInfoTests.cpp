#include "QVFoundation/operations/QVTimingInfo.h"

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "QVFoundation/operations/QVProgressSegmentName.h"
#include "QVFoundation/platform/text/Format.h"
#include "tests/platform/tracing/SignpostRecording.h"

namespace QVFoundation {
namespace {

using testing::SignpostSinkInPlace;
using testing::textOf;
using Seconds = QVTimingInfo::Seconds;

/// Times until the clock has moved, so that the total is more than nothing.
void timeMoment(QVTimingInfo& timing, QVTimingName name) {
  timing.performTimed(name, [start = std::chrono::steady_clock::now()] {
    while (std::chrono::steady_clock::now() == start) {
    }
  });
}

TEST(QVTimingInfo, knowsNothingOfWhatItHasNotTimed) {
  QVTimingInfo timing;
  EXPECT_EQ(timing.elapsedTime("load"), Seconds::zero());
  timing.endTiming("load");
  timing.startTiming("load");
  EXPECT_EQ(timing.elapsedTime("load"), Seconds::zero()) << "the interval that runs does not count";
  EXPECT_EQ(timing.timingInfoString(), "");
}

TEST(QVTimingInfo, timesAsLongAsItTakes) {
  QVTimingInfo timing;
  const auto before = std::chrono::steady_clock::now();
  timing.startTiming("load");
  const auto started = std::chrono::steady_clock::now();
  std::this_thread::sleep_for(std::chrono::milliseconds(2));  // the time that is taken
  const auto ending = std::chrono::steady_clock::now();
  timing.endTiming("load");
  const auto after = std::chrono::steady_clock::now();
  EXPECT_LE(Seconds(ending - started), timing.elapsedTime("load"));
  EXPECT_LE(timing.elapsedTime("load"), Seconds(after - before));
  const Seconds first = timing.elapsedTime("load");
  timeMoment(timing, "load");
  EXPECT_GT(timing.elapsedTime("load"), first);
}

TEST(QVTimingInfo, returnsWhatTheBlockReturnsAndTimesItAlsoIfItThrows) {
  QVTimingInfo timing;
  const int number = 7;
  EXPECT_EQ(&timing.performTimed("reference", [&]() -> const int& { return number; }), &number);
  EXPECT_EQ(*timing.performTimed("owner", [] { return std::make_unique<int>(8); }), 8);
  timing.performTimed("nothing", [] {});
  EXPECT_EQ(timing.performTimed(QVProgressSegmentName("segment"), [] { return 9; }), 9);
  try {
    timing.performTimed("failing", [] { throw std::runtime_error("no file"); });
    ADD_FAILURE() << "returned";
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "no file");
  }
  timing.performTimed("ended inside", [&] { timing.endTiming("ended inside"); });
  for (const QVTimingName name : {QVTimingName("reference"), QVTimingName("owner"), QVTimingName("nothing"),
                                  QVTimingName("segment"), QVTimingName("failing")})
    EXPECT_GT(timing.elapsedTime(name), Seconds::zero()) << name.stringValue();
}

TEST(QVTimingInfo, addsWhatOthersHaveTimed) {
  QVTimingInfo timing;
  QVTimingInfo other;
  timeMoment(timing, "A");
  timeMoment(other, "A");
  timeMoment(other, "B");
  other.startTiming("running");
  const Seconds ours = timing.elapsedTime("A");
  const Seconds a = other.elapsedTime("A");
  const Seconds b = other.elapsedTime("B");

  timing.addTimingInfo(other);
  EXPECT_EQ(timing.elapsedTime("A"), a + ours);
  EXPECT_EQ(timing.elapsedTime("B"), b);
  timing.endTiming("running");
  EXPECT_EQ(timing.elapsedTime("running"), Seconds::zero()) << "what runs there does not run here";
  EXPECT_EQ(other.elapsedTime("A"), a);

  other.addTimingInfo(other);
  EXPECT_EQ(other.elapsedTime("B"), b + b);
  timing.addTimingInfo(QVTimingInfo());
  EXPECT_EQ(timing.elapsedTime("B"), b);
}

TEST(QVTimingInfo, reportsALineForEachNameInTheirOrder) {
  QVTimingInfo timing;
  timing.performTimed("b", [] {
    std::this_thread::sleep_for(std::chrono::milliseconds(2));  // so that it has digits to show
  });
  for (const QVTimingName name : {QVTimingName("a b"), QVTimingName("Z"), QVTimingName("é")})
    timeMoment(timing, name);
  const auto line = [&](QVTimingName name) {
    return stringWithFormat("%@ -> %.4f", name, timing.elapsedTime(name).count());
  };
  EXPECT_EQ(timing.timingInfoString(), line("Z") + "\n" + line("a b") + "\n" + line("b") + "\n" + line("é"));
  EXPECT_THAT(line("b"), ::testing::MatchesRegex("b -> 0\\.0[0-9][0-9][0-9]"));
  EXPECT_FALSE(line("b").ends_with("0.0000"));
}

TEST(QVTimingInfo, takesANameForAPartOfTheFormat) {
  // One of them is of use, the others do no harm. What is expected is a format as well, for the seconds.
  const struct {
    QVTimingName name;
    std::string_view line;
  } cases[] = {
      {"100%% done", "100%% done -> %.4f"},
      {"100%", "100%% -> %.4f"},
      {"%s", "%@ -> (missing)"},
      {"%d%n%p", "%@%%n(missing) -> (missing)"},
      {"%999999999d", "%4096@ -> (missing)"},
      {"%.1f", "%.1f -> (missing)"},
      {"%1$.1f", "%1$.1f -> %1$.4f"},
  };
  for (const auto& [name, line] : cases) {
    QVTimingInfo timing;
    timeMoment(timing, name);
    EXPECT_EQ(timing.timingInfoString(), stringWithFormat(line, timing.elapsedTime(name).count()));
  }
}

TEST(QVTimingInfo, describesItselfWithItsTotals) {
  QVTimingInfo timing;
  EXPECT_EQ(timing.description(), timing.shortDescription() + ": {\n}");
  timeMoment(timing, "100% load");
  const std::string seconds = stringWithFormat("%@", timing.elapsedTime("100% load").count());
  EXPECT_THAT(timing.description(), ::testing::HasSubstr("100% load"));
  EXPECT_THAT(timing.description(), ::testing::EndsWith(" = " + seconds + ";\n}"));
  EXPECT_THAT(timing.description(), ::testing::StartsWith("<QVTimingInfo: 0x"));
}

TEST(QVTimingInfo, marksEachStartAndEndUnderOneIdentifier) {
  const SignpostSinkInPlace sink;
  QVTimingInfo timing;
  QVTimingInfo other;
  EXPECT_FALSE(timing.recordSignposts());
  timing.endTiming("load");
  timing.startTiming("load");
  timing.startTiming("load");
  timing.startTiming("store");
  timing.setRecordSignposts(true);
  EXPECT_TRUE(timing.recordSignposts());
  timing.endTiming("load");
  timing.endTiming("load");
  timing.addTimingInfo(other);
  const auto signposts = sink->take();
  EXPECT_EQ(textOf(signposts),
            "event load, begin load, event load, begin load, event store, begin store, end load");
  for (const OSSignpost& signpost : signposts) {
    EXPECT_EQ(signpost.id, signposts[0].id);
    EXPECT_EQ(signpost.lane, signpost.id);
    EXPECT_EQ(signpost.subsystem, StaticText("org.qvfoundation.QVTimingInfo"));
    EXPECT_EQ(signpost.category, StaticText("QVTimingInfo"));
  }

  other.setSignpostLane(timing.signpostLane());
  timeMoment(other, "part");
  const auto parts = sink->take();
  EXPECT_EQ(textOf(parts), "event part, begin part, end part");
  for (const OSSignpost& signpost : parts) {
    EXPECT_EQ(signpost.lane, signposts[0].lane);
    EXPECT_NE(signpost.id, signposts[0].id);
  }
}

/// A sink that asks the object whose signposts it gets.
struct AskingSink : OSSignpostSink {
  void write(const OSSignpost& signpost) override {
    if (signpost.type == OSSignpostType::end) report = timing->timingInfoString();
    timing->startTiming("asked");
  }
  QVTimingInfo* timing = nullptr;
  std::string report;
};

TEST(QVTimingInfo, setsSignpostsWithoutItsLock) {
  const SignpostSinkInPlace<AskingSink> sink;
  QVTimingInfo timing;
  sink->timing = &timing;
  timeMoment(timing, "load");
  EXPECT_THAT(sink->report, ::testing::StartsWith("load -> "));
}

TEST(QVTimingInfo, takesAdditionsOfOtherThreadsWhileItIsDrivenAndRead) {
  constexpr int rounds = 300;
  QVTimingInfo whole;
  QVTimingInfo part;
  timeMoment(part, "shared");
  const Seconds once = part.elapsedTime("shared");
  {
    std::vector<std::jthread> threads;
    threads.reserve(3);
    for (int i = 0; i < 2; ++i) {
      threads.emplace_back([&] {
        for (int round = 0; round < rounds; ++round) whole.addTimingInfo(part);
      });
    }
    threads.emplace_back([&] {
      for (int round = 0; round < rounds; ++round) {
        part.addTimingInfo(QVTimingInfo());
        EXPECT_NE(whole.timingInfoString() + whole.description(), "");
      }
    });
    for (int round = 0; round < rounds; ++round) whole.performTimed("own", [] {});
  }
  EXPECT_NEAR(whole.elapsedTime("shared").count(), 2 * rounds * once.count(), once.count());
  EXPECT_GT(whole.elapsedTime("own"), Seconds::zero());
}

}  // namespace
}  // namespace QVFoundation
