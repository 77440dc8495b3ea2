#include "QVFoundation/operations/QVDeadline.h"

#include <chrono>
#include <cstdint>
#include <exception>
#include <limits>
#include <memory>
#include <optional>
#include <semaphore>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "QVFoundation/operations/QVAsyncSemaphore.h"
#include "QVFoundation/platform/concurrency/DispatchQueue.h"
#include "QVFoundation/platform/concurrency/TaskCancellation.h"
#include "QVFoundation/platform/concurrency/TaskHandle.h"

namespace QVFoundation {
namespace {

using namespace std::chrono_literals;
using std::chrono::system_clock;

/// The time comes when the test says so. Copies are the same clock.
class ManualClock {
public:
  using duration = std::chrono::seconds;
  using time_point = std::chrono::time_point<ManualClock>;

  [[nodiscard]] time_point now() const { return {}; }
  [[nodiscard]] Task<> sleepUntil(time_point time, std::optional<duration> tolerance) const {
    const auto state = state_;
    state->time = time;
    state->tolerance = tolerance;
    co_await state->sleepers.waitUnlessCancelled();
    if (state->failure != nullptr) std::rethrow_exception(state->failure);
  }

  void reach() const { (void)state_->sleepers.signal(); }
  void fail(std::exception_ptr failure) const {
    state_->failure = std::move(failure);
    reach();
  }
  [[nodiscard]] bool hasSleeper() const { return state_->sleepers.value() < 0; }
  [[nodiscard]] time_point time() const { return state_->time; }
  [[nodiscard]] std::optional<duration> tolerance() const { return state_->tolerance; }

private:
  struct State {
    QVAsyncSemaphore sleepers{0};
    std::exception_ptr failure;
    time_point time;
    std::optional<duration> tolerance;
  };
  std::shared_ptr<State> state_ = std::make_shared<State>();
};

/// What an operation does once it is told of a cancellation.
enum class Hearing : unsigned char { ends, givesNine, waitsOn, waitsOnAndFails };

/// One that gives 7 when its gate is open.
class GatedOperation {
public:
  explicit GatedOperation(Hearing hearing) : hearing_(hearing) {}

  Task<int> perform() {
    const auto waitAtGate = [this]() -> Task<> {
      if (hearing_ == Hearing::ends || hearing_ == Hearing::givesNine) {
        co_await gate.waitUnlessCancelled();
      } else {
        co_await gate.wait();
      }
    };
    const auto wait = co_await withTaskCancellationHandler(waitAtGate, [this] { told.release(); }).result();
    if (hearing_ == Hearing::waitsOnAndFails) throw std::runtime_error("the disk is gone");
    if (hearing_ == Hearing::givesNine && !wait) co_return 9;
    (void)wait.value();
    co_return 7;
  }

