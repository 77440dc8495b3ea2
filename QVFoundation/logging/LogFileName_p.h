#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "QVFoundation/platform/Export.h"

namespace QVFoundation::detail {

/// What the name of a log file says: "2024-03-05-140709-Backup.log" is of Backup at 14:07:09 that day.
struct LogFileName {
  std::string name;
  std::int64_t seconds;  ///< since 1970; the name has them in local time
};

/// The name for a log file that is begun at a time. A slash in a name becomes a colon. One that comes to 255
/// or more UTF-16 units is cut to 250 and the extension, and then to the 255 bytes that file systems take.
///
/// Threads: any.
[[nodiscard]] QV_TEST_EXPORT std::string logFileName(std::string_view name, std::int64_t seconds);

/// Whether a name looks like one of those.
[[nodiscard]] bool isLogFileName(std::string_view fileName) noexcept;

/// Nothing for what is no log file's name, or names no time. In the hour that comes twice when summer time
/// ends, the one is meant that is nearer to when the file was made, as far as that is known.
[[nodiscard]] QV_TEST_EXPORT std::optional<LogFileName> parseLogFileName(std::string_view fileName,
                                                                         std::int64_t about);

}  // namespace QVFoundation::detail
