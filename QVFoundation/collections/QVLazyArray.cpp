#include "QVFoundation/collections/QVLazyArray.h"

#include <string>

#include "QVFoundation/platform/runtime/NSException.h"

namespace QVFoundation::detail {

bool LazySlot::begin(std::size_t index) {
  for (;;) {
    State state = State::empty;
    if (state_.compare_exchange_strong(state, State::filling, std::memory_order_acquire)) {
      filler_.store(std::this_thread::get_id(), std::memory_order_relaxed);
      return true;
    }
    if (state == State::filled) return false;
    if (filler_.load(std::memory_order_relaxed) == std::this_thread::get_id()) {
      throw NSException(NSInternalInconsistencyException,
                        "Element " + std::to_string(index) + " of a lazy array asks for itself");
    }
    state_.wait(State::filling, std::memory_order_acquire);
  }
}

void LazySlot::end(bool isFilled) noexcept {
  filler_.store({}, std::memory_order_relaxed);
  state_.store(isFilled ? State::filled : State::empty, std::memory_order_release);
  state_.notify_all();
}

void raiseLazyIndex(std::size_t index, std::size_t size) {
  throw NSException(NSRangeException, "Index " + std::to_string(index) + " is beyond the lazy array's " +
                                          std::to_string(size) + " elements");
}

}  // namespace QVFoundation::detail
