#include <algorithm>
#include <atomic>
#include <barrier>
#include <latch>
#include <thread>

#include <gmock/gmock.h>

#include "QVFoundation/Observation.h"
#include "QVFoundation/observation/ObserverMap_p.h"
#include "tests/platform/runtime/Player.h"
#include "tests/platform/tracing/StandardErrorCapture.h"

namespace QVFoundation::testing {
namespace {

using ::testing::HasSubstr;

using ElementTask = std::function<void(Track&, std::string_view, const NSKeyValueChange&)>;

struct ManagedFamilies : ::testing::Test {
  std::shared_ptr<QVObservationManager> manager = std::make_shared<QVObservationManager>();
  std::shared_ptr<Playlist> list = std::make_shared<Playlist>();
  std::shared_ptr<Track> x = std::make_shared<Track>("x"), y = std::make_shared<Track>("y");
  Diary diary;

  ElementTask note(const char* name) {
    return [this, name](Track& track, std::string_view path, const NSKeyValueChange&) {
      diary.add(std::string(name) + ' ' + track.title() + '.' + std::string(path));
    };
  }
  /// Whose changes are heard.
  std::string heard() {
    diary.take();
    x->setRating(x->rating() + 1);
    y->setRating(y->rating() + 1);
    return diary.take();
  }
};

/// The two ways to observe the elements of a list: by a manager, and without.
struct ElementFamilies : ManagedFamilies, ::testing::WithParamInterface<bool> {
  static bool isManaged() { return GetParam(); }
  void observe(Playlist& of, NSKeyValueObservingOptions options, ElementTask task) {
    if (isManaged()) {
      manager->addObserverOfObject(of, "tracks", {"rating"}, options, "f", std::move(task));
    } else {
      addObserverForKey(of, "tracks", {"rating"}, options, std::move(task));
    }
  }
  void end(Playlist& of) {
    if (isManaged()) {
      manager->removeObserverOfObject(of, "tracks", {"rating"}, "f");
    } else {
      removeObserverForKey(of, "tracks", {"rating"});
    }
  }
};

INSTANTIATE_TEST_SUITE_P(Ways, ElementFamilies, ::testing::Bool(),
                         [](const auto& way) { return way.param ? "manager" : "block"; });

TEST_P(ElementFamilies, comeIntoStepWhenNoticesOverlap) {
  list->setTracks({x});
  observe(*list, none, note("f"));
  {
    const ChangeNotice outer(*list, "tracks");
    list->setTracks({});
  }
  EXPECT_EQ(heard(), "") << "the same change has been told twice";
  list->setTracks({x});
  EXPECT_EQ(heard(), "f x.rating\n");
  end(*list);

  auto proxy = mutableArrayValueForKey(*list, "tracks");
  {
    const ToManyChangeNotice notice(*list, "tracks", NSKeyValueChangeKind::insertion, {1});
    list->setTracks({x, y});
    observe(*list, none, note("f"));
  }
  EXPECT_EQ(heard(), "f x.rating\nf y.rating\n");
  proxy.remove(1);
  EXPECT_EQ(heard(), "f x.rating\n") << "it was there already when its insertion was told";
}

TEST_P(ElementFamilies, endWithTheirList) {
  list->setTracks({x, y});
  observe(*list, none, note("f"));
  list.reset();
  EXPECT_EQ(heard(), "");
  EXPECT_EQ(detail::ObserverMap::ofIfAny(*x), nullptr);
}

TEST_P(ElementFamilies, mayBeChangedFromInsideTheirFirstNotices) {
  const std::pair<const char*, std::function<void()>> cases[] = {
      {"", [&] { end(*list); }},
      {"f x.rating\n", [&] { list->setTracks({x}); }},
      {"f x.rating\nf y.rating\n",
       [&] {
         list->setTracks({x});
         list->setTracks({x, y});
       }},
      {"new x.rating\nnew y.rating\n", [&] { observe(*list, none, note("new")); }},
  };
  for (const auto& [expected, act] : cases) {
    list = std::make_shared<Playlist>();
    list->setTracks({x, y});
    bool hasActed = false;
    observe(*list, NSKeyValueObservingOptionInitial, [&](Track& track, auto path, auto& change) {
      note("f")(track, path, change);
      if (!std::exchange(hasActed, true)) act();
    });
    EXPECT_EQ(heard(), expected);
  }
}

TEST_P(ElementFamilies, takeOutWhatTheyPutInAlone) {
  const auto other = std::make_shared<Playlist>();
  list->setTracks({x});
  other->setTracks({x});
  observe(*list, none, note("first"));
  observe(*other, none, note("second"));
  EXPECT_EQ(heard(), "second x.rating\n");
  list->setTracks({});
  EXPECT_EQ(heard(), "second x.rating\n");
}

TEST_P(ElementFamilies, passOverElementsWithoutTheKey) {
  list->setTracks({x});
  if (isManaged()) {
    manager->addObserverOfObject(*list, "encores", {"rating", "tempo"}, none, "f", note("f"));
  } else {
    addObserverForKey(*list, "encores", {"rating", "tempo"}, none, note("f"));
  }
  StandardErrorCapture capture;
  list->setValueForKey(Tracks{y}, "encores");
  const auto lines = capture.take();
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_THAT(lines[0], HasSubstr("\"tempo\" of an element of \"encores\" is not observed"));
  EXPECT_EQ(heard(), "f y.rating\n");
}

/// A list that several threads may change.
class SharedList : public NSObject {
public:
  static const NSClass& staticClass() {
    static const NSClass& cls =
        *new NSClass(NSClass::define<SharedList>("SharedList", NSObject::staticClass())
                         .property("tracks", &SharedList::tracks, &SharedList::setTracks));
    return cls;
  }
  const NSClass& dynamicClass() const override { return staticClass(); }

