#pragma once

#include <memory>
#include <string>

#include "QVFoundation/platform/processes/ChildProcess_p.h"
#include "QVFoundation/platform/processes/TaskSettings_p.h"
#include "QVFoundation/platform/runtime/NSError.h"

namespace QVFoundation::detail {

/// Starts a program. What keeps it from running is thrown as an `NSError`; then there is no child left. The
/// watch has the child; where its launcher waits, a `ChildProcess::Waiting` is to take it over.
///
/// Threads: any.
[[nodiscard]] std::shared_ptr<ChildProcess> launchChild(const TaskSettings& settings);

/// Says why a program could not be launched, from a code that may have come from any step on the way: looks for
/// what is missing or refused.
///
/// Threads: any.
[[nodiscard]] NSError launchError(const TaskSettings& settings, int code);
/// The same with a reason that is known.
[[nodiscard]] NSError launchError(const TaskSettings& settings, int code, const std::string& reason);

}  // namespace QVFoundation::detail
