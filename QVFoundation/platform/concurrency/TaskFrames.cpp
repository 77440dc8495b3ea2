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

constexpr unsigned mostKept = 64;  // of one size

enum class Keeping : unsigned char { notYet, on, over };
thread_local constinit Keeping keeping = keepsFrames ? Keeping::notYet : Keeping::over;

void freeAllBehind(UnusedFrames::Frame*& first) noexcept {
  while (UnusedFrames::Frame* const frame = first) {
    first = frame->next;
    std::free(frame);
  }
}

/// Frees a thread's frames when it ends.
struct Keeper {
  Keeper() noexcept { keeping = Keeping::on; }
  Keeper(const Keeper&) = delete;
  Keeper& operator=(const Keeper&) = delete;
  ~Keeper() {
    keeping = Keeping::over;
    for (UnusedFrames& unused : unusedFrames) {
      unused.untilCounted = 1;
      freeAllBehind(unused.first);
    }
  }
};

/// Frees all but half of those that may be kept, so that there is room for as many again.
void makeRoom(UnusedFrames& unused) noexcept {
  unsigned kept = 0;
  UnusedFrames::Frame** last = &unused.first;
  for (; *last != nullptr && kept < mostKept / 2; ++kept) last = &(*last)->next;
  freeAllBehind(*last);
  unused.untilCounted = mostKept - kept;
}

}  // namespace

void* makeFrame(std::size_t size) {
  void* const frame =
      std::malloc(size <= largestFrameKept ? (size + frameStep - 1) / frameStep * frameStep : size);
  if (frame == nullptr) throw std::bad_alloc();
  return frame;
}

void freeFrame(void* frame) noexcept { std::free(frame); }

void countAndGiveBack(UnusedFrames& unused, void* frame, std::size_t size) noexcept {
  if (keeping == Keeping::notYet) static thread_local const Keeper keeper;
  if (keeping == Keeping::over) {
    unused.untilCounted = 1;
    return std::free(frame);
  }
  makeRoom(unused);
  giveFrameBack(frame, size);
}

}  // namespace QVFoundation::detail
