#include <atomic>
#include <thread>

#include <gmock/gmock.h>

#include "QVFoundation/Platform.h"
#include "tests/platform/runtime/RaisedException.h"

namespace QVFoundation {

class Track : public NSObject {
public:
  static const NSClass& staticClass();
  const NSClass& dynamicClass() const override { return staticClass(); }
  void setRating(std::uint8_t its) { rating = its; }

  std::uint8_t rating = 0;
  std::shared_ptr<Track> original;
  std::optional<std::string> title;
  Dictionary info;
  std::vector<std::shared_ptr<Track>> covers;
};

const NSClass& Track::staticClass() {
  const auto setterOf = [](auto member) {
    return [member](Track& track, auto content) { track.*member = std::move(content); };
  };
  static const NSClass& cls =
      *new NSClass(NSClass::define<Track>("PlayerTrack", NSObject::staticClass())
                       .property("rating", &Track::rating, &Track::setRating)
                       .property("original", &Track::original, setterOf(&Track::original))
                       .property("title", &Track::title, setterOf(&Track::title))
                       .property("info", &Track::info, setterOf(&Track::info))
                       .property("covers", &Track::covers, setterOf(&Track::covers))
                       .readOnly("duration", [](const Track&) { return 12.5; }));
  return cls;
}

template <class T>
class Cache : public NSObject {
public:
  class Entry : public NSObject {};
};

namespace {

using ::testing::ContainsRegex;
using testing::raisedBy;
using ::testing::StartsWith;

/// Serves keys that no class lists, and is not an object alone.
class OpenTrack : public std::exception, public Track {
public:
  Value valueForUndefinedKey(std::string_view key) const override { return "any " + std::string(key); }
  void setValueForUndefinedKey(const Value& value, std::string_view key) override { info.set(key, value); }
};

std::shared_ptr<Track> trackOf(const char* title) {
  auto track = std::make_shared<Track>();
  track->title = title;
  track->info = {{"label", Dictionary{{"city", "Oslo"}}}};
  return track;
}

std::shared_ptr<Track> sampleTrack() {
  auto track = trackOf("One");
  track->original = trackOf("Zero");
  track->covers = {trackOf("Two"), trackOf("Three")};
  return track;
}

TEST(NSObject, isNamedAfterItsMostDerivedClass) {
  class Local : public NSObject {};
  const std::pair<std::shared_ptr<NSObject>, std::string> cases[] = {
      {Track::staticClass().make(), "PlayerTrack"},
      {std::make_shared<OpenTrack>(), "OpenTrack"},
      {std::make_shared<Cache<std::vector<Track>>>(), "Cache"},
      {std::make_shared<Cache<int>::Entry>(), "Entry"},
      {std::make_shared<Local>(), "Local"},
  };
  for (const auto& [object, name] : cases) {
    EXPECT_THAT(object->description(), StartsWith('<' + name + ": 0x"));
    EXPECT_EQ(object->debugDictionary()["__self__"], object->shortDescription());
    EXPECT_THAT(raisedBy([&] { (void)object->copy(); }), StartsWith(NSInvalidArgumentException));
    EXPECT_TRUE(object->isEqual(*object) && !object->isEqual(OpenTrack()));
  }
  EXPECT_EQ(dottedTypeName(typeid(Cache<Track>::Entry)), "QVFoundation.Cache<QVFoundation.Track>.Entry");
  EXPECT_EQ(demangledSymbol("f"), "f") << "a function of C is no type";
  EXPECT_EQ(NSError::staticClass().make(), nullptr);
}

TEST(NSClass, isFoundByNameWhileItLivesTheFirstOfANameBeforeOthers) {
  std::optional<NSClass> first(std::in_place, "Twin", NSObject::staticClass());
  std::optional<NSClass> second(std::in_place, "Twin", NSObject::staticClass());
  std::optional<NSClass> third(std::in_place, "Twin", NSObject::staticClass());
  second.reset();
  EXPECT_EQ(NSClass::named("Twin"), &*first);
  first.reset();
  EXPECT_EQ(NSClass::named("Twin"), &*third);
  third.reset();
  EXPECT_EQ(NSClass::named("Twin"), nullptr);
}

TEST(NSClass, registersAndIsFoundOnSeveralThreads) {
  const NSClass& track = Track::staticClass();
  std::atomic<int> faults = 0;
  std::vector<std::jthread> threads;
  for (const char* name : {"Registered", "Registered", "Other", "Other"}) {
    threads.emplace_back([name, &track, &faults] {
      for (int i = 0; i < 200; ++i) {
        const NSClass cls(name, NSObject::staticClass());
        faults += NSClass::named(name) == nullptr || NSClass::named("PlayerTrack") != &track;
      }
    });
  }
  threads.clear();
  EXPECT_EQ(faults, 0);
  EXPECT_EQ(NSClass::named("Registered"), nullptr);
}

TEST(NSClass, listsInheritedPropertiesFirstAndOverriddenOnesOnce) {
  const auto constant = [](int number) { return [number](const NSObject&) { return number; }; };
  auto parts = NSClass::define<NSObject>("Base", Track::staticClass());
  const NSClass base = std::move(parts).readOnly("b", constant(1)).readOnly("title", constant(2));
  std::string names;
  for (const NSProperty* property : base.properties()) names += property->name + ' ';
  EXPECT_EQ(names, "rating original info covers duration b title ");
  EXPECT_EQ(base.property("title")->get(OpenTrack()), 2);
  EXPECT_TRUE(base.isSubclassOf(Track::staticClass()) && !Track::staticClass().isSubclassOf(base));
}

TEST(KeyValueCoding, readsAlongPaths) {
  const auto track = sampleTrack();
  const auto empty = std::make_shared<Track>();
  const struct {
    const char* path;
    Value object, want;
  } cases[] = {
      {"duration", track, 12.5},
      {"original.title", track, "Zero"},
      {"original.title.and.more", empty, nullptr},
      {"title", Set{track}, Array{"One"}},
      {"info.label.city", track, "Oslo"},
      {"covers.title", track, Array{"Two", "Three"}},
      {"title", Array{track, empty, Dictionary{}}, Array{"One", NSNull{}, NSNull{}}},
      {"a", Array{Array{Dictionary{{"a", 1}}}, 2}, Array{Value(Array{1}), NSNull{}}},
      {"a..b", Dictionary{{"a", Dictionary{{"", Dictionary{{"b", 1}}}}}}, 1},
  };
  for (const auto& [path, object, want] : cases) EXPECT_EQ(valueForKeyPath(object, path), want) << path;
  EXPECT_THAT(raisedBy([&] { (void)track->valueForKeyPath("original.tempo"); }),
              ContainsRegex("^NSUndefinedKeyException: .*\"tempo\""));
}

TEST(KeyValueCoding, writesAlongPathsWhatCanBeReadThere) {
  const std::pair<const char*, Value> cases[] = {
      {"rating", 5.0},     {"original.title", "x"},     {"original", nullptr},
      {"title", "x"},      {"title", nullptr},          {"covers", Array{}},
      {"info.year", 1964}, {"info.label.city", "Rome"}, {"info.label", nullptr}};
  for (const auto& [path, value] : cases) {
    const auto track = sampleTrack();
    for (int i = 0; i < 2; ++i) {
      track->setValueForKeyPath(i == 0 ? value : track->valueForKeyPath(path), path);
      EXPECT_EQ(track->valueForKeyPath(path), value) << path;
    }
  }
  EXPECT_NO_THROW(Track().setValueForKeyPath("x", "original.title")) << "there is no original";
}

TEST(KeyValueCoding, refusesWhatDoesNotFitWithAReasonThatNamesIt) {
  const struct {
    const char* path;
    Value value;
    const char* want;
  } cases[] = {
      {"duration", 3, "NSInvalidArgumentException: .*\"duration\""},
      {"rating", 256, "NSInvalidArgumentException: .*cannot be set to 256"},
      {"original", std::make_shared<Cache<int>>(), "NSInvalidArgumentException: .*\"original\""},
      {"covers", Array{1}, "NSInvalidArgumentException: .*\"covers\""},
      {"original.tempo", 1, "NSUndefinedKeyException: <PlayerTrack: 0x.*\"tempo\""},
      {"rating.more", 1, "NSUndefinedKeyException: .*\"rating\""},
      {"covers.title", "x", "NSUndefinedKeyException: .*\"covers\""},
  };
  for (const auto& [path, value, want] : cases) {
    const auto track = sampleTrack();
    EXPECT_THAT(raisedBy([&] { track->setValueForKeyPath(value, path); }), ContainsRegex(want));
    EXPECT_TRUE(track->rating == 0 && track->title == "One" && track->original && !track->covers.empty());
  }
}

TEST(KeyValueCoding, asksAClassThatServesKeysOfItsOwn) {
  OpenTrack open;
  EXPECT_EQ(open.valueForKey("key"), "any key");
  EXPECT_EQ(open.valueForKey("duration"), 12.5) << "what the superclass lists comes first";
  open.setValueForKey(1, "key");
  EXPECT_EQ(open.info["key"], 1);
}

}  // namespace
}  // namespace QVFoundation
