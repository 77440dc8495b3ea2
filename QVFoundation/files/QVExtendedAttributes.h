#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/files/PathView.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/runtime/Value.h"

/// Small values that a file carries beside its content, by name.
///
/// ```cpp
/// const NSData rating{std::byte{5}};
/// if (auto error = qv_setExtendedAttribute(rating, "player.rating", "song.flac")) throw *error;
/// ```
///
/// Names are those of applications. The system keeps them in its namespace "user.", which is added and
/// taken away here. Names of its other namespaces, "security.", "system." and "trusted.", are given in
/// full; so is one of "user." that would else be taken for one of those (xattr(7)). What a file system
/// lists in a namespace of its own is read and removed by that name, where there is none of the same name
/// in "user.".
///
/// Links are not followed. Few file systems let a link have attributes of its own.
///
/// Threads: safe from any thread.
/// Errors: `NSPOSIXErrorDomain`, with a text that names the attribute and the path: `ENODATA` where there is
/// no such attribute, `ENOTSUP` where the file system has none at all, `E2BIG` or `ENOSPC` where the value
/// is too long.
namespace QVFoundation {

/// In the order of the file system. What only carries another desktop's view of the file is left out:
/// "com.apple.FinderInfo" and "com.apple.ResourceFork".
[[nodiscard]] QV_EXPORT std::vector<std::string> qv_extendedAttributeNamesAtPath(
    PathView path, std::optional<NSError>* error = nullptr);

/// A value of 4096 bytes or more is not read: the result has its length, but is all zeros. This is intended.
[[nodiscard]] QV_EXPORT std::optional<NSData> qv_extendedAttributeForName(
    std::string_view name, PathView atPath, std::optional<NSError>* error = nullptr);

/// Sets the whole value, whether there was one or not. Nothing on success.
[[nodiscard]] QV_EXPORT std::optional<NSError> qv_setExtendedAttribute(std::span<const std::byte> data,
                                                                       std::string_view forName,
                                                                       PathView atPath);
/// Nothing on success.
[[nodiscard]] QV_EXPORT std::optional<NSError> qv_removeExtendedAttributeWithName(std::string_view name,
                                                                                  PathView atPath);

}  // namespace QVFoundation
