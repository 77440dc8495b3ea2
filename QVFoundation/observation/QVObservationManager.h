#pragma once

#include <concepts>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "QVFoundation/observation/KDBlockObservation.h"
#include "QVFoundation/observation/KeyPathPublisher.h"
#include "QVFoundation/observation/QVObservationInfo.h"
#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/application/LateCancellable.h"
#include "QVFoundation/platform/application/NSNotificationCenter.h"
#include "QVFoundation/platform/application/Publisher.h"
#include "QVFoundation/platform/concurrency/Scheduler.h"
#include "QVFoundation/values/QVObject.h"

namespace QVFoundation {

/// Keeps all that an object observes, so that it can end one observation by its identifier, or all at once;
/// all end with the manager.
///
/// ```cpp
/// class TrackView {
///   ...
///   std::shared_ptr<QVObservationManager> observations_ = std::make_shared<QVObservationManager>();
/// };
///
/// observations_->addObserverOfObject(*track, "title", [this](Track& track, const NSKeyValueChange&) {
///   label_.setText(track.title());
/// });
/// observations_->addObserverOfObject(*playlist, "tracks", {"title", "rating"}, NSKeyValueObservingOptionNone, "rows",
///                                    [this](Track& track, std::string_view, const NSKeyValueChange&) {
///                                      redraw(track);
///                                    });
/// ```
///
/// Identifiers belong to one manager: another one may use the same. Observing the same object and key path
/// again under the same identifier takes the place of what was there. Mind that
///
/// - a pair of will-change and did-change tasks and a plain observation without identifier, of the same key
///   path, are the same in this sense: the later replaces the earlier;
/// - so are two families (below) on one list with one identifier, whatever their sub key paths;
/// - so are the registrations on one element and key path with one identifier: those of two families that
///   both have it, or of a family and a plain one. When the element leaves the later family, nothing is left
///   of the earlier.
///
/// Threads: any, at the same time. Tasks run on the thread that changes or posts, and no lock of the manager
/// is held meanwhile. A removal that has returned means that the task is not running on another thread and
/// will not run again; only one that is made from inside a task or from inside `withObservationLock` does not
/// wait. So do not remove, nor let go of the manager, while you hold a lock that a task takes.
/// Ownership: objects that are observed must be held by a `std::shared_ptr`, and are not kept. Those that are
/// gone are skipped. The manager may be let go of from inside its own tasks.
/// Errors: removing what is not there is reported as `removeObserverForKeyPath` does. An empty task, or a
/// null notification centre, raises `NSInvalidArgumentException`. All else is as in `KDBlockObservation.h`.
class QV_EXPORT QVObservationManager : public QVObject {
public:
  using Identifier = std::optional<std::string>;
  using NotificationTask = std::function<void(const NSNotification& notification)>;

  static const NSClass& staticClass();
  [[nodiscard]] const NSClass& dynamicClass() const override { return staticClass(); }

  using NSObject::addObserver;  // for those who observe a manager

  QVObservationManager();
  /// Removes all observers.
  ~QVObservationManager() override;

  // Properties of objects

  /// Calls the task with the object and the change whenever what the key path leads to changes.
  template <std::derived_from<NSObject> T, detail::ObservationTaskFor<T> Task>
  void addObserverOfObject(T& object, std::string_view keyPath, NSKeyValueObservingOptions options,
                           const Identifier& identifier, Task task) {
    addAnyObserver(object, keyPath, options, identifier, detail::taskForAnyObject<T>(std::move(task)));
  }
  template <std::derived_from<NSObject> T, detail::ObservationTaskFor<T> Task>
  void addObserverOfObject(T& object, std::string_view keyPath, const Identifier& identifier, Task task) {
    addObserverOfObject(object, keyPath, NSKeyValueObservingOptionNone, identifier, std::move(task));
  }
  template <std::derived_from<NSObject> T, detail::ObservationTaskFor<T> Task>
  void addObserverOfObject(T& object, std::string_view keyPath, Task task) {
    addObserverOfObject(object, keyPath, std::nullopt, std::move(task));
  }
  /// Calls one task before each change and one after it. Either may be null.
  template <std::derived_from<NSObject> T, detail::OptionalObservationTaskFor<T> WillTask,
            detail::OptionalObservationTaskFor<T> DidTask>
  void addObserverOfObject(T& object, std::string_view keyPath, NSKeyValueObservingOptions options,
                           WillTask willChangeTask, DidTask didChangeTask) {
    addWillDidObserver(object, keyPath, options, detail::taskForAnyObject<T>(std::move(willChangeTask)),
                       detail::taskForAnyObject<T>(std::move(didChangeTask)));
  }
  template <std::derived_from<NSObject> T, detail::OptionalObservationTaskFor<T> WillTask,
            detail::OptionalObservationTaskFor<T> DidTask>
  void addObserverOfObject(T& object, std::string_view keyPath, WillTask willChangeTask,
                           DidTask didChangeTask) {
    addObserverOfObject(object, keyPath, NSKeyValueObservingOptionNone, std::move(willChangeTask),
                        std::move(didChangeTask));
  }
  void removeObserverOfObject(NSObject& object, std::string_view keyPath,
                              const Identifier& identifier = std::nullopt);

  // Families: sub key paths of every element of a list

  /// Observes the sub key paths of each element of a list for as long as it is in there; the task gets the
  /// element, the sub key path and the change. An element that is in the list several times is observed once;
  /// elements are told apart by identity. The list is a property, or a path to one. A task that takes a class
  /// of its own, such as `Track&`, is not called for elements of others.
  template <detail::ElementTask Task>
  void addObserverOfObject(NSObject& object, std::string_view keyPath, std::vector<std::string> subKeyPaths,
                           NSKeyValueObservingOptions options, const Identifier& identifier, Task task) {
    addFamily(object, keyPath, std::move(subKeyPaths), options, identifier,
              detail::taskForAnyElement(std::move(task)));
  }
  /// Ends the whole family, which is known by its list and identifier; does nothing where there is none.
  void removeObserverOfObject(NSObject& object, std::string_view keyPath,
                              const std::vector<std::string>& subKeyPaths,
                              const Identifier& identifier = std::nullopt);

