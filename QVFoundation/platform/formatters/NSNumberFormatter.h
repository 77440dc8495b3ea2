#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/concurrency/Mutex.h"
#include "QVFoundation/platform/concurrency/ThreadSafety.h"
#include "QVFoundation/platform/formatters/NSFormatter.h"
#include "QVFoundation/platform/runtime/NSNumber.h"
#include "QVFoundation/platform/runtime/Value.h"
#include "QVFoundation/platform/text/NSLocale.h"

namespace QVFoundation {

/// How a number is written; the examples are 1234.56789 as in the United States.
enum class NSNumberFormatterStyle {
  none,           ///< "1235"
  decimalStyle,   ///< "1,234.568"
  currencyStyle,  ///< "$1,234.57", in the currency of the locale
  percentStyle,   ///< "123,457%"
  scientific,     ///< "1.23456789E3"
  spellOutStyle,  ///< "one thousand two hundred thirty-four point five six seven eight nine"
};

namespace detail {

class NumberText;

/// What a formatter has been told. What is absent is as the style and the locale have it.
struct NumberFormat {
  NSNumberFormatterStyle style = NSNumberFormatterStyle::none;
  std::string locale = NSLocale::current().identifier();
  std::optional<int> minimumIntegerDigits = {}, minimumFractionDigits = {}, maximumFractionDigits = {};
  std::optional<bool> usesGroupingSeparator = {};
  bool isLenient = false;
};

}  // namespace detail

/// Writes numbers as people read them, and reads them back.
///
/// ```cpp
/// NSNumberFormatter formatter;
/// formatter.setNumberStyle(NSNumberFormatterStyle::decimalStyle);
/// formatter.setMaximumFractionDigits(1);
/// label.setText(formatter.stringFromNumber(1234.56));  // "1,234.6", "1.234,6", "1 234,6" …
/// ```
///
/// Integers are exact, in words up to 2⁶³. Halves are rounded to the even digit.
///
/// Properties by key: "numberStyle", "locale", "minimumIntegerDigits", "minimumFractionDigits",
/// "maximumFractionDigits", "usesGroupingSeparator", "lenient".
///
/// Threads: any. A text is written or read with all the settings of one moment.
class QV_EXPORT NSNumberFormatter : public NSFormatter {
public:
  static const NSClass& staticClass();
  [[nodiscard]] const NSClass& dynamicClass() const override;

  NSNumberFormatter();  ///< With the user's locale, and neither groups nor fractions.
  ~NSNumberFormatter() override;

  [[nodiscard]] NSNumberFormatterStyle numberStyle() const;
  void setNumberStyle(NSNumberFormatterStyle style);
  [[nodiscard]] NSLocale locale() const;
  void setLocale(const NSLocale& locale);

  // Digits, where others are wanted than the style has; up to 340 are written. Where the least are
  // more than the most, they count.
  [[nodiscard]] std::optional<int> minimumIntegerDigits() const;
  void setMinimumIntegerDigits(std::optional<int> digits);
  [[nodiscard]] std::optional<int> minimumFractionDigits() const;
  void setMinimumFractionDigits(std::optional<int> digits);
  [[nodiscard]] std::optional<int> maximumFractionDigits() const;
  void setMaximumFractionDigits(std::optional<int> digits);
  [[nodiscard]] std::optional<bool> usesGroupingSeparator() const;
  void setUsesGroupingSeparator(std::optional<bool> grouping);

  /// Whether separators may be missing, or stand where they do not belong; at first not. In words, texts of
  /// more than 400 letters are no numbers then.
  [[nodiscard]] bool isLenient() const;
  void setLenient(bool lenient);

  /// What `stringForObjectValue` gives, or an empty text.
  [[nodiscard]] std::string stringFromNumber(const NSNumber& number) const;
  /// The whole text must be a number. It comes as an integer where it is one and fits, else as a `double`.
  [[nodiscard]] std::optional<NSNumber> numberFromString(std::string_view string) const;

  [[nodiscard]] std::optional<std::string> stringForObjectValue(const Value& value) const override;
  bool getObjectValue(Value* value, std::string_view string,
                      std::string* errorDescription = nullptr) const override;

private:
  template <class Member>
  [[nodiscard]] Member setting(Member detail::NumberFormat::* member) const QV_EXCLUDES(lock_);
  template <class Member>
  void change(std::string_view key, Member detail::NumberFormat::* member, const Member& setting)
      QV_EXCLUDES(lock_);
  [[nodiscard]] std::shared_ptr<const detail::NumberText> text() const QV_EXCLUDES(lock_);

  mutable Mutex lock_;
  detail::NumberFormat format_ QV_GUARDED_BY(lock_);
  mutable std::shared_ptr<const detail::NumberText> text_ QV_GUARDED_BY(lock_);  // null until it is needed
};

}  // namespace QVFoundation
