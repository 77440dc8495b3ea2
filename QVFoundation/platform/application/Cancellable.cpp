#include "QVFoundation/platform/application/Cancellable.h"

#include <utility>

#include "QVFoundation/platform/application/CancellableBag.h"

namespace QVFoundation {

Cancellable::Cancellable(std::function<void()> cancel) noexcept : cancel_(std::move(cancel)) {}

Cancellable::Cancellable(Cancellable&& other) noexcept : cancel_(std::exchange(other.cancel_, nullptr)) {}

Cancellable& Cancellable::operator=(Cancellable&& other) noexcept {
  // What was here is cancelled last, when this handle holds what it should: cancelling may come back to it.
  Cancellable incoming(std::move(other));
  cancel_.swap(incoming.cancel_);
  return *this;
}

Cancellable::~Cancellable() { cancel(); }

void Cancellable::cancel() {
  if (const auto action = std::exchange(cancel_, nullptr)) action();
}

void Cancellable::store(CancellableBag& bag) && { bag.add(std::move(*this)); }

}  // namespace QVFoundation
