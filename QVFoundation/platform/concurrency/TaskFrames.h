#pragma once

#include <array>
#include <cstddef>

#include "QVFoundation/platform/Export.h"

/// Internal: installed because other headers need it.
///
/// The memory of coroutines and tasks, and of objects that come and go as fast. Each thread keeps some of what
/// it was given back, so that awaiting in a loop asks the system for nothing.
///
/// Threads: any; what one thread took another one may give back.
/// Errors: `std::bad_alloc`.
namespace QVFoundation::detail {

/// What a thread keeps of one size. It counts when it has been given back as many as there may be room for.
///
/// Threads: its own.
struct UnusedFrames {
  struct Frame {
    Frame* next;
  };

  Frame* first = nullptr;
  unsigned untilCounted = 1;
};

inline constexpr std::size_t frameStep = 64;
inline constexpr std::size_t largestFrameKept = 1024;

using UnusedFramesBySize = std::array<UnusedFrames, largestFrameKept / frameStep>;

// Without a wrapper, and at a fixed distance from the thread's own data: reading it takes no call.
extern QV_EXPORT thread_local constinit UnusedFramesBySize unusedFrames
    __attribute__((tls_model("initial-exec")));

[[nodiscard]] QV_EXPORT void* makeFrame(std::size_t size);
QV_EXPORT void countAndGiveBack(UnusedFrames& unused, void* frame, std::size_t size) noexcept;
QV_EXPORT void freeFrame(void* frame) noexcept;

[[nodiscard, gnu::always_inline]] inline void* takeFrame(std::size_t size) {
  if (size <= largestFrameKept) {
    UnusedFrames& unused = unusedFrames[(size - 1) / frameStep];
    if (UnusedFrames::Frame* const frame = unused.first) [[likely]] {
      unused.first = frame->next;
      return frame;
    }
  }
  return makeFrame(size);
}

/// With the size with which it was taken.
[[gnu::always_inline]] inline void giveFrameBack(void* frame, std::size_t size) noexcept {
  if (size > largestFrameKept) return freeFrame(frame);
  UnusedFrames& unused = unusedFrames[(size - 1) / frameStep];
  if (--unused.untilCounted == 0) [[unlikely]]
    return countAndGiveBack(unused, frame, size);
  auto* const kept = static_cast<UnusedFrames::Frame*>(frame);
  kept->next = unused.first;
  unused.first = kept;
}

}  // namespace QVFoundation::detail
