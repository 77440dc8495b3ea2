#pragma once

#include <string>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/files/FileLocation_p.h"

namespace QVFoundation::detail {

/// What becomes of folders that may not be written to: who owns them may change that.
enum class ClosedFolders { stay, areOpened };

/// Removes an item, and all that is in it if it is a folder. Everything is removed from the open folder that
/// has it, so nothing outside can be reached, whatever others exchange for links meanwhile. Ends at the first
/// item that cannot be removed: returns the `errno`, and its path in `failed`. One that has gone by itself is
/// no failure, but for the item itself.
///
/// Threads: any.
[[nodiscard]] QV_TEST_EXPORT int removeTree(FileLocation location, PathView path, std::string& failed,
                                            ClosedFolders closedFolders = ClosedFolders::stay);

}  // namespace QVFoundation::detail
