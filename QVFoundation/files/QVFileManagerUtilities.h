#pragma once

#include <filesystem>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/files/NSFileAttributes.h"
#include "QVFoundation/platform/files/NSFileManager.h"
#include "QVFoundation/platform/files/PathView.h"
#include "QVFoundation/platform/runtime/NSError.h"

/// What applications often want of folders, beyond the file manager's own operations.
///
/// A file manager has no state that these could use, so they take none.
///
/// Threads: safe from any thread.
namespace QVFoundation {

/// The calling thread's own file manager: made when the thread first asks, the same as long as it runs.
[[nodiscard]] QV_EXPORT const std::shared_ptr<NSFileManager>& qv_currentThreadFileManager();

/// The folder for temporary files of this application: the main bundle's identifier, or without one its name,
/// in the folder for temporary files. It is created where it is missing; whether that worked is not told.
[[nodiscard]] QV_EXPORT std::filesystem::path qv_createAppTemporaryDirectory();

/// Creates a folder and those above it that are missing. Nothing on success, also where it exists already.
[[nodiscard]] QV_EXPORT std::optional<NSError> qv_createDirectoryAtPath(PathView path);

enum class TraverseLink { no, yes };

/// The attributes of an item, or of what a link leads to: one step only, and a relative destination is taken
/// as it stands, so from the current folder, not from that of the link. This is intended.
[[nodiscard]] QV_EXPORT std::optional<NSFileAttributes> qv_fileAttributesAtPath(
    PathView path, TraverseLink traverseLink, std::optional<NSError>* error = nullptr);

namespace detail {
using IgnoredTexts = std::set<std::string, std::less<>>;
[[nodiscard]] QV_EXPORT bool isDirectoryEmpty(PathView path, const IgnoredTexts& ignoredPaths,
                                              const IgnoredTexts& ignoredNames);
}  // namespace detail

/// Whether a folder has nothing in it but items that are ignored, by full path or by name, and folders that
/// are empty in the same sense. What is no folder is not empty, and neither is what has a link in it, even
/// one to an empty folder. A folder that cannot be read counts as empty.
///
/// ```cpp
/// if (qv_isDirectoryEmpty(folder, {folder / "cache"}, {".directory"})) …
/// ```
///
/// The paths are compared as text with the path that was given and the way from there.
template <class Paths = std::initializer_list<std::filesystem::path>,
          class Names = std::initializer_list<std::string_view>>
[[nodiscard]] bool qv_isDirectoryEmpty(PathView path, const Paths& ignoringPaths,
                                       const Names& ignoringFilesNamed) {
  detail::IgnoredTexts paths;
  for (auto&& ignored : ignoringPaths) paths.emplace(PathView(ignored).text());
  detail::IgnoredTexts names;
  for (auto&& ignored : ignoringFilesNamed) names.emplace(ignored);
  return detail::isDirectoryEmpty(path, paths, names);
}
[[nodiscard]] inline bool qv_isDirectoryEmpty(PathView path) {
  return detail::isDirectoryEmpty(path, {}, {});
}

}  // namespace QVFoundation
