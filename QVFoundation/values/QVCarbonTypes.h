#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/NSNumber.h"
#include "QVFoundation/platform/runtime/Value.h"
#include "QVFoundation/platform/time/NSTimeZone.h"

/// Three forms that older file formats and system interfaces still use: codes of four characters, Pascal strings,
/// and dates in seconds since 1904. Characters are those of Mac OS Roman.
///
/// ```cpp
/// stringWithOSType(0x616C6973);  // "alis"
/// typeValue("alis");             // 0x616C6973
/// ```
///
/// Threads: any. The time zone and the switch of `setCarbonEpochTimeZone` belong to the process; who converts
/// dates meanwhile gets them as they were or as they are.
/// Errors: none.
namespace QVFoundation {

/// Four characters in 32 bits, the first one in the highest.
using OSType = std::uint32_t;

/// A number that holds a code, as a signed one of 64 bits; so it is never negative.
[[nodiscard]] QV_EXPORT NSNumber numberWithOSType(OSType code);
/// The code in the lowest 32 bits of a number. What stands behind a decimal point is cut off.
[[nodiscard]] QV_EXPORT OSType typeValue(const NSNumber& number);

/// The four characters of a code. Zero bytes are characters too.
[[nodiscard]] QV_EXPORT std::string stringWithOSType(OSType code);
/// The code of the first four characters. Missing ones are zero, and so is all of a text with a character that
/// the set lacks.
[[nodiscard]] QV_EXPORT OSType typeValue(std::string_view string);

/// The characters of a Pascal string, whose first byte says how many follow. Where the bytes end before that,
/// so does the text.
[[nodiscard]] QV_EXPORT std::string stringWithPString(std::span<const unsigned char> pascalString);
/// Asks for a Pascal string in as many bytes as the text has characters. That is one byte less than any text
/// takes, so the buffer stays as it is; `getPascalString` is told the size of the buffer.
QV_EXPORT void getPString(std::string_view string, unsigned char* buffer);

/// The beginning of 1904 by the clocks of the epoch's time zone, fixed when it is first asked for.
[[nodiscard]] QV_EXPORT NSDate carbonEpoch();

/// The time zone of the epoch, GMT unless it is set before the epoch is first asked for, and whether the
/// conversions below adjust for its daylight saving; at first they do not. A zone that is set later does not move
/// the epoch, but it is the one to adjust for.
QV_EXPORT void setCarbonEpochTimeZone(const NSTimeZone& zone, bool adjustForDaylightSavings);

/// The date so many seconds after the epoch; the last one that `NSDate` can hold where it is beyond that. Where
/// the zone saves daylight at that date, an hour is subtracted if that is adjusted for.
///
/// It is an hour in every zone, and each conversion looks at another instant: near a change of clocks the two are
/// not inverses.
[[nodiscard]] QV_EXPORT NSDate dateWithSecondsSince1904(std::uint64_t seconds);
/// The whole seconds from the epoch to the date, 0 for dates before it. Where the zone saves daylight at the date,
/// an hour is added if that is adjusted for.
[[nodiscard]] QV_EXPORT std::uint64_t secondsSince1904(NSDate date);

}  // namespace QVFoundation
