#pragma once

#include <concepts>
#include <functional>
#include <optional>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/files/NSURL.h"

/// Folders, given by their URLs, and what is in them.
///
/// Threads: safe from any thread; callbacks come on the calling one.
namespace QVFoundation {

/// Whether an item lies in a folder, however deep: the file system is asked, so links on the way do not
/// matter. False for the folder itself, though `qv_containsPath` is true for equal paths; false also for
/// nothing, for what does not exist, and for what is no file's URL.
[[nodiscard]] QV_EXPORT bool qv_containsURL(const NSURL& url, const std::optional<NSURL>& other);

/// Calls back with the URL of all that is in a folder, however deep, in the order of
/// `NSDirectoryEnumerator`: a folder before what is in it, links as items. What the callback throws ends
/// the enumeration and goes through. What is no folder, or cannot be read, has nothing in it.
///
/// ```cpp
/// enumerateContents(folder, [&](const NSURL& url) { total += fileSize(url); });
/// ```
QV_EXPORT void enumerateContents(const NSURL& url, const std::function<void(const NSURL&)>& callback);

}  // namespace QVFoundation
