#pragma once

#include <string_view>

#include "QVFoundation/platform/files/PathView.h"
#include "QVFoundation/platform/runtime/NSError.h"

/// The errors of the file system: `NSCocoaErrorDomain`, the path under `NSFilePathErrorKey`, and what the
/// system said, an `errno` in `NSPOSIXErrorDomain`, as underlying error.
///
/// Threads: functions without state.
namespace QVFoundation::detail {

/// `The file "PATH" could not be read: REASON`.
[[nodiscard]] NSError fileReadError(PathView path, int code);
/// `The file "PATH" could not be ACTION: REASON`.
[[nodiscard]] NSError fileWriteError(PathView path, std::string_view action, int code);

/// For what is no file's URL, where one is needed: `NSFileReadUnsupportedSchemeError`.
[[nodiscard]] NSError unsupportedSchemeError(std::string_view url);

}  // namespace QVFoundation::detail
