#include <gmock/gmock.h>

#include "QVFoundation/Observation.h"
#include "QVFoundation/observation/ObserverMap_p.h"
#include "tests/platform/runtime/Player.h"
#include "tests/platform/runtime/RaisedException.h"
#include "tests/platform/tracing/StandardErrorCapture.h"

namespace QVFoundation::testing {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

std::shared_ptr<Track> trackOf(const char* title) { return std::make_shared<Track>(title); }

TEST(BlockObservation, keepsOneObserverForEachIdentifier) {
  Diary diary;
  Track track("A");
  addObserverForKeyPath(track, "title", "x", diary.note("first"));
  addObserverForKeyPath(track, "title", "x", diary.note("second"));
  addObserverForKeyPath(track, "title", diary.note("plain"));
  addObserverForKeyPath(track, "title", NSKeyValueObservingOptionInitial, "y", diary.note("y"));
  track.setTitle("B");
  EXPECT_EQ(diary.take(), "y: \nsecond: A -> B\nplain: A -> B\ny: \n");
  const Dictionary present = observationDictionary(track);
  EXPECT_EQ(present.size(), 3U);
  EXPECT_THAT(present[keyForTarget(track, "title", "x")].description(),
              EndsWith(stringWithFormat("observee %p, keyPath title>", &track)));
  removeObserverForKeyPath(track, "title", "x");
  track.setTitle("C");
  EXPECT_EQ(diary.take(), "plain: B -> C\ny: \n");
  removeObserverForKeyPath(track, "title");
  EXPECT_NE(detail::ObserverMap::ofIfAny(track), nullptr);
  removeObserverForKeyPath(track, "title", "y");
  EXPECT_EQ(detail::ObserverMap::ofIfAny(track), nullptr) << "the last one takes the map with it";
}

TEST(BlockObservation, reportsTheRemovalOfWhatIsNotThere) {
  Track track;
  addObserverForKeyPath(track, "title", [](Track&, auto&) {});
  removeObserverForKeyPath(track, "title");
  StandardErrorCapture capture;
  EXPECT_EQ(raisedBy([&] { removeObserverForKeyPath(track, "title"); }),
            "NSInternalInconsistencyException: Tried to remove non-existent observer");
  const auto lines = capture.take();
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_THAT(lines[0], HasSubstr(stringWithFormat(
                            "Tried to remove non-existent observer on %@ for token %p:title:(null)",
                            track.shortDescription(), &track)));
}

TEST(BlockObservation, leavesNothingBehindWhenItCannotBegin) {
  Track track;
  Playlist list;
  mutableArrayValueForKey(list, "tracks").append(trackOf("a"));
  EXPECT_THAT(raisedBy([&] { addObserverForKeyPath(track, "tempo", [](Track&, auto&) {}); }),
              StartsWith(NSUndefinedKeyException));
  EXPECT_THAT(raisedBy([&] {
                addObserverForKey(list, "tracks", {"title", "tempo"}, {}, [](NSObject&, auto, auto&) {});
              }),
              StartsWith(NSUndefinedKeyException));
  EXPECT_EQ(detail::ObserverMap::ofIfAny(track), nullptr);
  EXPECT_EQ(detail::ObserverMap::ofIfAny(list), nullptr);
  EXPECT_EQ(detail::ObserverMap::ofIfAny(*list.tracks()[0]), nullptr);
}

TEST(BlockObservation, endsWithTheObjectWhateverTheTaskHolds) {
  const auto held = std::make_shared<int>();
  auto track = trackOf("A");
  addObserverForKeyPath(*track, "title", [held, self = std::weak_ptr(track)](Track&, auto&) {});
  auto root = std::make_shared<Track>();
  root->setNext(track);
  addObserverForKeyPath(*root, "next.title", [held](Track&, auto&) {});
  root.reset();
  track->setTitle("B");
  track.reset();
  EXPECT_EQ(held.use_count(), 1);
}

TEST(BlockObservation, letsGoOfATaskThatRemovesItself) {
  auto held = std::make_shared<int>();
  const std::weak_ptr<int> watch = held;
  Track track;
  addObserverForKeyPath(track, "rating", "x", [held = std::move(held)](Track& t, auto&) {
    removeObserverForKeyPath(t, "rating", "x");
    ++*held;
  });
  track.setRating(1);
  EXPECT_TRUE(watch.expired());
}

TEST(BlockObservation, followsTheElementsOfAList) {
  Diary diary;
  Playlist list;
  const Tracks t = {trackOf("x"), trackOf("y"), trackOf("z")};
  list.setTracks({t[0], t[1]});
  addObserverForKey(list, "tracks", {"title", "rating"}, NSKeyValueObservingOptionNone,
                    [&](Track& track, std::string_view path, const NSKeyValueChange&) {
                      diary.add(track.title() + ' ' + std::string(path));
                    });
  list.setTracks({t[1], t[2], t[2]});
  t[0]->setTitle("X");
  t[1]->setRating(1);
  t[2]->setTitle("Z");
  EXPECT_EQ(diary.take(), "y rating\nZ title\n");
  auto proxy = mutableArrayValueForKey(list, "tracks");
  proxy.remove(2);
  t[2]->setRating(2);
  EXPECT_EQ(diary.take(), "Z rating\n") << "it is in there once more";
  proxy.remove(1);
  proxy.insert(0, t[0]);
  t[2]->setRating(3);
  t[0]->setRating(3);
  EXPECT_EQ(diary.take(), "X rating\n");
  removeObserverForKey(list, "tracks", {"title", "rating"});
  t[0]->setRating(4);
  proxy.append(t[2]);
  t[2]->setRating(4);
  EXPECT_EQ(diary.take(), "");
  for (const auto& track : t) EXPECT_EQ(detail::ObserverMap::ofIfAny(*track), nullptr);
  EXPECT_EQ(observationIdentifierForSubKeyPaths(std::vector<std::string>{"a", "b.c"}), "a+b.c");
}

/// Equal to every other one.
class Twin : public Track {
public:
  using Track::Track;
  bool isEqual(const NSObject& other) const override { return dynamic_cast<const Twin*>(&other) != nullptr; }
  std::size_t hash() const override { return 1; }
};

TEST(BlockObservation, tellsEqualElementsApart) {
  Diary diary;
  Playlist list;
  const auto a = std::make_shared<Twin>("a"), b = std::make_shared<Twin>("b");
  list.setTracks({a});
  addObserverForKey(list, "tracks", {"rating"}, NSKeyValueObservingOptionNone,
                    [&](Twin& twin, std::string_view, const NSKeyValueChange&) { diary.add(twin.title()); });
  list.setTracks({a, b, a});
  a->setRating(1);
  b->setRating(1);
  list.setTracks({b});
  a->setRating(2);
  b->setRating(2);
  EXPECT_EQ(diary.take(), "a\nb\nb\n");
}

}  // namespace
}  // namespace QVFoundation::testing
