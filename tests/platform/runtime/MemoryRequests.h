#pragma once

#include <atomic>
#include <cstddef>

#include "tests/platform/runtime/SmallStack.h"

// Counts how often a program asks for memory, from its own code or the library's. For one source of a
// program; not under sanitizers, which allocate in a way of their own.
#ifndef QV_SANITIZED

namespace QVFoundation::testing {
inline std::atomic<int> memoryRequests = 0;
}  // namespace QVFoundation::testing

extern "C" void* __libc_malloc(std::size_t size) noexcept;  // NOLINT(bugprone-reserved-identifier)
extern "C" void* malloc(std::size_t size) noexcept {        // NOLINT(misc-definitions-in-headers)
  QVFoundation::testing::memoryRequests.fetch_add(1, std::memory_order_relaxed);
  return __libc_malloc(size);
}

#endif
