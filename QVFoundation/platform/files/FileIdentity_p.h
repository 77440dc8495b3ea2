#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/files/FileLocation_p.h"

/// What makes an item of a file system that item, whatever its path.
///
/// Threads: functions and plain values.
namespace QVFoundation::detail {

struct BirthTime {
  std::int64_t seconds = 0;
  std::uint32_t nanoseconds = 0;
  friend bool operator==(const BirthTime&, const BirthTime&) = default;
};

/// The kernel's own name for an item, `name_to_handle_at(2)`: from one to `MAX_HANDLE_SZ` bytes.
struct FileHandle {
  std::int32_t type = 0;
  std::vector<std::byte> bytes;
  friend bool operator==(const FileHandle&, const FileHandle&) = default;
};

struct FileIdentity {
  mode_t type = 0;  ///< the bits of `S_IFMT`
  std::uint32_t deviceMajor = 0, deviceMinor = 0;
  std::uint64_t inode = 0;
  std::optional<BirthTime> birth;    ///< where the file system keeps it
  std::optional<FileHandle> handle;  ///< where the file system gives one
};

/// Whether two identities are those of one item.
///
/// Devices may have other numbers once the computer has started again, and an inode is used again when its
/// item is deleted. So inode and birth time decide; where a file system keeps no birth times, inode and
/// device.
[[nodiscard]] QV_TEST_EXPORT bool isSameItem(const FileIdentity& a, const FileIdentity& b) noexcept;

/// Of the item itself, links not followed, and without a handle. Nothing where it cannot be reached: `errno`
/// then says why.
[[nodiscard]] QV_TEST_EXPORT std::optional<FileIdentity> identityOf(const FileLocation& item) noexcept;

/// Nothing where the file system gives none.
[[nodiscard]] std::optional<FileHandle> handleOf(const FileLocation& item);

/// Where the item is that a handle names, on the volume of the nearest folder above `nearby` that is there.
///
/// Nothing where the process may not open handles, which takes CAP_DAC_READ_SEARCH, where the item is
/// deleted, and where the kernel, which reads no folders for this, does not know its name at the moment.
[[nodiscard]] std::optional<std::string> pathOfItem(const FileIdentity& item, std::string_view nearby);

/// The path of the folder that an item is in; that of "/" is "/".
[[nodiscard]] std::string_view folderOf(std::string_view absolutePath) noexcept;

/// The nearest folder above that is there.
[[nodiscard]] std::string_view existingFolderOf(std::string_view absolutePath);

}  // namespace QVFoundation::detail
