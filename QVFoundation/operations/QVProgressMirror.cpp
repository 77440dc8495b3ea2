#include "QVFoundation/operations/QVProgressMirror.h"

#include <chrono>
#include <utility>

#include "QVFoundation/operations/QVProgressUtilities.h"
#include "QVFoundation/platform/text/Format.h"

namespace QVFoundation {

using namespace std::chrono_literals;

namespace {

void copyProgress(const NSProgress& source, NSProgress& destination) {
  if (source.isIndeterminate()) {
    const std::int64_t completed = source.completedUnitCount();
    const std::int64_t total = source.totalUnitCount();
    // With more units than there are it would have finished in between.
    if (completed < destination.completedUnitCount()) destination.setCompletedUnitCount(completed);
    destination.setTotalUnitCount(total);
    destination.setCompletedUnitCount(completed);
  } else {
    constexpr std::int64_t units = 10'000;
    destination.setTotalUnitCount(units);
    destination.setCompletedUnitCount(
        static_cast<std::int64_t>(source.fractionCompleted() * static_cast<double>(units)));
  }
  updateLocalizedDescription(destination, source.localizedDescription());
  updateLocalizedAdditionalDescription(destination, source.localizedAdditionalDescription());
  if (mirrorLog().isEnabled(OSLogType::debug)) {
    mirrorLog().log(OSLogType::debug, stringWithFormat("mirror: %@ -> %@", customDescription(source),
                                                       customDescription(destination)));
  }
}

}  // namespace

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
  // It does not need the mirror, which an observer of the destination may let go of.
  timer->setEventHandler(
      [source = source_, destination = destination_] { copyProgress(*source, *destination); });
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
  const auto source = source_;
  const auto destination = destination_;
  copyProgress(*source, *destination);
}

std::string QVProgressMirror::description() const {
  return stringWithFormat("QVProgressMirror: source %@, destination %@", customDescription(*source_),
                          customDescription(*destination_));
}

}  // namespace QVFoundation
