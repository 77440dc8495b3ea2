#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/files/FileIdentity_p.h"

namespace QVFoundation::detail {

/// How many entries of folders are looked at in one search.
inline constexpr std::size_t mostEntriesSearched = 20'000;

/// Where an item is now that was at an absolute path, as far as it is near: in its old folder, in the folders
/// in that, in the folder above, or in the folders beside. Where the old folder itself is gone, the nearest
/// one above that is still there stands for the folder above, and is searched as deep as the old one was.
///
/// A search reads names and inodes only; it follows no link and stays on the volume that it begins on.
///
/// Threads: any.
/// Errors: folders that cannot be read are left out.
[[nodiscard]] QV_TEST_EXPORT std::optional<std::string> searchNearby(
    std::string_view oldPath, const FileIdentity& item, std::size_t mostEntries = mostEntriesSearched);

}  // namespace QVFoundation::detail
