#pragma once

#include <filesystem>
#include <string_view>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/files/NSURL.h"
#include "QVFoundation/platform/files/PathView.h"

/// Names for new files.
///
/// Threads: safe from any thread. Nothing is reserved: by the time the file is created, others may have taken
/// its name. Create it so that this is noticed (`O_EXCL`), and ask again.
namespace QVFoundation {

/// A path in a folder at which there is nothing yet: the name itself, else with a number before its
/// extension, as in "Report 2.pdf", "Report 3.pdf" and so on. A slash in the name becomes a colon.
///
/// A numbered name that would be longer than the 255 bytes which file systems take is cut before its
/// number. An empty name is always taken.
[[nodiscard]] QV_EXPORT std::filesystem::path qv_uniqueFilePathForName(std::string_view name,
                                                                       PathView inDirectory);
/// The same as a URL. Raises `NSInvalidArgumentException` for no file's URL.
[[nodiscard]] QV_EXPORT NSURL qv_uniqueFileURLForName(std::string_view name, const NSURL& inDirectory);

}  // namespace QVFoundation
