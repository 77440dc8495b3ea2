#pragma once

#include <string_view>

namespace QVFoundation::detail {

/// Ends the process for the exception that is being handled and that `who` should not have let out.
///
/// Threads: any.
[[noreturn]] void endForEscapedException(std::string_view who) noexcept;

/// Calls what must not let any exception out.
template <class Function>
void callGuarded(const Function& function, std::string_view who) noexcept {
  try {
    function();
  } catch (...) {
    endForEscapedException(who);
  }
}

}  // namespace QVFoundation::detail
