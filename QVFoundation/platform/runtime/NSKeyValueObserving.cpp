#include "QVFoundation/platform/runtime/NSKeyValueObserving.h"

#include <string>

#include "QVFoundation/platform/runtime/KeyValueRegistration_p.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/runtime/ObservationInfo_p.h"
#include "QVFoundation/platform/text/Format.h"

namespace QVFoundation {

using detail::KeyValueRegistration;
using detail::ObservationInfo;

NSKeyValueObserver::~NSKeyValueObserver() = default;

void NSKeyValueObserver::observeValueForKeyPath(std::string_view keyPath, NSObject& object,
                                                const NSKeyValueChange& /*change*/, const void* /*context*/) {
  throw NSException(NSInternalInconsistencyException,
                    stringWithFormat("An observer of \"%@\" of %@ does not handle what it observes", keyPath,
                                     object.shortDescription()));
}

void detail::raiseMissingTask(const NSObject& object, std::string_view keyPath) {
  throw NSException(NSInvalidArgumentException, stringWithFormat("There is no task for \"%@\" of %@", keyPath,
                                                                 object.shortDescription()));
}

void NSObject::addObserver(std::shared_ptr<NSKeyValueObserver> observer, std::string_view keyPath,
                           NSKeyValueObservingOptions options, const void* context) {
  if (observer == nullptr) {
    throw NSException(NSInvalidArgumentException,
                      stringWithFormat("There is no observer for \"%@\" of %@", keyPath, shortDescription()));
  }
  std::make_shared<KeyValueRegistration>(*this, keyPath, options, std::move(observer), context,
                                         KeyValueRegistration::EndsWithObject::no)
      ->begin(*this);
}

// NOLINTNEXTLINE(readability-make-member-function-const): who observes an object is part of its state
void NSObject::removeObserver(const NSKeyValueObserver& observer, std::string_view keyPath,
                              const void* context) {
  ObservationInfo* info = ObservationInfo::ofIfAny(*this);
  const auto isMeant = [&](const KeyValueRegistration& registration) {
    return registration.isOn(*this) && registration.isOf(observer, context) &&
           registration.keyPath() == keyPath && !registration.endsWithObject();
  };
  const auto registration = info != nullptr ? info->findLast(isMeant) : nullptr;
  if (registration == nullptr || !registration->unlink()) {
    throw NSException(
        NSInternalInconsistencyException,
        stringWithFormat("There is no such observer of \"%@\" of %@ to remove", keyPath, shortDescription()));
  }
  registration->awaitEnd();
}

namespace {

/// A registration that calls a task.
class TaskRegistration final : public KeyValueRegistration {
public:
  TaskRegistration(NSObject& object, std::string_view keyPath, NSKeyValueObservingOptions options,
                   NSKeyValueObservation::Task task)
      : KeyValueRegistration(object, keyPath, options, nullptr, nullptr, EndsWithObject::yes),
        task_(std::move(task)) {}

private:
  void tell(NSObject& object, const NSKeyValueChange& change) override { task_(object, change); }

  const NSKeyValueObservation::Task task_;
};

}  // namespace

NSKeyValueObservation NSKeyValueObservation::begin(NSObject& object, std::string_view keyPath,
                                                   NSKeyValueObservingOptions options, Task task) {
  NSKeyValueObservation observation;
  observation.registration_ = std::make_shared<TaskRegistration>(
      object, keyPath, options, detail::checkedTask(std::move(task), object, keyPath));
  observation.registration_->begin(object);
  return observation;
}

void NSKeyValueObservation::invalidate() noexcept {
  if (const auto registration = std::move(registration_)) {
    registration->unlink();
    registration->awaitEnd();
  }
}

}  // namespace QVFoundation
