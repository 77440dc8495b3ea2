#include "QVFoundation/observation/QVObservationManager.h"

#include <mutex>
#include <utility>

#include "QVFoundation/observation/QVObservationManagerState_p.h"
#include "QVFoundation/platform/text/Format.h"

namespace QVFoundation {

QVObservationManager::Family::Family(std::vector<std::string> subKeyPaths, NSKeyValueObservingOptions options,
                                     std::string identifier, ElementObservationTask task)
    : subKeyPaths_(std::move(subKeyPaths)),
      options_(options),
      identifier_(std::move(identifier)),
      task_(std::make_shared<const ElementObservationTask>(std::move(task))) {}

std::string QVObservationManager::Family::key(const NSObject& object,
                                              const std::vector<std::string>& subKeyPaths,
                                              const std::string& identifier) {
  return keyForTarget(object, observationIdentifierForSubKeyPaths(subKeyPaths), identifier);
}

void QVObservationManager::Family::update(State& state, const NSKeyValueChange& change,
                                          State::Unfinished& removed, State::Unfinished& added) {
  if (hasEnded_) return;
  const auto difference = counts_.apply(change);
  for (const auto& element : difference.removed) {
    for (const std::string& path : subKeyPaths_)
      state.takeOut(keyForTarget(*element, path, identifier_), removed);
  }
  for (const auto& element : difference.added) {
    for (const std::string& path : subKeyPaths_) {
      added.push_back(state.record(
          *element, path, options_, identifier_,
          [task = task_, path](NSObject& object, const NSKeyValueChange& itsChange) {
            (*task)(object, path, itsChange);
          },
          removed));
    }
  }
}

void QVObservationManager::Family::end(State& state, State::Unfinished& removed) {
  hasEnded_ = true;
  for (const auto& element : counts_.clear()) {
    for (const std::string& path : subKeyPaths_)
      state.takeOut(keyForTarget(*element, path, identifier_), removed);
  }
}

void QVObservationManager::addFamily(NSObject& object, std::string_view keyPath,
                                     std::vector<std::string> subKeyPaths, NSKeyValueObservingOptions options,
                                     const Identifier& identifier, ElementObservationTask task) {
  const auto state = state_;  // the task may let go of the manager
  const std::string expanded = identifierForInputIdentifier(identifier);
  const std::string key = Family::key(object, subKeyPaths, expanded);
  const auto family = std::make_shared<Family>(std::move(subKeyPaths), options, expanded, std::move(task));
  State::Unfinished removed;
  State::Unfinished added;
  {
    const std::lock_guard guard(state->lock);
    auto& entry = state->families[key];
    if (entry != nullptr) entry->end(*state, removed);
    entry = family;
    added.push_back(state->record(
        object, keyPath, QVDefaultObservingOptions, expanded,
        [weakState = std::weak_ptr(state), family](NSObject& /*object*/, const NSKeyValueChange& change) {
          if (const auto shared = weakState.lock()) follow(*shared, *family, change);
        },
        removed));
  }
  State::finish(removed);
  try {
    state->begin(added);
    // What is there already is counted in by hand: in a notification a wrong sub key path would be fatal.
    follow(*state, *family, NSKeyValueChange({}, object.valueForKeyPath(keyPath)));
  } catch (...) {
    endFamily(*state, key, added.front().token);
    throw;
  }
}

void QVObservationManager::follow(State& state, Family& family, const NSKeyValueChange& change) {
  State::Unfinished removed;
  State::Unfinished added;
  {
    const std::lock_guard guard(state.lock);
    family.update(state, change, removed, added);
  }
  State::finish(removed);
  state.begin(added);
}

void QVObservationManager::updateObservationsForObject(NSObject& object, const NSKeyValueChange& change,
                                                       const std::vector<std::string>& subKeyPaths,
                                                       NSKeyValueObservingOptions options,
                                                       const std::string& identifier,
                                                       ElementObservationTask task) {
  const auto state = state_;
  std::shared_ptr<Family> family;
  {
    const std::lock_guard guard(state->lock);
    auto& entry = state->families[Family::key(object, subKeyPaths, identifier)];
    if (entry == nullptr) entry = std::make_shared<Family>(subKeyPaths, options, identifier, std::move(task));
    family = entry;
  }
  follow(*state, *family, change);
}

void QVObservationManager::removeObserverOfObject(NSObject& object, std::string_view keyPath,
                                                  const std::vector<std::string>& subKeyPaths,
                                                  const Identifier& identifier) {
  const std::string expanded = identifierForInputIdentifier(identifier);
  endFamily(*state_, Family::key(object, subKeyPaths, expanded), keyForTarget(object, keyPath, expanded));
}

void QVObservationManager::endFamily(State& state, const std::string& key, const std::string& token) {
  State::Unfinished removed;
  {
    const std::lock_guard guard(state.lock);
    state.takeOut(token, removed);
    const auto family = state.families.extract(key);
    if (!family.empty()) family.mapped()->end(state, removed);
  }
  State::finish(removed);
}

}  // namespace QVFoundation
