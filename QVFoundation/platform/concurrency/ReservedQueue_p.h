#pragma once

#include <memory>

#include "QVFoundation/platform/concurrency/DispatchQueue.h"

namespace QVFoundation::detail {

/// A queue like the global ones, with threads of its own: for what ends that for which all threads of the
/// others may be waiting.
///
/// Threads: any.
[[nodiscard]] const std::shared_ptr<DispatchQueue>& reservedQueue();

}  // namespace QVFoundation::detail
