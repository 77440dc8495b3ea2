#include <utility>

#include "QVFoundation/platform/application/NSProgressState_p.h"
#include "QVFoundation/platform/runtime/ChangeNotice.h"
#include "QVFoundation/platform/runtime/EscapedException_p.h"

// What a progress is to be (wantsPause_, wantsCancel_) is decided for a whole tree at once, under the tree's
// lock; then each is told. Of several threads that pause and resume, one at a time tells a progress and goes
// on until it is what it is to be: so the last decision holds everywhere, and handlers run in turn.

namespace QVFoundation {

namespace {

using SharedProgress = std::shared_ptr<NSProgress>;
using ProgressHandler = std::shared_ptr<const NSProgress::Handler>;

ProgressHandler shared(NSProgress::Handler handler) {
  return handler ? std::make_shared<const NSProgress::Handler>(std::move(handler)) : nullptr;
}

void callHandler(const ProgressHandler& handler, const char* which, const NSProgress& progress) noexcept {
  if (handler == nullptr) return;
  try {
    (*handler)();
  } catch (...) {
    detail::endForEscapedException(std::string("The ") + which + " handler of " +
                                   progress.shortDescription());
  }
}

}  // namespace

void NSProgress::cancel() {
  std::vector<SharedProgress> cancelled;
  const auto self = shared_from_this();
  {
    const UnfairLockGuard guard(treeLock_);
    wantCancel(cancelled);
  }
  for (const auto& each : cancelled) each->tellCancellation();
}

void NSProgress::wantCancel(std::vector<SharedProgress>& changed) {
  for (NSProgress* each = this; each != nullptr; each = nextBelow(*each)) {
    if (std::exchange(each->wantsCancel_, true)) continue;
    changed.push_back(std::static_pointer_cast<NSProgress>(each->shared_from_this()));
  }
}

void NSProgress::tellCancellation() {
  {
    const ChangeNotice notice(*this, "isCancelled");
    isCancelled_ = true;
  }
  ProgressHandler handler;
  {
    const UnfairLockGuard guard(lock_);
    handler = details().cancellationHandler;
    details_->hasToldCancellation = true;
  }
  callHandler(handler, "cancellation", *this);
}

void NSProgress::setCancellationHandler(Handler handler) {
  const auto its = shared(std::move(handler));
  ProgressHandler replaced;  // goes after the lock
  bool isTooLate = false;
  {
    const UnfairLockGuard guard(lock_);
    replaced = std::exchange(details().cancellationHandler, its);
    isTooLate = details_->hasToldCancellation;
  }
  if (isTooLate) callHandler(its, "cancellation", *this);
}

void NSProgress::pause() { setPausedInTree(true); }
void NSProgress::resume() { setPausedInTree(false); }

void NSProgress::setPausedInTree(bool paused) {
  std::vector<SharedProgress> changed;
  const auto self = shared_from_this();
  {
    const UnfairLockGuard guard(treeLock_);
    wantPause(paused, changed);
  }
  for (const auto& each : changed) each->tellPauses();
}

void NSProgress::wantPause(bool paused, std::vector<SharedProgress>& changed) {
  for (NSProgress* each = this; each != nullptr; each = nextBelow(*each)) {
    if (std::exchange(each->wantsPause_, paused) == paused) continue;
    changed.push_back(std::static_pointer_cast<NSProgress>(each->shared_from_this()));
  }
}

void NSProgress::tellPauses() {
  for (;;) {
    ProgressHandler handler;
    bool pauses = false;
    bool isNews = false;
    {
      const UnfairLockGuard guard(treeLock_);
      if (isTellingPause_) return;
      pauses = wantsPause_;
      isNews = pauses != isPaused_;
      if (isNews) hasHandledPause_ = false;
      if (isNews || (pauses && !hasHandledPause_)) handler = pauseHandler(pauses);
      if (!isNews && handler == nullptr) return;
      hasHandledPause_ = pauses && handler != nullptr;
      isTellingPause_ = true;
    }
    if (isNews) {
      const ChangeNotice notice(*this, "isPaused");
      isPaused_ = pauses;
    }
    callHandler(handler, pauses ? "pausing" : "resuming", *this);
    const UnfairLockGuard guard(treeLock_);
    isTellingPause_ = false;
  }
}

std::shared_ptr<const NSProgress::Handler> NSProgress::pauseHandler(bool pauses) const {
  const UnfairLockGuard guard(lock_);
  if (details_ == nullptr) return nullptr;
  return pauses ? details_->pausingHandler : details_->resumingHandler;
}

void NSProgress::setPausingHandler(Handler handler) {
  auto its = shared(std::move(handler));
  {
    const UnfairLockGuard guard(lock_);
    its.swap(details().pausingHandler);
  }
  tellPauses();
}

void NSProgress::setResumingHandler(Handler handler) {
  auto its = shared(std::move(handler));
  const UnfairLockGuard guard(lock_);
  its.swap(details().resumingHandler);
}

NSProgress::Handler NSProgress::cancellationHandler() const {
  return handlerOf(&Details::cancellationHandler);
}
NSProgress::Handler NSProgress::pausingHandler() const { return handlerOf(&Details::pausingHandler); }
NSProgress::Handler NSProgress::resumingHandler() const { return handlerOf(&Details::resumingHandler); }

NSProgress::Handler NSProgress::handlerOf(std::shared_ptr<const Handler> Details::* handler) const {
  ProgressHandler its;
  {
    const UnfairLockGuard guard(lock_);
    if (details_ != nullptr) its = (*details_).*handler;
  }
  return its != nullptr ? *its : Handler();
}

void NSProgress::setCancellable(bool cancellable) {
  const ChangeNotice notice(*this, "isCancellable");
  isCancellable_ = cancellable;
}

void NSProgress::setPausable(bool pausable) {
  const ChangeNotice notice(*this, "isPausable");
  isPausable_ = pausable;
}

}  // namespace QVFoundation
