#pragma once

#include <bit>
#include <cstddef>
#include <memory>
#include <semaphore>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "QVFoundation/platform/concurrency/StepPoint_p.h"
#include "QVFoundation/platform/concurrency/Work.h"

namespace QVFoundation::testing {

/// Has threads take steps one at a time, from one step point to the next, in every order that there is: each
/// run follows the choices of the one before up to the last that can be made otherwise, and makes that anew.
///
/// Two steps that touch nothing in common give the same in both orders. Unless told not to, it tries only one
/// of them: a step that nobody else can disturb is taken at once, and an actor that has been tried sleeps
/// until a step comes that touches what its own does.
///
/// Threads: used by one, which has its turn when no actor has anything left to do.
class StepScheduler {
public:
  /// What a step touches, a bit for each thing.
  struct Footprint {
    unsigned reads, writes;
  };
  using FootprintOf = Footprint (*)(const char* step, std::size_t task);

  /// `shared` is what any actor may touch.
  StepScheduler(FootprintOf footprintOf, unsigned shared, bool skipsEqualRuns)
      : footprintOf_(footprintOf), shared_(shared), skipsEqualRuns_(skipsEqualRuns) {
    detail::stepPointHook() = [](const char* next) {
      if (self != nullptr) self->owner.stop(*self, next);
    };
  }
  StepScheduler(const StepScheduler&) = delete;
  StepScheduler& operator=(const StepScheduler&) = delete;
  ~StepScheduler() {
    for (const auto& actor : actors_) actor->turn.release();  // with no job: the end
    for (const auto& actor : actors_) actor->thread.join();
    detail::stepPointHook() = nullptr;
  }

  /// One whose steps concern a task. What it contests it shares with others, until it has done its job.
  std::size_t addActor(std::string name, std::size_t task = 0, unsigned contests = 0) {
    actors_.push_back(std::make_unique<Actor>(*this, std::move(name), task, contests));
    Actor& actor = *actors_.back();
    actor.thread = std::thread([&actor] { actor.owner.live(actor); });
    return actors_.size() - 1;
  }

  /// Gives an actor what it does in this run, before the run or in the course of it.
  void give(std::size_t actor, detail::Work job) {
    actors_[actor]->job = std::move(job);
    actors_[actor]->step = "begins";
    actors_[actor]->touches = {0, 0};
  }

  void run() {
    depth_ = 0;
    asleep_ = 0;
    isRepetition_ = false;
    steps_.clear();
    if (Actor* const first = choose(nullptr)) {
      first->turn.release();
      isOver_.acquire();
    }
  }
  /// Does at once, in any order, what has been given since the run was over.
  void finish() {
    for (const auto& actor : actors_) {
      if (actor->job) actor->job();
      actor->job.reset();
    }
  }
  /// Whether there is another order to run.
  [[nodiscard]] bool advance() {
    for (; !path_.empty(); path_.pop_back()) {
      Choice& last = path_.back();
      last.tried |= 1U << last.chosen;
      if (last.left == 0) continue;
      last.chosen = static_cast<unsigned>(std::countr_zero(last.left));
      last.left &= last.left - 1;
      return true;
    }
    return false;
  }

  /// The tasks that have taken a step of this name, in the order of the last ones.
  [[nodiscard]] std::vector<std::size_t> lastToTake(std::string_view name) const {
    std::vector<std::size_t> tasks;
    for (const auto& [actor, step] : steps_) {
      if (step != name) continue;
      std::erase(tasks, actors_[actor]->task);
      tasks.push_back(actors_[actor]->task);
    }
    return tasks;
  }
  /// Whether the run has turned out to be like an earlier one.
  [[nodiscard]] bool isRepetition() const { return isRepetition_; }
  [[nodiscard]] std::string description() const {
    std::string text;
    for (const auto& [actor, step] : steps_) text += actors_[actor]->name + ' ' + step + '\n';
    return text;
  }

private:
  struct Actor {
    Actor(StepScheduler& its, std::string called, std::size_t of, unsigned contested)
        : owner(its), name(std::move(called)), task(of), contests(contested) {}

