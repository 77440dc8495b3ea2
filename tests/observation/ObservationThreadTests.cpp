// Changes, additions, removals and deaths at the same time. The thread sanitizer has the last word here.

#include "QVFoundation/Observation.h"

#include <atomic>
#include <barrier>
#include <latch>
#include <optional>
#include <thread>

#include <gmock/gmock.h>

#include "tests/platform/concurrency/OnThreads.h"
#include "tests/platform/runtime/Player.h"

namespace QVFoundation::testing {
namespace {

/// Memory that a task must not touch once its removal has returned; a sanitizer tells if it does.
struct Ground {
  std::atomic<int> calls{0};
  int unprotected = 0;
};

TEST(ObservationThreads, aTaskHasEndedWhenItsRemovalReturns) {
  const auto track = std::make_shared<Track>();
  const auto root = std::make_shared<Track>();
  root->setNext(track);
  std::atomic<int> removers = 2;
  std::atomic<int> heard = 0;
  onThreads(4, [&](int thread) {
    if (thread < 2) {
      for (int i = 0; removers > 0; ++i) track->setRating(i);
      return;
    }
    for (int i = 0; i < 400; ++i) {
      auto ground = std::make_unique<Ground>();
      const auto task = [&, at = ground.get()](NSObject&, const NSKeyValueChange&) { ++at->calls; };
      if (thread == 2) {
        auto plain = observe(*track, "rating", NSKeyValueObservingOptionInitial, task);
        auto far = observe(*root, "next.rating", newAndOld, task);
        while (ground->calls < 3) std::this_thread::yield();
        far.invalidate();
      } else {
        addObserverForKeyPath(*track, "rating", "mine", task);
        while (ground->calls < 1) std::this_thread::yield();
        removeObserverForKeyPath(*track, "rating", "mine");
      }
      heard += ground->calls;
      ground.reset();
    }
    --removers;
  });
  EXPECT_GT(heard, 0);
}

TEST(ObservationThreads, whatTheTaskHasDoneIsSeenByWhoRemoved) {
  for (int round = 0; round < 300; ++round) {
    const auto track = std::make_shared<Track>();
    Ground ground;
    auto observation = observe(*track, "rating", [&](Track&, auto&) { ++ground.unprotected; });
    std::jthread changer([&] { track->setRating(1); });
    observation.invalidate();
    EXPECT_LE(ground.unprotected, 1);  // no race: the removal has waited for the task
  }
}

TEST(ObservationThreads, observersRemoveEachOther) {
  for (int round = 0; round < 200; ++round) {
    const auto track = std::make_shared<Track>();
    const auto other = std::make_shared<Track>();
    auto manager = std::make_shared<QVObservationManager>();
    std::barrier meeting(2);
    manager->addObserverOfObject(*track, "rating", [&](Track&, auto&) {
      meeting.arrive_and_wait();
      manager->removeObserverOfObject(*other, "rating");
    });
    manager->addObserverOfObject(*other, "rating", [&](Track&, auto&) {
      meeting.arrive_and_wait();
      manager->removeObserverOfObject(*track, "rating");
    });
    onThreads(2, [&](int thread) { (thread == 0 ? track : other)->setRating(1); });
    EXPECT_TRUE(manager->observationInfos().empty());
  }
}

TEST(ObservationThreads, aRemovalWaitsForItsOwnTaskAlone) {
  const auto track = std::make_shared<Track>();
  std::latch isBusy(1), isRemoved(1);
  const auto busy = observe(*track, "rating", [&](Track&, auto&) {
    isBusy.count_down();
    isRemoved.wait();  // would never end if the removal below waited for it
  });
  auto other = observe(*track, "rating", [](Track&, auto&) {});
  std::jthread changer([&] { track->setRating(1); });
  isBusy.wait();
  other.invalidate();
  isRemoved.count_down();
}

TEST(ObservationThreads, everythingHappensAtOnce) {
  // What dies is in here, and let go of by whoever is last.
  AtomicShared<Track> current(std::make_shared<Track>("first"));
  std::atomic<int> heard = 0;
  std::atomic<int> late = 0;
  const auto hear = [&](NSObject&, const NSKeyValueChange&) { ++heard; };
  {
    auto manager = std::make_shared<QVObservationManager>();
    onThreads(6, [&](int thread) {
      QVObservationManager own;
      for (int i = 0; i < 300; ++i) {
        const auto track = current.load();
        switch ((thread + i) % 6) {
          case 0: track->setRating(i); break;
          case 1: {
            std::atomic<bool> isRemoved = false;
            int mine = 0;
            auto observation = observe(*track, "title", [&, own = std::this_thread::get_id()](Track&, auto&) {
              late += isRemoved ? 1 : 0;
              if (std::this_thread::get_id() == own) ++mine;
            });
            track->setTitle(std::to_string(i));
            observation.invalidate();
            isRemoved = true;
            track->setTitle("");
            EXPECT_EQ(mine, 1) << "every change of one's own is heard while one listens";
            break;
          }
          case 2:
            manager->addObserverOfObject(*track, "title", newAndOld, std::to_string(i % 3), hear);
            break;
          case 3:
            own.addObserverOfObject(*track, "rating", NSKeyValueObservingOptionInitial, "own", hear);
            break;
          case 4:
            manager->removeAllObservers();
            own.removeAllObservers();
            break;
          case 5: {
            auto next = std::make_shared<Track>("new");
            addObserverForKeyPath(*next, "rating", hear);
            addObserverForKeyPath(*next, "label", hear);
            current.store(next);
            break;
          }
          default: break;
        }
      }
    });
    manager->removeAllObservers();
  }
  EXPECT_GT(heard, 0);
  EXPECT_EQ(late, 0) << "a task was called after its removal had returned";
}

TEST(ObservationThreads, pathsFollowObjectsThatOthersExchange) {
  const auto a = std::make_shared<Track>("a"), b = std::make_shared<Track>("b");
  AtomicShared<Track> slot(a);
  class Root : public NSObject {
  public:
    explicit Root(AtomicShared<Track>& slot) : slot_(slot) {}
    const NSClass& dynamicClass() const override {
      static const NSClass& cls =
          *new NSClass(NSClass::define<Root>("ExchangingRoot", NSObject::staticClass())
                           .readOnly("track", [](const Root& root) { return root.slot_.load(); }));
      return cls;
    }
    void exchange(const std::shared_ptr<Track>& track) {
      const ChangeNotice notice(*this, "track");
      slot_.store(track);
    }

  private:
    AtomicShared<Track>& slot_;
  };
  const auto holder = std::make_shared<Root>(slot);
  std::atomic<int> heard = 0;
  auto observation = observe(*holder, "track.rating", NSKeyValueObservingOptionNew,
                             [&](Root&, const NSKeyValueChange&) { ++heard; });
  onThreads(4, [&](int thread) {
    for (int i = 0; i < 300; ++i) {
      if (thread < 2) {
        holder->exchange(i % 3 == 0 ? a : i % 3 == 1 ? b : std::make_shared<Track>("c"));
      } else {
        (thread == 2 ? a : b)->setRating(i);
      }
    }
  });
  holder->exchange(a);
  heard = 0;
  b->setRating(1);
  a->setRating(1);
  EXPECT_EQ(heard, 1) << "it has ended up with the last one";
}

}  // namespace
}  // namespace QVFoundation::testing
