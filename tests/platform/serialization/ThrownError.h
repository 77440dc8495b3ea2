#pragma once

#include <string>

#include <gtest/gtest.h>

#include "QVFoundation/platform/runtime/NSError.h"

namespace QVFoundation {

/// What an error of the given code says that an action throws; a failure of the test where it throws none.
template <class Action>
std::string thrownError(std::int64_t code, Action action) {
  try {
    action();
  } catch (const NSError& error) {
    EXPECT_EQ(error.domain(), NSCocoaErrorDomain);
    EXPECT_EQ(error.code(), code);
    return error.localizedDescription();
  }
  ADD_FAILURE() << "nothing was thrown";
  return {};
}

}  // namespace QVFoundation