    StepScheduler& owner;
    const std::string name;
    const std::size_t task;
    const unsigned contests;
    detail::Work job;
    const char* step = nullptr;  // the next one
    Footprint touches{0, 0};
    std::binary_semaphore turn{0};
    std::thread thread;
  };
  /// At one depth: sets of actors, a bit each.
  struct Choice {
    unsigned asleep, chosen, left, tried = 0;
  };
  struct Step {
    std::size_t actor;
    const char* step;
  };

  void live(Actor& actor) {
    self = &actor;
    for (;;) {
      actor.turn.acquire();
      if (!actor.job) return;
      actor.job();
      actor.job.reset();
      (void)handOn(actor);
    }
  }
  void stop(Actor& actor, const char* next) {
    actor.step = next;
    actor.touches = footprintOf_(next, actor.task);
    if (!handOn(actor)) actor.turn.acquire();
  }
  /// False where it is another one's turn.
  [[nodiscard]] bool handOn(Actor& actor) {
    Actor* const next = choose(&actor);
    if (next != &actor) (next != nullptr ? next->turn : isOver_).release();
    return next == &actor;
  }

  /// Who takes the next step; null where nobody has anything left to do.
  [[nodiscard]] Actor* choose(const Actor* running) {
    if (depth_ == path_.size()) {
      const unsigned ready = actorsWhere([](const Actor& actor) { return static_cast<bool>(actor.job); });
      if (ready == 0) return nullptr;
      path_.push_back(newChoice(ready, running));
    }
    const Choice& choice = path_[depth_++];
    Actor& chosen = *actors_[choice.chosen];
    asleep_ = (choice.asleep | choice.tried) &
              actorsWhere([&](const Actor& actor) { return !disturb(actor.touches, chosen.touches); });
    if (!skipsEqualRuns_) asleep_ = 0;
    steps_.push_back({choice.chosen, chosen.step});
    return &chosen;
  }
  [[nodiscard]] Choice newChoice(unsigned ready, const Actor* running) {
    const unsigned awake = ready & ~asleep_;
    if (awake == 0) isRepetition_ = true;
    if (isRepetition_) return {asleep_, oneOf(ready, running), 0};
    const unsigned undisturbed = awake & actorsWhere([&](const Actor& actor) { return !isContested(actor); });
    if (skipsEqualRuns_ && undisturbed != 0) return {asleep_, oneOf(undisturbed, running), 0};
    const unsigned chosen = oneOf(awake, running);
    return {asleep_, chosen, awake & ~(1U << chosen)};
  }
  /// The one that runs, where it can be, which spares a change of threads.
  [[nodiscard]] unsigned oneOf(unsigned actors, const Actor* running) const {
    const unsigned its = actors & actorsWhere([&](const Actor& actor) { return &actor == running; });
    return static_cast<unsigned>(std::countr_zero(its != 0 ? its : actors));
  }
  [[nodiscard]] bool isContested(const Actor& actor) const {
    unsigned contested = shared_;
    for (const auto& other : actors_) contested |= other->job ? other->contests : 0;
    return ((actor.touches.reads | actor.touches.writes) & contested) != 0;
  }
  [[nodiscard]] static bool disturb(const Footprint& a, const Footprint& b) {
    return (a.writes & (b.reads | b.writes)) != 0 || (a.reads & b.writes) != 0;
  }
  template <class Predicate>
  [[nodiscard]] unsigned actorsWhere(const Predicate& holds) const {
    unsigned found = 0;
    for (std::size_t i = 0; i < actors_.size(); ++i) found |= (holds(*actors_[i]) ? 1U : 0U) << i;
    return found;
  }
  const FootprintOf footprintOf_;
  const unsigned shared_;
  const bool skipsEqualRuns_;
  std::vector<std::unique_ptr<Actor>> actors_;
  std::binary_semaphore isOver_{0};
  std::vector<Choice> path_;
  std::size_t depth_ = 0;
  unsigned asleep_ = 0;  // actors whose step has been tried, and nothing has come that makes it another one
  bool isRepetition_ = false;
  std::vector<Step> steps_;

  static inline thread_local Actor* self = nullptr;
};

}  // namespace QVFoundation::testing
