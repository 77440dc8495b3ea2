#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/files/FileLocation_p.h"

namespace QVFoundation::detail {

/// Removes an item from its open folder; whether it has gone.
using ItemRemover = std::function<bool(int folder, const char* name, PathView path)>;

/// `qv_removeFilesInDirectory` with a way to remove items of one's own.
///
/// Threads: any.
void pruneDirectory(PathView directory, std::int64_t olderThanNumDays, std::uint64_t sizeLimit,
                    const ItemRemover& remove);

[[nodiscard]] bool removeItem(int folder, const char* name, PathView path);

/// This time of the day so many days before, in local time.
[[nodiscard]] QV_TEST_EXPORT std::int64_t secondsOfDaysBefore(std::int64_t seconds, std::int64_t days);

}  // namespace QVFoundation::detail
