#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/NSNumber.h"
#include "QVFoundation/platform/runtime/Value.h"
#include "QVFoundation/platform/text/NSCharacterSet.h"

/// Bytes and numbers as hexadecimal text, and back.
///
/// ```cpp
/// hexString(checksum);                       // "01ABFF"
/// hexStringData("0x 0a bc");                 // the bytes 0A BC
/// diffWithData(expected, received);          // "{0x1, 2}: 0x0203 -> 0xFFFF\n"
/// ```
///
/// What is written is in upper case. What is read may be in either, with blanks and line breaks anywhere and
/// with "0x" in front, in lower case and before any blank.
///
/// Threads: functions without state; call them from any thread.
/// Errors: none are thrown. What cannot be read is nothing, with a text for people where one is asked for.
namespace QVFoundation {

/// Says that hexadecimal text is not grouped.
inline constexpr std::uint32_t QVHexNotGrouped = std::numeric_limits<std::uint32_t>::max();

/// The digits 0 to 9, a to f and A to F.
[[nodiscard]] QV_EXPORT const NSCharacterSet& hexCharacterSet();

/// Two digits for each byte. With a pad interval of n, a blank follows each group of 2ⁿ bytes, also the last
/// one where it is whole: with 1, the bytes 01 02 03 04 are "0102 0304 ". With 0, a blank follows every fourth
/// byte, not each one.
[[nodiscard]] QV_EXPORT std::string hexStringWithBytes(std::span<const std::byte> bytes,
                                                       std::uint32_t padInterval = QVHexNotGrouped,
                                                       bool prepend0x = false);

/// All bytes, neither grouped nor prefixed.
[[nodiscard]] QV_EXPORT std::string hexString(std::span<const std::byte> data);

/// The bytes of a number as it is stored: 16, 32 and 64 bits with a sign, the highest byte first; `float` and
/// `double` as this machine keeps them, which is the lowest first on most. Of other types, such as those
/// without a sign, of 8 bits or boolean, nothing.
[[nodiscard]] QV_EXPORT std::optional<std::string> hexString(const NSNumber& number);

/// The bytes of a text; nothing where its number of digits is odd, or it has another character in it. An
/// empty text has no bytes.
[[nodiscard]] QV_EXPORT std::optional<NSData> hexStringData(std::string_view text);

/// The same; with padding, an odd number of digits gets a 0 in front. Says what is wrong in the user's
/// language where there is somebody to be told; of several faults the odd number comes first.
[[nodiscard]] QV_EXPORT std::optional<NSData> hexStringDataWithPadding(
    std::string_view text, bool padding, std::string* errorDescription = nullptr);

/// The first eight bytes of a text as a number, the highest byte first. Fewer bytes are the highest ones of the
/// number, and the others zero: "0x12" is 0x1200000000000000. A text that cannot be read is zero.
[[nodiscard]] QV_EXPORT std::uint64_t hexStringUnsignedLongLong(std::string_view text);

/// What differs, for people: a line for the lengths and one for each run of bytes that differ, with its start,
/// its length, and the bytes of both, without "0x" where the run goes to the end. Empty where nothing
/// differs. What one of them has beyond the length of the other is not looked at.
[[nodiscard]] QV_EXPORT std::string diffWithData(std::span<const std::byte> data,
                                                 std::span<const std::byte> other);

}  // namespace QVFoundation
