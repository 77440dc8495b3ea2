#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <ctime>

namespace QVFoundation::detail {

/// One wake-up that one thread sends and another one waits for; it is not lost when it comes first.
///
/// Threads: `send` from any thread, the rest on the one that waits. Who waits may let go of it as soon as it
/// came: the sender does not look at it again.
class WakeUp {
public:
  void send() noexcept {
    std::atomic<std::uint32_t>* const state = &state_;
    if (state->exchange(sent, std::memory_order_acq_rel) == awaited) wake(state);
  }

  void await() noexcept;
  /// False when the time is up.
  [[nodiscard]] bool awaitUntil(std::chrono::steady_clock::time_point time) noexcept;
  [[nodiscard]] bool hasCome() const noexcept { return state_.load(std::memory_order_acquire) == sent; }
  /// Before it is waited for again, and nobody can send it.
  void reset() noexcept { state_.store(unsent, std::memory_order_relaxed); }

private:
  enum State : std::uint32_t { unsent, awaited, sent };

  static void wake(std::atomic<std::uint32_t>* state) noexcept;
  bool sleepUntil(const timespec* time) noexcept;

  std::atomic<std::uint32_t> state_{unsent};
};

}  // namespace QVFoundation::detail
