#pragma once

#include "QVFoundation/platform/tracing/OSLogSink.h"

namespace QVFoundation::detail {

/// Hands an entry to the sink that is in place, and looks after its failures.
///
/// Threads: any.
void deliver(const OSLogEntry& entry) noexcept;

}  // namespace QVFoundation::detail
