#pragma once

#include <array>
#include <string>
#include <string_view>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/text/FormatArgument.h"

/// Text from a format in the style of printf, with "%@" for any object:
///
/// ```cpp
/// stringWithFormat("%d of %@ in %.1f s", done, title, seconds)
/// ```
///
/// Formats come from files of translators, so they are data, and no format can do harm. The arguments know
/// their types; a conversion only says how to write them. Lengths such as the `l` of "%ld" are accepted and
/// mean nothing: a 64-bit number under "%d" is printed whole, "%x" and "%u" of a negative number give the
/// two's complement in the width of its type. An argument that does not fit its conversion is printed as it
/// would be under "%@". What is not a conversion stays as it stands, a missing argument becomes "(missing)",
/// surplus ones are ignored.
///
/// | conversion    | prints                                                                              |
/// |---------------|-------------------------------------------------------------------------------------|
/// | %@            | anything: text, numbers (`bool` as 1 or 0), descriptions of objects, "(null)"       |
/// | %s %S         | the same                                                                            |
/// | %d %i         | an integer in decimal                                                               |
/// | %u %o %x %X   | an integer without a sign: in decimal, octal, hexadecimal                           |
/// | %f %e %g %a   | a number with decimals, as printf does; capital letters print capitals              |
/// | %c %C         | a character or a code point; U+FFFD for what is none                                |
/// | %p            | an address; 0x0 for nothing                                                         |
/// | %%            | a percent sign                                                                      |
///
/// Between "%" and the letter stand, in this order and as in printf: `2$` for the second argument; flags, which
/// are minus, plus, blank, `#`, `0` and `'`; a width; a precision; lengths. Width and precision may be `*` or
/// `*2$`. A directive without a number takes the argument that follows the one which the last such directive,
/// or `*`, took; numbered ones do not count for that. "%n" is not a conversion.
///
/// Widths, and precisions of text, count code points. A precision cuts text under "%s" and "%@", never
/// numbers, "(null)" or "(missing)". Widths, and precisions of numbers, are at most 4,096. Text that is not
/// UTF-8 passes unchanged.
///
/// Without a locale all is as in the "C" locale, whatever the process's locale is. With one, decimal
/// separators are the locale's; digits are grouped only where the flag `'` asks for it, so that identifiers
/// stay as they are.
///
/// Threads: any; the functions share nothing.
/// Errors: none. What the description of an object throws passes through.

namespace QVFoundation {

/// Appends to `out`, to which no argument may refer. A null locale stands for the "C" locale. This is the
/// function that the others are made of, for those who have their arguments in a list.
QV_EXPORT void appendFormat(std::string& out, const NSLocale* locale, std::string_view format,
                            FormatArguments arguments);

/// The same as a text of its own.
[[nodiscard]] QV_EXPORT std::string stringWithFormatArguments(const NSLocale* locale, std::string_view format,
                                                              FormatArguments arguments);

/// The same in the user's locale, `NSLocale::current()`.
[[nodiscard]] QV_EXPORT std::string localizedStringWithFormatArguments(std::string_view format,
                                                                       FormatArguments arguments);

template <class... Args>
[[nodiscard]] std::string stringWithFormat(std::string_view format, const Args&... args) {
  return stringWithFormatArguments(nullptr, format, std::array<FormatArgument, sizeof...(Args)>{args...});
}

/// Writes numbers as the user does: for texts that people read, not programs.
template <class... Args>
[[nodiscard]] std::string localizedStringWithFormat(std::string_view format, const Args&... args) {
  return localizedStringWithFormatArguments(format, std::array<FormatArgument, sizeof...(Args)>{args...});
}

}  // namespace QVFoundation
