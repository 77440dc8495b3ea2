#pragma once

#include "QVFoundation/platform/files/PathView.h"

namespace QVFoundation::detail {

/// Removes an item from its open folder, unless it is a file that a logger writes to, in whatever process, or
/// a folder with such a file in it. Whether it has gone.
///
/// Threads: any.
[[nodiscard]] bool removeUnlessLogged(int folder, const char* name, PathView path);

}  // namespace QVFoundation::detail
