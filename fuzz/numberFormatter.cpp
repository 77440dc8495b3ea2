#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "QVFoundation/platform/formatters/NSNumberFormatter.h"
#include "QVFoundation/platform/runtime/NSNumber.h"
#include "QVFoundation/platform/text/NSLocale.h"
#include "QVFoundation/platform/text/Unicode.h"
#include "fuzz/Input.h"
#include "fuzz/Require.h"

// Settings, an integer and a floating number that are written, and a text that is read.

using namespace QVFoundation;
using fuzzing::require;

namespace {

void checkWriting(const NSNumberFormatter& formatter, const NSNumber& number) {
  const std::string text = formatter.stringFromNumber(number);
  require(!text.empty() && isValidUTF8(text));
  (void)formatter.numberFromString(text);
}

void checkReading(const NSNumberFormatter& formatter, std::string_view text) {
  const auto number = formatter.numberFromString(text);
  Value value;
  std::string problem;
  require(formatter.getObjectValue(&value, text, &problem) == number.has_value());
  if (number) {
    require(isValidUTF8(formatter.stringFromNumber(*number)));
  } else {
    require(isValidUTF8(problem));
  }
}

std::optional<int> digits(std::int32_t setting) {
  return setting == 0 ? std::nullopt : std::optional<int>(setting);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::array locales{"en_US_POSIX", "de_DE", "ar_EG", "hi_IN", "fr_CH", "fa_IR", "sv_SE", ""};
  fuzzing::Input input(data, size);
  const auto style = static_cast<NSNumberFormatterStyle>(input.take<std::uint8_t>() % 6);
  const auto settings = input.take<std::uint8_t>();

  NSNumberFormatter formatter;
  formatter.setNumberStyle(style);
  formatter.setLocale(NSLocale(locales[settings % locales.size()]));
  formatter.setLenient((settings & 8) != 0);
  if ((settings & 16) != 0) formatter.setUsesGroupingSeparator((settings & 32) != 0);
  formatter.setMinimumIntegerDigits(digits(input.take<std::int32_t>()));
  const auto integer = input.take<std::int64_t>();
  const auto floating = input.take<double>();
  if (style == NSNumberFormatterStyle::none || style == NSNumberFormatterStyle::decimalStyle) {
    const auto again = formatter.numberFromString(formatter.stringFromNumber(integer));
    require(again && again->exactly<std::int64_t>() == integer);
  }
  formatter.setMinimumFractionDigits(digits(input.take<std::int32_t>()));
  formatter.setMaximumFractionDigits(digits(input.take<std::int32_t>()));
  checkWriting(formatter, integer);
  checkWriting(formatter, static_cast<std::uint64_t>(integer));
  checkWriting(formatter, floating);
  checkReading(formatter, input.rest());
  return 0;
}
