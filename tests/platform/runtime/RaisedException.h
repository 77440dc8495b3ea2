#pragma once

#include "QVFoundation/platform/runtime/NSException.h"

namespace QVFoundation::testing {

/// Name and reason of what a call raises.
template <class Call>
std::string raisedBy(const Call& call) {
  try {
    call();
    return "nothing";
  } catch (const NSException& exception) {
    return exception.name() + ": " + exception.reason().value_or("");
  }
}

}  // namespace QVFoundation::testing
