#pragma once

#include <array>
#include <string_view>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/text/FormatArgument.h"

namespace QVFoundation {

namespace detail {

QV_EXPORT void writeNSLogLine(std::string_view format, FormatArguments arguments) noexcept;

}  // namespace detail

/// Writes one line to the standard error of the process: the local time, the program with the numbers of the
/// process and the thread, and the message, whose format is that of `stringWithFormat`.
///
/// ```cpp
/// NSLog("Could not open %@", path);  // 2026-03-05 14:07:09.123 player[4711:4715] Could not open /srv/music
/// ```
///
/// A line goes out in one call to the system, so that those of several threads do not mix; a line feed
/// follows the message unless it ends in one. This is the channel of those whose own log has failed, so it
/// uses no logger.
///
/// Threads: any.
/// Errors: none. A line that nobody can take is lost; if an argument throws, the format stands for the
/// message. Keeps `errno`, and raises no SIGPIPE.
template <class... Args>
void NSLog(std::string_view format, const Args&... args) noexcept {
  try {
    detail::writeNSLogLine(format, std::array<FormatArgument, sizeof...(Args)>{args...});
  } catch (...) {
    detail::writeNSLogLine("%@", std::array<FormatArgument, 1>{format});
  }
}

}  // namespace QVFoundation
