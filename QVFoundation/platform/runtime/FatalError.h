#pragma once

#include <source_location>
#include <string_view>

#include "QVFoundation/platform/Export.h"

namespace QVFoundation {

/// Ends the process for a programming error that cannot be survived: writes "Fatal error: …", the place and
/// the call stack, also that of asynchronous functions, to standard error, then aborts.
///
/// Threads: any.
[[noreturn]] QV_EXPORT void fatalError(std::string_view message, std::string_view file,
                                       unsigned line) noexcept;

[[noreturn]] inline void fatalError(std::string_view message,
                                    std::source_location where = std::source_location::current()) noexcept {
  fatalError(message, where.file_name(), where.line());
}

}  // namespace QVFoundation
