#include "QVFoundation/platform/tracing/OSLogSink.h"

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "QVFoundation/platform/tracing/OSLogger.h"
#include "gmock/gmock.h"
#include "gtest/gtest.h"
#include "tests/platform/tracing/RecordingSink.h"
#include "tests/platform/tracing/StandardErrorCapture.h"

namespace QVFoundation {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsEmpty;
using testing::RecordingSink;
using testing::SinkInPlace;
using testing::StandardErrorCapture;

/// Does with each entry what the test says.
class ScriptedSink : public OSLogSink {
public:
  void write(const OSLogEntry& entry) override { onWrite(entry); }

  std::function<void(const OSLogEntry&)> onWrite = [](const OSLogEntry&) {};
};

class SinkTest : public ::testing::Test {
protected:
  void log(std::string_view message) const { logger_.log(OSLogType::error, message); }

  StandardErrorCapture standardError;

private:
  OSLogger logger_{"tests", "sink"};
};

TEST_F(SinkTest, isHandedBackWhenItIsReplaced) {
  const auto first = std::make_shared<RecordingSink>();
  const auto second = std::make_shared<RecordingSink>();
  const auto systemLog = setOSLogSink(first);
  ASSERT_NE(systemLog, nullptr);
  log("one");
  EXPECT_EQ(setOSLogSink(second), first);
  log("two");
  EXPECT_EQ(setOSLogSink(nullptr), second);
  EXPECT_NE(setOSLogSink(systemLog), nullptr);

  ASSERT_EQ(first->take().size(), 1U);
  ASSERT_EQ(second->take().size(), 1U);
}

TEST_F(SinkTest, thatThrowsIsReportedOncePerBurst) {
  const SinkInPlace<ScriptedSink> sink;
  sink->onWrite = [](const OSLogEntry&) { throw std::runtime_error("no room"); };
  for (int i = 0; i < 3; ++i) log("entry");
  EXPECT_THAT(standardError.take(),
              ElementsAre(EndsWith("Could not write to the system log: no room. The message was: entry\n")));

  sink->onWrite = [](const OSLogEntry&) {};
  log("entry");
  log("entry");
  EXPECT_THAT(standardError.take(), ElementsAre(EndsWith("] 2 more entries of the system log were lost\n")));

  sink->onWrite = [](const OSLogEntry&) { throw 42; };
  log("entry");
  EXPECT_THAT(standardError.take(),
              ElementsAre(EndsWith("] Could not write to the system log: something was thrown that is no "
                                   "exception. The message was: entry\n")));
  sink->onWrite = [](const OSLogEntry&) {};
  log("entry");
  EXPECT_THAT(standardError.take(), IsEmpty());  // all that was lost has been told
}

TEST_F(SinkTest, thatIsReplacedInABurstStillTellsHowMuchWasLost) {
  {
    const SinkInPlace<ScriptedSink> sink;
    sink->onWrite = [](const OSLogEntry&) { throw std::runtime_error("no room"); };
    for (int i = 0; i < 5; ++i) log("entry");
    EXPECT_EQ(standardError.take().size(), 1U);
  }
  EXPECT_THAT(standardError.take(), ElementsAre(EndsWith("] 4 more entries of the system log were lost\n")));
}

TEST_F(SinkTest, doesNotCallItself) {
  const SinkInPlace<ScriptedSink> sink;
  int calls = 0;
  sink->onWrite = [&](const OSLogEntry&) {
    ++calls;
    log("The server was not there");
  };
  log("entry");
  EXPECT_EQ(calls, 1);
  EXPECT_THAT(standardError.take(), ElementsAre(EndsWith("] [tests:sink] The server was not there\n")));
}

TEST_F(SinkTest, isCalledWithoutALock) {
  const auto next = std::make_shared<RecordingSink>();
  const SinkInPlace<ScriptedSink> sink;
  sink->onWrite = [&](const OSLogEntry& entry) {
    setOSLogMinimumType("tests", "other", OSLogType::error);
    setOSLogSink(next);
    next->write(entry);
  };
  log("one");
  log("two");
  EXPECT_EQ(next->take().size(), 2U);
}

TEST_F(SinkTest, canBeReplacedWhileOthersLogWithoutLosingAnEntry) {
  constexpr int threads = 3;
  constexpr int entriesOfEach = 500;
  std::vector<std::shared_ptr<RecordingSink>> sinks;
  const SinkInPlace<RecordingSink> first;
  {
    std::vector<std::jthread> logging;
    logging.reserve(threads);
    for (int i = 0; i < threads; ++i) {
      logging.emplace_back([this] {
        for (int entry = 0; entry < entriesOfEach; ++entry) log("entry");
      });
    }
    for (int i = 0; i < 50; ++i) setOSLogSink(sinks.emplace_back(std::make_shared<RecordingSink>()));
  }
  std::size_t written = first->take().size();
  for (const auto& sink : sinks) written += sink->take().size();
  EXPECT_EQ(written, std::size_t{threads * entriesOfEach});
}

}  // namespace
}  // namespace QVFoundation
