#include "QVFoundation/observation/QVObservationManager.h"

#include <mutex>

#include "QVFoundation/observation/ObserverMap_p.h"
#include "QVFoundation/observation/QVObservationManagerState_p.h"
#include "QVFoundation/platform/concurrency/Listener.h"
#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/text/Format.h"

namespace QVFoundation {

QVObservationManager::State::Record QVObservationManager::State::record(
    NSObject& object, std::string_view keyPath, NSKeyValueObservingOptions options,
    const std::string& identifier, ObservationTask task, Unfinished& removed) {
  Record record{
      QVObservationInfo::infoWithTarget(sharedReference(object, keyPath), std::string(keyPath), identifier),
      keyForTarget(object, keyPath, identifier),
      detail::KDObserverTrampoline::make(object, keyPath, options, std::move(task))};
  takeOut(record.token, removed);
  numbers.emplace(record.token, ++lastNumber);
  records.emplace(lastNumber, record);
  return record;
}

void QVObservationManager::State::takeOut(const std::string& token, Unfinished& removed) {
  const auto number = numbers.extract(token);
  if (number.empty()) return;
  auto record = records.extract(number.mapped());
  record.mapped().trampoline->unlink();
  removed.push_back(std::move(record.mapped()));
}

void QVObservationManager::State::takeOutAll(Unfinished& removed) {
  for (const auto& [key, family] : std::exchange(families, {})) family->end(*this, removed);
  numbers.clear();
  for (auto& [number, record] : std::exchange(records, {})) {
    record.trampoline->unlink();
    removed.push_back(std::move(record));
  }
}

void QVObservationManager::State::finish(const Unfinished& removed) {
  for (const Record& record : removed) {
    if (const auto target = record.info->target()) {
      detail::ObserverMap::take(*target, record.token, record.trampoline.get());
    }
  }
  for (const Record& record : removed) record.trampoline->awaitEnd();
}

void QVObservationManager::State::begin(const Unfinished& added) {
  auto next = added.begin();
  try {
    for (; next != added.end(); ++next) {
      const auto target = next->info->target();
      if (target != nullptr) detail::ObserverMap::start(*target, next->token, next->trampoline);
    }
  } catch (...) {
    Unfinished removed;
    const std::lock_guard guard(lock);
    for (; next != added.end(); ++next) {
      const auto number = numbers.find(next->token);
      const bool isStillThis =
          number != numbers.end() && records.at(number->second).trampoline == next->trampoline;
      if (isStillThis) takeOut(next->token, removed);
    }
    throw;
  }
}

const NSClass& QVObservationManager::staticClass() {
  static const NSClass& cls =
      *new NSClass(NSClass::define<QVObservationManager>("QVObservationManager", NSObject::staticClass())
                       .readOnly("observationInfos", &QVObservationManager::observationInfos));
  return cls;
}

QVObservationManager::QVObservationManager() : state_(std::make_shared<State>()) {}

QVObservationManager::~QVObservationManager() { removeAllObservers(); }

std::shared_ptr<NSObject> QVObservationManager::sharedReference(NSObject& object, std::string_view keyPath) {
  auto shared = object.weak_from_this().lock();
  if (shared == nullptr) {
    throw NSException(
        NSInvalidArgumentException,
        stringWithFormat("To have \"%@\" observed by a manager, %@ must be held by a std::shared_ptr",
                         keyPath, object.shortDescription()));
  }
  return shared;
}

void QVObservationManager::addAnyObserver(NSObject& object, std::string_view keyPath,
                                          NSKeyValueObservingOptions options, const Identifier& identifier,
                                          ObservationTask task) {
  const auto state = state_;  // the task may let go of the manager
  State::Unfinished removed;
  State::Unfinished added;
  {
    const std::lock_guard guard(state->lock);
    added.push_back(state->record(object, keyPath, options, identifierForInputIdentifier(identifier),
                                  std::move(task), removed));
  }
  State::finish(removed);
  state->begin(added);
}

void QVObservationManager::addWillDidObserver(NSObject& object, std::string_view keyPath,
                                              NSKeyValueObservingOptions options,
                                              ObservationTask willChangeTask, ObservationTask didChangeTask) {
  addAnyObserver(object, keyPath, options | NSKeyValueObservingOptionPrior, std::nullopt,
                 [will = std::move(willChangeTask), did = std::move(didChangeTask)](
                     NSObject& changed, const NSKeyValueChange& change) {
                   const auto& task = change.isPrior() ? will : did;
                   if (task) task(changed, change);
                 });
}

void QVObservationManager::removeObserverOfObject(NSObject& object, std::string_view keyPath,
                                                  const Identifier& identifier) {
  const std::string expanded = identifierForInputIdentifier(identifier);
  State::Unfinished removed;
  {
    const std::lock_guard guard(state_->lock);
    state_->takeOut(keyForTarget(object, keyPath, expanded), removed);
  }
  if (removed.empty()) removeObserverForKeyPath(object, keyPath, expanded);  // says that there is none
  State::finish(removed);
}

void QVObservationManager::addCancellable(Cancellable cancellable) {
  state_->cancellables.add(std::move(cancellable));
}

void QVObservationManager::removeAllCancellables() { state_->cancellables.removeAll(); }

void QVObservationManager::removeAllObservers() {
  const auto state = state_;  // what goes with a task may let go of the manager
  State::Unfinished removed;
  decltype(state->tokensByNotificationCenter) tokens;
  {
    const std::lock_guard guard(state->lock);
    state->takeOutAll(removed);
    std::swap(tokens, state->tokensByNotificationCenter);
    state->tokensByIdentifier.clear();
  }
  State::finish(removed);
  for (const auto& [center, theirs] : tokens) {
    for (const auto& token : theirs) center->removeObserver(token);
  }
  state->cancellables.removeAll();
}

void QVObservationManager::withObservationLock(const std::function<void()>& block) {
  const auto state = state_;
  const std::lock_guard guard(state->lock);
  const detail::CallsNotAwaited notAwaited;
  block();
}

std::string QVObservationManager::identifierForInputIdentifier(const Identifier& identifier) const {
  return identifier ? stringWithFormat("%p-%@", this, *identifier) : stringWithFormat("%p", this);
}

std::vector<std::shared_ptr<QVObservationInfo>> QVObservationManager::observationInfos() const {
  const std::lock_guard guard(state_->lock);
  std::vector<std::shared_ptr<QVObservationInfo>> infos;
  infos.reserve(state_->records.size());
  for (const auto& [number, record] : state_->records) infos.push_back(record.info);
  return infos;
}

Dictionary QVObservationManager::debugDictionary() const {
  Dictionary entries = QVObject::debugDictionary();
  entries.set("observationInfos", valueForKeyPath("observationInfos.description"));
  return entries;
}

}  // namespace QVFoundation
