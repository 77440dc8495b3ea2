#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/files/NSSearchPath.h"
#include "QVFoundation/platform/files/NSURL.h"
#include "QVFoundation/platform/files/PathView.h"

/// Where a program keeps its files, within the standard folders of NSSearchPath.h. Nothing here creates a
/// folder.
///
/// Threads: any; the environment is read at each call, and no other thread may change it meanwhile.
/// Errors: none.
namespace QVFoundation {

/// The folders of one kind, each with a path below it where one is given.
[[nodiscard]] QV_EXPORT std::vector<std::filesystem::path> QVSearchPathForDirectoriesInDomains(
    NSSearchPathDirectory directory, NSSearchPathDomainMask domainMask,
    ExpandTilde expandTilde = ExpandTilde::yes, PathView subPath = "");

/// "Application Support/NAME", with the name of the main bundle, for use below the library folder.
[[nodiscard]] QV_EXPORT std::string QVApplicationSupportSubPath();

/// The folder for what the program can make anew: in the user's caches, under the main bundle's identifier,
/// or under its name where it has none.
[[nodiscard]] QV_EXPORT std::filesystem::path QVCacheDirectory();
[[nodiscard]] QV_EXPORT NSURL QVCacheDirectoryURL();

/// The user's home folder, as a directory's URL.
[[nodiscard]] QV_EXPORT NSURL QVHomeDirectoryURL();

}  // namespace QVFoundation
