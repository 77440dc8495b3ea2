#pragma once

#include <string_view>

#include "QVFoundation/platform/Export.h"

/// Which QVFoundation a program was compiled against, and which one it runs with.
///
/// ```cpp
/// if (versionAtRunTime() != version) NSLog("built for %@, running with %@", version, versionAtRunTime());
/// ```
///
/// Threads: everything here from any thread.

namespace QVFoundation {

/// The version of the headers, "major.minor.patch". The build takes its own version from this line.
inline constexpr std::string_view version = "0.1.0";

/// The same as numbers.
inline constexpr int versionMajor = 0;
inline constexpr int versionMinor = 1;
inline constexpr int versionPatch = 0;

/// The version of the shared library that the program has loaded.
[[nodiscard]] QV_EXPORT std::string_view versionAtRunTime() noexcept;

}  // namespace QVFoundation
