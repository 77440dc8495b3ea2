#include "QVFoundation/platform/formatters/NSNumberFormatter.h"

#include "QVFoundation/platform/formatters/NumberText_p.h"
#include "QVFoundation/platform/runtime/ChangeNotice.h"
#include "QVFoundation/platform/runtime/NSClass.h"

namespace QVFoundation {

using Format = detail::NumberFormat;

const NSClass& NSNumberFormatter::staticClass() {
  using Self = NSNumberFormatter;
  // Never destroyed: objects serve to the end of the process.
  static const NSClass& cls = *new NSClass(
      NSClass::define<Self>("NSNumberFormatter", NSFormatter::staticClass())
          .property("numberStyle", &Self::numberStyle, &Self::setNumberStyle)
          .property("locale", &Self::locale, &Self::setLocale)
          .property("minimumIntegerDigits", &Self::minimumIntegerDigits, &Self::setMinimumIntegerDigits)
          .property("minimumFractionDigits", &Self::minimumFractionDigits, &Self::setMinimumFractionDigits)
          .property("maximumFractionDigits", &Self::maximumFractionDigits, &Self::setMaximumFractionDigits)
          .property("usesGroupingSeparator", &Self::usesGroupingSeparator, &Self::setUsesGroupingSeparator)
          .property("lenient", &Self::isLenient, &Self::setLenient));
  return cls;
}

const NSClass& NSNumberFormatter::dynamicClass() const { return staticClass(); }

NSNumberFormatter::NSNumberFormatter() = default;
NSNumberFormatter::~NSNumberFormatter() = default;

template <class Member>
Member NSNumberFormatter::setting(Member Format::* member) const {
  const MutexLock guard(lock_);
  return format_.*member;
}

template <class Member>
void NSNumberFormatter::change(std::string_view key, Member Format::* member, const Member& setting) {
  const ChangeNotice notice(*this, key);
  const MutexLock guard(lock_);
  format_.*member = setting;
  text_.reset();
}

std::shared_ptr<const detail::NumberText> NSNumberFormatter::text() const {
  const MutexLock guard(lock_);
  if (!text_) text_ = std::make_shared<const detail::NumberText>(format_);
  return text_;
}

NSNumberFormatterStyle NSNumberFormatter::numberStyle() const { return setting(&Format::style); }
void NSNumberFormatter::setNumberStyle(NSNumberFormatterStyle style) {
  change("numberStyle", &Format::style, style);
}

NSLocale NSNumberFormatter::locale() const { return NSLocale(setting(&Format::locale)); }
void NSNumberFormatter::setLocale(const NSLocale& locale) {
  change("locale", &Format::locale, locale.identifier());
}

std::optional<int> NSNumberFormatter::minimumIntegerDigits() const {
  return setting(&Format::minimumIntegerDigits);
}
void NSNumberFormatter::setMinimumIntegerDigits(std::optional<int> digits) {
  change("minimumIntegerDigits", &Format::minimumIntegerDigits, digits);
}

std::optional<int> NSNumberFormatter::minimumFractionDigits() const {
  return setting(&Format::minimumFractionDigits);
}
void NSNumberFormatter::setMinimumFractionDigits(std::optional<int> digits) {
  change("minimumFractionDigits", &Format::minimumFractionDigits, digits);
}

std::optional<int> NSNumberFormatter::maximumFractionDigits() const {
  return setting(&Format::maximumFractionDigits);
}
void NSNumberFormatter::setMaximumFractionDigits(std::optional<int> digits) {
  change("maximumFractionDigits", &Format::maximumFractionDigits, digits);
}

std::optional<bool> NSNumberFormatter::usesGroupingSeparator() const {
  return setting(&Format::usesGroupingSeparator);
}
void NSNumberFormatter::setUsesGroupingSeparator(std::optional<bool> grouping) {
  change("usesGroupingSeparator", &Format::usesGroupingSeparator, grouping);
}

bool NSNumberFormatter::isLenient() const { return setting(&Format::isLenient); }
void NSNumberFormatter::setLenient(bool lenient) { change("lenient", &Format::isLenient, lenient); }

std::string NSNumberFormatter::stringFromNumber(const NSNumber& number) const {
  return stringForObjectValue(number).value_or("");
}

std::optional<NSNumber> NSNumberFormatter::numberFromString(std::string_view string) const {
  Value value;
  return getObjectValue(&value, string) ? value.as<NSNumber>() : std::nullopt;
}

std::optional<std::string> NSNumberFormatter::stringForObjectValue(const Value& value) const {
  if (value.number() == nullptr) return {};
  return text()->string(*value.number());
}

bool NSNumberFormatter::getObjectValue(Value* value, std::string_view string,
                                       std::string* errorDescription) const {
  const auto number = text()->number(string);
  if (!number && errorDescription != nullptr)
    *errorDescription = "This is not a number in the expected form.";
  if (number && value != nullptr) *value = *number;
  return number.has_value();
}

}  // namespace QVFoundation
