#pragma once

#include <string>

#include "QVFoundation/platform/runtime/NSException.h"

namespace QVFoundation::testing {

/// What a call raised.
struct RaisedException {
  std::string name = "none";
  std::string reason;
};

template <class Call>
RaisedException raisedBy(const Call& call) {
  try {
    call();
  } catch (const NSException& exception) {
    return {exception.name(), exception.reason().value_or("")};
  }
  return {};
}

}  // namespace QVFoundation::testing
