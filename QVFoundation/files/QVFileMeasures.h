#pragma once

#include <cstdint>
#include <string_view>

#include "QVFoundation/files/QVFileManagerUtilities.h"
#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/files/NSFileAttributes.h"
#include "QVFoundation/platform/files/PathView.h"
#include "QVFoundation/platform/runtime/Value.h"

/// What an item is and how much room it takes, in one call.
///
/// Threads: safe from any thread.
/// Errors: none; what cannot be found out is 0, or `NSFileType::none`.
namespace QVFoundation {

/// The bytes of a regular file; of anything else 0, of a link too.
[[nodiscard]] QV_EXPORT std::uint64_t qv_totalSizeOfFileAtPath(PathView path);
/// The bytes that a regular file takes on its volume: fewer than its size where it has holes, else rounded
/// up.
[[nodiscard]] QV_EXPORT std::uint64_t qv_physicalSizeOfFileAtPath(PathView path);
/// The physical sizes of all files in a folder, however deep. Links to folders are followed as in
/// `qv_iterateDirectory`, links to files are not. A file with several names counts for each. What cannot be
/// read is passed over.
[[nodiscard]] QV_EXPORT std::uint64_t qv_physicalSizeOfFolderAtPath(PathView path);
/// Adds the physical size of a file to a sum: a callback for `qv_iterateDirectory`. Returns nothing.
QV_EXPORT Value addPhysicalSizeOfPath(PathView path, std::uint64_t& sizeData);

/// What kind of item is at a path; `none` where there is none.
[[nodiscard]] QV_EXPORT NSFileType qv_objectTypeAtPath(PathView path,
                                                       TraverseLink traverseLink = TraverseLink::no);
/// The number that tells the item from all others of its volume: its inode.
[[nodiscard]] QV_EXPORT std::uint64_t qv_objectIDAtPath(PathView path, TraverseLink traverseLink);
/// Whether there is a folder at a path, or a link to one.
[[nodiscard]] QV_EXPORT bool qv_isDirectoryAtPath(PathView path);

}  // namespace QVFoundation
