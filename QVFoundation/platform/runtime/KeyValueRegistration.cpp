#include <exception>
#include <map>
#include <set>
#include <utility>

#include "QVFoundation/platform/runtime/ChangeDelivery_p.h"
#include "QVFoundation/platform/runtime/ErrorConversion.h"
#include "QVFoundation/platform/runtime/FatalError.h"
#include "QVFoundation/platform/runtime/KeyValueRegistration_p.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/runtime/ObservationInfo_p.h"
#include "QVFoundation/platform/text/Format.h"
#include "QVFoundation/platform/tracing/NSLog.h"

namespace QVFoundation::detail {

namespace {

/// Raises for a key that the object does not have, unless it serves keys that its class does not list.
void checkKey(const NSObject& object, std::string_view key) {
  if (object.dynamicClass().property(key) == nullptr) (void)object.valueForKey(key);
}

}  // namespace

/// Finds out where a path has to be hooked. It does not recurse: paths and chains of dependencies may be
/// long.
class KeyValueRegistration::PathWalk {
public:
  explicit PathWalk(UnknownKeys unknownKeys) noexcept : unknownKeys_(unknownKeys) {}

  /// Sorted, one for each object and key.
  std::vector<Place> placesOf(NSObject& root, std::string_view keyPath) {
    root_ = &root;
    pending_.push_back({&root, nullptr, keyPath, false});
    while (!pending_.empty()) {
      Step step = std::move(pending_.back());
      pending_.pop_back();
      walk(std::move(step));
    }
    std::vector<Place> places;
    places.reserve(places_.size());
    for (auto& [objectAndKey, place] : places_) places.push_back(std::move(place));
    return places;
  }

private:
  /// Where a path is to be walked on.
  struct Step {
    NSObject* object;
    std::shared_ptr<NSObject> owner;
    std::string_view path;
    bool isDependency;
  };

  void walk(Step step) {
    for (;;) {
      const auto dot = step.path.find('.');
      const auto key = step.path.substr(0, dot);
      const bool isLast = dot == std::string_view::npos;
      if (!hasKey(*step.object, key)) return;
      HookRole role = HookRole::link;
      if (isLast && !step.isDependency) role = step.object == root_ ? HookRole::own : HookRole::leaf;
      add({step.object, step.owner, key, role});
      if (const NSProperty* property = step.object->dynamicClass().property(key)) {
        addDependencies(step, *property);
      }
      if (isLast) return;
      step.owner = step.object->valueForKey(key).object();
      step.object = step.owner.get();
      step.path.remove_prefix(dot + 1);
      if (step.object == nullptr) return;
    }
  }

  bool hasKey(const NSObject& object, std::string_view key) const {
    try {
      checkKey(object, key);
      return true;
    } catch (const NSException& exception) {
      if (unknownKeys_ == UnknownKeys::raise || exception.name() != NSUndefinedKeyException) throw;
      NSLog("An observed path leads to %@, which has no \"%@\": it ends there.", object.shortDescription(),
            key);
      return false;
    }
  }

  void addDependencies(const Step& step, const NSProperty& property) {
    for (const std::string& path : property.affectedBy) {
      if (!visited_.emplace(step.object, path).second) continue;  // properties may depend on each other
      pending_.push_back({step.object, step.owner, path, true});
    }
  }

  void add(Place place) {
    if (place.address == root_) place.object.reset();
    const HookRole role = place.role;
    auto& known = places_.try_emplace({place.address, place.key}, std::move(place)).first->second;
    if (known.role != role) known.role = HookRole::link;
  }

  using ObjectAndKey = std::pair<const NSObject*, std::string_view>;