  QVAsyncSemaphore gate{0};
  std::binary_semaphore told{0};

private:
  const Hearing hearing_;
};

std::string outcomeOf(const TaskHandle<int>& job) {
  try {
    return std::to_string(job.wait());
  } catch (const std::exception& failure) {
    return failure.what();
  }
}

template <class Predicate>
void yieldUntil(const Predicate& holds) {
  while (!holds()) std::this_thread::yield();
}

enum class Happening : unsigned char { deadline, clockFails, cancelled, told, opened };

struct DeadlineCase {
  const char* row;
  Hearing hearing;
  std::vector<Happening> happenings;
  const char* outcome;
};

using enum Happening;

const DeadlineCase deadlineCases[] = {
    {"value in time", Hearing::waitsOn, {opened}, "7"},
    {"failure in time", Hearing::waitsOnAndFails, {opened}, "the disk is gone"},
    {"deadline", Hearing::ends, {deadline, told}, "deadline exceeded"},
    {"late value", Hearing::givesNine, {deadline, told}, "deadline exceeded"},
    {"late end", Hearing::waitsOn, {deadline, told, opened}, "deadline exceeded"},
    {"late failure", Hearing::waitsOnAndFails, {deadline, told, opened}, "deadline exceeded"},
    {"cancelled too late", Hearing::waitsOn, {deadline, told, cancelled, opened}, "deadline exceeded"},
    {"cancelled", Hearing::ends, {cancelled, told}, "cancelled"},
    {"value though cancelled", Hearing::givesNine, {cancelled, told}, "9"},
    {"deaf to cancellation", Hearing::waitsOn, {cancelled, told, opened}, "7"},
    {"clock fails", Hearing::ends, {clockFails, told}, "the clock stands"},
    {"clock fails, late value", Hearing::waitsOn, {clockFails, told, opened}, "the clock stands"},
};

TEST(Deadline, givesWhatComesFirstWhenBothHaveEnded) {
  for (const auto& [row, hearing, happenings, outcome] : deadlineCases) {
    SCOPED_TRACE(row);
    const ManualClock clock;
    GatedOperation operation(hearing);
    const auto job = startTask([&] {
      return withDeadline(clock.now() + 5s, 2s, clock, [&operation] { return operation.perform(); });
    });
    yieldUntil([&] { return clock.hasSleeper() && operation.gate.value() < 0; });
    for (const Happening happening : happenings) {
      const bool waitsOn = hearing == Hearing::waitsOn || hearing == Hearing::waitsOnAndFails;
      EXPECT_FALSE(waitsOn && job.hasEnded()) << "before the operation has";
      switch (happening) {
        case deadline: clock.reach(); break;
        case clockFails: clock.fail(std::make_exception_ptr(std::runtime_error("the clock stands"))); break;
        case cancelled: job.cancel(); break;
        case told: operation.told.acquire(); break;
        case opened: operation.gate.signal(); break;
      }
    }
    EXPECT_EQ(outcomeOf(job), outcome);
    EXPECT_EQ(clock.time(), clock.now() + 5s);
    EXPECT_EQ(clock.tolerance(), 2s);
    EXPECT_FALSE(clock.hasSleeper());
    EXPECT_EQ(operation.gate.value(), 0);
  }
}

TEST(Deadline, givesOneOfBothWhereTheyComeTogether) {
  for (int round = 0; round < 300; ++round) {
    const ManualClock clock;
    GatedOperation operation(Hearing::waitsOn);
    const auto job = startTask(
        [&] { return withDeadline(clock.now(), {}, clock, [&operation] { return operation.perform(); }); });
    {
      const std::jthread other([&] { operation.gate.signal(); });
      clock.reach();
    }
    EXPECT_THAT(outcomeOf(job), ::testing::AnyOf("7", "deadline exceeded"));
  }
}

template <class Clock>
class RealDeadline : public ::testing::Test {};
using RealClocks = ::testing::Types<ContinuousClock, std::chrono::steady_clock>;
TYPED_TEST_SUITE(RealDeadline, RealClocks);

TYPED_TEST(RealDeadline, comesByTheClockThatItIsGivenIn) {
  const auto run = [](auto delay, std::optional<typename TypeParam::duration> tolerance, bool isOpen) {
    GatedOperation operation(Hearing::ends);
    if (isOpen) operation.gate.signal();
    return outcomeOf(startTask([&] {
      return withDeadline(TypeParam::now() + delay, tolerance, TypeParam(),
                          [&operation] { return operation.perform(); });
    }));
  };
  EXPECT_EQ(run(1h, 1min, true), "7");
  const auto before = TypeParam::now();
  EXPECT_EQ(run(2ms, std::nullopt, false), "deadline exceeded");
  EXPECT_GE(TypeParam::now() - before, 2ms);
  EXPECT_EQ(run(-1h, 1min, false), "deadline exceeded");
}

TEST(Deadline, countsByTheContinuousClockUnlessToldOtherwise) {
  const auto never = [] { return Task<>(sleepCancellable(system_clock::now() + 24h, 1h)); };
  const auto inTime = []() -> Task<int> { co_return 7; };
  EXPECT_EQ(withDeadline(ContinuousClock::now() + 1h, inTime).wait(), 7);
  EXPECT_THROW(withDeadline(ContinuousClock::now(), 1ms, never).wait(), DeadlineExceededError);
  EXPECT_EQ(withDeadline(ContinuousClock::now() + 1h, [] { return 7; }).wait(), 7) << "a plain function";
}

TEST(SleepCancellable, endsAtItsDateOrWhenCancelled) {
  static constexpr std::chrono::duration<std::uint64_t, std::nano> none(0),
      longest(std::numeric_limits<std::uint64_t>::max());
  sleepCancellable(system_clock::now() - 1s, longest).wait();
  const auto date = system_clock::now() + 2ms;
  sleepCancellable(date, none).wait();
  EXPECT_GE(system_clock::now(), date);

  const auto queue = DispatchQueue::serial("sleeps");
  const auto startSleep = [&] {
    return startTask({.queue = queue}, [] { return sleepCancellable(system_clock::now() + 24h, longest); });
  };
  const auto asleep = startSleep();
  queue->sync([] {});  // until it is
  asleep.cancel();
  EXPECT_THROW(asleep.wait(), CancellationError);

  std::optional<TaskHandle<void>> looking;
  queue->sync([&] {
    looking = startSleep();
    looking->cancel();
  });
  looking->wait();  // just ends
}

}  // namespace
}  // namespace QVFoundation
