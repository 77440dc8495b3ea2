#pragma once

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/concurrency/Work.h"

namespace QVFoundation::detail {

/// Has work run at the end of the drain of the main queue that is under way, before any block that comes
/// after it; outside of one at the end of the next. A drain within a block of another one is a part of that;
/// those of `runMainQueue` stand on their own.
///
/// Threads: any; the work runs on the main thread.
QV_TEST_EXPORT void atEndOfMainQueueDrain(Work work);

}  // namespace QVFoundation::detail