  /// For lists that are no property: ends what was observed of the elements that a change took out, then
  /// observes those that it put in. `identifier` is an expanded one; object, sub key paths and identifier say
  /// which list it is. A change from the whole list to an empty one ends it, and needs no task.
  void updateObservationsForObject(NSObject& object, const NSKeyValueChange& change,
                                   const std::vector<std::string>& subKeyPaths,
                                   NSKeyValueObservingOptions options, const std::string& identifier,
                                   const ElementObservationTask& task);

  // Notifications

  /// Calls the task, on the thread that posts, for each notification of that name (any, where it is absent)
  /// about that object (any or none, where it is null). Register the same three once: a second registration
  /// is one more, and `removeObserverForNotificationCenter` then removes the second alone.
  void addObserverForNotificationCenter(const std::shared_ptr<NSNotificationCenter>& center,
                                        const std::optional<std::string>& name,
                                        const std::shared_ptr<NSObject>& object, NotificationTask task);
  void addObserverForNotificationCenter(const std::shared_ptr<NSNotificationCenter>&, std::nullptr_t,
                                        const std::shared_ptr<NSObject>&, NotificationTask) = delete;
  void removeObserverForNotificationCenter(const std::shared_ptr<NSNotificationCenter>& center,
                                           const std::optional<std::string>& name,
                                           const std::shared_ptr<NSObject>& object);
  [[nodiscard]] std::string identifierForNotificationCenter(
      const std::shared_ptr<NSNotificationCenter>& center, const std::optional<std::string>& name,
      const std::shared_ptr<NSObject>& object) const;
  /// All that is registered with a centre.
  [[nodiscard]] std::vector<std::shared_ptr<NSObject>> tokensForNotificationCenter(
      const std::shared_ptr<NSNotificationCenter>& center) const;

  // Publishers

  /// Has the values of a publisher brought to a callable, on a scheduler (null: where they are sent), until
  /// it completes or the manager ends it.
  template <class Output>
  void receiveFromPublisher(const Publisher<Output>& publisher, std::shared_ptr<Scheduler> scheduler,
                            std::function<void(const Completion&)> receiveCompletion,
                            std::type_identity_t<std::function<void(const Output&)>> receiveValue) {
    // The manager may go before the publisher has returned the subscription.
    const auto late = std::make_shared<detail::LateCancellable>();
    addCancellable(Cancellable([late] { late->cancel(); }));
    late->hold(
        publisher.receiveOn(std::move(scheduler))
            .sink(
                [late, receiveValue = std::move(receiveValue)](const Output& value) {
                  if (!late->isCancelled()) receiveValue(value);
                },
                [late, receiveCompletion = std::move(receiveCompletion)](const Completion& completion) {
                  if (receiveCompletion && !late->isCancelled()) receiveCompletion(completion);
                  late->cancel();
                }));
  }
  template <class Output>
  void receiveFromPublisher(const Publisher<Output>& publisher, std::shared_ptr<Scheduler> scheduler,
                            std::type_identity_t<std::function<void(const Output&)>> receiveValue) {
    receiveFromPublisher(publisher, std::move(scheduler), {}, std::move(receiveValue));
  }

  /// Calls the task with each new value of what the key path leads to, as a `Content`; values of other types
  /// are passed over.
  template <class Content, class Task>
    requires std::invocable<Task&, const Content&>
  void addObserver(NSObject& object, std::string_view keyPath, Task task,
                   std::shared_ptr<Scheduler> scheduler = nullptr) {
    receiveFromPublisher(keyPathPublisher<Content>(sharedReference(object, keyPath), keyPath),
                         std::move(scheduler), std::function<void(const Content&)>(std::move(task)));
  }

  void addCancellable(Cancellable cancellable);

  // All of them

  void removeAllObservers();
  void removeAllCancellables();

  /// Runs a block while no other thread adds or removes anything here.
  void withObservationLock(const std::function<void()>& block);

  /// The identifier under which this manager registers what it is given: it begins with the manager's
  /// address.
  [[nodiscard]] std::string identifierForInputIdentifier(const Identifier& identifier) const;
  /// The observations of properties, in the order of registration.
  [[nodiscard]] std::vector<std::shared_ptr<QVObservationInfo>> observationInfos() const;
  [[nodiscard]] Dictionary debugDictionary() const override;

private:
  struct State;
  class Family;

  void addAnyObserver(NSObject& object, std::string_view keyPath, NSKeyValueObservingOptions options,
                      const Identifier& identifier, ObservationTask task);
  void addWillDidObserver(NSObject& object, std::string_view keyPath, NSKeyValueObservingOptions options,
                          ObservationTask willChangeTask, ObservationTask didChangeTask);
  void addFamily(NSObject& object, std::string_view keyPath, std::vector<std::string> subKeyPaths,
                 NSKeyValueObservingOptions options, const Identifier& identifier,
                 ElementObservationTask task);
  [[nodiscard]] static std::shared_ptr<NSObject> sharedReference(NSObject& object, std::string_view keyPath);

  const std::shared_ptr<State> state_;
};

/// Has a manager cancel a subscription.
///
/// Threads: any.
inline void store(Cancellable cancellable, QVObservationManager& manager) {
  manager.addCancellable(std::move(cancellable));
}

}  // namespace QVFoundation
