#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <sys/types.h>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/Dictionary.h"
#include "QVFoundation/platform/runtime/Value.h"

namespace QVFoundation {

/// What kind of item a name stands for. The numbers are those that programs store.
///
/// Threads: constants.
enum class NSFileType : std::uint32_t {
  none = 0,  ///< there is no such item, or nothing can be said of it
  regular = 1,
  directory = 2,
  blockDevice = 3,
  characterDevice = 4,
  symbolicLink = 5,
  socket = 6,
  fifo = 7,
  bad = 8,  ///< of a kind that the system has no name for
};

/// "NSFileTypeRegular", "NSFileTypeDirectory", …; "NSFileTypeUnknown" for `none` and `bad`.
[[nodiscard]] QV_EXPORT std::string_view fileTypeName(NSFileType type) noexcept;

// The keys of `NSFileAttributes::dictionary`.
inline constexpr std::string_view NSFileTypeKey = "NSFileType";  ///< a text, see `fileTypeName`
inline constexpr std::string_view NSFileSizeKey = "NSFileSize";
inline constexpr std::string_view NSFileModificationDateKey = "NSFileModificationDate";
inline constexpr std::string_view NSFileCreationDateKey = "NSFileCreationDate";
inline constexpr std::string_view NSFilePosixPermissionsKey = "NSFilePosixPermissions";
inline constexpr std::string_view NSFileOwnerAccountIDKey = "NSFileOwnerAccountID";
inline constexpr std::string_view NSFileGroupOwnerAccountIDKey = "NSFileGroupOwnerAccountID";
inline constexpr std::string_view NSFileReferenceCountKey = "NSFileReferenceCount";
inline constexpr std::string_view NSFileSystemNumberKey = "NSFileSystemNumber";
inline constexpr std::string_view NSFileSystemFileNumberKey = "NSFileSystemFileNumber";
inline constexpr std::string_view NSFileDeviceIdentifierKey = "NSFileDeviceIdentifier";

/// What the system says of an item.
///
/// Threads: a plain value.
struct NSFileAttributes {
  NSFileType type = NSFileType::none;
  std::uint64_t size = 0;           ///< bytes; of a link the length of its text
  std::uint64_t allocatedSize = 0;  ///< bytes that it takes on its volume
  NSDate modificationDate{};
  std::optional<NSDate> creationDate;  ///< nothing where the file system keeps none
  mode_t permissions = 0;              ///< with the set-id and sticky bits
  uid_t owner = 0;
  gid_t group = 0;
  std::uint64_t linkCount = 0;
  std::uint64_t volume = 0;      ///< the device number of the file system
  std::uint64_t fileNumber = 0;  ///< the inode
  std::uint64_t device = 0;      ///< of a device file: which device

  /// The same under the keys above.
  [[nodiscard]] QV_EXPORT Dictionary dictionary() const;
};

}  // namespace QVFoundation
