#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/NSError.h"

/// Questions to ask of an error, or of whatever else was thrown.
///
/// Threads: safe from any thread.
namespace QVFoundation {

/// The single test for "the user cancelled", which is not a failure and is not logged: OS status -128,
/// general code 3072, POSIX `ECANCELED` or 89, which stored errors have for it, or `QVErrorDomain` 1002.
[[nodiscard]] QV_EXPORT bool isUserCancelledError(const NSError& error);
/// The same of anything that was thrown; true also for `CancellationError`.
[[nodiscard]] QV_EXPORT bool isUserCancelledError(const std::exception& exception);
/// Null, the exception of a result that has a value, is no cancellation.
[[nodiscard]] QV_EXPORT bool isUserCancelledError(const std::exception_ptr& exception);

/// "<NSError: 0x5581… domain=NSPOSIXErrorDomain code=2 userInfo={…}>", for a debugger.
[[nodiscard]] QV_EXPORT std::string longDescription(const NSError& error);
[[nodiscard]] QV_EXPORT std::string debugDescription(const NSError& error);

/// What a thrown value says of itself: errors with domain, code, user info and causes; records, raised
/// exceptions and others that have a description of their own, by that; any other exception by type and text;
/// a null pointer as "(null)".
[[nodiscard]] QV_EXPORT std::string fullDescription(const std::exception& exception);
[[nodiscard]] QV_EXPORT std::string fullDescription(const std::exception_ptr& exception);

/// The error that caused this one.
[[nodiscard]] QV_EXPORT std::optional<NSError> underlyingError(const NSError& error);

/// How the error is to be presented. Without a style an error answers 2, where a builder answers 0; both
/// are intended.
[[nodiscard]] QV_EXPORT std::int64_t errorStyle(const NSError& error);

/// The same error with one more entry in its user info; the error itself where the object is nothing.
[[nodiscard]] QV_EXPORT NSError errorBySettingUserInfoObject(const NSError& error, const Value& object,
                                                             std::string_view key);

}  // namespace QVFoundation
