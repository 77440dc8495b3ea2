#include "QVFoundation/Observation.h"

#include <atomic>
#include <functional>
#include <latch>
#include <optional>
#include <thread>

#include <gmock/gmock.h>

#include "QVFoundation/observation/ObserverMap_p.h"
#include "QVFoundation/platform/application/CurrentValueSubject.h"
#include "QVFoundation/platform/application/PassthroughSubject.h"
#include "tests/platform/runtime/Player.h"
#include "tests/platform/runtime/RaisedException.h"

namespace QVFoundation::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

struct ObservationManager : ::testing::Test {
  std::shared_ptr<QVObservationManager> manager = std::make_shared<QVObservationManager>();
  std::shared_ptr<QVObservationManager> other = std::make_shared<QVObservationManager>();
  std::shared_ptr<Track> track = std::make_shared<Track>("A");
  std::shared_ptr<Playlist> list = std::make_shared<Playlist>();
  std::shared_ptr<NSNotificationCenter> center = std::make_shared<NSNotificationCenter>();
  Diary diary;

  auto noteOfElement(const char* name) {
    return [this, name](Track& element, std::string_view path, const NSKeyValueChange&) {
      diary.add(name + (' ' + element.title()) + '.' + std::string(path));
    };
  }
  auto noteOfPost(const char* name) {
    return [this, name](const NSNotification&) { diary.add(name); };
  }
};

TEST_F(ObservationManager, removesByIdentifierItsOwnAlone) {
  manager->addObserverOfObject(*track, "rating", none, "x", diary.note("x"));
  manager->addObserverOfObject(*track, "rating", none, "y", diary.note("y"));
  manager->addObserverOfObject(*track, "rating", diary.note("plain"));
  other->addObserverOfObject(*track, "rating", none, "x", diary.note("other x"));
  manager->addObserverOfObject(*track, "rating", none, "x", diary.note("x again"));
  EXPECT_EQ(manager->observationInfos().size(), 3U) << "the record is replaced as well";
  manager->removeObserverOfObject(*track, "rating", "y");
  track->setRating(1);
  EXPECT_EQ(diary.take(), "plain: \nother x: \nx again: \n");
  manager->removeObserverOfObject(*track, "rating", "x");
  manager->removeObserverOfObject(*track, "rating");
  track->setRating(2);
  EXPECT_EQ(diary.take(), "other x: \n");
  EXPECT_THAT(raisedBy([&] { manager->removeObserverOfObject(*track, "rating", "x"); }),
              HasSubstr("Tried to remove non-existent observer"));
  EXPECT_TRUE(manager->observationInfos().empty());
}

TEST_F(ObservationManager, callsOneTaskBeforeAndOneAfterAChange) {
  manager->addObserverOfObject(*track, "title", newAndOld, diary.note("will"), diary.note("did"));
  track->setTitle("B");
  EXPECT_EQ(diary.take(), "will: prior A \ndid: A -> B\n");
  manager->addObserverOfObject(*track, "title", nullptr, diary.note("did alone"));
  track->setTitle("C");
  EXPECT_EQ(diary.take(), "did alone: \n") << "it has taken the place of the pair";
  manager->addObserverOfObject(*track, "title", diary.note("will alone"), nullptr);
  track->setTitle("D");
  EXPECT_EQ(diary.take(), "will alone: prior \n");
}

