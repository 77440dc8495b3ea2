#include "QVFoundation/operations/QVAsyncSemaphore.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "QVFoundation/platform/concurrency/CancellationError.h"
#include "QVFoundation/platform/concurrency/DispatchQueue.h"
#include "QVFoundation/platform/concurrency/TaskHandle.h"
#include "tests/operations/StepScheduler.h"

namespace QVFoundation {
namespace {

using testing::StepScheduler;
using Outcomes = std::set<std::string>;

// What steps touch. Who has begun a wait, and is woken from it, begins no other here: so whoever has told a
// task of its cancellation has nothing more to tell.
constexpr unsigned permits = 1, mark = 2, place = 4, bitsOfTask = 2;

struct StepKind {
  std::string_view step;
  unsigned reads, writes;
};
constexpr StepKind stepKinds[] = {
    {"looks for a permit", permits, 0},
    {"begins a wait", 0, place},
    {"looks for a cancellation", mark, place},
    {"hears of the cancellation", 0, permits},
    {"takes a permit", mark, permits},
    {"goes on, or sleeps", 0, 0},
    {"ends a wait", 0, place},
    {"signals", 0, permits},
    {"marks the task as cancelled", 0, mark},
    {"tells of the cancellation", 0, place | permits},
    {"wakes", 0, 0},
};

constexpr unsigned inTask(unsigned things, std::size_t task) {
  return (things & permits) | (things & (mark | place)) << bitsOfTask * task;
}

StepScheduler::Footprint footprintOf(const char* step, std::size_t task) {
  const auto* const kind = std::ranges::find(stepKinds, std::string_view(step), &StepKind::step);
  if (kind == std::end(stepKinds)) return {~0U, ~0U};
  return {inTask(kind->reads, task), inTask(kind->writes, task)};
}

enum class Kind : unsigned char {
  waits,         // unless it is cancelled
  keepsWaiting,  // through cancellation
  locks,         // waits unless it is cancelled, and gives the permit back
};

/// How it ends for each task: with a permit "p", or cancelled "c", as capitals where it has slept before; or
/// it still waits, "-".
struct Scenario {
  const char* row;
  std::int64_t permits;
  std::vector<Kind> tasks;
  std::vector<std::size_t> cancelled;
  std::vector<int> signals;  // of each who signals
  Outcomes outcomes;
};

void PrintTo(const Scenario& scenario, std::ostream* stream) { *stream << scenario.row; }

class Model {
public:
  explicit Model(const Scenario& scenario, bool skipsEqualRuns)
      : scenario_(scenario), scheduler_(footprintOf, permits, skipsEqualRuns) {
    for (std::size_t i = 0; i < scenario.tasks.size(); ++i) {
      const std::string name = "task " + std::to_string(i);
      (void)scheduler_.addActor(name, i);
      (void)scheduler_.addActor(name + ", woken,", i);
      queues_.push_back(std::make_shared<Queue>(*this, i));
    }
    for (const std::size_t i : scenario.cancelled) {
      cancellers_.emplace_back(
          scheduler_.addActor("who cancels task " + std::to_string(i), i, inTask(mark | place, i)), i);
    }
    for (const int count : scenario.signals) {
      const std::string name = "signaller " + std::to_string(signallers_.size());
      signallers_.emplace_back(scheduler_.addActor(name), count);
    }
  }

  void explore() {
    do {
      begin();
      scheduler_.run();
      ++(scheduler_.isRepetition() ? repetitions : runs);
      check();
      const std::string outcome = outcome_;
      if (fault_.empty()) settle();
      if (!fault_.empty()) {
        ADD_FAILURE() << fault_ << ", and \"" << outcome << "\" comes out, where\n"
                      << scheduler_.description();
        [[maybe_unused]] const auto* const leaked = semaphore_.release();  // nobody knows its state
        return;
      }
      outcomes.insert(outcome);
    } while (scheduler_.advance());
  }

  int runs = 0, repetitions = 0;
  Outcomes outcomes;

private:
  /// Where a task runs: each work is an actor of its own.
  class Queue final : public DispatchQueue {
  public:
    Queue(Model& model, std::size_t task) : DispatchQueue("steps"), model_(model), task_(task) {}

  private:
    void enqueue(detail::Work&& work) override {
      int& works = model_.works_[task_];
      if (works == 2) return model_.note("A task is woken twice");
      if (works == 1) model_.woken_.push_back(task_);
      model_.scheduler_.give(2 * task_ + static_cast<std::size_t>(works++),
                             [this, work = std::move(work)]() mutable { run(std::move(work)); });
    }
    Model& model_;
    const std::size_t task_;
  };

  void begin() {
    const std::size_t count = scenario_.tasks.size();
    semaphore_ = std::make_unique<QVAsyncSemaphore>(scenario_.permits);
    outcome_.assign(count, '-');
    works_.assign(count, 0);
    woken_.clear();
    taken_ = signals_ = heardSignals_ = 0;
    handles_.clear();
    for (std::size_t i = 0; i < count; ++i) {
      handles_.push_back(startTask({.queue = queues_[i]}, [this, i] { return perform(i); }));
    }
    for (const auto& [actor, task] : cancellers_) {
      scheduler_.give(actor, [handle = handles_[task]] { handle.cancel(); });
    }
    for (const auto& [actor, times] : signallers_) {
      scheduler_.give(actor, [this, count = times] {
        for (int j = 0; j < count; ++j) signal();
      });
    }
  }

