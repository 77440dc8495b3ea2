#include <functional>
#include <optional>
#include <stdexcept>

#include <gmock/gmock.h>

#include "tests/platform/runtime/Player.h"
#include "tests/platform/runtime/RaisedException.h"
#include "tests/platform/tracing/StandardErrorCapture.h"

namespace QVFoundation::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

TEST(KeyValueObserving, tellsWhatWasAskedFor) {
  const struct {
    const char* row;
    unsigned options;
    const char* want;
  } cases[] = {
      {"nothing", 0, "o: \no: \n"},
      {"new", 1, "o: -> B\no: -> C\n"},
      {"old", 2, "o: A \no: B \n"},
      {"both", 3, "o: A -> B\no: B -> C\n"},
      {"initial", 5, "o: -> A\no: -> B\no: -> C\n"},
      {"initial old", 6, "o: \no: A \no: B \n"},
      {"prior", 8, "o: prior \no: \no: prior \no: \n"},
      {"all", 15, "o: -> A\no: prior A \no: A -> B\no: prior B \no: B -> C\n"},
  };
  for (const auto& [row, options, want] : cases) {
    Track track("A");
    Diary diary;
    auto observation = observe(track, "title", NSKeyValueObservingOptions(options), diary.note("o"));
    track.setTitle("B");
    track.setValueForKey("C", "title");
    observation.invalidate();
    track.setTitle("D");
    EXPECT_EQ(diary.take(), want) << row;
  }
}

TEST(KeyValueObserving, showsTheChangeAsADictionary) {
  Track track;
  std::vector<Dictionary> seen;
  const auto observation =
      observe(track, "artist", NSKeyValueObservingOptionPrior | newAndOld,
              [&](Track&, const NSKeyValueChange& change) { seen.push_back(change.dictionary()); });
  const auto artist = std::make_shared<Artist>();
  track.setArtist(artist);
  EXPECT_EQ(seen.at(0), (Dictionary{{"kind", 1}, {"old", NSNull{}}, {"notificationIsPrior", true}}));
  EXPECT_EQ(seen.at(1), (Dictionary{{"kind", 1}, {"old", NSNull{}}, {"new", artist}}));
}

TEST(KeyValueObserving, followsThePathWhereverItLeads) {
  Diary diary;
  const auto first = std::make_shared<Track>("1", std::make_shared<Artist>("Ann"));
  const auto second = std::make_shared<Track>("2", std::make_shared<Artist>("Bob"));
  const auto bob = second->valueForKey("artist").as<std::shared_ptr<Artist>>().value();
  const auto root = std::make_shared<Track>("0");
  const auto observation = observe(*root, "next.artist.name", newAndOld, diary.note("name"));
  root->setNext(first);
  EXPECT_EQ(diary.take(), "name: -> Ann\n");
  first->setArtist(bob);
  bob->setName("Bo");
  EXPECT_EQ(diary.take(), "name: Ann -> Bob\nname: Bob -> Bo\n");
  root->setNext(second);
  EXPECT_EQ(diary.take(), "name: Bo -> Bo\n");
  first->setArtist(nullptr);
  EXPECT_EQ(diary.take(), "") << "the path no longer leads over it";
  root->setNext(nullptr);
  bob->setName("B");
  EXPECT_EQ(diary.take(), "name: Bo \n");
  root->setNext(root);
  root->setArtist(bob);
  EXPECT_EQ(diary.take(), "name: \nname: -> B\n") << "an object that leads to itself";
  bob->setName("Bob");
  EXPECT_EQ(diary.take(), "name: B -> Bob\n");
  root->setNext(nullptr);
}

