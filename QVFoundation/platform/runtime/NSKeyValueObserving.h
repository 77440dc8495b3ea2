#pragma once

#include <concepts>
#include <functional>
#include <memory>
#include <string_view>
#include <type_traits>
#include <utility>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/NSKeyValueChange.h"
#include "QVFoundation/platform/runtime/NSObject.h"

/// Key-value observing: hearing of the changes of any property of any object, by name.
///
/// ```cpp
/// const auto observation = observe(*track, "title", [](Track& track, const NSKeyValueChange&) {
///   show(track.title());
/// });
/// ```
///
/// A dotted path such as "album.artist.name" follows the objects on its way: when the album gets another
/// artist, that artist is observed from then on. A property that depends on others
/// (`NSClassDefinition::affectedBy`) is reported when they change. Collections on the way are not entered;
/// their elements are observed one by one. Setters send the notifications, see `ChangeNotice`.
///
/// Threads: observers may be added and removed, and objects changed, on any thread at the same time. A task
/// runs on the thread that changes the property, with no lock of the library's held. A removal that has
/// returned means that the task is not running on another thread and will not run again; only one that is
/// made from inside a notification does not wait, so that two observers may remove each other. Who removes an
/// observer must therefore hold no lock that its task takes.
/// Ownership: the object owns its observers until they are removed. One that dies while it is observed drops
/// them. Inside a notification everything may be let go of, the observer and the object included.
/// Errors: a key that the object does not have raises `NSException` named `NSUndefinedKeyException` when the
/// observation begins, and an empty task `NSInvalidArgumentException`. A path that comes to lead to an object
/// without the next key is reported on standard error and ends there. An exception that leaves a task ends
/// the process through `fatalError`.
namespace QVFoundation {

namespace detail {
class KeyValueRegistration;
}

/// Hears of changes that it has been registered for with `NSObject::addObserver`.
///
/// Threads: called on the threads that change what it observes, also on several at once.
class QV_EXPORT NSKeyValueObserver {
public:
  NSKeyValueObserver(const NSKeyValueObserver&) = delete;
  NSKeyValueObserver& operator=(const NSKeyValueObserver&) = delete;
  virtual ~NSKeyValueObserver();

  /// `object` is the one that was given to `addObserver`, also where another one on the path has changed;
  /// `context` is that of the registration. A class that gets a context which it does not know passes it to
  /// its base; this one raises `NSInternalInconsistencyException`.
  virtual void observeValueForKeyPath(std::string_view keyPath, NSObject& object,
                                      const NSKeyValueChange& change, const void* context);

protected:
  NSKeyValueObserver() = default;
};

/// An observation that lasts as long as this handle, or until the object is gone.
///
/// Threads: one thread at a time; see above for what destroying it means to a task that runs.
class QV_EXPORT NSKeyValueObservation {
public:
  NSKeyValueObservation() noexcept = default;
  NSKeyValueObservation(NSKeyValueObservation&&) noexcept = default;
  NSKeyValueObservation& operator=(NSKeyValueObservation&& other) noexcept {
    invalidate();
    registration_ = std::move(other.registration_);
    return *this;
  }
  ~NSKeyValueObservation() { invalidate(); }

  /// Ends the observation; the second time it does nothing.
  void invalidate() noexcept;

  using Task = std::function<void(NSObject& object, const NSKeyValueChange& change)>;
  [[nodiscard]] static NSKeyValueObservation begin(NSObject& object, std::string_view keyPath,
                                                   NSKeyValueObservingOptions options, Task task);

private:
  std::shared_ptr<detail::KeyValueRegistration> registration_;
};

namespace detail {

/// Whether a callable is a null pointer or an empty function.
template <class Task>
bool isMissing(const Task& task) {
  if constexpr (std::is_constructible_v<Task, std::nullptr_t>) return task == nullptr;
  return false;
}
[[noreturn]] QV_EXPORT void raiseMissingTask(const NSObject& object, std::string_view keyPath);

/// Raises where there is no task.
template <class Task>
Task checkedTask(Task task, const NSObject& object, std::string_view keyPath) {
  if (isMissing(task)) raiseMissingTask(object, keyPath);
  return task;
}

/// Turns a task that takes an object of a class into one that takes any object; none stays none.
template <class T, class Task>
NSKeyValueObservation::Task taskForAnyObject(Task task) {
  if (isMissing(task)) return nullptr;
  if constexpr (std::same_as<Task, std::nullptr_t>) {
    return nullptr;
  } else {
    return [task = std::move(task)](NSObject& object, const NSKeyValueChange& change) mutable {
      std::invoke(task, static_cast<T&>(object), change);
    };
  }
}

}  // namespace detail

/// Calls a task with the object and the change whenever a property, or one on the way to it, changes.
template <std::derived_from<NSObject> T, class Task>
  requires std::invocable<Task&, T&, const NSKeyValueChange&>
[[nodiscard]] NSKeyValueObservation observe(T& object, std::string_view keyPath,
                                            NSKeyValueObservingOptions options, Task task) {
  return NSKeyValueObservation::begin(object, keyPath, options, detail::taskForAnyObject<T>(std::move(task)));
}
template <std::derived_from<NSObject> T, class Task>
  requires std::invocable<Task&, T&, const NSKeyValueChange&>
[[nodiscard]] NSKeyValueObservation observe(T& object, std::string_view keyPath, Task task) {
  return observe(object, keyPath, NSKeyValueObservingOptionNone, std::move(task));
}

}  // namespace QVFoundation
