#include "QVFoundation/operations/QVProcessOperation.h"

#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <functional>
#include <latch>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "QVFoundation/operations/QVProcessDataCollector.h"
#include "QVFoundation/operations/QVProcessStreamCollector.h"
#include "QVFoundation/platform/concurrency/DispatchQueue.h"
#include "QVFoundation/platform/concurrency/MainQueue.h"
#include "QVFoundation/platform/runtime/NSErrorKeys.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/runtime/NSKeyValueObserving.h"
#include "tests/platform/files/FailingSystem.h"
#include "tests/platform/processes/Children.h"
#include "tests/platform/processes/ProcessCallsOverride.h"

namespace QVFoundation {
namespace {

using namespace std::chrono_literals;
using testing::textOf;

static_assert(!std::is_constructible_v<QVProcessOperation, QVTimingName>);

std::shared_ptr<QVProcessOperation> script(std::string text, QVAnyProcessIOHandle output = {},
                                           const QVAnyProcessIOHandle& input = {}) {
  return std::make_shared<QVProcessOperation>("/bin/sh", std::vector<std::string>{"-c", std::move(text)},
                                              std::nullopt, std::move(output), input);
}

/// Takes lines, and says when a certain one has come.
struct Awaited {
  explicit Awaited(std::string line)
      : collector(
            std::make_shared<QVProcessStreamCollector>([this, line = std::move(line)](std::string_view now) {
              if (now == line) come.count_down();
            })) {}
  std::latch come{1};
  std::shared_ptr<QVProcessStreamCollector> collector;
};

int codeOf(const QVProcessOperation& operation) {
  const auto error = operation.operationError();
  return error ? static_cast<int>(error->code()) : 0;
}

// Running

TEST(QVProcessOperation, failsByTheStatusOfTheProgram) {
  struct Row {
    const char* text;
    int code;
  };
  for (const Row& row : {Row{"exit 0", 0}, Row{"exit 3", 3}, Row{"kill -SEGV $$", SIGSEGV}}) {
    const auto job = script(row.text);
    job->main();
    EXPECT_EQ(codeOf(*job), row.code);
    if (row.code == 0) continue;
    const NSError error = *job->operationError();
    EXPECT_EQ(error.domain(), NSPOSIXErrorDomain);
    EXPECT_EQ(error.localizedDescription(),
              "Process /bin/sh terminated with error code " + std::to_string(row.code));
    EXPECT_FALSE(error.localizedRecoverySuggestion());
  }
}

TEST(QVProcessOperation, failsWhereTheProgramCannotBeLaunchedAndNothingHangs) {
  const auto descriptors = testing::openDescriptorCount();
  for (int round = 0; round < 100; ++round) {
    const auto data = std::make_shared<QVProcessDataCollector>();
    const auto stream = std::make_shared<QVProcessStreamCollector>();
    const auto job =
        std::make_shared<QVProcessOperation>("/no/such", std::vector<std::string>{}, std::nullopt, data);
    job->setErrorHandle(stream);
    job->main();
    EXPECT_EQ(codeOf(*job), ENOENT);
    data->readToEndSync();
    stream->readToEndSync();
    EXPECT_TRUE(data->data().empty());
  }
  EXPECT_LE(testing::openDescriptorCount(), descriptors + 4) << "those of threads that have begun";
}

TEST(QVProcessOperation, runsOnce) {
  const auto job = script("exit 0");
  job->main();
  job->main();
  EXPECT_EQ(job->operationError()->code(), QVExceptionCaughtError);
}

TEST(QVProcessOperation, collectsOutputAndErrorsInBothWays) {
  // More than any pipe takes, to both sides in turns.
  constexpr auto text =
      "cat; for i in $(seq 20); do head -c 200000 /dev/zero; head -c 200000 /dev/zero >&2; done";
  const auto input = std::make_shared<NSPipe>();
  const auto output = std::make_shared<QVProcessStreamCollector>();
  const auto errors = std::make_shared<QVProcessStreamCollector>(10);
  const auto job = script(text, output, input);
  job->setErrorHandle(errors);
  input->fileHandleForWriting()->writeText("in");
  input->fileHandleForWriting()->closeFile();
  job->main();
  EXPECT_EQ(codeOf(*job), 0);
  EXPECT_EQ(output->text(), "in" + std::string(4'000'000, '\0'));
  EXPECT_EQ(errors->text(), std::string(10, '\0'));
  EXPECT_EQ(errors->droppedByteCount(), 4'000'000U - 10);

  const auto data = std::make_shared<QVProcessDataCollector>();
  const auto dataErrors = std::make_shared<QVProcessDataCollector>();
  const auto small = script("echo out; echo error >&2; exit 1", data);
  small->setErrorHandle(dataErrors);
  small->main();
  EXPECT_EQ(codeOf(*small), 1);
  EXPECT_EQ(textOf(data->data()), "out\n");
  EXPECT_EQ(textOf(dataErrors->data()), "error\n");
}

TEST(QVProcessOperation, leavesPlainHandlesAlone) {
  const auto pipe = std::make_shared<NSPipe>();
  const auto job = script("echo here; pwd >&2", pipe);
  job->setErrorHandle(NSFileHandle::fileHandleWithNullDevice());
  job->main();
  EXPECT_EQ(textOf(pipe->fileHandleForReading()->readDataToEndOfFile()), "here\n");
  EXPECT_THROW(script("", std::shared_ptr<QVProcessDataCollector>()), NSException);
  EXPECT_THROW(script("cat", {}, std::make_shared<QVProcessDataCollector>()), NSException);
  EXPECT_THROW(script("cat", {}, std::make_shared<QVProcessStreamCollector>()), NSException);
}

/// A handle of one's own, with no more than what is required.
class Minimal : public QVProcessIOHandle {
public:
  NSTaskStream handle() const override { return pipe_; }
  void readToEndSync() override { text = textOf(pipe_->fileHandleForReading()->readDataToEndOfFile()); }
  std::string text;

protected:
  const std::shared_ptr<NSPipe> pipe_ = std::make_shared<NSPipe>();
};

/// One that takes its time at a place.
class Slow final : public Minimal {
public:
  std::function<void()> onAsk = [] {}, onRead = [] {};

