#pragma once

#include <atomic>
#include <compare>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/Dictionary.h"
#include "QVFoundation/platform/runtime/Value.h"
#include "QVFoundation/platform/text/Described.h"

namespace QVFoundation {

class NSClass;
class NSKeyValueObserver;
class NSLocale;
class NSObject;
enum NSKeyValueObservingOptions : unsigned;

namespace detail {
class ObservationInfo;

/// What a change looks at first in an object's `ObservationInfo`.
struct ObservationHead {
  constexpr explicit ObservationHead(bool itTellsObject) noexcept : tellsObject(itTellsObject) {}

  std::atomic<bool> wantsToKnowBefore{false};
  const bool tellsObject;

  /// Stands in for that of an object that hears of its changes itself, until somebody else does.
  static ObservationHead ofObjectAlone;
};
void tellObject(NSObject& object, std::string_view key) noexcept;
}  // namespace detail

/// The base of everything that has an identity: a class, a description, and properties that can be read and
/// written by name.
///
/// A class lists its properties once, in `staticClass()`; nothing else is needed to reach them by name:
///
/// ```cpp
/// class Track : public NSObject {
/// public:
///   static const NSClass& staticClass();
///   const NSClass& dynamicClass() const override { return staticClass(); }
///
///   const std::string& title() const { return title_; }
///   void setTitle(std::string title) {
///     const ChangeNotice notice(*this, "title");  // observers hear of it when the scope ends
///     title_ = std::move(title);
///   }
///   ...
/// };
///
/// const NSClass& Track::staticClass() {
///   // Never destroyed: objects serve to the end of the process.
///   static const NSClass& cls = *new NSClass(NSClass::define<Track>("Track", NSObject::staticClass())
///                                                .property("title", &Track::title, &Track::setTitle)
///                                                .readOnly("duration", &Track::duration));
///   return cls;
/// }
///
/// track->setValueForKey("Prelude", "title");
/// ```
///
/// Threads: creating and letting go on any thread; for all else each class states its own rule.
/// Ownership: objects are made by `std::make_shared` and held by `std::shared_ptr`; references back are weak.
class QV_EXPORT NSObject : public std::enable_shared_from_this<NSObject> {
public:
  NSObject(const NSObject&) = delete;
  NSObject& operator=(const NSObject&) = delete;
  virtual ~NSObject();

  static const NSClass& staticClass();
  /// The class whose properties the object has, the same for all objects of one C++ type. A class that lists
  /// properties overrides it.
  [[nodiscard]] virtual const NSClass& dynamicClass() const;
  /// The name of the most derived class: as it was given to `NSClass::define`, else its C++ name
  /// without namespaces.
  [[nodiscard]] std::string className() const;

  /// Identity, unless a class overrides it together with `hash`.
  [[nodiscard]] virtual bool isEqual(const NSObject& other) const;
  [[nodiscard]] virtual std::size_t hash() const;
  /// The order in which lists of such objects are sorted. Unless a class overrides it, only what is equal has
  /// one.
  [[nodiscard]] virtual std::partial_ordering compare(const NSObject& other) const;
  /// Raises `NSException` named `NSInvalidArgumentException` unless a class overrides it.
  [[nodiscard]] virtual std::shared_ptr<NSObject> copy() const;

  /// What "%@" prints, by default "<Track: 0x5581…>".
  [[nodiscard]] virtual std::string description() const;
  /// What containers print for an element that stands `indent` levels deep; by default `description()`.
  [[nodiscard]] virtual std::string descriptionWithLocale(const NSLocale* locale, unsigned indent) const;
  [[nodiscard]] virtual std::string debugDescription() const;

  /// The plain description, whatever `description` says: class name and address.
  [[nodiscard]] virtual std::string shortDescription() const;
  /// The object's state for a debugger or a log; by default "__self__" with the short description. Classes
  /// add theirs.
  [[nodiscard]] virtual Dictionary debugDictionary() const;

  /// The value of a property. An unknown key goes to `valueForUndefinedKey`.
  [[nodiscard]] virtual Value valueForKey(std::string_view key) const;
  /// Writes a property. Raises `NSInvalidArgumentException` where the property is read-only or the value does
  /// not fit.
  virtual void setValueForKey(const Value& value, std::string_view key);
  /// The same along a path such as "album.artist.name".
  [[nodiscard]] Value valueForKeyPath(std::string_view keyPath) const;
  /// Past a missing object it writes nothing. A dictionary on the way is a value: it is changed and written
  /// back. What has no keys raises `NSUndefinedKeyException`.
  void setValueForKeyPath(const Value& value, std::string_view keyPath);
  /// Raise `NSUndefinedKeyException` unless a class overrides them to serve keys of its own.
  [[nodiscard]] virtual Value valueForUndefinedKey(std::string_view key) const;
  virtual void setValueForUndefinedKey(const Value& value, std::string_view key);

  /// Has an observer told of the changes of a property, or of whatever a path such as "album.artist.name" leads to;
  /// `NSKeyValueObserving.h` tells how, and has a simpler form. The object keeps the observer.
  void addObserver(std::shared_ptr<NSKeyValueObserver> observer, std::string_view keyPath,
                   NSKeyValueObservingOptions options, const void* context = nullptr);
  /// Ends the last such registration. Raises `NSInternalInconsistencyException` where there is none.
  void removeObserver(const NSKeyValueObserver& observer, std::string_view keyPath,
                      const void* context = nullptr);
  /// False where nobody has ever observed the object, so that there is nobody to tell of a change.
  [[nodiscard]] bool mayBeObserved() const noexcept {
    return observations_.load(std::memory_order_acquire) != nullptr;
  }
  /// Whether somebody may want to know a value before it changes, or that it is going to.
  [[nodiscard]] bool mayBeObservedBeforeChange() const noexcept {
    const detail::ObservationHead* const head = observations_.load(std::memory_order_acquire);
    return head != nullptr && head->wantsToKnowBefore.load(std::memory_order_acquire);
  }

protected:
  NSObject() = default;
  /// For a class that acts on notices of changes of its own objects, whoever gives them: `valueDidChange` is
  /// called, once all observers have heard. It costs each of its changes some nanoseconds.
  struct HearsOwnChanges {};
  explicit NSObject(HearsOwnChanges /*tag*/) noexcept;

private:
  friend class detail::ObservationInfo;
  friend void detail::tellObject(NSObject& object, std::string_view key) noexcept;

  virtual void valueDidChange(std::string_view key) noexcept;

  std::atomic<detail::ObservationHead*> observations_{nullptr};  // null until somebody takes an interest
};

}  // namespace QVFoundation
