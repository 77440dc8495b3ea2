#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/files/NSURL.h"
#include "QVFoundation/platform/runtime/Value.h"

/// What one often wants to know of a URL, without a word on what went wrong.
///
/// ```cpp
/// if (fileExists(url) && !isDirectory(url)) total += fileSize(url);
/// ```
///
/// Each asks the file system anew, but for `isEqualByPath`. Links are not followed, but by `fileExists`.
///
/// Threads: any.
/// Errors: none; what cannot be told counts as absent.
namespace QVFoundation {

/// Whether the paths are the same, but for one slash at the end. Nothing else of the URLs counts.
/// Where both are absent they are equal, where one is they are not.
[[nodiscard]] QV_EXPORT bool isEqualByPath(const std::optional<NSURL>& url,
                                           const std::optional<NSURL>& to) noexcept;

/// Bytes; 0 for folders and where there is no file.
[[nodiscard]] QV_EXPORT std::int64_t fileSize(const NSURL& url);
/// Whether there is an item; a link that leads nowhere is none.
[[nodiscard]] QV_EXPORT bool fileExists(const NSURL& url);
[[nodiscard]] QV_EXPORT bool isDirectory(const NSURL& url);
/// Whether an item is in the user's trash, the one on the item's volume included; never what is no file's
/// URL.
[[nodiscard]] QV_EXPORT bool isInTrash(const NSURL& url);
/// See `NSURLTypeIdentifierKey`.
[[nodiscard]] QV_EXPORT std::optional<std::string> typeIdentifier(const NSURL& url);
[[nodiscard]] QV_EXPORT std::optional<NSDate> creationDate(const NSURL& url);

}  // namespace QVFoundation
