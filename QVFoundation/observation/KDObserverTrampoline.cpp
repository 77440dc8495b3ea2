#include <utility>

#include "QVFoundation/observation/KDObserverTrampoline_p.h"
#include "QVFoundation/platform/text/Format.h"

namespace QVFoundation::detail {

namespace {

// Told apart by its address.
constexpr char context[] = "KDObserverTrampolineContext";

}  // namespace

std::shared_ptr<KDObserverTrampoline> KDObserverTrampoline::make(NSObject& observee, std::string_view keyPath,
                                                                 NSKeyValueObservingOptions options,
                                                                 Task task) {
  auto trampoline = std::make_shared<KDObserverTrampoline>(observee, keyPath, std::move(task));
  trampoline->unbegun_ = std::make_shared<KeyValueRegistration>(
      observee, keyPath, options, trampoline, context, KeyValueRegistration::EndsWithObject::yes);
  trampoline->registration_ = trampoline->unbegun_;
  return trampoline;
}

KDObserverTrampoline::KDObserverTrampoline(NSObject& observee, std::string_view keyPath, Task task)
    : observee_(&observee), keyPath_(keyPath), task_(std::move(task)) {}

KDObserverTrampoline::~KDObserverTrampoline() { cancelObservation(); }

void KDObserverTrampoline::begin() {
  const auto registration = std::move(unbegun_);
  NSObject* const observee = observee_;
  if (observee != nullptr) registration->begin(*observee);
}

void KDObserverTrampoline::cancelObservation() noexcept {
  unlink();
  awaitEnd();
}

void KDObserverTrampoline::unlink() noexcept {
  observee_ = nullptr;
  if (const auto registration = registration_.lock()) registration->unlink();
}

void KDObserverTrampoline::awaitEnd() noexcept {
  if (const auto registration = registration_.lock()) registration->awaitEnd();
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