TEST(KeyValueObserving, tellsOfPropertiesThatDependOnOthers) {
  Diary diary;
  const auto ann = std::make_shared<Artist>("Ann");
  const auto track = std::make_shared<Track>("A", ann);
  const auto holder = std::make_shared<Track>();
  holder->setNext(track);
  const auto label = observe(*track, "label", newAndOld, diary.note("label"));
  const auto loud = observe(*holder, "next.loud", NSKeyValueObservingOptionNew, diary.note("loud"));
  track->setTitle("B");
  EXPECT_EQ(diary.take(), "label: A by Ann -> B by Ann\nloud: -> B by Ann!\n");
  ann->setName("Eve");
  EXPECT_EQ(diary.take(), "label: B by Ann -> B by Eve\nloud: -> B by Eve!\n");
  track->setArtist(nullptr);
  ann->setName("Ann");
  EXPECT_EQ(diary.take(), "label: B by Eve -> B by ?\nloud: -> B by ?!\n");
}

TEST(KeyValueObserving, tellsWhatHappenedInLists) {
  Diary diary;
  Playlist list;
  const Tracks t = {std::make_shared<Track>("a"), std::make_shared<Track>("b"), std::make_shared<Track>("c")};
  const auto tracks = observe(list, "tracks", newAndOld, diary.note("tracks"));
  const auto count = observe(list, "count", newAndOld, diary.note("count"));
  const auto queue = observe(list, "queue", newAndOld, diary.note("queue"));
  auto proxy = mutableArrayValueForKey(list, "tracks");
  proxy.append(t[0]);
  proxy.insert(0, t[1]);
  EXPECT_EQ(
      diary.take(),
      "tracks: insertion -> [a] at {0}\ncount: 0 -> 1\ntracks: insertion -> [b] at {0}\ncount: 1 -> 2\n");
  proxy.replace(1, t[2]);
  proxy.remove(0);
  EXPECT_EQ(
      diary.take(),
      "tracks: replacement [a] -> [c] at {1}\ncount: 2 -> 2\ntracks: removal [b]  at {0}\ncount: 2 -> 1\n");
  list.setTracks(t);
  proxy.clear();
  EXPECT_EQ(diary.take(),
            "tracks: [c] -> [a b c]\ncount: 1 -> 3\ntracks: removal [a b c]  at {0-2}\ncount: 3 -> 0\n");
  auto numbers = mutableArrayValueForKey(list, "queue");
  numbers.append(1);
  numbers.append(2);
  numbers.remove(0);
  EXPECT_EQ(diary.take(),
            "queue: insertion -> [1] at {0}\nqueue: insertion -> [2] at {1}\nqueue: removal [1]  at {0}\n");
  EXPECT_EQ(list.queue(), std::vector{2});
}

TEST(KeyValueObserving, refusesWhatDoesNotFitAList) {
  Playlist list;
  Diary diary;
  const auto tracks = observe(list, "tracks", diary.note("tracks"));
  auto proxy = mutableArrayValueForKey(list, "tracks");
  const struct {
    std::function<void()> act;
    std::string_view want;
  } cases[] = {
      {[&] { proxy.append(1); }, NSInvalidArgumentException},
      {[&] { proxy.insert(1, std::make_shared<Track>()); }, NSRangeException},
      {[&] { proxy.remove(0); }, NSRangeException},
      {[&] { (void)proxy[0]; }, NSRangeException},
      {[&] { (void)mutableArrayValueForKey(list, "frozen"); }, NSInvalidArgumentException},
      {[&] { (void)mutableArrayValueForKey(list, "songs"); }, NSUndefinedKeyException},
      {[&] { (void)observe(list, "songs", diary.note("")); }, NSUndefinedKeyException},
      {[&] {
         (void)observe(list, "tracks", [](auto&, auto&) {});
         list.addObserver(nullptr, "tracks", {});
       },
       NSInvalidArgumentException},
  };
  for (const auto& [act, want] : cases) EXPECT_THAT(raisedBy(act), StartsWith(want));
  EXPECT_TRUE(list.tracks().empty());
  EXPECT_EQ(diary.take(), "");
}

