#pragma once

#include <filesystem>

namespace example {

// Of items themselves: no link is followed. Threads: any.
[[nodiscard]] bool isTaken(const std::filesystem::path& path);
[[nodiscard]] bool isFolder(const std::filesystem::path& path);
/// Whether it is a folder, a file or a link; what is read from pipes, sockets and devices is not theirs.
[[nodiscard]] bool hasContent(const std::filesystem::path& path);

/// Waits until the names in a folder are on the device. Throws an `NSError` or `NSException` where it fails.
void flushFolder(const std::filesystem::path& folder);

}  // namespace example
