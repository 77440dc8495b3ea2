#include "QVFoundation/files/QVVolumes.h"

#include <charconv>
#include <cstddef>
#include <vector>

#include "QVFoundation/platform/files/FileLocation_p.h"
#include "QVFoundation/platform/files/MountTable_p.h"

namespace QVFoundation {

std::optional<std::filesystem::path> qv_volumeMountPathForFilePath(PathView path) {
  if (auto mount = detail::mountOf(detail::FileLocation(path))) return std::move(mount->path);
  return {};
}

std::optional<std::string> qv_volumeFormatStringAtPath(const std::optional<PathView>& path) {
  if (!path) return {};
  if (auto mount = detail::mountOf(detail::FileLocation(*path))) return std::move(mount->format);
  return {};
}

QVVolumeCapabilities qv_volumeCapabilitiesAtPath(PathView /*path*/) { return {}; }

}  // namespace QVFoundation
