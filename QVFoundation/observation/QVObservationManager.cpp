#include "QVFoundation/observation/QVObservationManager.h"

#include <algorithm>
#include <iterator>

#include "QVFoundation/observation/ObserverMap_p.h"
#include "QVFoundation/observation/QVObservationManagerState_p.h"
#include "QVFoundation/platform/concurrency/Listener.h"
#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/text/Format.h"

namespace QVFoundation {

void QVObservationManager::State::putIn(Record record, Removed& removed) {
  takeOut(record.token, removed);
  if (records.size() >= sizeToCompactAt) {
    takeOutGone(removed);
    sizeToCompactAt = std::max(sizeToCompactAt, records.size() * 2);
  }
  numbers.emplace(record.token, ++lastNumber);
  records.emplace(lastNumber, std::move(record));
}

void QVObservationManager::State::takeOut(const std::string& token, Removed& removed,
                                          const detail::KDObserverTrampoline* onlyThis) {
  const auto number = numbers.find(token);
  if (number == numbers.end()) return;
  const auto record = records.find(number->second);
  if (onlyThis != nullptr && record->second.trampoline.get() != onlyThis) return;
  record->second.trampoline->unlink(removed.released);
  removed.records.push_back(std::move(record->second));
  records.erase(record);
  numbers.erase(number);
}

void QVObservationManager::State::takeOutGone(Removed& removed) {
  std::vector<std::string> tokens;
  for (const auto& [number, record] : records) {
    if (record.info->targetIsGone()) tokens.push_back(record.token);
  }
  for (const std::string& token : tokens) takeOut(token, removed);
}

// The last first, which is where an object finds them soonest.
void QVObservationManager::State::takeOutAll(Removed& removed) {
  numbers.clear();
  for (; !records.empty(); records.erase(std::prev(records.end()))) {
    Record& record = records.rbegin()->second;
    record.trampoline->unlink(removed.released);
    removed.records.push_back(std::move(record));
  }
}

void QVObservationManager::State::begin(NSObject& object, std::string_view keyPath,
                                        const std::string& identifier, const Trampoline& trampoline) {
  const std::string token = keyForTarget(object, keyPath, identifier);
  Record record{
      QVObservationInfo::infoWithTarget(sharedReference(object, keyPath), std::string(keyPath), identifier),
      token, trampoline};
  Removed removed;
  {
    const NSRecursiveLockGuard guard(lock);
    putIn(std::move(record), removed);
  }
  try {
    detail::ObserverMap::start(object, token, trampoline);
  } catch (...) {
    end(token, *trampoline);
    finish(removed);
    throw;
  }
  // What it takes the place of is waited for when it has begun: meanwhile no change is missed.
  finish(removed);
}

void QVObservationManager::State::end(const std::string& token,
                                      const detail::KDObserverTrampoline& trampoline) {
  Removed removed;
  {
    const NSRecursiveLockGuard guard(lock);
    takeOut(token, removed, &trampoline);
  }
  finish(removed);
}

void QVObservationManager::State::finish(const Removed& removed) {
  for (const Record& record : removed.records) {
    if (const auto target = record.info->target()) {
      detail::ObserverMap::take(*target, record.token, record.trampoline.get());
    }
  }
  for (const Record& record : removed.records) record.trampoline->awaitEnd();
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
  state->begin(object, keyPath, identifierForInputIdentifier(identifier),
               std::make_shared<detail::KDObserverTrampoline>(
                   object, keyPath, options, detail::checkedTask(std::move(task), object, keyPath)));
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
  State::Removed removed;
  {
    const NSRecursiveLockGuard guard(state_->lock);
    state_->takeOut(keyForTarget(object, keyPath, expanded), removed);
  }
  if (removed.records.empty())
    removeObserverForKeyPath(object, keyPath, expanded);  // says that there is none
  State::finish(removed);
}

void QVObservationManager::addCancellable(Cancellable cancellable) {
  state_->cancellables.add(std::move(cancellable));
}

void QVObservationManager::removeAllCancellables() { state_->cancellables.removeAll(); }

void QVObservationManager::removeAllObservers() {
  const auto state = state_;  // what goes with a task may let go of the manager
  State::Removed removed;
  decltype(state->tokensByNotificationCenter) tokens;
  decltype(state->families) families;
  {
    const NSRecursiveLockGuard guard(state->lock);
    state->takeOutAll(removed);
    std::swap(tokens, state->tokensByNotificationCenter);
    std::swap(families, state->families);
    state->tokensByIdentifier.clear();
  }
  State::finish(removed);
  for (const auto& [key, family] : families) family->end(Family::Wait::yes);
  for (const auto& [center, theirs] : tokens) {
    for (const auto& token : theirs) center->removeObserver(token);
  }
  state->cancellables.removeAll();
}

void QVObservationManager::withObservationLock(const std::function<void()>& block) {
  const auto state = state_;
  const NSRecursiveLockGuard guard(state->lock);
  const detail::CallsNotAwaited notAwaited;
  block();
}

std::string QVObservationManager::identifierForInputIdentifier(const Identifier& identifier) const {
  return identifier ? stringWithFormat("%p-%@", this, *identifier) : stringWithFormat("%p", this);
}

std::vector<std::shared_ptr<QVObservationInfo>> QVObservationManager::observationInfos() const {
  const NSRecursiveLockGuard guard(state_->lock);
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
