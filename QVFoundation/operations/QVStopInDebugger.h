#pragma once

#include "QVFoundation/platform/Export.h"

namespace QVFoundation {

/// Does nothing and returns 0. It is called where something has gone wrong that the program survives: set a
/// breakpoint here.
///
/// Threads: any.
QV_EXPORT int QVStopInDebugger() noexcept;

}  // namespace QVFoundation
