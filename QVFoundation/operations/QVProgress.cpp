#include "QVFoundation/operations/QVProgress.h"

#include <utility>

#include "QVFoundation/platform/runtime/ChangeNotice.h"

namespace QVFoundation {

const NSClass& QVProgress::staticClass() {
  static const NSClass& cls =
      *new NSClass(NSClass::define<QVProgress>("QVProgress", NSObject::staticClass())
                       .property("localizedDescription", &QVProgress::localizedDescription,
                                 &QVProgress::setLocalizedDescription));
  return cls;
}

QVProgress::QVProgress(std::string localizedDescription)
    : observationManager_(std::make_shared<QVObservationManager>()),
      localizedDescription_(std::move(localizedDescription)) {}

QVProgress::QVProgress(std::shared_ptr<NSProgress> progress)
    : progress_(std::move(progress)), observationManager_(std::make_shared<QVObservationManager>()) {
  // This is there as long as the task runs: its end is waited for.
  observationManager_->addObserverOfObject(*progress_, "localizedDescription",
                                           [this](NSProgress& source, const NSKeyValueChange&) {
                                             setLocalizedDescription(source.localizedDescription());
                                           });
}

QVProgress::~QVProgress() { observationManager_->removeAllObservers(); }

std::string QVProgress::localizedDescription() const {
  const UnfairLockGuard guard(lock_);
  return localizedDescription_;
}

// An observer may let go of this.
void QVProgress::setLocalizedDescription(std::string localizedDescription) {
  const ChangeNotice notice(*this, "localizedDescription");
  const UnfairLockGuard guard(lock_);
  localizedDescription_.swap(localizedDescription);
}

}  // namespace QVFoundation
