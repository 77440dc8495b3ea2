#pragma once

#include <string>
#include <vector>

#include "QVFoundation/platform/Export.h"

namespace QVFoundation::detail {

/// Where a thread stood: return addresses, cheap to take, turned into text when somebody wants to read them.
///
/// Threads: a value; `symbols` may be called from any thread.
class QV_TEST_EXPORT CallStack {
public:
  /// The thread's stack from the frame of `innermost` outwards, a return address. By default that is whoever
  /// called the function that captures, such as the thrower and not the exception's constructor.
  [[nodiscard]] static CallStack capture(const void* innermost = __builtin_return_address(0));

  [[nodiscard]] std::vector<std::string> symbols() const;

private:
  std::vector<void*> addresses_;
};

}  // namespace QVFoundation::detail
