#include "QVFoundation/operations/QVProgress.h"

#include <utility>

#include "QVFoundation/platform/runtime/ChangeNotice.h"
#include "QVFoundation/platform/runtime/NSException.h"

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

// The observation begins when somebody holds the model, and keeps it while the task runs.
std::shared_ptr<QVProgress> QVProgress::following(std::shared_ptr<NSProgress> progress) {
  if (progress == nullptr) throw NSException(NSInvalidArgumentException, "There is no progress to follow");
  auto model = std::make_shared<QVProgress>(std::string());
  model->progress_ = progress;
  model->observationManager_->addObserverOfObject(
      *progress, "localizedDescription",
      [weak = std::weak_ptr(model)](NSProgress& source, const NSKeyValueChange&) {
        if (const auto self = weak.lock()) self->setLocalizedDescription(source.localizedDescription());
      });
  return model;
}

QVProgress::~QVProgress() { observationManager_->removeAllObservers(); }

std::string QVProgress::localizedDescription() const {
  const UnfairLockGuard guard(lock_);
  return localizedDescription_;
}

void QVProgress::setLocalizedDescription(std::string localizedDescription) {
  const ChangeNotice notice(*this, "localizedDescription");
  const UnfairLockGuard guard(lock_);
  localizedDescription_.swap(localizedDescription);
}

}  // namespace QVFoundation
