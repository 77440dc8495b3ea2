#pragma once

namespace QVFoundation::detail {

/// Tells the processor that this thread only waits: for a time, or for another one to store something.
///
/// Threads: any.
inline void pauseProcessor() noexcept {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_ia32_pause();
#elif defined(__aarch64__)
  asm volatile("yield");
#endif
}

}  // namespace QVFoundation::detail
