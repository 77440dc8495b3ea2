#pragma once

namespace QVFoundation::detail {

/// Whether the asynchronous task that the caller runs in, if any, has been cancelled. There are none yet.
///
/// Threads: any.
[[nodiscard]] inline bool currentTaskIsCancelled() noexcept { return false; }

}  // namespace QVFoundation::detail
