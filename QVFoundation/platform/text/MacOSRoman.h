#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/Value.h"

/// Mac OS Roman, the one-byte character set of old file formats: ASCII, and above it 128 letters and signs,
/// with the euro sign at 0xDB.
///
/// Threads: functions without state; call them from any thread.
namespace QVFoundation {

/// The text of the bytes. Every byte is a character, zero and the control characters too.
[[nodiscard]] QV_EXPORT std::string stringFromMacOSRoman(std::span<const std::byte> bytes);

/// The bytes of a text; nothing where it has a character that the set lacks, or is not UTF-8. Accented letters
/// must be single characters: "e" with a combining accent is not found.
[[nodiscard]] QV_EXPORT std::optional<NSData> macOSRomanFromString(std::string_view text);

/// Writes a text as a Pascal string: its length in the first byte, then so many bytes of Mac OS Roman. False,
/// and the buffer left alone, where a character is missing from the set, the text has more than 255, or the
/// buffer has no room for all of it and the length.
QV_EXPORT bool getPascalString(std::string_view text, std::span<unsigned char> buffer);

}  // namespace QVFoundation
