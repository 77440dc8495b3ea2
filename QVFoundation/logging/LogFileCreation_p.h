#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string_view>

#include "QVFoundation/logging/QVFileHandleLogWriter.h"
#include "QVFoundation/platform/files/NSURL.h"
#include "QVFoundation/platform/runtime/NSError.h"

namespace QVFoundation::detail {

/// Begins a log file that nobody else has begun, in a folder that is created where it is missing. Null, and
/// why in `error`, where that is not possible; the path is told all the same.
///
/// Threads: any.
[[nodiscard]] std::shared_ptr<QVFileHandleLogWriter> createLogFile(std::string_view name, const NSURL& folder,
                                                                   std::filesystem::path& path,
                                                                   std::optional<NSError>& error);

/// Where a log file of that name would be begun now.
[[nodiscard]] std::filesystem::path uniqueLogFilePath(std::string_view name, PathView folder);

}  // namespace QVFoundation::detail