TEST_F(ObservationManager, removesEverythingAndCanBeUsedAgain) {
  PassthroughSubject<int> numbers;
  const auto addAll = [&] {
    manager->addObserverOfObject(*track, "rating", diary.note("rating"));
    manager->addObserverOfObject(*list, "tracks", {"rating"}, none, "f", noteOfElement("f"));
    manager->addObserverForNotificationCenter(center, "N", nullptr, noteOfPost("N"));
    manager->addObserverForNotificationCenter(center, "N", nullptr, noteOfPost("N2"));
    manager->receiveFromPublisher(numbers.publisher(), nullptr,
                                  [&](int number) { diary.add(std::to_string(number)); });
    manager->addObserver<int>(*track, "rating",
                              [&](int rating) { diary.add("= " + std::to_string(rating)); });
  };
  const auto useAll = [&] {
    track->setRating(track->rating() + 1);
    center->postNotificationName("N");
    numbers.send(7);
  };
  list->setTracks({track});
  for (int round = 0; round < 2; ++round) {
    addAll();
    EXPECT_THAT(manager->description(), HasSubstr("observationInfos"));
    useAll();
    EXPECT_EQ(diary.take(), stringWithFormat("rating: \nf A.rating\n= %d\nN\nN2\n7\n", round + 1));
    if (round == 0) manager->removeAllObservers();
    if (round == 1) manager.reset();
    list->setTracks({track, track});
    useAll();
    list->setTracks({track});
    track->setRating(round + 1);
    EXPECT_EQ(diary.take(), "");
    EXPECT_EQ(detail::ObserverMap::ofIfAny(*track), nullptr);
    EXPECT_EQ(detail::ObserverMap::ofIfAny(*list), nullptr);
    if (round == 1) break;
    EXPECT_TRUE(manager->observationInfos().empty());
    EXPECT_TRUE(manager->tokensForNotificationCenter(center).empty());
  }
}

TEST_F(ObservationManager, keepsAFamilyInStepWithItsList) {
  const auto b = std::make_shared<Track>("B");
  list->setTracks({track, b, track});
  manager->addObserverOfObject(*list, "tracks", {"rating", "title"}, none, "f", noteOfElement("f"));
  manager->addObserverOfObject(*list, "tracks", {"rating"}, none, "g", noteOfElement("g"));
  EXPECT_EQ(manager->observationInfos().size(), 2U + 4U + 2U);
  b->setRating(1);
  auto proxy = mutableArrayValueForKey(*list, "tracks");
  proxy.remove(0);
  track->setRating(1);
  proxy.remove(1);
  track->setRating(2);
  EXPECT_EQ(diary.take(), "f B.rating\ng B.rating\nf A.rating\ng A.rating\n");
  proxy.insert(0, track);
  track->setRating(3);
  EXPECT_EQ(diary.take(), "f A.rating\ng A.rating\n");
  const std::vector<std::string> paths = {"rating", "title"};
  for (int i = 0; i < 2; ++i) manager->removeObserverOfObject(*list, "tracks", paths, "f");  // never raises
  proxy.append(track);
  track->setRating(4);
  EXPECT_EQ(diary.take(), "g A.rating\n");
}

TEST_F(ObservationManager, takesBackAFamilyThatCannotBegin) {
  list->setTracks({track});
  EXPECT_THAT(raisedBy([&] {
                manager->addObserverOfObject(*list, "tracks", {"rating", "tempo"}, none, "f",
                                             noteOfElement("f"));
              }),
              StartsWith(NSUndefinedKeyException));
  EXPECT_TRUE(manager->observationInfos().empty());
  EXPECT_EQ(detail::ObserverMap::ofIfAny(*track), nullptr);
  Track onStack;
  EXPECT_THAT(raisedBy([&] { manager->addObserverOfObject(onStack, "title", diary.note("")); }),
              StartsWith(NSInvalidArgumentException));
}

TEST_F(ObservationManager, letsGoOfTargetsThatAreGone) {
  const auto held = std::make_shared<int>();
  for (int i = 0; i < 1000; ++i) {
    manager->addObserverOfObject(*std::make_shared<Track>(), "title", [held](Track&, auto&) {});
  }
  EXPECT_LT(held.use_count(), 200);
  EXPECT_LT(manager->observationInfos().size(), 200U);
  manager->removeAllObservers();
  EXPECT_EQ(held.use_count(), 1);
}

TEST_F(ObservationManager, missesNoChangeWhileItReplaces) {
  std::latch isRunning(1), hasBegun(1), mayEnd(1);
  manager->addObserverOfObject(*track, "rating", none, "x", [&, first = true](Track&, auto&) mutable {
    if (!std::exchange(first, false)) return;
    isRunning.count_down();
    mayEnd.wait();
  });
  std::jthread changer([&] { track->setRating(1); });
  isRunning.wait();
  std::jthread replacer([&] {
    manager->addObserverOfObject(*track, "rating", NSKeyValueObservingOptionInitial, "x",
                                 [&, first = true](Track& changed, auto&) mutable {
                                   if (std::exchange(first, false)) return hasBegun.count_down();
                                   diary.add(std::to_string(changed.rating()));
                                 });
  });
  hasBegun.wait();
  track->setRating(2);
  EXPECT_EQ(diary.take(), "2\n") << "while the task of the old one still runs";
  mayEnd.count_down();
}