TEST(KeyValueObserving, callsObserversInTheOrderInWhichTheyCame) {
  Track track;
  Diary diary;
  std::vector<NSKeyValueObservation> observations;
  std::string want;
  for (int i = 0; i < 40; ++i) {  // more keys and observers than a short table holds
    const std::string name = std::to_string(i);
    observations.push_back(observe(track, i % 2 == 0 ? "rating" : "title", diary.note(name)));
    observations.push_back(observe(track, i % 2 == 0 ? "artist" : "next", diary.note("-")));
    if (i % 2 == 0) want += name + ": \n";
  }
  track.setRating(1);
  EXPECT_EQ(diary.take(), want);
}

TEST(KeyValueObserving, letsObserversDoAnythingFromInside) {
  Diary diary;
  auto track = std::make_shared<Track>();
  std::optional<NSKeyValueObservation> self, other, later;
  self = observe(*track, "rating", [&](Track& t, auto&) {
    diary.add("self");
    self.reset();
    other.reset();
    later = observe(t, "rating", diary.note("later"));
    t.setRating(t.rating() + 1);
  });
  other = observe(*track, "rating", diary.note("other"));
  track->setRating(1);
  EXPECT_EQ(diary.take(), "self\nlater: \n") << "what is added is told from the next change on";
  later.reset();

  // The object goes while several notifications of it are on their way.
  const auto last = observe(*track, "rating", [&, keep = std::make_shared<int>(1)](Track& t, auto&) {
    if (t.rating() < 5) t.setRating(t.rating() + 1);
    track.reset();
    diary.add("gone " + std::to_string(*keep));
  });
  const auto unheard = observe(*track, "rating", diary.note("unheard"));
  track->setRating(3);
  EXPECT_EQ(diary.take(), "gone 1\ngone 1\ngone 1\n");
}

TEST(KeyValueObserving, pairsWillAndDidAcrossThoseWhoComeAndGoInBetween) {
  Track track("A");
  Diary diary;
  std::optional<NSKeyValueObservation> early = observe(track, "title", newAndOld, diary.note("early"));
  std::optional<NSKeyValueObservation> late;
  {
    const ChangeNotice notice(track, "title");
    early.reset();
    late = observe(track, "title", newAndOld, diary.note("late"));
  }
  EXPECT_EQ(diary.take(), "late: A -> A\n") << "who came in between misses nothing";
}

/// Holds any object.
class ValueHolder : public NSObject {
public:
  static const NSClass& staticClass() {
    static const NSClass& cls =
        *new NSClass(NSClass::define<ValueHolder>("ValueHolder", NSObject::staticClass())
                         .stored("content", &ValueHolder::content_));
    return cls;
  }
  const NSClass& dynamicClass() const override { return staticClass(); }
  void set(const Value& content) { setValueForKey(content, "content"); }

private:
  Value content_;
};

/// One of a chain, which may be cut while it is read.
class Relay : public NSObject {
public:
  static const NSClass& staticClass() {
    static const NSClass& cls = *new NSClass(NSClass::define<Relay>("Relay", NSObject::staticClass())
                                                 .property("next", &Relay::next, &Relay::setNext)
                                                 .stored("value", &Relay::value_));
    return cls;
  }
  const NSClass& dynamicClass() const override { return staticClass(); }

  std::shared_ptr<Relay> next() const {
    if (const auto act = std::exchange(whenRead, nullptr)) act();
    return next_;
  }
  void setNext(std::shared_ptr<Relay> next) {
    const ChangeNotice notice(*this, "next");
    next_ = std::move(next);
  }
  void setValue(int value) { setValueForKey(value, "value"); }

  mutable std::function<void()> whenRead;

private:
  std::shared_ptr<Relay> next_;
  int value_ = 0;
};

