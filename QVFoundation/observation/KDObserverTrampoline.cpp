#include <utility>

#include "QVFoundation/observation/ElementFamily_p.h"
#include "QVFoundation/observation/KDObserverTrampoline_p.h"
#include "QVFoundation/platform/text/Format.h"

namespace QVFoundation::detail {

namespace {

// Told apart by its address.
constexpr char context[] = "KDObserverTrampolineContext";

}  // namespace

KDObserverTrampoline::KDObserverTrampoline(NSObject& observee, std::string_view keyPath,
                                           NSKeyValueObservingOptions options, Task task,
                                           std::shared_ptr<ElementFamily> family)
    : keyPath_(keyPath),
      options_(options),
      task_(std::move(task)),
      family_(std::move(family)),
      observee_(&observee) {}

KDObserverTrampoline::~KDObserverTrampoline() { objectGoes(); }

void KDObserverTrampoline::begin() {
  NSObject* const observee = observee_;
  if (observee == nullptr) return;
  auto self = std::static_pointer_cast<KDObserverTrampoline>(shared_from_this());
  const auto registration = std::make_shared<KeyValueRegistration>(
      *observee, keyPath_, options_, std::move(self), context, KeyValueRegistration::EndsWithObject::yes);
  {
    const UnfairLockGuard guard(lock_);
    if (isCancelled()) return;
    registration_ = registration;
  }
  registration->begin(*observee);
}

void KDObserverTrampoline::cancelObservation() noexcept {
  Released released;
  unlink(released);
  awaitEnd();
}

void KDObserverTrampoline::unlink(Released& released) noexcept {
  {
    const UnfairLockGuard guard(lock_);
    observee_ = nullptr;
  }
  if (const auto begun = registration()) begun->unlink(released);
}

void KDObserverTrampoline::awaitEnd() noexcept {
  if (const auto begun = registration()) begun->awaitEnd();
  if (family_ != nullptr) family_->end(ElementFamily::Wait::yes);
}

std::shared_ptr<KeyValueRegistration> KDObserverTrampoline::registration() const noexcept {
  const UnfairLockGuard guard(lock_);
  return registration_.lock();
}

void KDObserverTrampoline::objectGoes() noexcept {
  Released released;
  unlink(released);
  if (family_ != nullptr) family_->end(ElementFamily::Wait::no);
}

void KDObserverTrampoline::observeValueForKeyPath(std::string_view keyPath, NSObject& object,
                                                  const NSKeyValueChange& change, const void* itsContext) {
  if (itsContext != context) {
    NSKeyValueObserver::observeValueForKeyPath(keyPath, object, change, itsContext);
    return;
  }
  task_(object, change);
}

std::string KDObserverTrampoline::description() const {
  return stringWithFormat("<KDObserverTrampoline %p: observee %p, keyPath %@>", this, observee_.load(),
                          keyPath_);
}

}  // namespace QVFoundation::detail
