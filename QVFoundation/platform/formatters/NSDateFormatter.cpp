#include "QVFoundation/platform/formatters/NSDateFormatter.h"

#include <utility>

#include "QVFoundation/platform/formatters/DateText_p.h"
#include "QVFoundation/platform/runtime/ChangeNotice.h"
#include "QVFoundation/platform/runtime/NSClass.h"

namespace QVFoundation {

using Style = NSDateFormatterStyle;

const NSClass& NSDateFormatter::staticClass() {
  // Never destroyed: objects serve to the end of the process.
  static const NSClass& cls =
      *new NSClass(NSClass::define<NSDateFormatter>("NSDateFormatter", NSFormatter::staticClass())
                       .property("dateFormat", &NSDateFormatter::dateFormat, &NSDateFormatter::setDateFormat)
                       .affectedBy({"dateStyle", "timeStyle", "locale"})
                       .property("dateStyle", &NSDateFormatter::dateStyle, &NSDateFormatter::setDateStyle)
                       .property("timeStyle", &NSDateFormatter::timeStyle, &NSDateFormatter::setTimeStyle)
                       .property("locale", &NSDateFormatter::locale, &NSDateFormatter::setLocale)
                       .property("timeZone", &NSDateFormatter::timeZone, &NSDateFormatter::setTimeZone)
                       .property("lenient", &NSDateFormatter::isLenient, &NSDateFormatter::setLenient));
  return cls;
}

// So that the class is found by the name that a file has for it.
[[maybe_unused]] static const NSClass& registeredDateFormatter = NSDateFormatter::staticClass();

const NSClass& NSDateFormatter::dynamicClass() const { return staticClass(); }

NSDateFormatter::NSDateFormatter() = default;
NSDateFormatter::~NSDateFormatter() = default;

template <class Member>
Member NSDateFormatter::setting(Member Settings::* member) const {
  const MutexLock guard(lock_);
  return settings_.*member;
}

template <class Change>
void NSDateFormatter::change(const Change& change) {
  const MutexLock guard(lock_);
  change(settings_);
  text_.reset();
}

std::shared_ptr<const detail::DateText> NSDateFormatter::text() const {
  const MutexLock guard(lock_);
  if (!text_) {
    const std::string& locale = settings_.locale.identifier();
    text_ = std::make_shared<const detail::DateText>(
        settings_.pattern
            ? *settings_.pattern
            : detail::DateText::patternOfStyles(settings_.dateStyle, settings_.timeStyle, locale),
        locale, settings_.timeZone, settings_.isLenient);
  }
  return text_;
}

std::string NSDateFormatter::dateFormat() const { return text()->pattern(); }

void NSDateFormatter::setDateFormat(std::string pattern) {
  setDateStyle(Style::none);
  setTimeStyle(Style::none);
  const ChangeNotice notice(*this, "dateFormat");
  change([&](Settings& settings) { settings.pattern = std::move(pattern); });
}

void NSDateFormatter::setStyle(std::string_view key, Style Settings::* member, Style style) {
  if (setting(member) == style) return;
  const ChangeNotice notice(*this, key);
  change([&](Settings& settings) {
    settings.*member = style;
    settings.pattern.reset();
  });
}

Style NSDateFormatter::dateStyle() const { return setting(&Settings::dateStyle); }
void NSDateFormatter::setDateStyle(Style style) { setStyle("dateStyle", &Settings::dateStyle, style); }
Style NSDateFormatter::timeStyle() const { return setting(&Settings::timeStyle); }
void NSDateFormatter::setTimeStyle(Style style) { setStyle("timeStyle", &Settings::timeStyle, style); }

NSLocale NSDateFormatter::locale() const { return setting(&Settings::locale); }

void NSDateFormatter::setLocale(const NSLocale& locale) {
  const ChangeNotice notice(*this, "locale");
  change([&](Settings& settings) { settings.locale = locale; });
}

NSTimeZone NSDateFormatter::timeZone() const { return setting(&Settings::timeZone); }

void NSDateFormatter::setTimeZone(const NSTimeZone& zone) {
  const ChangeNotice notice(*this, "timeZone");
  change([&](Settings& settings) { settings.timeZone = zone; });
}

bool NSDateFormatter::isLenient() const { return setting(&Settings::isLenient); }

void NSDateFormatter::setLenient(bool lenient) {
  const ChangeNotice notice(*this, "lenient");
  change([&](Settings& settings) { settings.isLenient = lenient; });
}

std::string NSDateFormatter::stringFromDate(NSDate date) const { return text()->string(date); }

std::optional<NSDate> NSDateFormatter::dateFromString(std::string_view string) const {
  return text()->date(string);
}

std::optional<std::string> NSDateFormatter::stringForObjectValue(const Value& value) const {
  if (value.date() == nullptr) return {};
  return stringFromDate(*value.date());
}

bool NSDateFormatter::getObjectValue(Value* value, std::string_view string,
                                     std::string* errorDescription) const {
  const auto date = dateFromString(string);
  if (!date && errorDescription != nullptr) *errorDescription = "This is not a date in the expected form.";
  if (date && value != nullptr) *value = *date;
  return date.has_value();
}

}  // namespace QVFoundation
