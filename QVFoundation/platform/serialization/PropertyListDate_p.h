#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "QVFoundation/platform/runtime/Value.h"

/// Dates as property lists write them.
///
/// Threads: functions without state.
namespace QVFoundation::detail {

/// "2026-01-31T23:59:59Z"; what is less than a second is left out.
[[nodiscard]] std::string textFromDate(NSDate date);

/// Nothing where the text is no such date. A date that `NSDate` cannot hold becomes the first or the last
/// that it can.
[[nodiscard]] std::optional<NSDate> dateFromText(std::string_view text);

/// Binary property lists count seconds from the start of 2001.
[[nodiscard]] double secondsSince2001(NSDate date) noexcept;

/// To the microsecond, which is what a `double` tells apart. `number` must be one.
[[nodiscard]] NSDate dateFromSecondsSince2001(double number) noexcept;

}  // namespace QVFoundation::detail