TEST_F(ObservationManager, refusesWhatCannotWork) {
  const ObservationTask noTask;
  const auto refuses = [](const auto& act) {
    EXPECT_THAT(raisedBy(act), StartsWith(NSInvalidArgumentException));
  };
  refuses([&] { manager->addObserverOfObject(*track, "title", noTask); });
  refuses(
      [&] { manager->addObserverOfObject(*list, "tracks", {"title"}, none, "f", ElementObservationTask()); });
  refuses([&] {
    manager->updateObservationsForObject(*list, {Array{}, Array{track}}, {"title"}, none, "f", {});
  });
  refuses([&] { addObserverForKeyPath(*track, "title", noTask); });
  refuses([&] { addObserverForKey(*list, "tracks", {"title"}, none, ElementObservationTask()); });
  refuses([&] { (void)observe(*track, "title", noTask); });
  refuses([&] { manager->addObserverForNotificationCenter(nullptr, "N", nullptr, noteOfPost("")); });
  refuses([&] { manager->removeObserverForNotificationCenter(nullptr, "N", nullptr); });
  refuses([&] { (void)manager->tokensForNotificationCenter(nullptr); });
  manager->addObserverOfObject(*track, "title", noTask, diary.note("did"));
  track->setTitle("B");
  EXPECT_EQ(diary.take(), "did: \n") << "of a pair one may be missing";
  EXPECT_EQ(manager->observationInfos().size(), 1U);
}

/// Shows the manager that it has.
class Owner : public QVObject {
public:
  static const NSClass& staticClass() {
    static const NSClass& cls =
        *new NSClass(NSClass::define<Owner>("Owner", NSObject::staticClass()).stored("name", &Owner::name_));
    return cls;
  }
  const NSClass& dynamicClass() const override { return staticClass(); }
  Dictionary debugDictionary() const override {
    Dictionary entries = QVObject::debugDictionary();
    entries.set("manager", manager);
    return entries;
  }

  const std::shared_ptr<QVObservationManager> manager = std::make_shared<QVObservationManager>();

private:
  std::string name_;
};

