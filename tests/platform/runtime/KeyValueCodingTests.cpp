#include "QVFoundation/platform/runtime/KeyValueCoding.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/Dictionary.h"
#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/runtime/Set.h"
#include "tests/platform/runtime/RaisedException.h"

namespace QVFoundation {
namespace {

using ::testing::HasSubstr;
using testing::raisedBy;

class Artist : public NSObject {
public:
  explicit Artist(std::string name = "") : name_(std::move(name)) {}
  static const NSClass& staticClass();
  const NSClass& dynamicClass() const override { return staticClass(); }

  const std::string& name() const { return name_; }
  void setName(std::string name) { name_ = std::move(name); }

private:
  std::string name_;
};

const NSClass& Artist::staticClass() {
  static const NSClass cls = NSClass::define<Artist>("Artist", NSObject::staticClass())
                                 .property("name", &Artist::name, &Artist::setName);
  return cls;
}

class Track : public NSObject {
public:
  static const NSClass& staticClass();
  const NSClass& dynamicClass() const override { return staticClass(); }

  std::uint8_t rating() const { return rating_; }
  void setRating(std::uint8_t rating) { rating_ = rating; }
  std::shared_ptr<Artist> artist() const { return artist_; }
  void setArtist(std::shared_ptr<Artist> artist) { artist_ = std::move(artist); }
  double duration() const { return 12.5; }

  std::optional<std::string> comment;
  Dictionary info;
  std::vector<std::shared_ptr<Artist>> guests;

private:
  std::uint8_t rating_ = 0;
  std::shared_ptr<Artist> artist_;
};

const NSClass& Track::staticClass() {
  static const NSClass cls =
      NSClass::define<Track>("Track", NSObject::staticClass())
          .property("rating", &Track::rating, &Track::setRating)
          .property("artist", &Track::artist, &Track::setArtist)
          .property("comment", &Track::comment,
                    [](Track& track, auto text) { track.comment = std::move(text); })
          .property("info", &Track::info, [](Track& track, Dictionary info) { track.info = std::move(info); })
          .property("guests", &Track::guests,
                    [](Track& track, auto guests) { track.guests = std::move(guests); })
          .readOnly("duration", &Track::duration);
  return cls;
}

/// Serves keys that no class lists.
class Open : public Track {
public:
  Value valueForUndefinedKey(std::string_view key) const override { return "any " + std::string(key); }
  void setValueForUndefinedKey(const Value& value, std::string_view key) override { info.set(key, value); }
};

std::shared_ptr<Track> sampleTrack() {
  auto track = std::make_shared<Track>();
  track->setArtist(std::make_shared<Artist>("Nina"));
  track->guests = {std::make_shared<Artist>("Ada"), std::make_shared<Artist>("Bob")};
  track->info = {{"label", Dictionary{{"city", "Oslo"}}}};
  return track;
}

TEST(KeyValueCoding, readsAlongPaths) {
  const auto track = sampleTrack();
  const auto empty = std::make_shared<Track>();
  const struct {
    const char* path;
    Value object, want;
  } cases[] = {
      {"duration", track, 12.5},
      {"artist.name", track, "Nina"},
      {"artist", empty, nullptr},
      {"artist.name.and.more", empty, nullptr},
      {"comment", track, nullptr},
      {"rating.more", track, nullptr},
      {"info.label.city", track, "Oslo"},
      {"info.label.missing.more", track, nullptr},
      {"guests.name", track, Array{"Ada", "Bob"}},
      {"artist.name", Array{track, empty, Dictionary{}}, Array{"Nina", NSNull{}, NSNull{}}},
      {"name", Set{track->artist()}, Array{"Nina"}},
      {"a", Array{Array{Dictionary{{"a", 1}}}, 2}, Array{Value(Array{1}), NSNull{}}},
      {"a..b", Dictionary{{"a", Dictionary{{"", Dictionary{{"b", 1}}}}}}, 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.path);
    EXPECT_EQ(valueForKeyPath(c.object, c.path), c.want);
    if (const auto object = c.object.object()) {
      EXPECT_EQ(object->valueForKeyPath(c.path), c.want);
    }
  }
}

TEST(KeyValueCoding, writesAlongPaths) {
  const struct {
    const char* path;
    Value value;
  } cases[] = {
      {"rating", 5.0},         {"artist.name", "Ella"}, {"artist", nullptr},         {"comment", "live"},
      {"comment", nullptr},    {"guests", Array{}},     {"info.label.city", "Rome"}, {"info.year", 1964},
      {"info.label", nullptr},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.path);
    const auto track = sampleTrack();
    track->setValueForKeyPath(c.value, c.path);
    EXPECT_EQ(track->valueForKeyPath(c.path), c.value);
    track->setValueForKeyPath(track->valueForKeyPath(c.path), c.path);
    EXPECT_EQ(track->valueForKeyPath(c.path), c.value) << "what was read can be written";
  }
  const auto track = std::make_shared<Track>();
  EXPECT_NO_THROW(track->setValueForKeyPath("Ella", "artist.name")) << "there is no artist to name";
}

TEST(KeyValueCoding, refusesWhatDoesNotFitWithAReasonThatNamesIt) {
  const struct {
    const char* path;
    Value value;
    std::string_view exception, reason;
  } cases[] = {
      {"duration", 3, NSInvalidArgumentException, "\"duration\""},
      {"rating", 256, NSInvalidArgumentException, "cannot be set to 256"},
      {"rating", nullptr, NSInvalidArgumentException, "\"rating\""},
      {"comment", 5, NSInvalidArgumentException, "\"comment\""},
      {"artist", std::make_shared<Track>(), NSInvalidArgumentException, "\"artist\""},
      {"guests", Array{1}, NSInvalidArgumentException, "\"guests\""},
      {"tempo", 1, NSUndefinedKeyException, "\"tempo\""},
      {"artist.tempo", 1, NSUndefinedKeyException, "<Artist: 0x"},
      {"", 1, NSUndefinedKeyException, "\"\""},
      {"rating.more", 1, NSUndefinedKeyException, "\"rating\""},
      {"guests.name", "x", NSUndefinedKeyException, "\"guests\""},
      {"info.label", 1, "none", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.path);
    const auto track = sampleTrack();
    track->comment = "live";
    const auto raised = raisedBy([&] { track->setValueForKeyPath(c.value, c.path); });
    EXPECT_EQ(raised.name, c.exception);
    EXPECT_THAT(raised.reason, HasSubstr(c.reason));
    EXPECT_EQ(track->comment, "live");
    EXPECT_EQ(track->rating(), 0);
    EXPECT_EQ(track->artist()->name(), "Nina");
  }
  const auto raised = raisedBy([] { (void)sampleTrack()->valueForKeyPath("artist.tempo"); });
  EXPECT_EQ(raised.name, NSUndefinedKeyException);
  EXPECT_THAT(raised.reason, HasSubstr("\"tempo\""));
}

TEST(KeyValueCoding, asksAClassThatServesKeysOfItsOwn) {
  const auto open = std::make_shared<Open>();
  EXPECT_EQ(open->valueForKey("key"), "any key");
  EXPECT_EQ(open->valueForKey("duration"), 12.5) << "what the superclass lists comes first";
  open->setValueForKey(1, "key");
  EXPECT_EQ(open->info["key"], 1);
}

}  // namespace
}  // namespace QVFoundation
