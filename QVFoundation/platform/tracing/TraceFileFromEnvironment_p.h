#pragma once

#include <memory>

#include "QVFoundation/platform/tracing/OSSignpostSink.h"

namespace QVFoundation::detail {

/// The file that `QV_TRACE_FILE` asks for, as `OSSignposter.h` tells. Null where it asks for none, where
/// the file cannot be made, which is reported on standard error, or where the program runs with the rights
/// of another user than the one whose environment it is.
[[nodiscard]] std::shared_ptr<OSSignpostSink> traceFileFromEnvironment() noexcept;

}  // namespace QVFoundation::detail
