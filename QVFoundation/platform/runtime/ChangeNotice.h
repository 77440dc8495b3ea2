#pragma once

#include <exception>
#include <memory>
#include <string_view>
#include <utility>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/IndexSet.h"
#include "QVFoundation/platform/runtime/NSKeyValueChange.h"
#include "QVFoundation/platform/runtime/NSObject.h"

namespace QVFoundation {

namespace detail {
struct PendingChange;

/// What is about to change, or has changed.
struct ChangeSite {
  NSObject& object;
  std::string_view key;
  NSKeyValueChangeKind kind = NSKeyValueChangeKind::setting;
  const IndexSet* indexes = nullptr;
};

/// Tells observers what they want to know before a change; keeps what has to be known after it.
QV_EXPORT PendingChange* willChange(const ChangeSite& site);
/// Tells observers after it, and takes the pending change back.
QV_EXPORT void didChange(const ChangeSite& site, PendingChange* pending) noexcept;
/// The same for a property as a whole; what is passed stays in registers.
QV_EXPORT void didChange(NSObject& object, std::string_view key, PendingChange* pending) noexcept;
/// What became of the elements is not known: tells of a change of the whole property.
QV_EXPORT void didChangeSomehow(NSObject& object, std::string_view key, PendingChange* pending) noexcept;
}  // namespace detail

/// Tells the observers of a property that it changes while this object exists.
///
/// ```cpp
/// void Track::setTitle(std::string title) {
///   const ChangeNotice notice(*this, "title");
///   title_ = std::move(title);
/// }  // observers hear of it here
/// ```
///
/// An object that nobody observes pays for a look at one pointer when the notice is made and one when it
/// goes. The second look is what keeps an observer that arrives in between from missing the change.
///
/// Several properties that change together each have a notice; then all are written before anybody hears.
///
/// Threads: the object must not be let go of while its notice exists. Observers run in here, so hold no lock
/// that they may take; a class whose objects are shared locks between the notice and the write.
/// Errors: what a getter throws when the old value is asked for, before anything has changed.
class ChangeNotice {
public:
  /// The key must outlive the notice; mostly it is a literal.
  [[nodiscard]] ChangeNotice(NSObject& object, std::string_view key) : object_(object), key_(key) {
    if (object.mayBeObservedBeforeChange()) [[unlikely]]
      pending_ = detail::willChange({object_, key_});
  }
  ChangeNotice(const ChangeNotice&) = delete;
  ChangeNotice& operator=(const ChangeNotice&) = delete;
  ~ChangeNotice() {
    if (object_.mayBeObserved()) [[unlikely]]
      detail::didChange(object_, key_, pending_);
  }

private:
  NSObject& object_;
  const std::string_view key_;
  detail::PendingChange* pending_ = nullptr;
};

/// The same for the elements of a to-many property: observers hear what was inserted, removed or replaced,
/// and where.
///
/// ```cpp
/// void Playlist::insertTrack(std::shared_ptr<Track> track, std::size_t index) {
///   const ToManyChangeNotice notice(*this, "tracks", NSKeyValueChangeKind::insertion, {index});
///   tracks_.insert(tracks_.begin() + index, std::move(track));
/// }
/// ```
///
/// The indexes of an insertion are those that the elements have after it, those of a removal are those before
/// it. Where an exception ends the notice, observers hear of a change of the whole property instead.
///
/// Threads: as for `ChangeNotice`.
class ToManyChangeNotice {
public:
  [[nodiscard]] ToManyChangeNotice(NSObject& object, std::string_view key, NSKeyValueChangeKind kind,
                                   IndexSet indexes)
      : object_(object), key_(key), kind_(kind), indexes_(std::move(indexes)) {
    if (object.mayBeObservedBeforeChange()) pending_ = detail::willChange({object_, key_, kind_, &indexes_});
  }
  ToManyChangeNotice(const ToManyChangeNotice&) = delete;
  ToManyChangeNotice& operator=(const ToManyChangeNotice&) = delete;
  ~ToManyChangeNotice() {
    if (!object_.mayBeObserved()) return;
    if (std::uncaught_exceptions() > exceptions_) {
      detail::didChangeSomehow(object_, key_, pending_);
    } else {
      detail::didChange({object_, key_, kind_, &indexes_}, pending_);
    }
  }

private:
  NSObject& object_;
  const std::string_view key_;
  const NSKeyValueChangeKind kind_;
  const IndexSet indexes_;
  const int exceptions_ = std::uncaught_exceptions();
  detail::PendingChange* pending_ = nullptr;
};

}  // namespace QVFoundation
