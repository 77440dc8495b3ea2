#include <algorithm>

#include "QVFoundation/operations/NamedCondition_p.h"

namespace QVFoundation::detail {

void NamedCondition::signal() {
  const NSConditionGuard guard(condition_);
  if (!condition_.signal()) missed_ = std::min(missed_ + 1, waits_);
}

void NamedCondition::broadcast() {
  const NSConditionGuard guard(condition_);
  condition_.broadcast();
  missed_ = waits_;
}

NamedCondition::Wait::Wait(NamedCondition& condition) : condition_(condition) {
  const NSConditionGuard guard(condition_.condition_);
  ++condition_.waits_;
}

NamedCondition::Wait::~Wait() {
  const NSConditionGuard guard(condition_.condition_);
  --condition_.waits_;
  condition_.missed_ = std::min(condition_.missed_, condition_.waits_);
}

bool NamedCondition::Wait::isSignalledWithin(std::chrono::nanoseconds patience) {
  const NSConditionGuard guard(condition_.condition_);
  if (condition_.missed_ > 0) {
    --condition_.missed_;
    return true;
  }
  return condition_.condition_.waitFor(patience);
}

}  // namespace QVFoundation::detail
