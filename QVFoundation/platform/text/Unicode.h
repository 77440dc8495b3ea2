#pragma once

#include <bit>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "QVFoundation/platform/Export.h"

/// What this library has to know about UTF-8: counting, cutting and converting without ever splitting
/// a character.
///
/// Bytes that are not UTF-8 do no harm. Each longest run that could have begun a code point, and each byte
/// that could not, counts as one U+FFFD, as the Unicode standard recommends (chapter 3, "U+FFFD Substitution
/// of Maximal Subparts"). So `codePointCount(text)` is also the count for `replacingInvalidUTF8(text)`.
///
/// Threads: functions without state; call them from any thread.
/// Errors: none; nothing throws but for want of memory.

namespace QVFoundation {

/// Stands for what cannot be decoded.
inline constexpr char32_t replacementCharacter = U'\uFFFD';

/// Whether the text is well-formed: no stray bytes, overlong forms, surrogates or values beyond U+10FFFF.
[[nodiscard]] QV_EXPORT bool isValidUTF8(std::string_view text) noexcept;

/// The text itself where it is well-formed, else with U+FFFD in place of what is not.
[[nodiscard]] QV_EXPORT std::string replacingInvalidUTF8(std::string_view text);

[[nodiscard]] QV_EXPORT std::size_t codePointCount(std::string_view text) noexcept;

/// How many 16-bit units the text has in UTF-16: one for each code point, two from U+10000 on.
[[nodiscard]] QV_EXPORT std::size_t utf16UnitCount(std::string_view text) noexcept;

/// The first `count` code points, or the whole text where it has no more.
[[nodiscard]] QV_EXPORT std::string_view prefixOfCodePoints(std::string_view text,
                                                            std::size_t count) noexcept;

/// The longest beginning with at most `count` UTF-16 units. A code point of two units is never split: it is
/// left out where only its first unit would fit.
[[nodiscard]] QV_EXPORT std::string_view prefixOfUTF16Units(std::string_view text,
                                                            std::size_t count) noexcept;

/// The longest beginning with at most `count` bytes that splits no code point.
[[nodiscard]] QV_EXPORT std::string_view prefixOfBytes(std::string_view text, std::size_t count) noexcept;

/// One code point and the number of bytes that it takes. What is not UTF-8 gives U+FFFD and the bytes
/// to skip.
struct DecodedCodePoint {
  char32_t codePoint;
  std::size_t length;
  bool isValid;
};

/// Decodes the code point that the text begins with. The text must not be empty.
[[nodiscard]] QV_EXPORT DecodedCodePoint decodeUTF8(std::string_view text) noexcept;

/// Whether a number is a code point that text can hold: at most U+10FFFF and no surrogate.
[[nodiscard]] constexpr bool isValidCodePoint(char32_t codePoint) noexcept {
  return codePoint < 0xD800 || (codePoint > 0xDFFF && codePoint <= 0x10FFFF);
}

/// Appends a code point as UTF-8; U+FFFD where it is none.
QV_EXPORT void appendUTF8(std::string& out, char32_t codePoint);

/// Appends UTF-16 as UTF-8; each surrogate without its partner becomes U+FFFD.
QV_EXPORT void appendUTF8(std::string& out, std::u16string_view text);

/// The same for bytes of either order, as files hold them. A byte order mark is kept like any other
/// character; half a unit at the end becomes U+FFFD.
[[nodiscard]] QV_EXPORT std::string stringFromUTF16(std::span<const std::byte> bytes, std::endian order);

}  // namespace QVFoundation
