#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/concurrency/Mutex.h"
#include "QVFoundation/platform/concurrency/ThreadSafety.h"
#include "QVFoundation/platform/formatters/NSFormatter.h"
#include "QVFoundation/platform/runtime/Value.h"
#include "QVFoundation/platform/text/NSLocale.h"
#include "QVFoundation/platform/time/NSTimeZone.h"

namespace QVFoundation {

namespace detail {
class DateText;
}  // namespace detail

/// How much of a date or time is written. What that looks like is up to the locale.
enum class NSDateFormatterStyle {
  none,         ///< nothing at all
  shortStyle,   ///< "3/5/26", "2:07 PM"
  mediumStyle,  ///< "Mar 5, 2026", "2:07:09 PM"
  longStyle,    ///< "March 5, 2026", with the time zone in short
  fullStyle,    ///< with the day of the week, and the time zone in words
};

/// Writes dates and times as people read them, and reads them back.
///
/// ```cpp
/// NSDateFormatter formatter;
/// formatter.setLocale(NSLocale("en_US_POSIX"));
/// formatter.setTimeZone(NSTimeZone::GMT());
/// formatter.setDateFormat("yyyy-MM-dd HH:mm:ss");
/// std::string text = formatter.stringFromDate(date);
/// ```
///
/// A formatter has either a pattern or two styles; at first it writes nothing. Patterns are those of Unicode
/// (UTS #35, "Date Format Patterns"). The calendar is the locale's. Times are cut to milliseconds.
///
/// What a text does not say is taken from the beginning of 1970. Of a time that the clocks show twice the later
/// one is meant. A time that they skip is none; a lenient formatter reads it as if they had not been changed yet.
///
/// Properties by key: "dateFormat", "dateStyle", "timeStyle", "locale", "timeZone", "lenient".
///
/// Threads: any. A text is written or read with all the settings of one moment.
class QV_EXPORT NSDateFormatter : public NSFormatter {
public:
  static const NSClass& staticClass();
  [[nodiscard]] const NSClass& dynamicClass() const override;

  /// With the user's locale and the default time zone of this moment.
  NSDateFormatter();
  ~NSDateFormatter() override;

  /// The pattern, also where it comes from the styles and the locale.
  [[nodiscard]] std::string dateFormat() const;
  /// Both styles become none. A pattern that nobody understands, such as "n", writes an empty text and reads
  /// nothing.
  void setDateFormat(std::string pattern);

  /// Another style than before replaces a pattern.
  [[nodiscard]] NSDateFormatterStyle dateStyle() const;
  void setDateStyle(NSDateFormatterStyle style);
  [[nodiscard]] NSDateFormatterStyle timeStyle() const;
  void setTimeStyle(NSDateFormatterStyle style);

  [[nodiscard]] NSLocale locale() const;
  void setLocale(const NSLocale& locale);
  [[nodiscard]] NSTimeZone timeZone() const;
  void setTimeZone(const NSTimeZone& zone);

  /// Whether "32 January" is 1 February, and signs may be missing or differ from the pattern; at first not.
  [[nodiscard]] bool isLenient() const;
  void setLenient(bool lenient);

  [[nodiscard]] std::string stringFromDate(NSDate date) const;
  /// The whole text must be a date; nothing where it is not, or `NSDate` cannot hold it. White
  /// space in front of a number is skipped.
  [[nodiscard]] std::optional<NSDate> dateFromString(std::string_view string) const;

  [[nodiscard]] std::optional<std::string> stringForObjectValue(const Value& value) const override;
  bool getObjectValue(Value* value, std::string_view string,
                      std::string* errorDescription = nullptr) const override;

private:
  struct Settings {
    std::optional<std::string> pattern = {};  // instead of the styles
    NSDateFormatterStyle dateStyle = NSDateFormatterStyle::none, timeStyle = NSDateFormatterStyle::none;
    NSLocale locale = NSLocale::current();
    NSTimeZone timeZone = NSTimeZone::defaultTimeZone();
    bool isLenient = false;
  };

  template <class Member>
  [[nodiscard]] Member setting(Member Settings::* member) const QV_EXCLUDES(lock_);
  template <class Change>
  void change(const Change& change) QV_EXCLUDES(lock_);
  void setStyle(std::string_view key, NSDateFormatterStyle Settings::* member, NSDateFormatterStyle style);
  [[nodiscard]] std::shared_ptr<const detail::DateText> text() const QV_EXCLUDES(lock_);

  mutable Mutex lock_;  // while ICU makes a converter, too
  Settings settings_ QV_GUARDED_BY(lock_);
  mutable std::shared_ptr<const detail::DateText> text_ QV_GUARDED_BY(lock_);  // null until it is needed
};

}  // namespace QVFoundation
