#include "QVFoundation/platform/concurrency/Continuation.h"

#include <string>

#include "QVFoundation/platform/runtime/FatalError.h"

namespace QVFoundation::detail {

ContinuationCheck::~ContinuationCheck() {
  if (state_.load(std::memory_order_relaxed) != State::open) return;
  fatalError(std::string("The continuation of ") + label_ +
             " was dropped without being resumed: its task would wait for ever");
}

bool ContinuationCheck::claim() noexcept {
  State expected = State::open;
  if (state_.compare_exchange_strong(expected, State::used)) return true;
  if (expected == State::used)
    fatalError(std::string("The continuation of ") + label_ + " was resumed twice");
  return false;
}

}  // namespace QVFoundation::detail
