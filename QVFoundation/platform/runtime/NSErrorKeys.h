#pragma once

#include <cstdint>
#include <string_view>

/// The domains, codes and user-info keys that errors have in common.
///
/// Threads: constants.
namespace QVFoundation {

// Domains: what the code of an error means.
inline constexpr std::string_view NSPOSIXErrorDomain = "NSPOSIXErrorDomain";  ///< `errno` values
/// Status codes of system services.
inline constexpr std::string_view NSOSStatusErrorDomain = "NSOSStatusErrorDomain";
/// General errors, and applications.
inline constexpr std::string_view NSCocoaErrorDomain = "NSCocoaErrorDomain";
inline constexpr std::string_view QVErrorDomain = "QVErrorDomain";  ///< the library's own

// Codes in `NSCocoaErrorDomain`.
inline constexpr std::int64_t NSFileNoSuchFileError = 4;  ///< to be changed, moved or removed
inline constexpr std::int64_t NSFileReadUnknownError = 256;
inline constexpr std::int64_t NSFileReadNoPermissionError = 257;
inline constexpr std::int64_t NSFileReadNoSuchFileError = 260;
inline constexpr std::int64_t NSFileReadUnsupportedSchemeError = 262;  ///< the URL is none of a file
inline constexpr std::int64_t NSFileReadTooLargeError = 263;
inline constexpr std::int64_t NSFileWriteUnknownError = 512;
inline constexpr std::int64_t NSFileWriteNoPermissionError = 513;
inline constexpr std::int64_t NSFileWriteFileExistsError = 516;
inline constexpr std::int64_t NSFileWriteOutOfSpaceError = 640;
inline constexpr std::int64_t NSFileWriteVolumeReadOnlyError = 642;
inline constexpr std::int64_t NSUserCancelledError = 3072;
inline constexpr std::int64_t NSPropertyListReadCorruptError = 3840;
inline constexpr std::int64_t NSPropertyListWriteInvalidError = 3852;
inline constexpr std::int64_t NSCoderReadCorruptError = 4864;
inline constexpr std::int64_t NSCoderValueNotFoundError = 4865;

// Codes in `QVErrorDomain`.
inline constexpr std::int64_t QVUserCancelledError = 1002;
inline constexpr std::int64_t QVExceptionCaughtError = 1003;

// Texts for people.
inline constexpr std::string_view NSLocalizedDescriptionKey = "NSLocalizedDescription";
/// What was tried, in words.
inline constexpr std::string_view NSLocalizedFailureErrorKey = "NSLocalizedFailure";
inline constexpr std::string_view NSLocalizedFailureReasonErrorKey = "NSLocalizedFailureReason";
inline constexpr std::string_view NSLocalizedRecoverySuggestionErrorKey = "NSLocalizedRecoverySuggestion";
inline constexpr std::string_view NSHelpAnchorErrorKey = "NSHelpAnchor";
inline constexpr std::string_view NSDebugDescriptionErrorKey = "NSDebugDescription";

// Causes.
inline constexpr std::string_view NSUnderlyingErrorKey = "NSUnderlyingError";  ///< an error
/// An array of them.
inline constexpr std::string_view NSMultipleUnderlyingErrorsKey = "NSMultipleUnderlyingErrorsKey";
inline constexpr std::string_view NSFilePathErrorKey = "NSFilePath";  ///< a text
/// The call stack of a caught exception, one frame a line.
inline constexpr std::string_view QVExceptionCallStackSymbolsKey = "QVExceptionCallStackSymbolsKey";

// Recovery.
/// An array of texts.
inline constexpr std::string_view NSLocalizedRecoveryOptionsErrorKey = "NSLocalizedRecoveryOptions";
inline constexpr std::string_view NSRecoveryAttempterErrorKey = "NSRecoveryAttempter";  ///< an object

}  // namespace QVFoundation
