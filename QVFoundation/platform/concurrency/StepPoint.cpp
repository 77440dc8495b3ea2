#include "QVFoundation/platform/concurrency/StepPoint_p.h"

#ifdef QV_TEST_SEAMS

namespace QVFoundation::detail {

std::atomic<void (*)(const char* next)>& stepPointHook() noexcept {
  static constinit std::atomic<void (*)(const char*)> hook{nullptr};
  return hook;
}

}  // namespace QVFoundation::detail

#endif
