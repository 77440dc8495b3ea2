#include "QVFoundation/operations/QVOperation.h"

#include <utility>

#include "QVFoundation/operations/QVOperationState_p.h"
#include "QVFoundation/operations/QVProgressUtilities.h"
#include "QVFoundation/platform/concurrency/DispatchQueue.h"
#include "QVFoundation/platform/concurrency/MainQueue.h"
#include "QVFoundation/platform/runtime/ChangeNotice.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/text/Format.h"

namespace QVFoundation {

// Many operations run without anybody looking. Who looks later finds what a run sets up from its beginning.
std::shared_ptr<NSProgress> QVOperation::progress() const {
  std::shared_ptr<NSProgress> made;
  bool isSetUp = false;
  for (;;) {
    {
      const UnfairLockGuard guard(lock_);
      if (progress_ == nullptr && isSetUp == setsUpProgress_) progress_ = made;
      if (progress_ != nullptr) return progress_;
      isSetUp = setsUpProgress_;
    }
    if (made == nullptr) {
      made = std::make_shared<NSProgress>();
      made->setLocalizedAdditionalDescription("");
    }
    if (isSetUp) setUp(*made);
  }
}

void QVOperation::setUpProgress() {
  std::shared_ptr<NSProgress> present;
  {
    const UnfairLockGuard guard(lock_);
    setsUpProgress_ = true;
    present = progress_;
  }
  if (present != nullptr) setUp(*present);
  if (mainThreadProgress() == nullptr) return;
  if (isMainThread()) return nameMainThreadProgress();
  DispatchQueue::main()->async([weak = weakSelf()] {
    if (const auto self = weak.lock()) self->nameMainThreadProgress();
  });
}

// The two names of the copy differ, here and where it is made, as they always have.
void QVOperation::nameMainThreadProgress() const {
  const auto shown = mainThreadProgress();
  if (shown == nullptr) return;
  QVFoundation::setName(*shown, QVFoundation::name(*progress()).value_or("null") + ": (main)");
}

void QVOperation::setUp(NSProgress& progress) const {
  QVFoundation::setName(progress, name().value_or(""));
  setupProgressPauseHandlers(progress);
}

void QVOperation::setProgress(std::shared_ptr<NSProgress> progress) {
  if (progress == nullptr) {
    throw NSException(NSInvalidArgumentException, shortDescription() + " cannot be without a progress");
  }
  const ChangeNotice notice(*this, "progress");
  (void)exchange(&QVOperation::progress_, std::move(progress));
}

void QVOperation::resetProgress() {
  if (const OSLogger& log = progressLog(); log.isEnabled(OSLogType::debug)) {
    log.log(OSLogType::debug, stringWithFormat("Resetting progress for %@", nameOrNull()));
  }
  setProgress(std::make_shared<NSProgress>());
  installMirror();
}

// The progress may be replaced, and the copy may come and go, on other threads meanwhile.
void QVOperation::installMirror() {
  for (;;) {
    const auto source = progress();
    const auto shown = mainThreadProgress();
    auto mirror =
        shown != nullptr ? std::make_shared<QVProgressMirror>(source, shown, DispatchQueue::main()) : nullptr;
    const auto replaced = exchange(&QVOperation::mainThreadProgressMirror_, std::move(mirror));
    if (replaced != nullptr) replaced->invalidate();
    if (progress() == source && mainThreadProgress() == shown) return;
  }
}

std::shared_ptr<NSProgress> QVOperation::currentSegmentProgress() const {
  return locked(&QVOperation::currentSegmentProgress_);
}

void QVOperation::setCurrentSegmentProgress(std::shared_ptr<NSProgress> progress) {
  const ChangeNotice notice(*this, "currentSegmentProgress");
  (void)exchange(&QVOperation::currentSegmentProgress_, std::move(progress));
}

std::shared_ptr<NSProgress> QVOperation::topLevelProgress() const {
  auto segment = currentSegmentProgress();
  return segment != nullptr ? segment : progress();
}

void QVOperation::updateLocalizedDescription(const std::optional<std::string>& text) const {
  QVFoundation::updateLocalizedDescription(*topLevelProgress(), text);
}
void QVOperation::updateLocalizedAdditionalDescription(const std::string& text) const {
  QVFoundation::updateLocalizedAdditionalDescription(*topLevelProgress(), text);
}

void QVOperation::setEnableMainThreadProgress(bool enabled) {
  {
    const ChangeNotice notice(*this, "enableMainThreadProgress");
    enableMainThreadProgress_ = enabled;
  }
  DispatchQueue::main()->sync([this] { updateMainThreadProgress(); });
}

void QVOperation::updateMainThreadProgress() {
  std::shared_ptr<NSProgress> shown;
  if (enableMainThreadProgress_) {
    shown = std::make_shared<NSProgress>();
    QVFoundation::setName(*shown, QVFoundation::name(*progress()).value_or("null") + " (main)");
  }
  const ChangeNotice notice(*this, "mainThreadProgress");
  (void)exchange(&QVOperation::mainThreadProgress_, std::move(shown));
  installMirror();  // before observers hear
}

std::shared_ptr<NSProgress> QVOperation::mainThreadProgress() const {
  return locked(&QVOperation::mainThreadProgress_);
}

void QVOperation::setMainThreadProgress(std::shared_ptr<NSProgress> progress) {
  const ChangeNotice notice(*this, "mainThreadProgress");
  (void)exchange(&QVOperation::mainThreadProgress_, std::move(progress));
}

std::shared_ptr<QVProgressMirror> QVOperation::mainThreadProgressMirror() const {
  return locked(&QVOperation::mainThreadProgressMirror_);
}

}  // namespace QVFoundation
