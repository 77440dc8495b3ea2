#include "QVFoundation/operations/QVOperation.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

#include "QVFoundation/operations/QVOperationState_p.h"
#include "QVFoundation/platform/concurrency/DispatchQueue.h"
#include "QVFoundation/platform/concurrency/ReservedQueue_p.h"
#include "QVFoundation/platform/concurrency/SteadyTime_p.h"
#include "QVFoundation/platform/runtime/ChangeNotice.h"
#include "QVFoundation/platform/runtime/EscapedException_p.h"
#include "QVFoundation/platform/runtime/NSException.h"

namespace QVFoundation {

namespace {

std::chrono::nanoseconds delayOf(std::chrono::duration<double> seconds) {
  constexpr std::chrono::duration<double> century = detail::century;
  if (std::isnan(seconds.count())) seconds = century;
  seconds = std::clamp(seconds, std::chrono::duration<double>::zero(), century);
  return std::chrono::duration_cast<std::chrono::nanoseconds>(seconds);
}

void pauseOrResume(QVOperation& operation, bool pauses) noexcept {
  try {
    pauses ? operation.pause() : operation.resume();
  } catch (...) {
    detail::endForEscapedException((pauses ? "The pause of " : "The resumption of ") +
                                   operation.shortDescription());
  }
}

}  // namespace

void QVOperation::pause() { setPaused(true); }
void QVOperation::resume() { setPaused(false); }

void QVOperation::setPaused(bool paused) {
  const auto self = weak_from_this().lock();
  {
    const UnfairLockGuard guard(lock_);
    wantsPause_ = paused;
  }
  spreadPause();
}

void QVOperation::spreadPause() {
  {
    const UnfairLockGuard guard(lock_);
    hasPauseToSpread_ = true;
    if (std::exchange(isSpreadingPause_, true)) return setGate();  // the other thread sees to the parts
  }
  for (;;) {
    bool pauses = false;
    {
      const UnfairLockGuard guard(lock_);
      isSpreadingPause_ = std::exchange(hasPauseToSpread_, false);
      if (!isSpreadingPause_) return;
      pauses = wantsPause_;
    }
    applyPause(pauses);
  }
}

void QVOperation::applyPause(bool pauses) {
  pauseOrResumeParts(pauses);
  {
    const UnfairLockGuard guard(lock_);
    setGate();
  }
  updateIsPaused();
}

void QVOperation::pauseOrResumeParts(bool pauses) const {
  for (const auto& part : allParts()) pauseOrResume(*part, pauses);
}

void QVOperation::setGate() {
  pauseConditionLock_.lock();
  pauseConditionLock_.unlockWithCondition(wantsPause_ ? detail::gateIsClosed : detail::gateIsOpen);
}

// What is on its way to the main thread tells the state that it finds there.
void QVOperation::updateIsPaused() {
  if (isUpdatingPaused_.exchange(true)) return;
  DispatchQueue::main()->async([weak = std::weak_ptr(weak_from_this())] {
    const auto self = std::static_pointer_cast<QVOperation>(weak.lock());
    if (self == nullptr) return;
    self->isUpdatingPaused_.exchange(false);  // and so sees what those did who found it on its way
    const bool isPaused = self->pauseConditionLock_.condition() == detail::gateIsClosed;
    if (isPaused != self->isPaused_) self->setIsPaused(isPaused);
  });
}

void QVOperation::setIsPaused(bool isPaused) {
  const ChangeNotice notice(*this, "isPaused");
  isPaused_ = isPaused;
}

void QVOperation::setupProgressPauseHandlers(NSProgress& progress) const {
  const std::weak_ptr self(
      std::static_pointer_cast<QVOperation>(std::const_pointer_cast<NSObject>(weak_from_this().lock())));
  progress.setPausable(true);
  progress.setPausingHandler([self] {
    if (const auto operation = self.lock()) operation->pause();
  });
  progress.setResumingHandler([self] {
    if (const auto operation = self.lock()) operation->resume();
  });
}

// What the handler holds goes with it, once it has been called.
void QVOperation::addTimeout(std::chrono::duration<double> seconds, std::function<void()> handler) {
  if (!handler) {
    throw NSException(NSInvalidArgumentException, "A time-out of " + shortDescription() + " needs a handler");
  }
  // However many operations wait in their bodies for the handlers of others.
  const auto source = std::make_shared<DispatchTimerSource>(detail::reservedQueue());
  source->schedule(delayOf(seconds));
  source->setEventHandler([handler = std::move(handler), its = nameOrNull()]() mutable {
    detail::callGuarded(std::exchange(handler, nullptr), "The time-out handler of the operation " + its);
  });
  const auto replaced = exchange(&QVOperation::timeoutSource_, source);
  if (replaced != nullptr) replaced->cancel();
  source->resume();
}

void QVOperation::cancelTimeout() {
  if (const auto source = exchange(&QVOperation::timeoutSource_, {})) source->cancel();
}

}  // namespace QVFoundation
