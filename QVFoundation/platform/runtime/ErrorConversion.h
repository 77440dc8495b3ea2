#pragma once

#include <exception>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/NSError.h"

namespace QVFoundation {

/// The error that an exception stands for:
///
/// - `NSError`: itself.
/// - `CustomNSError`: the domain, code and user info that it names.
/// - `NSException`: `QVErrorDomain`, 1003; its reason as description, its call stack under
///   `QVExceptionCallStackSymbolsKey`.
/// - `std::system_error` and filesystem errors: `NSPOSIXErrorDomain` with their code, their first path under
///   `NSFilePathErrorKey`; codes of other categories under the category's name.
/// - Any other `std::exception`: the readable name of its type as domain, code 1, `what()` as description.
/// - Anything else: "unknown exception" in `QVErrorDomain`, code 1.
///
/// An exception that was thrown with another one nested in it gets that one as its underlying error, or,
/// where it names one itself, as one more under `NSMultipleUnderlyingErrorsKey`.
///
/// Threads: safe from any thread.
[[nodiscard]] QV_EXPORT NSError asNSError(const std::exception& exception);

/// The same for what was caught, whatever its type. A null pointer ends the process.
[[nodiscard]] QV_EXPORT NSError asNSError(const std::exception_ptr& exception);

}  // namespace QVFoundation
