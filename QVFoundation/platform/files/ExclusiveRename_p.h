#pragma once

#include "QVFoundation/platform/files/FileLocation_p.h"

namespace QVFoundation::detail {

/// Gives an item another path on the same volume; what is there already is never replaced, whoever comes in
/// between, also on file systems that have no call for it. Where it fails the item is where it was. 0, or an
/// `errno`.
///
/// Threads: any.
[[nodiscard]] int renameWithoutReplacing(const FileLocation& from, const FileLocation& to);

}  // namespace QVFoundation::detail
