#include "QVFoundation/observation/QVObservationManager.h"

#include <utility>

#include "QVFoundation/observation/QVObservationManagerState_p.h"
#include "QVFoundation/platform/runtime/Array.h"

namespace QVFoundation {

QVObservationManager::Family::Family(const std::shared_ptr<State>& state, std::string_view keyPath,
                                     std::vector<std::string> subKeyPaths, NSKeyValueObservingOptions options,
                                     std::string identifier, ElementObservationTask task)
    : ElementFamily(keyPath, std::move(subKeyPaths), options, std::move(identifier), std::move(task)),
      state_(state) {}

void QVObservationManager::Family::noteBeginning(const detail::Placement& placement) {
  const auto state = state_.lock();
  const auto element = placement.target.lock();
  if (state == nullptr || element == nullptr) return;
  State::Removed removed;
  {
    const NSRecursiveLockGuard guard(state->lock);
    // Whoever has cancelled it notes its end afterwards, or has done so.
    if (placement.trampoline->isCancelled()) return;
    state->putIn({QVObservationInfo::infoWithTarget(element, placement.keyPath, identifier()),
                  placement.token, placement.trampoline},
                 removed);
  }
}

void QVObservationManager::Family::noteEnd(const detail::Placement& placement) noexcept {
  const auto state = state_.lock();
  if (state == nullptr) return;
  State::Removed removed;
  const NSRecursiveLockGuard guard(state->lock);
  state->takeOut(placement.token, removed, placement.trampoline.get());
}

void QVObservationManager::addFamily(NSObject& object, std::string_view keyPath,
                                     std::vector<std::string> subKeyPaths, NSKeyValueObservingOptions options,
                                     const Identifier& identifier, ElementObservationTask task) {
  const auto state = state_;  // the task may let go of the manager
  const std::string expanded = identifierForInputIdentifier(identifier);
  const auto family = std::make_shared<Family>(state, keyPath, std::move(subKeyPaths), options, expanded,
                                               detail::checkedTask(std::move(task), object, keyPath));
  const auto trampoline = std::make_shared<detail::KDObserverTrampoline>(
      object, keyPath, QVDefaultObservingOptions,
      [family](NSObject& list, const NSKeyValueChange& change) { family->follow(list, change); }, family);
  state->begin(object, keyPath, expanded, trampoline);
  try {
    family->begin(object);
  } catch (...) {
    state->end(keyForTarget(object, keyPath, expanded), *trampoline);
    throw;
  }
}

void QVObservationManager::updateObservationsForObject(NSObject& object, const NSKeyValueChange& change,
                                                       const std::vector<std::string>& subKeyPaths,
                                                       NSKeyValueObservingOptions options,
                                                       const std::string& identifier,
                                                       const ElementObservationTask& task) {
  if (detail::isMissing(task) && !change.newValue().array().empty()) {
    detail::raiseMissingTask(object, observationIdentifierForSubKeyPaths(subKeyPaths));
  }
  const auto state = state_;
  const std::string key = keyForTarget(object, observationIdentifierForSubKeyPaths(subKeyPaths), identifier);
  const auto familyOfKey = [&] {
    const NSRecursiveLockGuard guard(state->lock);
    auto& entry = state->families[key];
    if (entry == nullptr) {
      entry = std::make_shared<Family>(state, std::string_view(), subKeyPaths, options, identifier, nullptr);
    }
    return entry;
  };
  auto family = familyOfKey();
  while (!family->exchange(change, options, task)) family = familyOfKey();

  const NSRecursiveLockGuard guard(state->lock);
  if (family->endIfEmpty())
    std::erase_if(state->families, [&](const auto& entry) { return entry.second == family; });
}

void QVObservationManager::removeObserverOfObject(NSObject& object, std::string_view keyPath,
                                                  const std::vector<std::string>& /*subKeyPaths*/,
                                                  const Identifier& identifier) {
  const std::string expanded = identifierForInputIdentifier(identifier);
  State::Removed removed;
  {
    const NSRecursiveLockGuard guard(state_->lock);
    state_->takeOut(keyForTarget(object, keyPath, expanded), removed);
  }
  State::finish(removed);
}

}  // namespace QVFoundation
