#pragma once

#include "QVFoundation/platform/files/SystemCalls_p.h"

namespace QVFoundation::testing {

/// Gives the system calls back at the end of a scope in which a test puts others in their place.
class SystemCallsOverride {
public:
  SystemCallsOverride() = default;
  SystemCallsOverride(const SystemCallsOverride&) = delete;
  SystemCallsOverride& operator=(const SystemCallsOverride&) = delete;
  ~SystemCallsOverride() { detail::systemCalls() = original; }

  detail::SystemCalls* operator->() const { return &detail::systemCalls(); }

  const detail::SystemCalls original = detail::systemCalls();
};

}  // namespace QVFoundation::testing
