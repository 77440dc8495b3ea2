#include "QVFoundation/platform/concurrency/Listener.h"

#include "QVFoundation/platform/concurrency/CallSlot_p.h"

namespace QVFoundation::detail {

namespace {

constinit thread_local unsigned scopesWithoutWaiting = 0;

}  // namespace

CallsNotAwaited::CallsNotAwaited() noexcept { ++scopesWithoutWaiting; }
CallsNotAwaited::~CallsNotAwaited() { --scopesWithoutWaiting; }

void Listener::awaitCallsIn(const void* group) const noexcept {
  if (CallSlot::threadIsCalling() || scopesWithoutWaiting > 0) return;
  if (!CallSlot::othersAreIn(group)) return;
  awaited_.store(true);
  CallSlot::orderAllThreads();
  CallSlot::awaitEndOf(*this);
}

ListenerCall::ListenerCall(const Listener& listener)
    : listener_(listener), slot_(CallSlot::takeVisibly(&listener)), mayCall_(slot_.enter(listener)) {}

ListenerCall::~ListenerCall() {
  slot_.leave(listener_);
  slot_.giveBack();
}

}  // namespace QVFoundation::detail
