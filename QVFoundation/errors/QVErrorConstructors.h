#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "QVFoundation/errors/OptionalText.h"
#include "QVFoundation/errors/QVErrorRecovery.h"
#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/NSError.h"

/// One-call constructors for the errors that code meets most often.
///
/// Those that take a status return nothing for status 0, so that a status can be passed straight in:
///
/// ```cpp
/// if (auto error = errnoError(::mkdir(path, 0755), "The folder could not be created.")) throw *error;
/// ```
///
/// An absent description leaves the user info empty; the error then describes itself by its domain and code.
///
/// Threads: safe from any thread.
namespace QVFoundation {

/// `NSPOSIXErrorDomain` with an `errno` value.
[[nodiscard]] QV_EXPORT std::optional<NSError> POSIXError(std::int32_t code, OptionalText description = {});

/// `POSIXError` with the current `errno` where the result of a system call is exactly -1; nothing for any
/// other result.
[[nodiscard]] QV_EXPORT std::optional<NSError> errnoError(std::int64_t result, OptionalText description = {});

/// `NSOSStatusErrorDomain` with the status of a system service.
[[nodiscard]] QV_EXPORT std::optional<NSError> carbonError(std::int32_t code, OptionalText description = {});

/// `NSCocoaErrorDomain` with a general code.
[[nodiscard]] QV_EXPORT std::optional<NSError> cocoaError(std::int64_t code, OptionalText description = {});

/// The error that says that the user cancelled; loggers and operations do not treat it as a failure.
[[nodiscard]] QV_EXPORT NSError userCancelledError();

/// The application's own domain, which is the main bundle's identifier, or `NSCocoaErrorDomain` if it
/// has none.
[[nodiscard]] QV_EXPORT NSError appError(std::int64_t code, OptionalText description = {});

/// `appError` with code -1, for errors that only have a text.
[[nodiscard]] QV_EXPORT NSError errorWithDescription(OptionalText description);

/// `errorWithDescription` of a text in the user's language: the main bundle's translation of `text`, which is
/// its own key. The comment is for translators only.
[[nodiscard]] QV_EXPORT NSError localizedError(std::string_view text, OptionalText comment = {});

/// Any domain and code. An absent description leaves the suggestion out as well, deliberately: the
/// description is what the list of texts begins with, and where it is absent the list ends.
[[nodiscard]] QV_EXPORT NSError errorWithDomain(OptionalText domain, std::int64_t code,
                                                OptionalText description, OptionalText recoverySuggestion);

/// An error with recovery options: a title and a handler for each, at the same index, and the
/// `QVBlockErrorRecoveryAttempter` that calls them. A title without a handler can be shown but not chosen.
[[nodiscard]] QV_EXPORT NSError errorWithDomain(std::string_view domain, std::int64_t code,
                                                std::string_view description,
                                                std::string_view recoverySuggestion,
                                                const std::vector<std::string>& recoveryOptionTitles,
                                                const std::vector<QVRecoveryHandler>& recoveryBlocks);

/// An error that takes the texts of its cause into its own: "description (its description)" and "suggestion
/// (its suggestion)". Without any suggestion the cause's description becomes the suggestion and the
/// description stays as it is. With a suggestion but no description of its own, the error has no description.
[[nodiscard]] QV_EXPORT NSError qv_errorWithDomain(OptionalText domain, std::int64_t code,
                                                   OptionalText description, OptionalText recoverySuggestion,
                                                   const std::optional<NSError>& underlyingError);

/// The class that an error of that name is rebuilt with: the registered error class, or the base class for an
/// absent or unknown name and for "__NSCFError" and "__NSNativeError", which name no class of errors but say
/// where an error came from: "__NSNativeError" is what `asNSError` makes of other exceptions.
[[nodiscard]] QV_EXPORT const NSClass& errorClassForName(OptionalText name);

}  // namespace QVFoundation
