#pragma once

#include "QVFoundation/platform/processes/ProcessCalls_p.h"

namespace QVFoundation::testing {

/// Gives the calls for processes back at the end of a scope in which a test puts others in their place.
class ProcessCallsOverride {
public:
  ProcessCallsOverride() = default;
  ProcessCallsOverride(const ProcessCallsOverride&) = delete;
  ProcessCallsOverride& operator=(const ProcessCallsOverride&) = delete;
  ~ProcessCallsOverride() { detail::processCalls() = original; }

  detail::ProcessCalls* operator->() const { return &detail::processCalls(); }

  const detail::ProcessCalls original = detail::processCalls();
};

}  // namespace QVFoundation::testing