TEST_F(ObservationManager, isDescribedBrieflyByWhoObservesItself) {
  const auto owner = std::make_shared<Owner>();
  for (const char* identifier : {"a", "b", "c"}) {
    owner->manager->addObserverOfObject(*owner, "name", none, identifier, [](Owner&, auto&) {});
  }
  EXPECT_LT(owner->description().size(), 10'000U);
  EXPECT_LT(owner->manager->description().size(), 10'000U);
}

TEST_F(ObservationManager, mayGoFromInsideItsOwnTasks) {
  list->setTracks({track});
  manager->addObserverOfObject(*list, "tracks", {"rating", "title"}, NSKeyValueObservingOptionInitial, "f",
                               [&](Track&, std::string_view path, const NSKeyValueChange&) {
                                 diary.add(std::string(path));
                                 manager.reset();
                               });
  EXPECT_EQ(diary.take(), "rating\n") << "what was still to begin has not begun";
  track->setTitle("B");
  other->addObserverOfObject(*track, "rating", [&](Track&, auto&) { other.reset(); });
  track->setRating(1);
  EXPECT_EQ(other, nullptr);
  EXPECT_EQ(diary.take(), "");
  EXPECT_EQ(detail::ObserverMap::ofIfAny(*track), nullptr);
}

TEST_F(ObservationManager, removesTheSecondOfTwoEqualNotificationObservers) {
  for (const char* name : {"first", "second"}) {
    manager->addObserverForNotificationCenter(center, "N", track, noteOfPost(name));
  }
  manager->addObserverForNotificationCenter(center, std::nullopt, nullptr, noteOfPost("any"));
  EXPECT_EQ(manager->tokensForNotificationCenter(center).size(), 3U);
  EXPECT_EQ(manager->identifierForNotificationCenter(center, std::nullopt, nullptr),
            stringWithFormat("%p-(null)-%p", center.get(), static_cast<void*>(nullptr)));
  manager->removeObserverForNotificationCenter(center, "N", track);
  manager->removeObserverForNotificationCenter(center, "N", track);
  center->postNotificationName("N", track);
  EXPECT_EQ(diary.take(), "first\nany\n");
}

TEST_F(ObservationManager, publishesValuesUntilTheObjectIsGone) {
  std::optional<Cancellable> subscription;
  subscription = keyPathPublisher<std::string>(track, "artist.name", NSKeyValueObservingOptionInitial)
                     .sink([&](const std::string& name) { diary.add(name); });
  track->setArtist(std::make_shared<Artist>("Ann"));
  track->setArtist(nullptr);
  track->setArtist(std::make_shared<Artist>("Bob"));
  EXPECT_EQ(diary.take(), "Ann\nBob\n") << "what is no text is passed over";
  const auto whole =
      keyPathPublisher<Array>(list, "queue", NSKeyValueObservingOptionPrior).sink([&](const Array& queue) {
        diary.add(queue.description());
      });
  auto queue = mutableArrayValueForKey(*list, "queue");
  queue.append(1);
  queue.append(2);
  queue.remove(0);
  const auto lines = [](const Array& a, const Array& b, const Array& c) {
    return a.description() + '\n' + b.description() + '\n' + c.description() + '\n';
  };
  EXPECT_EQ(diary.take(), lines({1}, {1, 2}, {2})) << "lists are published whole";
  store(std::move(*subscription), *manager);
  manager->removeAllCancellables();
  track->setArtist(std::make_shared<Artist>("Eve"));
  EXPECT_EQ(diary.take(), "");
}

TEST_F(ObservationManager, waitsForATaskUnlessItsLockIsHeld) {
  for (const bool isLocked : {true, false}) {
    std::latch isRunning(1), mayEnd(1);
    std::atomic<bool> hasEnded = false;
    manager->addObserverOfObject(*track, "rating", [&](Track&, auto&) {
      isRunning.count_down();
      mayEnd.wait();
      hasEnded = true;
    });
    std::jthread changer([&] { track->setRating(1); });
    isRunning.wait();
    if (isLocked) {
      manager->withObservationLock([&] { manager->removeObserverOfObject(*track, "rating"); });
      EXPECT_FALSE(hasEnded);
      mayEnd.count_down();
    } else {
      std::jthread opener([&] { mayEnd.count_down(); });
      manager->removeObserverOfObject(*track, "rating");
      EXPECT_TRUE(hasEnded);
    }
  }
}

TEST_F(ObservationManager, mayGoOrEndAllFromInsideTheFirstValue) {
  const Publisher<int> numbers([](const Subscriber<int>& subscriber) {
    for (const int number : {1, 2}) subscriber.receive(number);
    return Cancellable();
  });
  CurrentValueSubject<int> level(3);
  const auto add = [&](const Publisher<int>& publisher, bool goes) {
    manager->receiveFromPublisher(publisher, nullptr, [this, goes](int number) {
      diary.add(std::to_string(number));
      goes ? manager.reset() : manager->removeAllObservers();
    });
  };
  add(numbers, false);
  add(level.publisher(), false);
  add(numbers, true);
  level.send(4);
  EXPECT_EQ(diary.take(), "1\n3\n1\n");
}

TEST_F(ObservationManager, tellsOfTheCompletion) {
  PassthroughSubject<int> numbers;
  manager->receiveFromPublisher(
      numbers.publisher(), std::make_shared<ImmediateScheduler>(),
      [&](const Completion&) { diary.add("completed"); },
      [&](int number) { diary.add(std::to_string(number)); });
  numbers.send(1);
  numbers.send(Completion::finished());
  EXPECT_EQ(diary.take(), "1\ncompleted\n");
}

}  // namespace
}  // namespace QVFoundation::testing
