#pragma once

#include <cstdint>

#include "QVFoundation/platform/files/FileLocation_p.h"

namespace QVFoundation::detail {

/// The physical sizes of all files in a folder, links to folders followed.
///
/// Threads: any.
[[nodiscard]] std::uint64_t physicalSizeOfFolder(FileLocation location, PathView path);

}  // namespace QVFoundation::detail
