#pragma once

#ifdef QV_TEST_SEAMS
#include <atomic>
#endif

#include "QVFoundation/platform/Export.h"

/// Where a thread may stop for another one to come between, so that a test can try all orders.
///
/// They stand between the critical sections of an algorithm, and never inside of one: the thread that holds a
/// lock must come to its end for others to go on. In a build that has no tests there is nothing here.
///
/// Threads: any.
namespace QVFoundation::detail {

#ifdef QV_TEST_SEAMS

/// Called at each point with what the thread does next; null for nothing.
[[nodiscard]] QV_TEST_EXPORT std::atomic<void (*)(const char* next)>& stepPointHook() noexcept;

inline void stepPoint(const char* next) noexcept {
  if (const auto hook = stepPointHook().load(std::memory_order_acquire)) hook(next);
}

#else

inline void stepPoint(const char* /*next*/) noexcept {}

#endif

}  // namespace QVFoundation::detail
