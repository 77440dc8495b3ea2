#include "QVFoundation/operations/QVProgressMirror.h"

#include <chrono>
#include <utility>

#include "QVFoundation/operations/QVProgressUtilities.h"
#include "QVFoundation/platform/text/Format.h"

namespace QVFoundation {

using namespace std::chrono_literals;

const NSClass& QVProgressMirror::staticClass() {
  static const NSClass& cls =
      *new NSClass(NSClass::define<QVProgressMirror>("QVProgressMirror", NSObject::staticClass())
                       .readOnly("sourceProgress", &QVProgressMirror::sourceProgress)
                       .readOnly("destinationProgress", &QVProgressMirror::destinationProgress));
  return cls;
}

QVProgressMirror::QVProgressMirror(std::shared_ptr<NSProgress> sourceProgress,
                                   std::shared_ptr<NSProgress> destinationProgress,
                                   std::shared_ptr<DispatchQueue> queue)
    : source_(std::move(sourceProgress)),
      destination_(std::move(destinationProgress)),
      queue_(std::move(queue)) {
  const auto timer = std::make_shared<DispatchTimerSource>(queue_);
  timer->schedule(0s, 200ms);
  // The end of the timer is waited for, so the mirror is still there; but nobody may hold it any more.
  timer->setEventHandler([this] {
    if (const auto self = weak_from_this().lock()) updateDestinationProgress();
  });
  {
    const UnfairLockGuard guard(lock_);
    timer_ = timer;
  }
  timer->resume();
}

QVProgressMirror::~QVProgressMirror() { invalidate(); }

void QVProgressMirror::invalidate() {
  std::shared_ptr<DispatchTimerSource> ended;
  {
    const UnfairLockGuard guard(lock_);
    ended = std::exchange(timer_, nullptr);
  }
  if (ended != nullptr) ended->cancel();
}

std::shared_ptr<DispatchTimerSource> QVProgressMirror::timer() const {
  const UnfairLockGuard guard(lock_);
  return timer_;
}

void QVProgressMirror::updateDestinationProgress() {
  if (source_->isIndeterminate()) {
    destination_->setTotalUnitCount(source_->totalUnitCount());
    destination_->setCompletedUnitCount(source_->completedUnitCount());
  } else {
    constexpr std::int64_t units = 10'000;
    destination_->setTotalUnitCount(units);
    destination_->setCompletedUnitCount(
        static_cast<std::int64_t>(source_->fractionCompleted() * static_cast<double>(units)));
  }
  updateLocalizedDescription(*destination_, source_->localizedDescription());
  updateLocalizedAdditionalDescription(*destination_, source_->localizedAdditionalDescription());
  if (mirrorLog().isEnabled(OSLogType::debug)) {
    mirrorLog().log(OSLogType::debug, stringWithFormat("mirror: %@ -> %@", customDescription(*source_),
                                                       customDescription(*destination_)));
  }
}

std::string QVProgressMirror::description() const {
  return stringWithFormat("QVProgressMirror: source %@, destination %@", customDescription(*source_),
                          customDescription(*destination_));
}

}  // namespace QVFoundation
