#include <algorithm>
#include <exception>
#include <utility>

#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/ChangeDelivery_p.h"
#include "QVFoundation/platform/runtime/ErrorConversion.h"
#include "QVFoundation/platform/runtime/FatalError.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/runtime/ObservationInfo_p.h"
#include "QVFoundation/platform/text/Format.h"

namespace QVFoundation::detail {

namespace {

/// Nothing where the path leads to an object without the key.
Value valueOnPath(const NSObject& root, const std::string& keyPath) {
  try {
    return root.valueForKeyPath(keyPath);
  } catch (const NSException& exception) {
    if (exception.name() != NSUndefinedKeyException) throw;
    return {};
  }
}

}  // namespace

void ChangeDelivery::tellBefore() {
  change_.isPrior_ = true;
  for (const ObserverHook& hook : walk_.hooksFor(site_.key)) {
    tellBefore(hook);
    if (walk_.objectIsGone()) return;
  }
}

void ChangeDelivery::tellBefore(const ObserverHook& hook) {
  KeyValueRegistration& registration = *hook.registration;
  const bool wantsOld = registration.has(NSKeyValueObservingOptionOld);
  const bool wantsCall = registration.has(NSKeyValueObservingOptionPrior);
  if (registration.isRemoved() || !(wantsOld || wantsCall)) return;
  if (hook.role != HookRole::link) {
    if (wantsOld && change_.old_ == nullptr) {
      if (site_.kind != NSKeyValueChangeKind::insertion) pending_->old = valueOfKey();
      change_.old_ = &pending_->old;
    }
    if (wantsCall) callForKey(hook);
    return;
  }
  const auto root = registration.root();
  if (root.object == nullptr) return;
  NSKeyValueChange change;
  change.isPrior_ = true;
  Value old;
  if (wantsOld) {
    old = valueOnPath(*root.object, registration.keyPath());
    pending_->oldOfPaths.emplace_back(registration.shared_from_this(), old);
    change.old_ = &old;
  }
  if (wantsCall) call(registration, *root.object, change);
}

[[gnu::always_inline]] inline void ChangeDelivery::tellAfter() {
  if (pending_ != nullptr) change_.old_ = &pending_->old;
  for (const ObserverHook& hook : walk_.hooksFor(site_.key)) {
    tellAfter(hook);
    if (walk_.objectIsGone()) [[unlikely]]
      return;
  }
}

[[gnu::always_inline]] inline void ChangeDelivery::tellAfter(const ObserverHook& hook) {
  KeyValueRegistration& registration = *hook.registration;
  if (hook.role == HookRole::link) [[unlikely]]
    return tellAfterOnPath(registration);
  if (registration.has(NSKeyValueObservingOptionNew) && change_.new_ == nullptr) readNewValue(registration);
  callForKey(hook);
}

void ChangeDelivery::readNewValue(const KeyValueRegistration& registration) {
  if (registration.isRemoved()) return;
  new_ = site_.kind == NSKeyValueChangeKind::removal ? Value() : valueOfKey();
  change_.new_ = &*new_;
}

void ChangeDelivery::tellAfterOnPath(KeyValueRegistration& registration) {
  const auto root = registration.root();
  if (root.object == nullptr) return;
  registration.followPath(*root.object);
  NSKeyValueChange change;
  Value value;
  if (registration.has(NSKeyValueObservingOptionNew)) {
    value = valueOnPath(*root.object, registration.keyPath());
    change.new_ = &value;
  }
  if (pending_ != nullptr) {
    const auto old = std::find_if(pending_->oldOfPaths.begin(), pending_->oldOfPaths.end(),
                                  [&](const auto& entry) { return entry.first.get() == &registration; });
    if (old != pending_->oldOfPaths.end()) change.old_ = &old->second;
  }
  call(registration, *root.object, change);
}

[[gnu::always_inline]] inline void ChangeDelivery::callForKey(const ObserverHook& hook) {
  if (hook.role == HookRole::own) [[likely]]
    return call(*hook.registration, site_.object, change_);
  const auto root = hook.registration->root();
  if (root.object != nullptr) call(*hook.registration, *root.object, change_);
}

[[gnu::always_inline]] inline void ChangeDelivery::call(KeyValueRegistration& registration, NSObject& root,
                                                        NSKeyValueChange& change) {
  change.shown_ = registration.options();
  CallSlot& slot = walk_.slot();
  if (slot.enter(registration)) [[likely]]
    registration.notify(root, change);
  slot.leave(registration);
}

Value ChangeDelivery::valueOfKey() const {
  if (site_.indexes == nullptr) return site_.object.valueForKey(site_.key);
  // Of a change that was announced and did not happen there may be fewer elements than indexes.
  const NSProperty* property = site_.object.dynamicClass().property(site_.key);
  if (property != nullptr && property->elements) {
    return property->elements->atIndexes(site_.object, *site_.indexes);
  }
  const Array all = site_.object.valueForKey(site_.key).array();
  Array elements;
  for (const std::size_t index : *site_.indexes) {
    if (index < all.size()) elements.append(all[index]);
  }
  return elements;
}

void ChangeDelivery::tellInitialValue(KeyValueRegistration& registration, NSObject& root) {
  NSKeyValueChange change;
  change.isInitial_ = true;
  change.shown_ = registration.options();
  Value value;
  if (registration.has(NSKeyValueObservingOptionNew)) value = root.valueForKeyPath(registration.keyPath());
  change.new_ = &value;
  const ListenerCall call(registration);
  if (call) registration.notify(root, change);
}

constinit thread_local const QuietProperty* QuietProperty::innermost = nullptr;

QuietProperty::QuietProperty(const NSObject& object, std::string_view key) noexcept
    : object_(object), key_(key), outer_(std::exchange(innermost, this)) {}

QuietProperty::~QuietProperty() { innermost = outer_; }

bool QuietProperty::orOuterIncludes(const NSObject& object, std::string_view key) const noexcept {
  if (&object_ == &object && key_ == key) return true;
  return outer_ != nullptr && outer_->orOuterIncludes(object, key);
}

PendingChange* willChange(const ChangeSite& site) {
  if (QuietProperty::includes(site.object, site.key)) return nullptr;
  const QuietProperty::Pause pause;
  auto pending = std::make_unique<PendingChange>();
  ChangeDelivery(site, *ObservationInfo::ofIfAny(site.object), pending.get()).tellBefore();
  return pending.release();
}

namespace {

[[noreturn, gnu::cold]] void endProcess(std::string_view key) noexcept {
  fatalError(stringWithFormat("A change of \"%@\" cannot be told to its observers: %@", key,
                              asNSError(std::current_exception())));
}

[[gnu::cold, gnu::noinline]] void tellAfterUnlessQuiet(const ChangeSite& site, ObservationInfo& info,
                                                       PendingChange* pending) {
  if (QuietProperty::includes(site.object, site.key)) return;
  const QuietProperty::Pause pause;
  ChangeDelivery(site, info, pending).tellAfter();
}

[[gnu::always_inline]] inline void tellObservers(const ChangeSite& site, ObservationInfo& info,
                                                 PendingChange* pending) noexcept {
  try {
    if (QuietProperty::isAny()) [[unlikely]]
      return tellAfterUnlessQuiet(site, info, pending);
    ChangeDelivery(site, info, pending).tellAfter();
  } catch (...) {
    endProcess(site.key);
  }
}

// The last to hear is the object itself, which an observer may have let go of.
[[gnu::noinline]] void tellObserversAndObject(const ChangeSite& site, ObservationInfo& info,
                                              PendingChange* pending) noexcept {
  const auto object = site.object.weak_from_this().lock();
  tellObservers(site, info, pending);
  tellObject(site.object, site.key);
}

[[gnu::always_inline]] inline void tellAfter(const ChangeSite& site, PendingChange* pending) noexcept {
  ObservationHead& head = ObservationInfo::headOf(site.object);
  if (!head.tellsObject) [[likely]]
    return tellObservers(site, ObservationInfo::behind(head), pending);
  if (ObservationInfo::isOfObjectAlone(head)) return tellObject(site.object, site.key);
  tellObserversAndObject(site, ObservationInfo::behind(head), pending);
}

}  // namespace

void tellObject(NSObject& object, std::string_view key) noexcept { object.valueDidChange(key); }

void didChange(const ChangeSite& site, PendingChange* pending) noexcept {
  const std::unique_ptr<PendingChange> owned(pending);
  tellAfter(site, pending);
}

void didChangeSomehow(NSObject& object, std::string_view key, PendingChange* pending) noexcept {
  const std::unique_ptr<PendingChange> dropped(pending);
  didChange(object, key, nullptr);
}

void didChange(NSObject& object, std::string_view key, PendingChange* pending) noexcept {
  if (pending != nullptr) return didChange(ChangeSite{object, key}, pending);
  tellAfter({object, key}, nullptr);
}

}  // namespace QVFoundation::detail
