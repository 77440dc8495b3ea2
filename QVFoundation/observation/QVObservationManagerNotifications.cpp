#include "QVFoundation/observation/QVObservationManager.h"

#include <utility>

#include "QVFoundation/observation/QVObservationManagerState_p.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/text/Format.h"

namespace QVFoundation {

namespace {

void checkCenter(const std::shared_ptr<NSNotificationCenter>& center) {
  if (center == nullptr) {
    throw NSException(NSInvalidArgumentException, "There is no notification centre to observe");
  }
}

}  // namespace

std::string QVObservationManager::identifierForNotificationCenter(
    const std::shared_ptr<NSNotificationCenter>& center, const std::optional<std::string>& name,
    const std::shared_ptr<NSObject>& object) const {
  return stringWithFormat("%p-%@-%p", center.get(), name, object.get());
}

void QVObservationManager::addObserverForNotificationCenter(
    const std::shared_ptr<NSNotificationCenter>& center, const std::optional<std::string>& name,
    const std::shared_ptr<NSObject>& object, NotificationTask task) {
  checkCenter(center);
  const std::string identifier = identifierForNotificationCenter(center, name, object);
  const NSRecursiveLockGuard guard(state_->lock);
  auto token = center->addObserverForName(name, object, nullptr, std::move(task));
  state_->tokensByNotificationCenter.at(center).insert(token);
  state_->tokensByIdentifier[identifier] = std::move(token);
}

void QVObservationManager::removeObserverForNotificationCenter(
    const std::shared_ptr<NSNotificationCenter>& center, const std::optional<std::string>& name,
    const std::shared_ptr<NSObject>& object) {
  checkCenter(center);
  State::Token token;
  {
    const NSRecursiveLockGuard guard(state_->lock);
    const auto entry =
        state_->tokensByIdentifier.extract(identifierForNotificationCenter(center, name, object));
    if (entry.empty()) return;
    token = entry.mapped();
    if (auto* const tokens = state_->tokensByNotificationCenter.find(*center)) tokens->erase(token);
  }
  center->removeObserver(token);
}

std::vector<std::shared_ptr<NSObject>> QVObservationManager::tokensForNotificationCenter(
    const std::shared_ptr<NSNotificationCenter>& center) const {
  checkCenter(center);
  const NSRecursiveLockGuard guard(state_->lock);
  const auto* const tokens = state_->tokensByNotificationCenter.find(*center);
  return tokens != nullptr ? std::vector(tokens->begin(), tokens->end()) : std::vector<State::Token>();
}

}  // namespace QVFoundation