  const UnknownKeys unknownKeys_;
  const NSObject* root_ = nullptr;
  std::vector<Step> pending_;
  std::map<ObjectAndKey, Place> places_;
  std::set<ObjectAndKey> visited_;
};

KeyValueRegistration::KeyValueRegistration(NSObject& root, std::string_view keyPath,
                                           NSKeyValueObservingOptions options,
                                           std::shared_ptr<NSKeyValueObserver> observer, const void* context,
                                           EndsWithObject endsWithObject)
    : keyPath_(keyPath),
      options_(options),
      endsWithObject_(endsWithObject),
      observer_(std::move(observer)),
      context_(context),
      rootAddress_(&root),
      rootClass_(root.dynamicClass()),
      property_(rootClass_.property(keyPath)),
      isPlain_(property_ != nullptr ? property_->affectedBy.empty()
                                    : keyPath.find('.') == std::string_view::npos),
      root_(&root) {}

KeyValueRegistration::~KeyValueRegistration() = default;

void KeyValueRegistration::begin(NSObject& root) {
  if (isPlain_) {
    if (property_ == nullptr) checkKey(root, keyPath_);
    ObservationInfo& info = ObservationInfo::of(root);
    rootInfo_.store(&info, std::memory_order_relaxed);
    const UnfairLockGuard guard(lock_);
    if (state_ == State::ended) return;
    info.hook(shared_from_this(), keyPath_, HookRole::own);
    state_ = State::hooked;
  } else {
    followPath(root, UnknownKeys::raise);
  }
  if (!has(NSKeyValueObservingOptionInitial)) return;
  try {
    ChangeDelivery::tellInitialValue(*this, root);
  } catch (...) {
    unlink();  // the value cannot be read: nothing has begun
    awaitEnd();
    throw;
  }
}

bool KeyValueRegistration::unlink(Released& released) noexcept {
  const UnfairLockGuard guard(lock_);
  remove();
  if (state_ == State::ended) return false;
  if (isPlain_ && state_ == State::hooked) ObservationInfo::ofIfAny(*root_)->unhook(*this, keyPath_);
  for (const Place& place : places_) unhook(place, released);
  places_.clear();
  state_ = State::ended;
  root_ = nullptr;
  return true;
}

void KeyValueRegistration::awaitEnd() const noexcept {
  awaitCallsIn(isPlain_ ? rootInfo_.load(std::memory_order_relaxed) : nullptr);
  if (has(NSKeyValueObservingOptionInitial)) awaitCalls();
}

KeyValueRegistration::Root KeyValueRegistration::root() {
  const UnfairLockGuard guard(lock_);
  if (root_ == nullptr) return {};
  const auto shared = root_->weak_from_this();
  auto owner = shared.lock();
  // One that was shared and is so no longer is on its way out. One that never was is its user's to keep.
  const bool wasShared =
      shared.owner_before(std::weak_ptr<NSObject>()) || std::weak_ptr<NSObject>().owner_before(shared);
  if (wasShared && owner == nullptr) return {};
  return {root_, std::move(owner)};
}

// Getters run without the lock, so two threads may walk at the same time; who began to walk later has seen
// what is newer. An object that is exchanged after it was read and before it was hooked tells nobody: so the
// path is walked until it leads over what is hooked. Each walk is sure of one more place than the last one, so
// that there are enough walks even where a getter makes a new object each time.
void KeyValueRegistration::followPath(NSObject& root, UnknownKeys unknownKeys) {
  std::size_t enoughWalks = isPlain_ ? 0 : 1;
  for (std::size_t walks = 0; walks < enoughWalks; ++walks) {
    std::uint64_t walkNumber = 0;
    {
      const UnfairLockGuard guard(lock_);
      walkNumber = ++walksBegun_;
    }
    auto places = PathWalk(unknownKeys).placesOf(root, keyPath_);
    Released released;  // go after the lock
    const UnfairLockGuard guard(lock_);
    if (state_ == State::ended || walkNumber < walkInstalled_) return;
    walkInstalled_ = walkNumber;
    state_ = State::hooked;
    if (places == places_) return;
    enoughWalks = places.size() + 1;
    movePlaces(std::move(places), released);
  }
}

void KeyValueRegistration::movePlaces(std::vector<Place> places, Released& released) {
  for (const Place* place : missingIn(places, places_)) unhook(*place, released);
  for (const Place* place : missingIn(places_, places)) {
    if (NSObject* object = objectAt(*place, released)) {
      ObservationInfo::of(*object).hook(shared_from_this(), place->key, place->role);
    }
  }
  places_ = std::move(places);
}

/// Those of some places that are not among others. Both are sorted.
std::vector<const KeyValueRegistration::Place*> KeyValueRegistration::missingIn(
    const std::vector<Place>& others, const std::vector<Place>& places) {
  const auto order = [](const Place& place) { return std::pair(place.address, place.key); };
  std::vector<const Place*> missing;
  auto other = others.begin();
  for (const Place& place : places) {
    while (other != others.end() && order(*other) < order(place)) ++other;
    if (other == others.end() || !(*other == place)) missing.push_back(&place);
  }
  return missing;
}

void KeyValueRegistration::unhook(const Place& place, Released& released) noexcept {
  NSObject* const object = objectAt(place, released);
  if (ObservationInfo* info = object != nullptr ? ObservationInfo::ofIfAny(*object) : nullptr) {
    info->unhook(*this, place.key);
  }
}

NSObject* KeyValueRegistration::objectAt(const Place& place, Released& released) noexcept {
  if (place.address == rootAddress_) return root_;
  return released.emplace_back(place.object.lock()).get();
}

void KeyValueRegistration::endProcessForException(const NSObject& root) const noexcept {
  fatalError(stringWithFormat("An observer of \"%@\" of %@ let an exception out: %@", keyPath_,
                              root.shortDescription(), asNSError(std::current_exception())));
}

}  // namespace QVFoundation::detail
