#pragma once

#include <string_view>

namespace QVFoundation::detail {

/// What a descriptor leads to, as far as it matters for writing.
enum class OutputKind {
  file,    ///< a regular file: no SIGPIPE can come
  socket,  ///< takes a flag that keeps the signal away
  stream,  ///< a pipe, a terminal, a device: the signal must be blocked
};

[[nodiscard]] OutputKind outputKindOf(int descriptor) noexcept;

/// Writes all of a text, however many calls that takes: after short writes, interruptions, and on descriptors
/// that do not block. Never raises SIGPIPE at the process. Returns 0, or the `errno` of what went wrong;
/// `written` counts what went out before.
///
/// Threads: any; texts written by several threads to one descriptor may interleave.
[[nodiscard]] int writeAll(int descriptor, OutputKind kind, std::string_view text,
                           std::size_t& written) noexcept;

}  // namespace QVFoundation::detail
