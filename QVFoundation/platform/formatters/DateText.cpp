#include <chrono>
#include <cstdint>

#include "QVFoundation/platform/formatters/DateText_p.h"
#include "QVFoundation/platform/formatters/ICUText_p.h"
#include "QVFoundation/platform/formatters/NSDateFormatter.h"
#include "QVFoundation/platform/time/ZoneTimeZone_p.h"

namespace QVFoundation::detail {

namespace {

using namespace std::chrono;

icu::DateFormat::EStyle icuStyle(NSDateFormatterStyle style) {
  switch (style) {
    case NSDateFormatterStyle::shortStyle: return icu::DateFormat::kShort;
    case NSDateFormatterStyle::mediumStyle: return icu::DateFormat::kMedium;
    case NSDateFormatterStyle::longStyle: return icu::DateFormat::kLong;
    case NSDateFormatterStyle::fullStyle: return icu::DateFormat::kFull;
    case NSDateFormatterStyle::none: break;
  }
  return icu::DateFormat::kNone;
}

}  // namespace

DateText::DateText(const std::string& pattern, const std::string& locale, const NSTimeZone& zone,
                   bool isLenient)
    : pattern_(pattern) {
  UErrorCode status = U_ZERO_ERROR;
  auto format = std::make_unique<icu::SimpleDateFormat>(utf16(pattern), icuLocale(locale), status);
  checkStatus(status);
  format->adoptTimeZone(std::make_unique<ZoneTimeZone>(zone).release());
  format->setLenient(isLenient);
  for (const auto attribute : {UDAT_PARSE_PARTIAL_LITERAL_MATCH, UDAT_PARSE_MULTIPLE_PATTERNS_FOR_MATCH}) {
    format->setBooleanAttribute(attribute, static_cast<UBool>(isLenient), status);
  }
  checkStatus(status);
  format_ = std::move(format);
}

std::string DateText::patternOfStyles(NSDateFormatterStyle date, NSDateFormatterStyle time,
                                      const std::string& locale) {
  const auto dateStyle = icuStyle(date);
  const auto timeStyle = icuStyle(time);
  if (dateStyle == icu::DateFormat::kNone && timeStyle == icu::DateFormat::kNone) return {};
  const std::unique_ptr<icu::DateFormat> format(
      icu::DateFormat::createDateTimeInstance(dateStyle, timeStyle, icuLocale(locale)));
  icu::UnicodeString pattern;
  if (const auto* const simple = dynamic_cast<const icu::SimpleDateFormat*>(format.get())) {
    simple->toPattern(pattern);
  }
  return utf8(pattern);
}

std::string DateText::string(NSDate date) const {
  icu::UnicodeString text;
  return utf8(
      format_->format(static_cast<UDate>(floor<milliseconds>(date).time_since_epoch().count()), text));
}

std::optional<NSDate> DateText::date(std::string_view text) const {
  if (text.size() > mostBytesOfICUText) return {};
  const icu::UnicodeString wide = utf16(text);
  icu::ParsePosition position(0);
  const UDate time = format_->parse(wide, position);
  if (position.getErrorIndex() >= 0 || position.getIndex() != wide.length() || wide.isEmpty()) return {};
  constexpr auto first = static_cast<double>(ceil<milliseconds>(NSDate::min()).time_since_epoch().count());
  constexpr auto last = static_cast<double>(floor<milliseconds>(NSDate::max()).time_since_epoch().count());
  if (!(time >= first && time <= last)) return {};
  return NSDate(milliseconds(static_cast<std::int64_t>(time)));
}

}  // namespace QVFoundation::detail
