#pragma once

#include <source_location>
#include <string>
#include <vector>

#include "QVFoundation/platform/Export.h"

namespace QVFoundation {

namespace detail {
/// The function that a place is in, as its author knows it.
[[nodiscard]] QV_EXPORT std::string functionName(const std::source_location& place);
}  // namespace detail

/// The asynchronous functions of the task that the caller runs in, the innermost first, each with the place
/// of what it awaits; then the task's name, if it has one. The thread's own stack shows little of that: a
/// function that waits is not on it. Empty outside of tasks.
///
///     0  load(std::string)  at loader.cpp:42
///     1  thumbnail(std::filesystem::path)  at album.cpp:17
///     in the task "album"
///
/// A fatal error shows it, and a debugger can call it.
///
/// Threads: any.
[[nodiscard]] QV_EXPORT std::vector<std::string> currentTaskCallStack();

}  // namespace QVFoundation