  int descriptor() const override {
    onAsk();
    return isRead_ ? -1 : pipe_->fileHandleForReading()->fileDescriptor();
  }
  void readAvailable() override {
    onRead();
    isRead_ = true;
  }

private:
  bool isRead_ = false;
};

TEST(QVProcessOperation, takesAnyAdopter) {
  const auto output = std::make_shared<Minimal>();
  const auto job = script("echo mine", output);
  EXPECT_EQ(job->outputHandle(), output);
  job->main();
  EXPECT_EQ(output->text, "mine\n");
}

// A program that has started another one, which goes on and writes: both sides are read to the end.
TEST(QVProcessOperation, readsWhatOthersWriteAfterTheProgramsEnd) {
  const auto output = std::make_shared<QVProcessStreamCollector>();
  const auto errors = std::make_shared<QVProcessStreamCollector>();
  const auto job = script("(head -c 3000000 /dev/zero >&2; head -c 3000000 /dev/zero) & exit 0", output);
  job->setErrorHandle(errors);
  job->main();
  EXPECT_EQ(output->data().size(), 3'000'000U);
  EXPECT_EQ(errors->data().size(), 3'000'000U);
}

// Wherever code of the application runs on the operation's thread, the program may end.
TEST(QVProcessOperation, isReapedWhileTheApplicationTakesItsTime) {
  ASSERT_TRUE(isMainThread());
  for (const std::string place : {"lines", "descriptor", "readAvailable", "main queue"}) {
    SCOPED_TRACE(place);
    const auto input = std::make_shared<NSPipe>();
    std::shared_ptr<QVProcessOperation> job;
    bool isFirst = true;
    const auto letItEnd = [&] {
      if (!std::exchange(isFirst, false)) return;
      input->fileHandleForWriting()->writeText("\n");
      testing::awaitDisappearanceOf(job->process()->processIdentifier());
    };
    const auto own = std::make_shared<Slow>();
    std::shared_ptr<QVProcessIOHandle> output = own;
    if (place == "lines") {
      output = std::make_shared<QVProcessStreamCollector>([&](std::string_view) { letItEnd(); });
    } else if (place == "main queue") {
      DispatchQueue::main()->async(letItEnd);
    } else {
      (place == "descriptor" ? own->onAsk : own->onRead) = letItEnd;
    }
    job = script("echo line; read line", output, input);
    job->main();
    EXPECT_EQ(codeOf(*job), 0);
  }
}

// The program waits for a block of the main queue, which nobody else runs meanwhile.
TEST(QVProcessOperation, theMainQueueIsServedWhileItRunsOnTheMainThread) {
  ASSERT_TRUE(isMainThread());
  const auto input = std::make_shared<NSPipe>();
  const auto job = script("read line; exit $line", {}, input);
  std::thread other(
      [&] { DispatchQueue::main()->async([&] { input->fileHandleForWriting()->writeText("9\n"); }); });
  job->start();
  other.join();
  EXPECT_EQ(codeOf(*job), 9);
}

TEST(QVProcessOperation, isAClassOfItsOwn) {
  const auto job = script("");
  EXPECT_EQ(job->dynamicClass().name(), "QVProcessOperation");
  EXPECT_EQ(job->valueForKey("process"), Value(job->process()));
}

// What a handler throws

TEST(QVProcessOperation, anExceptionOfAHandlerEndsTheProgram) {
  for (const char* text :
       {"echo one; exec sleep 1000", "trap '' TERM; echo one; while :; do sleep 0.01; done", "echo one",
        "trap '' TERM; while :; do echo one; done"}) {
    const auto lines = std::make_shared<QVProcessStreamCollector>(
        [](std::string_view) { throw std::runtime_error("enough"); });
    const auto job = script(text, lines);
    job->setGracePeriod(10ms);
    job->main();
    EXPECT_EQ(job->operationError()->localizedDescription(), "enough");
    EXPECT_FALSE(testing::exists(job->process()->processIdentifier()));
  }
}

// Cancelling

TEST(QVProcessOperation, cancelledBeforeItRunsItIsLaunchedAndDrainedAllTheSame) {
  const auto output = std::make_shared<QVProcessDataCollector>();
  const auto job = script("echo out; exit 4", output);
  job->cancel();
  job->main();
  EXPECT_EQ(codeOf(*job), 4);
  EXPECT_EQ(textOf(output->data()), "out\n");
}

TEST(QVProcessOperation, cancelledBeforeItRunsALongProgramEndsToo) {
  const auto job = script("exec sleep 1000", std::make_shared<QVProcessStreamCollector>());
  job->cancel();
  job->main();
  EXPECT_EQ(codeOf(*job), SIGTERM);
}

struct StubbornProgram {
  const char* row = nullptr;
  const char* text = nullptr;
  int code = 0;
  bool withGroup = false;
};

constexpr StubbornProgram stubbornPrograms[] = {
    {"polite", "echo ready; exec sleep 1000", SIGTERM},
    {"succeeds", "trap 'exit 0' TERM; echo ready; while :; do sleep 0.01; done", 0},
    {"ignores", "trap '' TERM; echo ready; while :; do sleep 0.01; done", SIGKILL},
    {"writesForEver", "trap '' TERM; echo ready; while :; do echo more; done", SIGKILL},
    {"suspended", "(kill -STOP $$; until grep -q State:.T /proc/$$/status; do :; done; echo ready) & wait",
     SIGKILL},
    {"othersHoldThePipe", "sleep 5 & echo ready; exec sleep 1000", SIGTERM},
    {"othersWriteForEver", "(while :; do echo more || exit; done) & echo ready; exec sleep 1000", SIGTERM},
    {"group", "trap '' TERM; sleep 1000 & echo ready; wait", SIGKILL, true},
};

TEST(QVProcessOperation, cancellingEndsAnyProgram) {
  for (const StubbornProgram& row : stubbornPrograms) {
    SCOPED_TRACE(row.row);
    Awaited ready("ready");
    const auto job = script(row.text, ready.collector);
    job->setGracePeriod(20ms);
    job->setEndsProcessGroup(row.withGroup);
    job->startInBackground();
    ready.come.wait();
    job->cancel();
    job->waitUntilFinished();
    EXPECT_EQ(codeOf(*job), row.code);
    EXPECT_FALSE(testing::exists(job->process()->processIdentifier()));
  }
}

// The program has ended, but another one that it has started keeps the pipe: only cancelling ends the wait.
TEST(QVProcessOperation, cancellingWhileTheOutputIsReadEndsTheWait) {
  const auto data = std::make_shared<QVProcessDataCollector>();
  const auto stream = std::make_shared<QVProcessStreamCollector>();
  for (const QVAnyProcessIOHandle& output : {QVAnyProcessIOHandle(data), QVAnyProcessIOHandle(stream)}) {
    const auto job = script("sleep 5 2> /dev/null & echo out; exit 6", output);
    std::latch ended(1);
    job->process()->setTerminationHandler([&](const auto&) { ended.count_down(); });
    job->startInBackground();
    ended.wait();
    job->cancel();
    job->waitUntilFinished();
    EXPECT_EQ(codeOf(*job), 6);
  }
  EXPECT_EQ(textOf(data->data()), "out\n");
  EXPECT_EQ(stream->text(), "out\n");
}

// Another one ignores the request; its leader ends at that, or has ended before.
TEST(QVProcessOperation, cancellingEndsWhatIsLeftOfTheGroup) {
  const auto data = std::make_shared<QVProcessDataCollector>();
  const auto stream = std::make_shared<QVProcessStreamCollector>();
  struct Row {
    const char* rest = nullptr;
    int code = 0;
    QVAnyProcessIOHandle output;
  };
  for (const Row& row :
       {Row{"exec sleep 1000", SIGTERM, {}}, Row{"exit 6", 6, data}, Row{"exit 6", 6, stream}}) {
    SCOPED_TRACE(row.rest);
    pid_t other = 0;
    std::latch ready(1), ended(1);
    const auto job = script(
        "(trap '' TERM; exec sh -c 'echo $$ >&2; exec sleep 1000 2> /dev/null') & " + std::string(row.rest),
        row.output);
    job->setErrorHandle(std::make_shared<QVProcessStreamCollector>([&](std::string_view line) {
      other = std::stoi(std::string(line));
      ready.count_down();
    }));
    job->process()->setTerminationHandler([&](const auto&) { ended.count_down(); });
    job->setGracePeriod(20ms);
    job->setEndsProcessGroup(true);
    job->startInBackground();
    ready.wait();
    if (row.code == 6) ended.wait();
    job->cancel();
    job->waitUntilFinished();
    ended.wait();
    EXPECT_EQ(codeOf(*job), row.code);
    EXPECT_TRUE(testing::awaitEndOf(other));
    EXPECT_FALSE(testing::exists(job->process()->processIdentifier()));
  }
}

// The program ends by the request, before the operation is told that it is cancelled.
TEST(QVProcessOperation, endsItsGroupThoughTheProgramIsFasterThanTheCancellation) {
  pid_t other = 0;
  std::latch ready(1);
  const auto job =
      script("(trap '' TERM; exec sh -c 'echo $$ >&2; exec sleep 1000 2> /dev/null') & exec sleep 1000");
  job->setErrorHandle(std::make_shared<QVProcessStreamCollector>([&](std::string_view line) {
    other = std::stoi(std::string(line));
    ready.count_down();
  }));
  job->setGracePeriod(20ms);
  job->setEndsProcessGroup(true);
  job->startInBackground();
  ready.wait();
  const auto isAboutToBeCancelled = observe(*job, "isCancelled", NSKeyValueObservingOptionPrior,
                                            [&](QVProcessOperation& its, const NSKeyValueChange& change) {
                                              if (change.isPrior()) its.waitUntilFinished();
                                            });
  job->cancel();
  EXPECT_EQ(codeOf(*job), SIGTERM);
  EXPECT_TRUE(testing::awaitEndOf(other));
}

TEST(QVProcessOperation, aGroupThatHasEndedCostsNoGracePeriod) {
  Awaited ready("ready");
  const auto job = script("sleep 1000 & echo ready; wait", ready.collector);
  job->setGracePeriod(std::nullopt);
  job->setEndsProcessGroup(true);
  job->startInBackground();
  ready.come.wait();
  job->cancel();
  job->waitUntilFinished();
  EXPECT_EQ(codeOf(*job), SIGTERM);
}

TEST(QVProcessOperation, cancellingAnAskedForOrEndedProgramSignalsNobody) {
  const auto job = script("exit 0");
  job->main();
  job->cancel();
  job->cancel();
  EXPECT_EQ(codeOf(*job), 0);
  const auto neverRun = script("exit 0");
  neverRun->cancel();
  EXPECT_EQ(neverRun->process()->processIdentifier(), 0);
}

// Cancelling meets the launch, the run and the end at any moment.
TEST(QVProcessOperation, cancellingMayCrossEverything) {
  constexpr int rounds = 200;
  std::atomic<int> ended = 0;
  for (int round = 0; round < rounds; ++round) {
    const auto output = round % 3 == 0   ? QVAnyProcessIOHandle()
                        : round % 3 == 1 ? std::make_shared<QVProcessDataCollector>()
                                         : QVAnyProcessIOHandle(std::make_shared<QVProcessStreamCollector>());
    const auto job = script("echo out", output);
    job->process()->setTerminationHandler([&](const auto&) {
      ++ended;
      ended.notify_all();
    });
    std::latch start(2);
    std::jthread canceller([&] {
      start.arrive_and_wait();
      for (int i = 0; i < round * 50; ++i) std::atomic_signal_fence(std::memory_order_seq_cst);
      job->cancel();
    });
    start.arrive_and_wait();
    job->main();
    EXPECT_TRUE(codeOf(*job) == 0 || codeOf(*job) == SIGTERM) << job->operationError()->description();
  }
  for (int seen = ended; seen < rounds; seen = ended) ended.wait(seen);
}

TEST(QVProcessOperation, failsCleanlyWhereThereAreNoDescriptors) {
  const auto output = std::make_shared<QVProcessStreamCollector>();
  testing::ProcessCallsOverride calls;
  calls->makeEvent = [](unsigned, int) { return errno = EMFILE, -1; };
  const auto job = script("exit 0", output);
  job->main();
  EXPECT_EQ(codeOf(*job), EMFILE);
  EXPECT_EQ(job->process()->processIdentifier(), 0);
  EXPECT_THROW(output->readToEndSync(), NSError) << "others may still write, and it could not be stopped";
  calls->pipe = [](int*, int) { return errno = EMFILE, -1; };
  EXPECT_THROW(QVProcessStreamCollector(), NSError);
}

}  // namespace
}  // namespace QVFoundation
