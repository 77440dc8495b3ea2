#include "QVFoundation/platform/files/NSFileAttributes.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include "QVFoundation/platform/files/FileStatus_p.h"

namespace QVFoundation {

namespace detail {

NSFileType fileTypeOfMode(mode_t mode) noexcept {
  switch (mode & S_IFMT) {
    case S_IFREG: return NSFileType::regular;
    case S_IFDIR: return NSFileType::directory;
    case S_IFBLK: return NSFileType::blockDevice;
    case S_IFCHR: return NSFileType::characterDevice;
    case S_IFLNK: return NSFileType::symbolicLink;
    case S_IFSOCK: return NSFileType::socket;
    case S_IFIFO: return NSFileType::fifo;
    default: return NSFileType::bad;
  }
}

NSDate dateOfTime(std::int64_t seconds, std::uint32_t nanoseconds) noexcept {
  using Duration = NSDate::duration;
  constexpr auto first = std::chrono::ceil<std::chrono::seconds>(Duration::min());
  constexpr auto last = std::chrono::floor<std::chrono::seconds>(Duration::max()) - std::chrono::seconds(1);
  const auto whole = std::clamp(std::chrono::seconds(seconds), first, last);
  return NSDate(whole + std::chrono::duration_cast<Duration>(std::chrono::nanoseconds(nanoseconds)));
}

NSFileAttributes attributesOfStatus(const struct statx& status) noexcept {
  return {
      .type = fileTypeOfMode(status.stx_mode),
      .size = status.stx_size,
      .allocatedSize = allocatedSize(status),
      .modificationDate = dateOfTimestamp(status.stx_mtime),
      .creationDate = (status.stx_mask & STATX_BTIME) != 0 ? std::optional(dateOfTimestamp(status.stx_btime))
                                                           : std::nullopt,
      .permissions = static_cast<mode_t>(status.stx_mode & ~S_IFMT),
      .owner = status.stx_uid,
      .group = status.stx_gid,
      .linkCount = status.stx_nlink,
      .volume = makedev(status.stx_dev_major, status.stx_dev_minor),
      .fileNumber = status.stx_ino,
      .device = makedev(status.stx_rdev_major, status.stx_rdev_minor),
  };
}

}  // namespace detail

std::string_view fileTypeName(NSFileType type) noexcept {
  constexpr std::array<std::string_view, 8> names = {
      "NSFileTypeUnknown",          "NSFileTypeRegular",      "NSFileTypeDirectory", "NSFileTypeBlockSpecial",
      "NSFileTypeCharacterSpecial", "NSFileTypeSymbolicLink", "NSFileTypeSocket",    "NSFileTypeFIFO",
  };
  const auto index = static_cast<std::size_t>(type);
  return index < names.size() ? names.at(index) : names.front();
}

Dictionary NSFileAttributes::dictionary() const {
  Dictionary all{
      {NSFileTypeKey, fileTypeName(type)},
      {NSFileSizeKey, size},
      {NSFileModificationDateKey, modificationDate},
      {NSFilePosixPermissionsKey, permissions},
      {NSFileOwnerAccountIDKey, owner},
      {NSFileGroupOwnerAccountIDKey, group},
      {NSFileReferenceCountKey, linkCount},
      {NSFileSystemNumberKey, volume},
      {NSFileSystemFileNumberKey, fileNumber},
  };
  if (creationDate) all.set(NSFileCreationDateKey, *creationDate);
  if (type == NSFileType::blockDevice || type == NSFileType::characterDevice) {
    all.set(NSFileDeviceIdentifierKey, device);
  }
  return all;
}

}  // namespace QVFoundation
