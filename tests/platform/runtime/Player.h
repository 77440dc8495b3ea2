#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "QVFoundation/Platform.h"

namespace QVFoundation::testing {

inline constexpr auto none = NSKeyValueObservingOptionNone;

class Artist : public NSObject {
public:
  static const NSClass& staticClass() {
    static const NSClass& cls = *new NSClass(
        NSClass::define<Artist>("Artist", NSObject::staticClass()).stored("name", &Artist::name_));
    return cls;
  }
  const NSClass& dynamicClass() const override { return staticClass(); }

  explicit Artist(std::string name = {}) : name_(std::move(name)) {}
  void setName(const std::string& name) { setValueForKey(name, "name"); }

private:
  std::string name_;
};

/// A property of each kind.
class Track : public NSObject {
public:
  static const NSClass& staticClass() {
    static const NSClass& cls = *new NSClass(NSClass::define<Track>("Track", NSObject::staticClass())
                                                 .property("title", &Track::title, &Track::setTitle)
                                                 .property("rating", &Track::rating, &Track::setRating)
                                                 .stored("artist", &Track::artist_)
                                                 .stored("next", &Track::next_)
                                                 .readOnly("label", &Track::label)
                                                 .affectedBy({"title", "artist.name"})
                                                 .readOnly("loud", &Track::loud)
                                                 .affectedBy({"label", "loud"}));
    return cls;
  }
  const NSClass& dynamicClass() const override { return staticClass(); }

  explicit Track(std::string title = {}, std::shared_ptr<Artist> artist = nullptr)
      : title_(std::move(title)), artist_(std::move(artist)) {}

  std::string title() const {
    const std::lock_guard guard(mutex_);
    return title_;
  }
  void setTitle(std::string title) {
    const ChangeNotice notice(*this, "title");
    const std::lock_guard guard(mutex_);
    title_ = std::move(title);
  }
  int rating() const { return rating_.load(); }
  void setRating(int rating) {
    const ChangeNotice notice(*this, "rating");
    rating_.store(rating);
  }
  void setArtist(std::shared_ptr<Artist> artist) { setValueForKey(std::move(artist), "artist"); }
  void setNext(std::shared_ptr<Track> next) { setValueForKey(std::move(next), "next"); }
  std::string label() const {
    return title() + " by " + valueForKeyPath("artist.name").as<std::string>().value_or("?");
  }
  std::string loud() const { return label() + "!"; }

private:
  mutable std::mutex mutex_;
  std::string title_;
  std::atomic<int> rating_{0};
  std::shared_ptr<Artist> artist_;
  std::shared_ptr<Track> next_;
};

using Tracks = std::vector<std::shared_ptr<Track>>;

/// A list that is a member, and one that is written as a whole by a setter with a notice.
class Playlist : public NSObject {
public:
  static const NSClass& staticClass() {
    static const NSClass& cls =
        *new NSClass(NSClass::define<Playlist>("Playlist", NSObject::staticClass())
                         .stored("tracks", &Playlist::tracks_)
                         .stored("encores", &Playlist::encores_)
                         .property("queue", &Playlist::queue, &Playlist::setQueue)
                         .readOnly("frozen", [](const Playlist&) { return Array{1}; })
                         .readOnly("count", [](const Playlist& list) { return list.tracks_.size(); })
                         .affectedBy({"tracks"}));
    return cls;
  }
  const NSClass& dynamicClass() const override { return staticClass(); }

  const Tracks& tracks() const { return tracks_; }
  void setTracks(const Tracks& tracks) { setValueForKey(tracks, "tracks"); }
  std::vector<int> queue() const { return queue_; }
  void setQueue(std::vector<int> queue) {
    const ChangeNotice notice(*this, "queue");
    queue_ = std::move(queue);
  }

private:
  Tracks tracks_, encores_;
  std::vector<int> queue_;
};

/// What observers have been told, one line each.
class Diary {
public:
  void add(std::string line) {
    const std::lock_guard guard(mutex_);
    text_ += std::move(line) + '\n';
  }
  /// Notes kind, values and indexes of a change under a name.
  auto note(std::string name) {
    return [this, name = std::move(name)](NSObject&, const NSKeyValueChange& change) {
      static constexpr const char* kinds[] = {"", "", "insertion ", "removal ", "replacement "};
      std::string line = name + ": " + kinds[static_cast<int>(change.kind())];
      if (change.isPrior()) line += "prior ";
      if (!change.oldValue().isNothing()) line += shown(change.oldValue()) + ' ';
      if (!change.newValue().isNothing()) line += "-> " + shown(change.newValue());
      if (!change.indexes().empty()) line += " at " + change.indexes().description();
      add(line);
    };
  }
  /// All lines since the last time.
  std::string take() {
    const std::lock_guard guard(mutex_);
    return std::exchange(text_, {});
  }

private:
  static std::string shown(const Value& value) {
    if (const auto track = value.as<std::shared_ptr<Track>>()) return (*track)->title();
    if (value.kind() != ValueKind::array) return value.description();
    std::string text = "[";
    for (const Value& element : value.array()) text += shown(element) + ' ';
    if (text.size() > 1) text.pop_back();
    return text + ']';
  }

  std::mutex mutex_;
  std::string text_;
};

inline constexpr auto newAndOld = NSKeyValueObservingOptionNew | NSKeyValueObservingOptionOld;

}  // namespace QVFoundation::testing