  Task<> perform(std::size_t task) {
    const Kind kind = scenario_.tasks[task];
    bool isCancelled = false;
    try {
      if (kind == Kind::keepsWaiting) {
        co_await semaphore_->wait();
      } else {
        co_await semaphore_->waitUnlessCancelled();
      }
    } catch (const CancellationError&) {
      isCancelled = true;
    }
    if (outcome_[task] != '-') note("A wait ends twice");
    outcome_[task] = "pPcC"[(isCancelled ? 2 : 0) + (works_[task] - 1)];
    if (isCancelled) co_return;
    if (++taken_ > scenario_.permits + signals_) note("More take a permit than there are");
    if (kind == Kind::locks) signal();
  }
  void signal() {
    if (semaphore_->signal()) ++heardSignals_;
    ++signals_;  // in the step that gives the permit out
  }
  void note(std::string_view fault) {
    if (fault_.empty()) fault_ = fault;
  }

  // Wakers are not disturbed, so that tasks are woken in the order in which they are served.
  void check() {
    const auto served = std::ranges::count(outcome_, 'P');
    const auto waiting = std::ranges::count(outcome_, '-');
    const auto left = scenario_.permits + signals_ - taken_;
    if (semaphore_->value() != left - waiting) note("A permit is lost or made");
    if (waiting > 0 && left > 0) note("A task waits though there is a permit");
    if (served != heardSignals_) note("Who signals does not hear whether somebody waited");
    const auto isServed = [&](std::size_t task) { return outcome_[task] == 'P'; };
    std::vector<std::size_t> came = scheduler_.lastToTake("takes a permit"), went = woken_;
    std::erase_if(came, std::not_fn(isServed));
    std::erase_if(went, std::not_fn(isServed));
    if (came != went) note("Who came first does not go first");
    for (std::size_t i = 0; i < handles_.size(); ++i) {
      if ((outcome_[i] != '-') != handles_[i].hasEnded()) note("A task hangs");
    }
  }
  /// Has all tasks end, so that the semaphore may go.
  void settle() {
    for (auto left = std::ranges::count(outcome_, '-'); left > 0; --left) signal();
    scheduler_.finish();
  }

  const Scenario& scenario_;
  StepScheduler scheduler_;
  std::vector<std::shared_ptr<Queue>> queues_;
  std::vector<std::pair<std::size_t, std::size_t>> cancellers_;  // and their tasks
  std::vector<std::pair<std::size_t, int>> signallers_;          // and how often
  std::unique_ptr<QVAsyncSemaphore> semaphore_;
  std::vector<TaskHandle<void>> handles_;
  std::string outcome_, fault_;
  std::vector<int> works_;  // of each task
  std::vector<std::size_t> woken_;
  int taken_ = 0, signals_ = 0, heardSignals_ = 0;
};

const Scenario scenarios[] = {
    {"OneThatIsCancelledAndSignalled", 0, {Kind::waits}, {0}, {1}, {"p", "P", "c", "C"}},
    {"OneThatIsCancelledWithAPermit", 1, {Kind::waits}, {0}, {}, {"p", "c"}},
    {"OneThatKeepsWaiting", 0, {Kind::keepsWaiting}, {0}, {1}, {"p", "P"}},
    {"TwoForOneSignal", 0, {Kind::waits, Kind::waits}, {}, {1}, {"-P", "-p", "P-", "p-"}},
    {"TwoForTwoSignals", 0, {Kind::waits, Kind::waits}, {}, {2}, {"PP", "Pp", "pP", "pp"}},
    {"TwoForTwoWhoSignal", 0, {Kind::waits, Kind::keepsWaiting}, {}, {1, 1}, {"PP", "Pp", "pP", "pp"}},
    {"OneOfTwoIsCancelled", 0, {Kind::waits, Kind::waits}, {0}, {1}, {"p-", "P-", "cp", "cP", "Cp", "CP"}},
    {"BothAreCancelled",
     0,
     {Kind::waits, Kind::waits},
     {0, 1},
     {1},
     {"pc", "pC", "Pc", "PC", "cp", "Cp", "cP", "CP", "cc", "cC", "Cc", "CC"}},
    {"ThreeLock",
     1,
     {Kind::locks, Kind::locks, Kind::locks},
     {1},
     {},
     {"ppp", "ppP", "pPp", "pPP", "Ppp", "PpP", "PPp", "pcp", "pcP", "Pcp", "pCp", "pCP", "PCp"}},
};

class SemaphoreScenario : public ::testing::TestWithParam<Scenario> {};

// The last two have some ten thousand orders each. The thread sanitizer, which is slow, has nothing to find
// there where only one thread runs at a time: it gets the others.
#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define QV_RUNS_UNDER_THREAD_SANITIZER
#endif
#endif
#ifdef QV_RUNS_UNDER_THREAD_SANITIZER
constexpr std::size_t scenariosLeftOut = 2;
#else
constexpr std::size_t scenariosLeftOut = 0;
#endif

INSTANTIATE_TEST_SUITE_P(, SemaphoreScenario,
                         ::testing::ValuesIn(scenarios, std::end(scenarios) - scenariosLeftOut),
                         [](const auto& scenario) { return scenario.param.row; });

TEST_P(SemaphoreScenario, losesNoPermitAndNoWakeUpInAnyOrder) {
  Model model(GetParam(), true);
  model.explore();
  EXPECT_EQ(model.outcomes, GetParam().outcomes);
  RecordProperty("runs", model.runs);
  RecordProperty("repetitions", model.repetitions);
}

// What the table says that steps touch is not taken for granted here.
TEST(SemaphoreModel, givesAllOutcomesThoughItSkipsEqualRuns) {
  for (const Scenario& scenario : std::span(scenarios).first(3)) {
    Model skipping(scenario, true), complete(scenario, false);
    skipping.explore();
    complete.explore();
    EXPECT_EQ(skipping.outcomes, complete.outcomes) << scenario.row;
    EXPECT_LT(skipping.runs, complete.runs) << scenario.row;
  }
}

}  // namespace
}  // namespace QVFoundation
