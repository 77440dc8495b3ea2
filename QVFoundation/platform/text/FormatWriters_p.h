#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "QVFoundation/platform/text/FormatArgument.h"
#include "QVFoundation/platform/text/FormatDirective_p.h"
#include "QVFoundation/platform/text/FormatOutput_p.h"

/// What writes the arguments: a function for each family of kinds.
///
/// Threads: any; the functions share nothing.
namespace QVFoundation::detail {

/// A whole message; nothing is flushed.
void appendFormat(FormatOutput& out, const NSLocale* locale, std::string_view format,
                  FormatArguments arguments);

/// Text with the width of the directive, uncut.
void appendPadded(FormatOutput& out, const FormatSpec& spec, std::string_view text);

/// Text with the width of the directive, cut by its precision if that is one for text.
void appendText(FormatOutput& out, const FormatSpec& spec, std::string_view text);

/// The same for what an object says of itself.
void appendObject(FormatOutput& out, const FormatSpec& spec, const FormatArgument& object);

/// One character of text; U+FFFD for a number that is none.
void appendCharacter(FormatOutput& out, const FormatSpec& spec, std::uint64_t number);

/// An integer, a boolean or the number of a character, in the base that the directive names, or else
/// in decimal.
void appendInteger(FormatOutput& out, const FormatSpec& spec, const FormatArgument& integer);

/// An integer in decimal, without width and flags.
void appendDecimal(FormatOutput& out, std::int64_t number);

/// An address in hexadecimal.
void appendAddress(FormatOutput& out, const FormatSpec& spec, const void* address);

/// A number in the notation that the directive names, or else in the shortest that reads back as the
/// same number.
void appendFloating(FormatOutput& out, const FormatSpec& spec, const FormatArgument& number);

/// An integer as a floating number would be written.
void appendIntegerAsFloating(FormatOutput& out, const FormatSpec& spec, const FormatArgument& integer);

/// A number taken apart.
struct NumberParts {
  std::string_view sign;
  std::string_view base;         ///< "0x"
  std::size_t leadingZeros = 0;  ///< digits that the precision asks for
  std::string_view whole;        ///< digits before the decimal separator
  bool hasSeparator = false;
  std::string_view rest;  ///< digits behind it, and the exponent
  bool canBeFilledWithZeros = true;
  bool canBeGrouped = false;
};

/// Puts the parts together: sign, width, groups, decimal separator.
void appendNumber(FormatOutput& out, const FormatSpec& spec, const NumberParts& parts);

/// The sign that a number gets under the flags.
inline std::string_view signOf(const FormatSpec& spec, bool isNegative) {
  if (isNegative) return "-";
  return spec.plus ? "+" : spec.space ? " " : "";
}

/// Capital letters in place of small ones, which are ASCII.
void capitalize(char* first, char* last);

}  // namespace QVFoundation::detail
