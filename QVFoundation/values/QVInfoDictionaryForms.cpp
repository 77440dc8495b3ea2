#include "QVFoundation/values/QVInfoDictionary.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "QVFoundation/platform/files/NSURL.h"
#include "QVFoundation/platform/formatters/NSDateFormatter.h"
#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/runtime/NSSortDescriptor.h"
#include "QVFoundation/platform/runtime/Set.h"
#include "QVFoundation/platform/time/NSTimeZone.h"
#include "QVFoundation/values/QVInfoDictionaryCoding.h"
#include "QVFoundation/values/QVInfoDictionary_p.h"

namespace QVFoundation::detail {

namespace {

constexpr std::string_view sortDescriptorClass = "NSSortDescriptor";
constexpr std::string_view dateFormatterClass = "NSDateFormatter";

// The list of entries ends at the first that is absent, the class included. So a descriptor without a key
// is written as an empty dictionary, and one without a selector as no more than "key" and "ascending".
Dictionary sortDescriptorInfo(const NSSortDescriptor& descriptor) {
  Dictionary info;
  if (!descriptor.keyPath()) return info;
  info.set("key", *descriptor.keyPath());
  info.set("ascending", descriptor.ascending());
  if (!descriptor.selector()) return info;
  info.set("selector", *descriptor.selector());
  info.set(infoClassKey, sortDescriptorClass);
  return info;
}

NSSortDescriptor sortDescriptorFrom(const Dictionary& info) {
  const std::string* selector = info["selector"].text();
  return {info["key"].as<std::string>(), info["ascending"].as<bool>().value_or(false),
          selector != nullptr ? std::optional<std::string_view>(*selector) : std::nullopt};
}

NSDateFormatterStyle styleIn(const Value& value, NSDateFormatterStyle otherwise) {
  // More than 32 bits are cut off, and what is no style is passed over.
  const auto style = static_cast<std::int32_t>(integerIn(value));
  const bool isStyle = style >= static_cast<std::int32_t>(NSDateFormatterStyle::none) &&
                       style <= static_cast<std::int32_t>(NSDateFormatterStyle::fullStyle);
  return isStyle ? static_cast<NSDateFormatterStyle>(style) : otherwise;
}

/// The zone that the info dictionary asks for beside the properties. A class operation wins over a name.
std::optional<NSTimeZone> timeZoneIn(const Dictionary& info) {
  if (const std::string* selector = info["timeZoneSelector"].text()) {
    return NSTimeZone::timeZoneWithSelector(*selector);
  }
  const std::string* name = info["timeZoneName"].text();
  return name != nullptr ? NSTimeZone::timeZoneWithName(*name) : std::nullopt;
}

std::shared_ptr<NSDateFormatter> dateFormatterFrom(const Dictionary& info) {
  auto formatter = std::make_shared<NSDateFormatter>();
  Dictionary properties = info[infoPropertiesKey].dictionary();
  const Value timeStyle = properties["timeStyle"];
  const Value dateStyle = properties["dateStyle"];
  properties.remove("timeStyle");
  properties.remove("dateStyle");
  // The formatter has no property "formattingBehavior", so nothing comes of setting it first.
  applyProperties(*formatter, infoDictionaryOf(std::string(dateFormatterClass), properties),
                  {"formattingBehavior"});

  // Styles come last, and so replace a pattern.
  if (!timeStyle.isNothing()) formatter->setTimeStyle(styleIn(timeStyle, formatter->timeStyle()));
  if (!dateStyle.isNothing()) formatter->setDateStyle(styleIn(dateStyle, formatter->dateStyle()));
  if (const auto zone = timeZoneIn(info)) formatter->setTimeZone(*zone);
  return formatter;
}

/// The values that are written by the name of their class alone, and so come back as they are when new.
struct PlainClass {
  std::string_view name;
  Value (*make)();
};

constexpr std::array plainClasses{
    PlainClass{"NSArray", [] { return Value(Array()); }},
    PlainClass{"NSData", [] { return Value(NSData()); }},
    PlainClass{"NSDate", [] { return Value(std::chrono::system_clock::now()); }},
    PlainClass{"NSDictionary", [] { return Value(Dictionary()); }},
    PlainClass{"NSNull", [] { return Value(NSNull()); }},
    PlainClass{"NSNumber", [] { return Value(0); }},
    PlainClass{"NSSet", [] { return Value(Set()); }},
    PlainClass{"NSString", [] { return Value(std::string()); }},
    PlainClass{"NSURL", [] { return Value(NSURL("")); }},
};

std::string classNameOf(const Value& value) {
  switch (value.kind()) {
    case ValueKind::null: return "NSNull";
    case ValueKind::number: return "NSNumber";
    case ValueKind::text: return "NSString";
    case ValueKind::data: return "NSData";
    case ValueKind::date: return "NSDate";
    case ValueKind::array: return "NSArray";
    case ValueKind::dictionary: return "NSDictionary";
    case ValueKind::set: return "NSSet";
    default: return value.boxedContent<NSURL>() != nullptr ? "NSURL" : "NSValue";
  }
}

/// Nothing where the class refuses what it reads; no value at all where it is not made by its name.
std::optional<Value> objectNamed(std::string_view name, const Dictionary& info) {
  const NSClass* cls = NSClass::named(name);
  if (cls == nullptr || !cls->isMadeByName()) return {};
  std::shared_ptr<NSObject> object = cls->make();
  auto* coding = dynamic_cast<QVInfoDictionaryCoding*>(object.get());
  if (coding == nullptr) {
    applyProperties(*object, info, {});
  } else if (!coding->initWithInfoDictionary(info)) {
    object = nullptr;
  }
  return Value(std::move(object));
}

}  // namespace

std::int64_t integerIn(const Value& value) {
  return value.number() != nullptr ? value.number()->integerValue() : 0;
}

Dictionary infoDictionaryOfPlainValue(const Value& value) {
  if (const auto* descriptor = value.boxedContent<NSSortDescriptor>()) return sortDescriptorInfo(*descriptor);
  return infoDictionaryOf(classNameOf(value), {});
}

std::optional<Value> plainValueFromInfoDictionary(const Dictionary& info) {
  const std::string* name = info[infoClassKey].text();
  if (name == nullptr) return {};
  if (*name == sortDescriptorClass) return sortDescriptorFrom(info);
  if (*name == dateFormatterClass) return dateFormatterFrom(info);
  for (const PlainClass& plain : plainClasses) {
    if (plain.name == *name) return plain.make();
  }
  return objectNamed(*name, info);
}

}  // namespace QVFoundation::detail
