#include "QVFoundation/platform/concurrency/Continuation.h"

#include <string>

#include "QVFoundation/platform/concurrency/TaskCallStack.h"
#include "QVFoundation/platform/runtime/FatalError.h"

namespace QVFoundation::detail {

ContinuationCheck::~ContinuationCheck() {
  if (state_.load(std::memory_order_relaxed) != State::open) return;
  fatalError(
      "The continuation of " + label() + " was dropped without being resumed: its task would wait for ever",
      place_);
}

bool ContinuationCheck::claim() noexcept {
  State expected = State::open;
  if (state_.compare_exchange_strong(expected, State::used)) return true;
  if (expected == State::used) fatalError("The continuation of " + label() + " was resumed twice", place_);
  return false;
}

std::string ContinuationCheck::label() const { return label_ != nullptr ? label_ : functionName(place_); }

}  // namespace QVFoundation::detail
