#pragma once

#include <concepts>
#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/Dictionary.h"
#include "QVFoundation/platform/runtime/NSKeyValueObserving.h"
#include "QVFoundation/platform/runtime/NSObject.h"

/// Observing any object with a callable, under an identifier, without keeping anything.
///
/// ```cpp
/// addObserverForKeyPath(*track, "album.artist", "cover", [](Track& track, const NSKeyValueChange&) {
///   loadCover(track);
/// });
/// removeObserverForKeyPath(*track, "album.artist", "cover");
/// ```
///
/// A registration is known by its object, key path and identifier; one more under the same three takes the
/// place of the last. Take care that a family on the elements of a list (`addObserverForKey`) has as
/// identifier its sub key paths joined with "+": an element in two lists that are observed for the same sub
/// key paths has one registration, so the later list takes it from the earlier.
///
/// Threads: as in `NSKeyValueObserving.h`; tasks run on the thread that changes the property.
/// Ownership: the object keeps the task until it is removed or the object itself goes.
/// Errors: removing what is not there writes "Tried to remove non-existent observer on … for token …" to
/// standard error and raises `NSInternalInconsistencyException`. All else is as in `NSKeyValueObserving.h`;
/// an element that comes to a list without having a sub key path is reported on standard error and not
/// observed for it.
namespace QVFoundation {

using ObservationTask = std::function<void(NSObject& object, const NSKeyValueChange& change)>;
/// For a sub key path of an element of a list.
using ElementObservationTask =
    std::function<void(NSObject& element, std::string_view subKeyPath, const NSKeyValueChange& change)>;

/// New and old values.
inline constexpr NSKeyValueObservingOptions QVDefaultObservingOptions =
    NSKeyValueObservingOptionNew | NSKeyValueObservingOptionOld;

namespace detail {

QV_EXPORT void addBlockObserver(NSObject& object, std::string_view keyPath,
                                NSKeyValueObservingOptions options,
                                const std::optional<std::string>& identifier, ObservationTask task);
QV_EXPORT void addElementObserver(NSObject& object, std::string_view key,
                                  std::vector<std::string> subKeyPaths, NSKeyValueObservingOptions options,
                                  ElementObservationTask task);

template <class Task, class T>
concept ObservationTaskFor = std::invocable<Task&, T&, const NSKeyValueChange&>;
template <class Task, class T>
concept OptionalObservationTaskFor = ObservationTaskFor<Task, T> || std::same_as<Task, std::nullptr_t>;

// The class of elements that a task takes.
template <class Signature>
struct FirstParameter;
template <class Result, class First, class... Rest>
struct FirstParameter<Result (*)(First&, Rest...)> : std::type_identity<First> {};
template <class Result, class Callable, class First, class... Rest>
struct FirstParameter<Result (Callable::*)(First&, Rest...)> : std::type_identity<First> {};
template <class Result, class Callable, class First, class... Rest>
struct FirstParameter<Result (Callable::*)(First&, Rest...) const> : std::type_identity<First> {};
template <class Task>
concept TakesAnyElement = std::invocable<Task&, NSObject&, std::string_view, const NSKeyValueChange&>;
template <class Task>
struct ElementOfTask {};
template <TakesAnyElement Task>
struct ElementOfTask<Task> : std::type_identity<NSObject> {};
template <class Task>
  requires(!TakesAnyElement<Task> && std::is_pointer_v<Task>)
struct ElementOfTask<Task> : FirstParameter<Task> {};
template <class Task>
  requires(!TakesAnyElement<Task> && requires { &Task::operator(); })
struct ElementOfTask<Task> : FirstParameter<decltype(&Task::operator())> {};

template <class Task>
concept ElementTask = requires(Task& task, typename ElementOfTask<Task>::type& element,
                               std::string_view subKeyPath, const NSKeyValueChange& change) {
  std::invoke(task, element, subKeyPath, change);
  static_cast<const NSObject&>(element);
};

template <ElementTask Task>
ElementObservationTask taskForAnyElement(Task task) {
  if (isMissing(task)) return nullptr;
  return [task = std::move(task)](NSObject& object, std::string_view subKeyPath,
                                  const NSKeyValueChange& change) mutable {
    auto* const element = dynamic_cast<typename ElementOfTask<Task>::type*>(&object);
    if (element != nullptr) std::invoke(task, *element, subKeyPath, change);
  };
}

}  // namespace detail

/// Calls the task with the object and the change whenever what the key path leads to changes.
template <std::derived_from<NSObject> T, detail::ObservationTaskFor<T> Task>
void addObserverForKeyPath(T& object, std::string_view keyPath, NSKeyValueObservingOptions options,
                           const std::optional<std::string>& identifier, Task task) {
  detail::addBlockObserver(object, keyPath, options, identifier,
                           detail::taskForAnyObject<T>(std::move(task)));
}
template <std::derived_from<NSObject> T, detail::ObservationTaskFor<T> Task>
void addObserverForKeyPath(T& object, std::string_view keyPath, const std::optional<std::string>& identifier,
                           Task task) {
  addObserverForKeyPath(object, keyPath, QVDefaultObservingOptions, identifier, std::move(task));
}
template <std::derived_from<NSObject> T, detail::ObservationTaskFor<T> Task>
void addObserverForKeyPath(T& object, std::string_view keyPath, Task task) {
  addObserverForKeyPath(object, keyPath, QVDefaultObservingOptions, std::nullopt, std::move(task));
}
QV_EXPORT void removeObserverForKeyPath(NSObject& object, std::string_view keyPath,
                                        const std::optional<std::string>& identifier = std::nullopt);
// No identifier is `std::nullopt`.
template <class T, class Task>
void addObserverForKeyPath(T&, std::string_view, std::nullptr_t, Task) = delete;
template <class T, class Task>
void addObserverForKeyPath(T&, std::string_view, NSKeyValueObservingOptions, std::nullptr_t, Task) = delete;
void removeObserverForKeyPath(NSObject&, std::string_view, std::nullptr_t) = delete;

/// The token of a registration: "address:key path:identifier".
[[nodiscard]] QV_EXPORT std::string keyForTarget(const NSObject& target, std::string_view keyPath,
                                                 const std::optional<std::string>& identifier);

/// What is observed of an object by block: its registrations by token, each of which describes itself. For
/// debugging: a copy, which keeps them and their tasks.
[[nodiscard]] QV_EXPORT Dictionary observationDictionary(const NSObject& object);

/// Observes the sub key paths of every element of a list, those to come included: the task gets the element,
/// the sub key path and the change. An element is observed once however often it is in the list, for as long
/// as it is in there; elements are told apart by identity. A task that takes a class of its own, such as
/// `Track&`, is not called for elements of others.
template <detail::ElementTask Task>
void addObserverForKey(NSObject& object, std::string_view key, std::vector<std::string> subKeyPaths,
                       NSKeyValueObservingOptions options, Task task) {
  detail::addElementObserver(object, key, std::move(subKeyPaths), options,
                             detail::taskForAnyElement(std::move(task)));
}
QV_EXPORT void removeObserverForKey(NSObject& object, std::string_view key,
                                    const std::vector<std::string>& subKeyPaths);

/// The sub key paths joined with "+".
[[nodiscard]] QV_EXPORT std::string observationIdentifierForSubKeyPaths(
    std::span<const std::string> subKeyPaths);

}  // namespace QVFoundation
