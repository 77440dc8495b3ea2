#include <optional>
#include <utility>

#include "QVFoundation/observation/ElementFamily_p.h"
#include "QVFoundation/observation/ObserverMap_p.h"
#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/tracing/NSLog.h"

namespace QVFoundation::detail {

namespace {

/// How many elements a list has, where it can tell without being read.
std::optional<std::size_t> sizeOfList(const NSObject& object, std::string_view keyPath) {
  const auto dot = keyPath.rfind('.');
  std::shared_ptr<NSObject> held;
  const NSObject* owner = &object;
  if (dot != std::string_view::npos) {
    held = object.valueForKeyPath(keyPath.substr(0, dot)).object();
    owner = held.get();
  }
  if (owner == nullptr) return {};
  const NSProperty* property = owner->dynamicClass().property(keyPath.substr(dot + 1));
  return property != nullptr && property->elements ? std::optional(property->elements->count(*owner))
                                                   : std::nullopt;
}

}  // namespace

ElementFamily::ElementFamily(std::string_view keyPath, std::vector<std::string> subKeyPaths,
                             NSKeyValueObservingOptions options, std::string identifier,
                             ElementObservationTask task)
    : keyPath_(keyPath),
      subKeyPaths_(std::move(subKeyPaths)),
      identifier_(std::move(identifier)),
      options_(options),
      task_(std::make_shared<const ElementObservationTask>(std::move(task))) {}

ElementFamily::~ElementFamily() = default;

void ElementFamily::begin(const NSObject& object) { read(object, Unknown::raises); }

void ElementFamily::follow(const NSObject& object, const NSKeyValueChange& change) {
  if (change.kind() == NSKeyValueChangeKind::setting) return read(object, Unknown::isReported);
  Steps steps;
  std::size_t counted = 0;
  {
    const MutexLock guard(lock_);
    if (hasEnded_) return;
    ++steps_;
    steps.difference = counts_.exchange(change.oldValue(), change.newValue());
    prepare(steps);
    counted = counts_.total();
  }
  carryOut(steps, Unknown::isReported);
  if (sizeOfList(object, keyPath_) != counted) read(object, Unknown::isReported);
}

bool ElementFamily::exchange(const NSKeyValueChange& change, NSKeyValueObservingOptions options,
                             const ElementObservationTask& task) {
  Steps steps;
  {
    const MutexLock guard(lock_);
    if (hasEnded_) return false;
    options_ = options;
    task_ = std::make_shared<const ElementObservationTask>(task);
    steps.difference = counts_.exchange(change.oldValue(), change.newValue());
    prepare(steps);
  }
  carryOut(steps, Unknown::raises);
  return true;
}

// The list is read without the lock. If the counts have changed meanwhile, what was read may be older than
// they are.
void ElementFamily::read(const NSObject& object, Unknown unknownKeys) {
  for (;;) {
    std::uint64_t step = 0;
    {
      const MutexLock guard(lock_);
      if (hasEnded_) return;
      step = steps_;
    }
    const Value list = object.valueForKeyPath(keyPath_);
    Steps steps;
    {
      const MutexLock guard(lock_);
      if (hasEnded_) return;
      if (step != steps_) continue;
      ++steps_;
      steps.difference = counts_.set(list);
      dropGone(steps);
      prepare(steps);
    }
    return carryOut(steps, unknownKeys);
  }
}

void ElementFamily::end(Wait wait) noexcept {
  Steps steps;
  {
    const MutexLock guard(lock_);
    hasEnded_ = true;
    while (!placements_.empty()) takeOut(placements_.begin()->first, steps);
  }
  carryOut(steps, Unknown::isReported, wait);
}

bool ElementFamily::endIfEmpty() {
  const MutexLock guard(lock_);
  hasEnded_ = hasEnded_ || placements_.empty();
  return hasEnded_;
}

void ElementFamily::prepare(Steps& steps) {
  for (const auto& element : steps.difference.removed) takeOut(element.get(), steps);
  for (const auto& element : steps.difference.added) {
    takeOut(element.get(), steps);  // what was placed on one that has gone from the same address
    auto& placed = placements_[element.get()];
    for (const std::string& subKeyPath : subKeyPaths_) placed.push_back(place(element, subKeyPath));
    steps.added.insert(steps.added.end(), placed.begin(), placed.end());
  }
}

void ElementFamily::takeOut(const NSObject* element, Steps& steps) {
  const auto placed = placements_.extract(element);
  if (placed.empty()) return;
  for (Placement& placement : placed.mapped()) {
    placement.trampoline->unlink(steps.released);
    steps.removed.push_back(std::move(placement));
  }
}

void ElementFamily::dropGone(Steps& steps) {
  std::vector<const NSObject*> gone;
  for (const auto& [element, placed] : placements_) {
    if (!placed.empty() && placed.front().target.expired()) gone.push_back(element);
  }
  for (const NSObject* element : gone) takeOut(element, steps);
}

Placement ElementFamily::place(const std::shared_ptr<NSObject>& element, const std::string& subKeyPath) {
  auto task = [task = task_, subKeyPath](NSObject& object, const NSKeyValueChange& change) {
    (*task)(object, subKeyPath, change);
  };
  return {element, subKeyPath, keyForTarget(*element, subKeyPath, identifier_),
          std::make_shared<KDObserverTrampoline>(*element, subKeyPath, options_, std::move(task))};
}

// What comes begins before what goes is waited for: no change is missed for the sake of a task that takes its
// time.
void ElementFamily::carryOut(const Steps& steps, Unknown unknownKeys, Wait wait) {
  for (const Placement& placement : steps.removed) {
    if (const auto target = placement.target.lock()) {
      ObserverMap::take(*target, placement.token, placement.trampoline.get());
    }
    noteEnd(placement);
  }
  for (const Placement& placement : steps.added) begin(placement, unknownKeys);
  if (wait == Wait::no) return;
  for (const Placement& placement : steps.removed) placement.trampoline->awaitEnd();
}

void ElementFamily::begin(const Placement& placement, Unknown unknownKeys) {
  const auto target = placement.target.lock();
  if (target == nullptr) return;
  noteBeginning(placement);
  try {
    ObserverMap::start(*target, placement.token, placement.trampoline);
  } catch (const NSException& exception) {
    noteEnd(placement);
    if (unknownKeys == Unknown::raises || exception.name() != NSUndefinedKeyException) throw;
    NSLog(R"("%@" of an element of "%@" is not observed: %@)", placement.keyPath, keyPath_,
          exception.reason());
  }
}

}  // namespace QVFoundation::detail
