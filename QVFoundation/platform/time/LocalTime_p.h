#pragma once

#include <cstdint>
#include <ctime>
#include <optional>

#include "QVFoundation/platform/Export.h"

/// Local time as the C library knows it, by the time zone that the environment names at the moment.
///
/// Threads: any; no other thread may change the environment meanwhile.
namespace QVFoundation::detail {

/// Has the C library look again which time zone that is: `localtime_r` alone need not.
void refreshTimeZone() noexcept;

/// Date and time of an instant, in seconds since 1970; nothing for years that have no number.
[[nodiscard]] std::optional<std::tm> localTime(std::int64_t seconds) noexcept;

/// The instant of a date and time, whose fields may be out of their ranges (mktime(3)).
[[nodiscard]] std::int64_t secondsOfLocalTime(std::tm date) noexcept;

}  // namespace QVFoundation::detail
