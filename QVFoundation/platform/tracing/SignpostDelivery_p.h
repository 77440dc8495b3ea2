#pragma once

#include <atomic>
#include <string_view>

#include "QVFoundation/platform/tracing/OSSignpostSink.h"

namespace QVFoundation::detail {

/// False where no sink is in place. True until somebody has asked the environment whether there is to be one.
extern constinit std::atomic<bool> signpostsMayBeWanted;

/// Hands a signpost to the sink, if one is in place, and looks after its failures.
///
/// Threads: any.
void deliver(const OSSignpost& signpost) noexcept;

/// Tells the sink, if one is in place, what a lane shows.
///
/// Threads: any.
void nameSignpostLane(OSSignpostID lane, std::string_view name) noexcept;

}  // namespace QVFoundation::detail
