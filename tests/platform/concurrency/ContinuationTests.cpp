#include "QVFoundation/platform/concurrency/Continuation.h"

#include <atomic>
#include <functional>
#include <latch>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include <gmock/gmock.h>

#include "QVFoundation/platform/concurrency/Task.h"
#include "QVFoundation/platform/concurrency/TaskHandle.h"
#include "tests/platform/concurrency/TaskTesting.h"

namespace QVFoundation {
namespace {

using Waiting = ThrowingContinuation<std::string>;

class Refused : public std::exception {
public:
  explicit Refused(const char* reason) : reason_(reason) {}
  [[nodiscard]] const char* what() const noexcept override { return reason_; }

private:
  const char* const reason_;
};

template <class Body>
Task<std::string> endOf(Body body) {
  try {
    co_return co_await withThrowingContinuation<std::string>(std::move(body));
  } catch (const std::exception& error) {
    co_return std::string("thrown: ") + error.what();
  }
}

struct ResumeCase {
  const char* row;
  const char* want;
  void (*resume)(const Waiting&);
};

const ResumeCase resumeCases[] = {
    {"value", "yes", [](const Waiting& waiting) { waiting.resume("yes"); }},
    {"exception", "thrown: no",
     [](const Waiting& waiting) { waiting.resumeThrowing(std::make_exception_ptr(Refused("no"))); }},
    {"error", "thrown: lost",
     [](const Waiting& waiting) {
       waiting.resumeThrowing(NSError("Test", 1, {{NSLocalizedDescriptionKey, "lost"}}));
     }},
    {"result", "maybe", [](const Waiting& waiting) { waiting.resumeWith(std::string("maybe")); }},
};

TEST(Continuation, givesWhatItIsResumedWithWhoeverDoesSoWhenever) {
  for (const auto& [row, want, resume] : resumeCases) {
    const auto during = [=](const Waiting& waiting) { resume(waiting); };
    const auto elsewhere = [=](const Waiting& waiting) { std::thread([=] { resume(waiting); }).join(); };
    std::optional<std::jthread> other;
    const auto atSomeTime = [&](const Waiting& waiting) {
      other.emplace([=, its = resume] { its(waiting); });
    };
    EXPECT_EQ(endOf(during).wait(), want) << row;
    EXPECT_EQ(endOf(elsewhere).wait(), want) << row;
    for (int i = 0; i < 200; ++i) EXPECT_EQ(endOf(std::ref(atSomeTime)).wait(), want) << row;
  }
}

TEST(Continuation, letsItsTaskGoOnThroughItsQueueAndNotInsideOfResume) {
  const auto queue = std::make_shared<testing::ManualQueue>();
  testing::Gate gate;
  bool hasGoneOn = false;
  const TaskHandle task = startTask({.queue = queue}, [&]() -> Task<> {
    co_await gate.pass();
    hasGoneOn = true;
  });
  queue->runWaiting();
  gate.open();
  EXPECT_FALSE(hasGoneOn);
  queue->runWaiting();
  EXPECT_TRUE(hasGoneOn && task.hasEnded());
}

TEST(Continuation, throwsWhatItsBodyThrowsWhetherResumedOrNot) {
  for (const bool isResumed : {false, true}) {
    const auto body = [=](const Waiting& waiting) {
      if (isResumed) waiting.resume("yes");
      throw Refused("body");
    };
    std::optional<Waiting> kept;
    const auto keepingBody = [&](const Waiting& waiting) {
      kept = waiting;
      body(waiting);
    };
    EXPECT_EQ(endOf(body).wait(), "thrown: body");
    EXPECT_EQ(endOf(keepingBody).wait(), "thrown: body");
    if (!isResumed) kept->resume("too late");
  }
}

/// An answer that is stuck on its way to the task.
struct StuckAnswer {
  StuckAnswer(std::latch& onItsWay, std::latch& mayArrive) : isOnItsWay(&onItsWay), may(&mayArrive) {}
  StuckAnswer(StuckAnswer&& other) noexcept
      : isOnItsWay(other.isOnItsWay), may(other.may), moves(other.moves + 1) {
    if (moves != 3) return;  // those before bring it into a result
    isOnItsWay->count_down();
    may->wait();
  }
  std::latch* isOnItsWay;
  std::latch* may;
  int moves = 0;
};

TEST(Continuation, waitsForWhoJustResumesItWhenItsBodyThrows) {
  const auto queue = std::make_shared<testing::ManualQueue>();
  std::latch isOnItsWay(1), mayArrive(1);
  std::jthread other;
  const auto body = [&](const Continuation<StuckAnswer>& waiting) {
    other = std::jthread([&, waiting] { waiting.resume(StuckAnswer(isOnItsWay, mayArrive)); });
    isOnItsWay.wait();
    throw Refused("body");
  };
  const TaskHandle task = startTask(
      {.queue = queue}, [&]() -> Task<> { (void)co_await withContinuation<StuckAnswer>(std::ref(body)); });
  queue->runWaiting();
  EXPECT_FALSE(task.hasEnded());
  mayArrive.count_down();
  queue->runUntilEndOf(task);
  EXPECT_THROW(task.wait(), Refused);
}

TEST(ContinuationDeathTest, endsTheProcessWhereItIsNotResumedExactlyOnce) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto waits = [](auto body, const char* label) -> Task<> {
    co_await withContinuation<void>(body, label);
  };
  const auto twice = [](const Continuation<void>& waiting) {
    waiting.resume();
    Continuation<void>(waiting).resume();
  };
  const auto dropped = [](const Continuation<void>& /*waiting*/) {};
  const auto droppedLater = [](const Continuation<void>& waiting) {
    DispatchQueue::global()->async([waiting] {});
  };
  EXPECT_DEATH(waits(twice, "the answer").wait(), "continuation of the answer was resumed twice");
  EXPECT_DEATH(waits(dropped, "the end").wait(), "continuation of the end was dropped without being resumed");
  EXPECT_DEATH(waits(droppedLater, nullptr).wait(), "continuation of .*waits|operator.* was dropped");
}

}  // namespace
}  // namespace QVFoundation
