#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <unicode/smpdtfmt.h>

#include "QVFoundation/platform/runtime/Value.h"
#include "QVFoundation/platform/time/NSTimeZone.h"

namespace QVFoundation {

enum class NSDateFormatterStyle;

namespace detail {

/// Dates as text, by one pattern, in one locale and time zone.
///
/// Threads: any; it does not change.
class DateText {
public:
  /// Locales are named as `NSLocale` does. Of one that is not known the nearest is taken.
  DateText(const std::string& pattern, const std::string& locale, const NSTimeZone& zone, bool isLenient);

  /// What a locale has for two styles; empty where both are none.
  [[nodiscard]] static std::string patternOfStyles(NSDateFormatterStyle date, NSDateFormatterStyle time,
                                                   const std::string& locale);

  [[nodiscard]] const std::string& pattern() const noexcept { return pattern_; }
  [[nodiscard]] std::string string(NSDate date) const;
  [[nodiscard]] std::optional<NSDate> date(std::string_view text) const;

private:
  std::string pattern_;
  std::unique_ptr<const icu::SimpleDateFormat> format_;
};

}  // namespace detail

}  // namespace QVFoundation
