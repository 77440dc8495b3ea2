#pragma once

#include <optional>
#include <sys/types.h>

#include "QVFoundation/platform/processes/PollUntil_p.h"

namespace QVFoundation::detail {

/// Waits until all of a process group but its leader have ended, whether they are reaped or not.
/// False when the time is up. One that is started while it looks around may be missed.
///
/// Threads: any. The leader must not be reaped meanwhile, or the number might be another group's.
/// Errors: where the system shows no processes, or there is no descriptor to wait with, all count as ended.
bool awaitOthersOfGroup(pid_t leader, std::optional<SteadyTime> end);

}  // namespace QVFoundation::detail
