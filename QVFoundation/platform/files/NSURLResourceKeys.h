#pragma once

#include <string_view>

/// What `NSURL::resourceValueForKey` knows of a file. A link is an item of its own: what it leads to is
/// not looked at.
///
/// Threads: constants.
namespace QVFoundation {

inline constexpr std::string_view NSURLNameKey = "NSURLNameKey";  ///< a text: the last component

/// Bytes; of a link the length of its text. Nothing for folders.
inline constexpr std::string_view NSURLFileSizeKey = "NSURLFileSizeKey";
/// The same: a file has no parts beside its content here.
inline constexpr std::string_view NSURLTotalFileSizeKey = "NSURLTotalFileSizeKey";
/// Bytes that it takes on its volume.
inline constexpr std::string_view NSURLFileAllocatedSizeKey = "NSURLFileAllocatedSizeKey";

// Booleans.
inline constexpr std::string_view NSURLIsDirectoryKey = "NSURLIsDirectoryKey";
inline constexpr std::string_view NSURLIsRegularFileKey = "NSURLIsRegularFileKey";
inline constexpr std::string_view NSURLIsSymbolicLinkKey = "NSURLIsSymbolicLinkKey";

// Dates.
/// Nothing where the file system does not keep it.
inline constexpr std::string_view NSURLCreationDateKey = "NSURLCreationDateKey";
inline constexpr std::string_view NSURLContentModificationDateKey = "NSURLContentModificationDateKey";

/// A text: the MIME type that the shared MIME database gives a file's name, such as "image/png". The content
/// is not looked at, so a name that says nothing gives "application/octet-stream". What is no file has
/// "inode/directory", "inode/symlink", "inode/fifo", "inode/socket", "inode/chardevice" or
/// "inode/blockdevice".
inline constexpr std::string_view NSURLTypeIdentifierKey = "NSURLTypeIdentifierKey";

}  // namespace QVFoundation
