#include "QVFoundation/platform/concurrency/TaskFrames.h"

#include <cstdlib>
#include <new>

#if defined(__has_feature)
#define QV_HAS_FEATURE(name) __has_feature(name)
#else
#define QV_HAS_FEATURE(name) 0
#endif

namespace QVFoundation::detail {

thread_local constinit UnusedFramesBySize unusedFrames{};

namespace {

// Sanitizers are to see each frame come and go.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || QV_HAS_FEATURE(address_sanitizer) || \
    QV_HAS_FEATURE(thread_sanitizer)
constexpr bool keepsFrames = false;
#else
constexpr bool keepsFrames = true;
#endif

constexpr unsigned keptOfOneSize = 64;

/// Opens the room for a thread's frames, and frees them when the thread ends.
struct Keeper {
  Keeper() noexcept {
    for (UnusedFrames& unused : unusedFrames) unused.room = keptOfOneSize;
  }
  Keeper(const Keeper&) = delete;
  Keeper& operator=(const Keeper&) = delete;
  ~Keeper() {
    for (UnusedFrames& unused : unusedFrames) {
      unused.room = 0;
      while (UnusedFrames::Frame* const frame = unused.first) {
        unused.first = frame->next;
        std::free(frame);
      }
    }
  }
};

}  // namespace

void* makeFrame(std::size_t size) {
  const bool mayBeKept = keepsFrames && size <= largestFrameKept;
  void* const frame = std::malloc(mayBeKept ? (size + frameStep - 1) / frameStep * frameStep : size);
  if (frame == nullptr) throw std::bad_alloc();
  return frame;
}

void keepOrFreeFrame(void* frame, std::size_t size) noexcept {
  static thread_local constinit bool isKnown = false;
  if (keepsFrames && size <= largestFrameKept && !isKnown) {
    isKnown = true;  // once, and so not while the thread ends
    static thread_local const Keeper keeper;
    return giveFrameBack(frame, size);
  }
  std::free(frame);
}

}  // namespace QVFoundation::detail
