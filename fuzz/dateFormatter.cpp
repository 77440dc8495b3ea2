#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "QVFoundation/platform/formatters/NSDateFormatter.h"
#include "QVFoundation/platform/text/NSLocale.h"
#include "QVFoundation/platform/text/Unicode.h"
#include "QVFoundation/platform/time/NSTimeZone.h"
#include "fuzz/Input.h"
#include "fuzz/Require.h"

// A byte of settings, a date, a pattern on the rest of the line, and a text that is read by it.

using namespace QVFoundation;
using fuzzing::require;

namespace {

void checkReading(const NSDateFormatter& formatter, std::string_view text) {
  const auto date = formatter.dateFromString(text);
  Value value;
  require(formatter.getObjectValue(&value, text) == date.has_value());
  if (date) require(isValidUTF8(formatter.stringFromDate(*date)));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::array locales{"en_US_POSIX", "de_DE", "ar_EG", "th_TH", "ja_JP", "he_IL", "fa_IR", ""};
  fuzzing::Input input(data, size);
  const auto settings = input.take<std::uint8_t>();
  const NSDate date{NSDate::duration(input.take<std::int64_t>())};
  const std::string pattern(input.line());

  NSDateFormatter formatter, other;
  formatter.setLocale(NSLocale(locales[settings % locales.size()]));
  formatter.setTimeZone(NSTimeZone::GMT());
  formatter.setLenient((settings & 16) != 0);
  formatter.setDateFormat(pattern);
  require(formatter.dateFormat() == pattern);
  const std::string text = formatter.stringFromDate(date);
  require(isValidUTF8(text));
  if (pattern.empty()) require(text.empty());

  // The order in which it was told does not matter.
  other.setDateFormat(pattern);
  other.setLenient(formatter.isLenient());
  other.setTimeZone(NSTimeZone::GMT());
  other.setLocale(formatter.locale());
  require(other.stringFromDate(date) == text && other.dateFromString(text) == formatter.dateFromString(text));
  checkReading(formatter, text);
  checkReading(formatter, input.rest());

  // What is written in full is read again to the millisecond.
  NSDateFormatter full;
  full.setLocale(NSLocale("en_US_POSIX"));
  full.setTimeZone(NSTimeZone::GMT());
  full.setDateFormat("y-MM-dd HH:mm:ss.SSS G");
  const auto again = full.dateFromString(full.stringFromDate(date));
  const auto cut = std::chrono::floor<std::chrono::milliseconds>(date);
  require(!again || *again == cut);
  require(again || date - NSDate::min() < std::chrono::milliseconds(1));
  return 0;
}
