#pragma once

#include <cstdlib>

namespace QVFoundation::fuzzing {

/// Ends the fuzzer where something does not hold, so that the input is kept.
///
/// Threads: any.
inline void require(bool holds) {
  if (!holds) std::abort();
}

}  // namespace QVFoundation::fuzzing
