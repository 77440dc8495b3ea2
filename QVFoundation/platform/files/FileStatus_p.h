#pragma once

#include <cstdint>
#include <sys/stat.h>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/files/NSFileAttributes.h"

/// What a `statx(2)` says, in the library's terms.
///
/// Threads: functions without state.
namespace QVFoundation::detail {

[[nodiscard]] NSFileType fileTypeOfMode(mode_t mode) noexcept;
/// The nearest date that can be told: file systems know years that are too far for nanoseconds in 64 bits.
[[nodiscard]] NSDate dateOfTime(std::int64_t seconds, std::uint32_t nanoseconds) noexcept;
[[nodiscard]] inline NSDate dateOfTimestamp(const statx_timestamp& time) noexcept {
  return dateOfTime(time.tv_sec, time.tv_nsec);
}
[[nodiscard]] NSFileAttributes attributesOfStatus(const struct statx& status) noexcept;

/// What `attributesOfStatus` needs to be asked for.
inline constexpr unsigned attributesMask = STATX_BASIC_STATS | STATX_BTIME;

[[nodiscard]] inline std::uint64_t allocatedSize(const struct statx& status) noexcept {
  return status.stx_blocks * 512;  // blocks of this size, whatever those of the file system are (statx(2))
}

[[nodiscard]] inline std::uint64_t allocatedSize(const struct stat& status) noexcept {
  return static_cast<std::uint64_t>(status.st_blocks) * 512;
}

[[nodiscard]] inline bool isDirectory(const struct statx& status) noexcept {
  return S_ISDIR(status.stx_mode);
}

}  // namespace QVFoundation::detail