  Tracks tracks() const {
    const std::lock_guard guard(mutex_);
    return tracks_;
  }
  void setTracks(const Tracks& tracks) {
    const ChangeNotice notice(*this, "tracks");
    const std::lock_guard guard(mutex_);
    tracks_ = tracks;
  }
  void insert(const std::shared_ptr<Track>& track) {
    const ToManyChangeNotice notice(*this, "tracks", NSKeyValueChangeKind::insertion, {0});
    const std::lock_guard guard(mutex_);
    tracks_.insert(tracks_.begin(), track);
  }

private:
  mutable std::mutex mutex_;
  Tracks tracks_;
};

TEST_P(ElementFamilies, areInStepWhenAllChangesHaveBeenTold) {
  for (int round = 0; round < 20; ++round) {
    const auto shared = std::make_shared<SharedList>();
    Tracks tracks(8);
    for (auto& track : tracks) track = std::make_shared<Track>();
    std::atomic<int> heard = 0;
    const auto count = [&](Track&, std::string_view, const NSKeyValueChange&) { ++heard; };
    std::barrier start(4);
    const auto change = [&](std::size_t seed) {
      start.arrive_and_wait();
      for (std::size_t i = seed; i < seed + 40; ++i) {
        if (i % 5 == 0) shared->insert(tracks[i % 8]);
        shared->setTracks({tracks[i * 3 % 8], tracks[i * 5 % 8]});
      }
    };
    {
      std::jthread threads[] = {std::jthread(change, 1), std::jthread(change, 2), std::jthread([&] {
                                  start.arrive_and_wait();
                                  for (const auto& track : tracks) track->setRating(1);
                                })};
      start.arrive_and_wait();
      if (isManaged()) {
        manager->addObserverOfObject(*shared, "tracks", {"rating"}, none, "f", count);
      } else {
        addObserverForKey(*shared, "tracks", {"rating"}, none, count);
      }
    }
    const Tracks left = shared->tracks();
    for (const auto& track : tracks) {
      heard = 0;
      track->setRating(2);
      EXPECT_EQ(heard, std::ranges::count(left, track) > 0 ? 1 : 0);
    }
  }
}

TEST_F(ManagedFamilies, belongToOneListAndIdentifier) {
  list->setTracks({x});
  list->setValueForKey(Tracks{y}, "encores");
  for (const char* key : {"tracks", "encores"}) {
    manager->addObserverOfObject(*list, key, {"rating"}, none, std::nullopt, note(key));
  }
  EXPECT_EQ(heard(), "tracks x.rating\nencores y.rating\n");
  manager->removeObserverOfObject(*list, "tracks", {"rating"}, std::nullopt);
  EXPECT_EQ(heard(), "encores y.rating\n");
  manager->addObserverOfObject(*list, "encores", {"title"}, none, std::nullopt, note("title"));
  EXPECT_EQ(heard(), "") << "the later family takes the place of the earlier";
  list->setValueForKey(Tracks{x, y}, "encores");
  x->setTitle("X");
  EXPECT_EQ(diary.take(), "title X.title\n");
  manager->addObserverOfObject(*list, "encores", [](Playlist&, auto&) {});
  x->setTitle("x");
  EXPECT_EQ(diary.take(), "") << "and so does a plain observation";
  EXPECT_EQ(manager->observationInfos().size(), 1U);
}

TEST_F(ManagedFamilies, canBeKeptUpByHand) {
  const std::string identifier = manager->identifierForInputIdentifier("own");
  const auto update = [&](const Array& from, const Array& to, const char* name) {
    manager->updateObservationsForObject(
        *list, NSKeyValueChange(from, to), {"rating"}, none, identifier,
        name == nullptr ? ElementObservationTask()
                        : [this, name](NSObject& element, auto path, auto& change) {
                            note(name)(static_cast<Track&>(element), path, change);
                          });
  };
  update({}, {x}, "first");
  update({}, {y}, "second");
  EXPECT_EQ(heard(), "first x.rating\nsecond y.rating\n");
  update({x}, {}, nullptr);
  EXPECT_EQ(heard(), "second y.rating\n");
  update({x, y}, {}, nullptr);
  EXPECT_EQ(heard(), "");
  EXPECT_TRUE(manager->observationInfos().empty());
}

}  // namespace
}  // namespace QVFoundation::testing
