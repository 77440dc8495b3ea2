#include <algorithm>
#include <exception>
#include <set>
#include <utility>

#include "QVFoundation/platform/runtime/ChangeDelivery_p.h"
#include "QVFoundation/platform/runtime/ErrorConversion.h"
#include "QVFoundation/platform/runtime/FatalError.h"
#include "QVFoundation/platform/runtime/KeyValueRegistration_p.h"
#include "QVFoundation/platform/runtime/ObservationInfo_p.h"
#include "QVFoundation/platform/text/Format.h"

namespace QVFoundation::detail {

namespace {

/// Raises for a key that the object does not have, unless it serves keys that its class does not list.
void checkKey(const NSObject& object, std::string_view key) {
  if (object.dynamicClass().property(key) == nullptr) (void)object.valueForKey(key);
}

}  // namespace

/// Finds out where a path has to be hooked.
class KeyValueRegistration::PathWalk {
public:
  std::vector<Place> placesOf(NSObject& root, std::string_view keyPath) {
    root_ = &root;
    walk(root, {}, keyPath, false);
    return std::move(places_);
  }

private:
  void walk(NSObject& object, const std::shared_ptr<NSObject>& owner, std::string_view path,
            bool isDependency) {
    const auto dot = path.find('.');
    const auto key = path.substr(0, dot);
    const bool isLast = dot == std::string_view::npos;
    checkKey(object, key);
    const NSProperty* property = object.dynamicClass().property(key);
    const bool depends = property != nullptr && !property->affectedBy.empty();
    HookRole role = HookRole::link;
    if (isLast && !isDependency) role = &object == root_ ? HookRole::own : HookRole::leaf;
    add({&object, owner, key, role});
    if (depends) walkDependencies(object, owner, *property);
    if (isLast) return;
    if (const auto next = object.valueForKey(key).object()) {
      walk(*next, next, path.substr(dot + 1), isDependency);
    }
  }

  void walkDependencies(NSObject& object, const std::shared_ptr<NSObject>& owner,
                        const NSProperty& property) {
    for (const std::string& path : property.affectedBy) {
      if (!visited_.emplace(&object, path).second) continue;  // properties may depend on each other
      walk(object, owner, path, true);
    }
  }

  void add(Place place) {
    const auto same = std::find_if(places_.begin(), places_.end(), [&](const Place& other) {
      return other.address == place.address && other.key == place.key;
    });
    if (same == places_.end()) {
      if (place.address == root_) place.object.reset();
      places_.push_back(std::move(place));
    } else if (same->role != place.role) {
      same->role = HookRole::link;
    }
  }

  const NSObject* root_ = nullptr;
  std::vector<Place> places_;
  std::set<std::pair<const NSObject*, std::string_view>> visited_;
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
    followPath(root);
  }
  if (!has(NSKeyValueObservingOptionInitial)) return;
  try {
    ChangeDelivery::tellInitialValue(*this, root);
  } catch (...) {
    unlink();  // the value cannot be read: nothing has begun
    throw;
  }
}

bool KeyValueRegistration::unlink() noexcept {
  Released released;  // go after the lock
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

// Getters run without the lock, so two threads may walk at the same time. Who began to walk later has seen what
// is newer.
void KeyValueRegistration::followPath(NSObject& root) {
  if (isPlain_) return;
  std::uint64_t walkNumber = 0;
  {
    const UnfairLockGuard guard(lock_);
    walkNumber = ++walksBegun_;
  }
  auto places = PathWalk().placesOf(root, keyPath_);
  Released released;  // go after the lock
  const UnfairLockGuard guard(lock_);
  if (state_ == State::ended || walkNumber < walkInstalled_) return;
  walkInstalled_ = walkNumber;
  state_ = State::hooked;
  movePlaces(std::move(places), released);
}

void KeyValueRegistration::movePlaces(std::vector<Place> places, Released& released) {
  const auto isIn = [](const std::vector<Place>& list, const Place& place) {
    return std::find(list.begin(), list.end(), place) != list.end();
  };
  for (const Place& place : places_) {
    if (!isIn(places, place)) unhook(place, released);
  }
  for (const Place& place : places) {
    if (isIn(places_, place)) continue;
    if (NSObject* object = objectAt(place, released)) {
      ObservationInfo::of(*object).hook(shared_from_this(), place.key, place.role);
    }
  }
  places_ = std::move(places);
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