TEST(KeyValueObserving, followsAPathThatChangesWhileItIsRead) {
  const auto root = std::make_shared<Relay>(), former = std::make_shared<Relay>(),
             present = std::make_shared<Relay>(), end = std::make_shared<Relay>();
  former->setNext(std::make_shared<Relay>());
  present->setNext(end);
  root->setNext(former);
  former->whenRead = [&] { root->setNext(present); };
  int heard = 0;
  const auto observation = observe(*root, "next.next.value", [&](Relay&, auto&) { ++heard; });
  former->next()->setValue(1);
  EXPECT_EQ(heard, 0);
  end->setValue(1);
  EXPECT_EQ(heard, 1);

  end->setNext(end);
  std::string longPath;
  for (int i = 0; i < 50'000; ++i) longPath += "next.";
  const auto far = observe(*root, longPath + "value", [&](Relay&, auto&) { heard += 10; });
  end->setValue(2);
  EXPECT_EQ(heard, 12);
  end->setNext(nullptr);
}

TEST(KeyValueObserving, endsAPathAtAnObjectWithoutTheKey) {
  const auto holder = std::make_shared<ValueHolder>();
  holder->set(std::make_shared<Artist>("Ann"));
  Diary diary;
  const auto name = observe(*holder, "content.name", newAndOld, diary.note("name"));
  StandardErrorCapture capture;
  holder->set(std::make_shared<Track>("A"));
  const auto lines = capture.take();
  ASSERT_FALSE(lines.empty());
  EXPECT_THAT(lines[0], HasSubstr("which has no \"name\": it ends there."));
  holder->set(std::make_shared<Artist>("Bob"));
  EXPECT_EQ(diary.take(), "name: Ann \nname: -> Bob\n");
}

/// Makes what it hands out each time.
class Maker : public NSObject {
public:
  static const NSClass& staticClass() {
    static const NSClass& cls = *new NSClass(
        NSClass::define<Maker>("Maker", NSObject::staticClass()).readOnly("artist", [](const Maker&) {
          return std::make_shared<Artist>("Ann");
        }));
    return cls;
  }
  const NSClass& dynamicClass() const override { return staticClass(); }
};

TEST(KeyValueObserving, bearsAGetterThatMakesAnObjectEachTime) {
  Maker maker;
  Diary diary;
  const auto name = observe(maker, "artist.name", NSKeyValueObservingOptionNew, diary.note("name"));
  {
    const ChangeNotice notice(maker, "artist");
  }
  EXPECT_EQ(diary.take(), "name: -> Ann\n");
}

/// A list that refuses to grow beyond two, and says when it is busy.
class Shelf : public NSObject {
public:
  static const NSClass& staticClass() {
    static const NSClass& cls = *new NSClass(NSClass::define<Shelf>("Shelf", NSObject::staticClass())
                                                 .property("items", &Shelf::items, &Shelf::setItems)
                                                 .stored("busy", &Shelf::isBusy_));
    return cls;
  }
  const NSClass& dynamicClass() const override { return staticClass(); }

  std::vector<int> items() const { return items_; }
  void setItems(std::vector<int> items) {
    const ChangeNotice notice(*this, "items");
    ++sets;
    setValueForKey(true, "busy");
    if (items.size() > 2) throw std::length_error("full");
    items_ = std::move(items);
  }

  int sets = 0;

private:
  std::vector<int> items_;
  bool isBusy_ = false;
};

TEST(KeyValueObserving, tellsOfEditsThatFailAndOfThoseThatObserversMake) {
  const auto shelf = std::make_shared<Shelf>();
  auto proxy = mutableArrayValueForKey(*shelf, "items");
  proxy.append(1);
  proxy.append(2);
  Diary diary;
  const auto items = observe(*shelf, "items", NSKeyValueObservingOptionNew, diary.note("items"));
  EXPECT_THROW(proxy.append(3), std::length_error);
  EXPECT_EQ(diary.take(), "items: -> [1 2]\n") << "not an insertion";
  bool hasActed = false;
  const auto busy = observe(*shelf, "busy", [&](Shelf& its, auto&) {
    if (!std::exchange(hasActed, true)) its.setItems({7, 8});
  });
  proxy.remove(0);
  EXPECT_EQ(diary.take(), "items: -> [7 8]\nitems: removal  at {0}\n");
  shelf->setItems({5, 6});
  diary.take();
  const int sets = shelf->sets;
  proxy.clear();
  EXPECT_EQ(diary.take(), "items: removal  at {0-1}\n");
  EXPECT_EQ(shelf->sets, sets + 1) << "no list in between is set";
}

class Counting : public NSKeyValueObserver {
public:
  void observeValueForKeyPath(std::string_view keyPath, NSObject& object, const NSKeyValueChange& change,
                              const void* context) override {
    if (context != this) return NSKeyValueObserver::observeValueForKeyPath(keyPath, object, change, context);
    ++count;
  }
  int count = 0;
};

TEST(KeyValueObserving, letsGoAtOnceOfWhatCameAndWentWhileItTells) {
  Track track;
  const auto held = std::make_shared<int>();
  const auto observation = observe(track, "rating", [&](Track& told, auto&) {
    for (int i = 0; i < 10; ++i) {
      const auto shortLived = observe(told, "rating", [held](Track&, auto&) {});
    }
    EXPECT_EQ(held.use_count(), 1);
  });
  for (int i = 0; i < 3; ++i) track.setRating(i);
}

TEST(KeyValueObserving, endsTheRegistrationThatIsNamed) {
  Track track;
  const auto observer = std::make_shared<Counting>();
  for (const char* path : {"rating", "rating", "title"})
    track.addObserver(observer, path, {}, observer.get());
  track.setRating(1);
  track.removeObserver(*observer, "rating", observer.get());
  track.setRating(2);
  EXPECT_EQ(observer->count, 3);
  EXPECT_THAT(raisedBy([&] { track.removeObserver(*observer, "rating", nullptr); }),
              StartsWith(NSInternalInconsistencyException));
  track.removeObserver(*observer, "rating", observer.get());
  EXPECT_THAT(raisedBy([&] { track.removeObserver(*observer, "rating", observer.get()); }),
              StartsWith(NSInternalInconsistencyException));
  track.removeObserver(*observer, "title", observer.get());
}

TEST(KeyValueObserving, reportsAnObjectThatGoesWhileSomebodyObservesIt) {
  const auto observer = std::make_shared<Counting>();
  const auto holder = std::make_shared<Track>();
  auto track = std::make_shared<Track>();
  holder->setNext(track);
  holder->addObserver(observer, "next.rating", {}, observer.get());
  track->addObserver(observer, "rating", {}, observer.get());
  auto handle = observe(*track, "title", [](auto&, auto&) {});
  StandardErrorCapture capture;
  std::weak_ptr<Track> gone = track;
  track.reset();
  holder->setNext(nullptr);
  ASSERT_TRUE(gone.expired());
  handle.invalidate();
  std::string report;
  for (const std::string& line : capture.take()) report += line;
  EXPECT_THAT(report, HasSubstr("went away while it was observed. Nobody will hear of \"rating\" any more."));
  EXPECT_EQ(report.find("title"), std::string::npos) << "a handle ends with its object";
  EXPECT_EQ(observer->count, 1) << "the path of the holder";
  holder->removeObserver(*observer, "next.rating", observer.get());
}

TEST(KeyValueObservingDeathTest, endsTheProcessForWhatEscapesAnObserver) {
  Track track;
  const auto observer = std::make_shared<Counting>();
  const auto raise = [&] {
    const auto observation = observe(track, "title", [](Track&, auto&) { throw std::runtime_error("lost"); });
    track.setTitle("x");
  };
  EXPECT_DEATH(raise(), "observer of \"title\" of <Track: .*lost");
  track.addObserver(observer, "rating", {}, nullptr);
  EXPECT_DEATH(track.setRating(1), "does not handle what it observes");
  track.removeObserver(*observer, "rating", nullptr);
}

}  // namespace
}  // namespace QVFoundation::testing
