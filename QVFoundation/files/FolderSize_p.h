#pragma once

#include <cstdint>

#include "QVFoundation/platform/files/DirectoryWalk_p.h"

namespace QVFoundation::detail {

/// The physical sizes of all files in a folder.
///
/// Threads: any.
[[nodiscard]] std::uint64_t physicalSizeOfFolder(FileLocation location, PathView path,
                                                 DirectoryWalk::Links links);

}  // namespace QVFoundation::detail
