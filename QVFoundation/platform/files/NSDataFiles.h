#pragma once

#include <cstddef>
#include <optional>
#include <span>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/files/PathView.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/runtime/Value.h"

/// Files read and written whole.
///
/// Threads: functions without state; call them from any thread.
/// Errors: `NSCocoaErrorDomain` with the path under `NSFilePathErrorKey` and the system's reason, in
/// `NSPOSIXErrorDomain`, as underlying error.
namespace QVFoundation {

enum class NSDataReadingOptions {
  none,
  uncached,  ///< the file will not be read again soon: the system need not keep it in memory
};

/// The bytes of a regular file of up to 256 MiB. Anything else is refused, so that a pipe cannot block.
[[nodiscard]] QV_EXPORT std::optional<NSData> dataWithContentsOfFile(
    PathView path, NSDataReadingOptions options = NSDataReadingOptions::none,
    std::optional<NSError>* error = nullptr);

enum class NSDataWritingOptions {
  none,    ///< into the file that is there, or a new one; a failure leaves it cut off
  atomic,  ///< all or nothing: a new file takes the place of the old one once it is whole and on the disk
  /// The same, but only where there is nothing yet, not even a link.
  atomicWithoutOverwriting,
};

/// Writes a file. A link is followed, so that it stays one. An atomic write keeps the permissions, access
/// list and "user." attributes of the file that it replaces, and its owner as far as the process may give
/// files away; what cannot be kept takes rights away and gives none. Others who read see the old content or
/// the new one, after a loss of power too. It is the folder that must be writable, not the file.
QV_EXPORT bool writeDataToFile(std::span<const std::byte> data, PathView path,
                               NSDataWritingOptions options = NSDataWritingOptions::none,
                               std::optional<NSError>* error = nullptr);

}  // namespace QVFoundation
