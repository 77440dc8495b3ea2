#pragma once

#include <string_view>

namespace QVFoundation::detail {

/// Ends the process for the exception that is being handled and that `who` should not have let out.
///
/// Threads: any.
[[noreturn]] void endForEscapedException(std::string_view who) noexcept;

}  // namespace QVFoundation::detail
