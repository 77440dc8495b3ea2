#include "QVFoundation/platform/application/Receiver.h"

#include "QVFoundation/platform/runtime/EscapedException_p.h"

namespace QVFoundation::detail {

namespace {

template <class Body>
void callThrough(const Subscription& gate, const Body& body) noexcept {
  const ListenerCall call(gate);
  if (!call) return;
  try {
    body();
  } catch (...) {
    endForEscapedException("A subscriber");
  }
}

}  // namespace

Receiver::~Receiver() = default;

void Receiver::deliverValue(const void* value) noexcept {
  if (completed_.load(std::memory_order_acquire)) return;
  callThrough(*subscription_, [&] { receiveValue(value); });
}

void Receiver::deliverCompletion(const Completion& completion) noexcept {
  if (completed_.exchange(true)) return;
  callThrough(*subscription_, [&] { receiveCompletion(completion); });
}

}  // namespace QVFoundation::detail
