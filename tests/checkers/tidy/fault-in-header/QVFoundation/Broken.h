#pragma once

/// Threads: any.

namespace QVFoundation {

inline bool isEven(int number) {
  if (number % 2 == 0)
    return true;
  else
    return false;
}

}  // namespace QVFoundation
