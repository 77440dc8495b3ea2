#pragma once

#include <cstdint>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/files/PathView.h"

namespace QVFoundation {

/// Makes room in a folder of caches, logs and the like: while all that is in it takes `sizeLimit` bytes or
/// more, the oldest item goes, a file or a whole folder, as long as it was last modified that many days ago
/// or earlier. So a limit of 0 removes all that is old, and one above what is there removes nothing.
///
/// Days are those of the calendar in local time: 1 is this time yesterday. Files count with their size,
/// folders with the room that what is in them takes on the volume, links not followed.
///
/// Only what is in the folder itself is looked at, and links are items like others: nothing outside can be
/// removed, also when somebody exchanges the folder or one in it for a link meanwhile.
///
/// Threads: safe from any thread.
/// Errors: none; what cannot be read or removed stays.
QV_EXPORT void qv_removeFilesInDirectory(PathView directory, std::int64_t olderThanNumDays,
                                         std::uint64_t sizeLimit);

}  // namespace QVFoundation
