#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/files/PathView.h"

/// The volumes that files are on. Links are followed.
///
/// Threads: safe from any thread.
namespace QVFoundation {

// Entries of a dictionary that describes a volume; programs make and read it, nothing here does.
inline constexpr std::string_view QVVolumeMountPath = "QVVolumeMountPath";
inline constexpr std::string_view QVVolumeName = "QVVolumeName";
inline constexpr std::string_view QVVolumeCreationDate = "QVVolumeCreationDate";
inline constexpr std::string_view QVVolumeIsWritable = "QVVolumeIsWritable";

/// Where the volume of an item is mounted; nothing where there is no such item, or where the process does not
/// see that place, as behind `chroot(2)`.
[[nodiscard]] QV_EXPORT std::optional<std::filesystem::path> qv_volumeMountPathForFilePath(PathView path);
/// The name of its file system, such as "ext4" or "btrfs".
[[nodiscard]] QV_EXPORT std::optional<std::string> qv_volumeFormatStringAtPath(
    const std::optional<PathView>& path);

/// What a volume can do: a bit of `capabilities` says something where the same bit of `valid` is set.
struct QVVolumeCapabilities {
  std::array<std::uint32_t, 4> capabilities{};
  std::array<std::uint32_t, 4> valid{};
};
static_assert(sizeof(QVVolumeCapabilities) == 32);
/// Linux keeps no such record of its volumes: nothing is valid.
[[nodiscard]] QV_EXPORT QVVolumeCapabilities qv_volumeCapabilitiesAtPath(PathView path);

}  // namespace QVFoundation
