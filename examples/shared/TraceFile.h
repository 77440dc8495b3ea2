#pragma once

#include <filesystem>

namespace example {

/// Records the signposts of the program in a new file. Throws an `NSError` that begins with the name of the
/// option which asked for it.
///
/// Threads: the main thread, before there are others.
void recordSignposts(const std::filesystem::path& file, const char* option);

}  // namespace example
