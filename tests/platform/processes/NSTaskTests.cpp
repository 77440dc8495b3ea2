#include "QVFoundation/platform/processes/NSTask.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "QVFoundation/platform/runtime/NSException.h"
#include "tests/platform/concurrency/OnThreads.h"
#include "tests/platform/processes/Children.h"
#include "tests/platform/processes/ProcessCallsOverride.h"

namespace QVFoundation {
namespace {

using testing::launch;
using testing::shell;
using testing::Spoken;
using Reason = NSTask::TerminationReason;
using Termination = NSTask::Termination;

// Ending

TEST(NSTask, reportsTheExitStatusOrTheSignal) {
  struct Row {
    const char* script;
    Termination end;
  };
  const Row rows[] = {
      {"exit 0", {0, Reason::exit}},
      {"exit 3", {3, Reason::exit}},
      {"exit 255", {255, Reason::exit}},
      {"kill -TERM $$", {SIGTERM, Reason::uncaughtSignal}},
      {"kill -KILL $$", {SIGKILL, Reason::uncaughtSignal}},
  };
  for (const Row& row : rows) {
    const auto task = shell(row.script);
    launch(*task);
    EXPECT_EQ(task->untilExit().wait(), row.end) << row.script;
    EXPECT_EQ(task->untilExit().wait(), row.end) << "it has ended";
    task->waitUntilExit();
    EXPECT_EQ(task->termination(), row.end) << row.script;
    EXPECT_EQ(task->terminationStatus(), row.end.status);
    EXPECT_EQ(task->terminationReason(), row.end.reason);
    EXPECT_FALSE(testing::exists(task->processIdentifier()));
  }
}

TEST(NSTask, whatIsAskedTooEarlyRaises) {
  const auto task = shell("read line");
  const auto input = std::make_shared<NSPipe>();
  task->setStandardInput(input);
  const auto expectNoStatus = [&] {
    EXPECT_THROW((void)task->terminationStatus(), NSException);
    EXPECT_THROW((void)task->terminationReason(), NSException);
    EXPECT_FALSE(task->termination());
  };
  expectNoStatus();
  EXPECT_THROW(task->waitUntilExit(), NSException);
  EXPECT_FALSE(task->isRunning() || task->terminate() || task->kill()) << "there is nobody to signal";
  launch(*task);
  expectNoStatus();
  EXPECT_TRUE(task->isRunning());
  EXPECT_FALSE(task->waitUntilExit(std::chrono::milliseconds(1)));
  input->fileHandleForWriting()->writeText("\n");
  EXPECT_TRUE(task->waitUntilExit(std::chrono::nanoseconds::max()));
  EXPECT_FALSE(task->isRunning() || task->terminate() || task->kill());
}

TEST(NSTask, isReapedWhoeverWaitsOrNot) {
  enum class Case { nobodyWaits, taskIsGone, waitTimedOut, handlerOnly };
  for (const Case which : {Case::nobodyWaits, Case::taskIsGone, Case::waitTimedOut, Case::handlerOnly}) {
    const auto input = std::make_shared<NSPipe>();
    auto task = shell("read line");
    task->setStandardInput(input);
    launch(*task);
    const pid_t child = task->processIdentifier();
    if (which == Case::taskIsGone) task.reset();
    if (which == Case::waitTimedOut) {
      EXPECT_FALSE(task->waitUntilExit(std::chrono::milliseconds(1)));
    }
    std::promise<void> told;
    if (which == Case::handlerOnly) task->setTerminationHandler([&](const auto&) { told.set_value(); });
    input->fileHandleForWriting()->writeText("\n");
    if (which == Case::handlerOnly) told.get_future().wait();
    testing::awaitDisappearanceOf(child);
  }
}

TEST(NSTask, manyMayWaitAndLookAtOnce) {
  for (int round = 0; round < 50; ++round) {
    const auto task = shell("exit 7");
    launch(*task);
    testing::onThreads(4, [&](int thread) {
      if (thread == 0) {
        while (task->isRunning()) (void)task->waitUntilExit(std::chrono::microseconds(100));
      } else {
        task->waitUntilExit();
      }
      EXPECT_EQ(task->terminationStatus(), 7);
    });
  }
}

TEST(NSTask, aTaskMayGoWhileItsChildEnds) {
  std::vector<pid_t> children;
  for (int round = 0; round < 100; ++round) {
    const auto task = shell(":");
    launch(*task);
    children.push_back(task->processIdentifier());
    if (round % 2 == 0) (void)task->waitUntilExit(std::chrono::microseconds(round * 20));
  }
  for (const pid_t child : children) testing::awaitDisappearanceOf(child);
}

// Where the application ignores SIGCHLD, or waits for any child, nobody knows how ours has ended.
TEST(NSTask, theStatusIsUnknownWhereSomebodyElseReaps) {
  const auto before = std::signal(SIGCHLD, SIG_IGN);
  const auto input = std::make_shared<NSPipe>();
  const auto task = shell("read line");
  task->setStandardInput(input);
  launch(*task);
  EXPECT_TRUE(task->isRunning());
  input->fileHandleForWriting()->writeText("\n");
  task->waitUntilExit();
  std::signal(SIGCHLD, before);
  EXPECT_EQ(task->termination(), (Termination{NSTask::statusUnknown, Reason::exit}));
}

TEST(NSTask, theStatusIsUnknownWhereItWasReapedDuringTheLaunch) {
  testing::ProcessCallsOverride calls;
  calls->openProcess = [](pid_t process) {
    if (process == getpid()) return dup(STDERR_FILENO);
    siginfo_t status{};
    ::waitid(P_PID, static_cast<id_t>(process), &status, WEXITED);
    return errno = ESRCH, -1;
  };
  const auto task = shell(":");
  launch(*task);
  EXPECT_FALSE(task->isRunning() || task->kill());
  task->waitUntilExit();
  EXPECT_EQ(task->terminationStatus(), NSTask::statusUnknown);
}

TEST(NSTask, theHandlerRunsOnceWheneverItIsSet) {
  enum class Set { before, running, ended };
  for (const Set set : {Set::before, Set::running, Set::ended}) {
    const auto input = std::make_shared<NSPipe>();
    auto task = shell("read line; exit 5");
    task->setStandardInput(input);
    std::promise<Termination> told;
    std::atomic<int> calls = 0;
    const auto setHandler = [&] {
      task->setTerminationHandler([&](const Termination&) { calls += 100; });
      if (set != Set::ended) {
        task->setTerminationHandler([&](const Termination& end) {
          ++calls;
          told.set_value(end);
        });
      }
    };
    if (set == Set::before) setHandler();
    launch(*task);
    if (set == Set::running) setHandler();
    input->fileHandleForWriting()->writeText("\n");
    if (set == Set::ended) {
      task->waitUntilExit();
      task->setTerminationHandler([&](const Termination& end) {
        ++calls;
        told.set_value(end);
      });
    } else {
      task.reset();
    }
    EXPECT_EQ(told.get_future().get(), (Termination{5, Reason::exit}));
    EXPECT_EQ(calls, 1);
  }
}

// Signals

TEST(NSTask, signalsReachTheChild) {
  Spoken child(
      "trap 'echo int' INT; trap 'echo term; exit 9' TERM; echo ready; while :; do sleep 0.01; done");
  launch(*child.task);
  EXPECT_EQ(child.line(5), "ready");
  EXPECT_TRUE(child.task->interrupt());
  EXPECT_EQ(child.line(3), "int");
  EXPECT_TRUE(child.task->suspend());
  EXPECT_TRUE(child.task->terminate());
  EXPECT_FALSE(child.task->waitUntilExit(std::chrono::milliseconds(20))) << "it is suspended";
  EXPECT_TRUE(child.task->resume());
  child.task->waitUntilExit();
  EXPECT_EQ(child.task->terminationStatus(), 9);
}

TEST(NSTask, killingEndsWhatIgnoresTheRequestAndItsGroupIfItHasOne) {
  Spoken child("trap '' TERM; sleep 1000 & echo ready; wait");
  child.task->setStartsProcessGroup(true);
  launch(*child.task);
  EXPECT_EQ(child.line(5), "ready");
  EXPECT_TRUE(child.task->terminate());
  EXPECT_FALSE(child.task->waitUntilExit(std::chrono::milliseconds(20)));
  EXPECT_TRUE(child.task->kill());
  child.task->waitUntilExit();
  EXPECT_EQ(child.task->termination(), (Termination{SIGKILL, Reason::uncaughtSignal}));
  EXPECT_EQ(child.text(), "") << "the other one held the pipe";
}

// Every signal is sent to a child that may be reaped at this moment by another thread; none may go astray.
TEST(NSTask, signalsMayCrossTheEnd) {
  for (const bool leads : {false, true}) {
    for (int round = 0; round < 100; ++round) {
      const auto task = shell(":");
      task->setStartsProcessGroup(leads);
      launch(*task);
      std::thread waiting([&] { task->waitUntilExit(); });
      while (task->resume()) {
      }
      waiting.join();
      EXPECT_EQ(task->terminationStatus(), 0);
    }
  }
}

}  // namespace
}  // namespace QVFoundation
