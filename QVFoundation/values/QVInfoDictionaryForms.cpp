#include "QVFoundation/values/QVInfoDictionary.h"

#include <array>
#include <chrono>
#include <string_view>

#include "QVFoundation/platform/files/NSURL.h"
#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/runtime/NSSortDescriptor.h"
#include "QVFoundation/platform/runtime/Set.h"
#include "QVFoundation/values/QVInfoDictionaryCoding.h"
#include "QVFoundation/values/QVInfoDictionary_p.h"

namespace QVFoundation::detail {

namespace {

constexpr std::string_view sortDescriptorClass = "NSSortDescriptor";

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

Dictionary infoDictionaryOfPlainValue(const Value& value) {
  if (const auto* descriptor = value.boxedContent<NSSortDescriptor>()) return sortDescriptorInfo(*descriptor);
  return infoDictionaryOf(classNameOf(value), {});
}

std::optional<Value> plainValueFromInfoDictionary(const Dictionary& info) {
  const std::string* name = info[infoClassKey].text();
  if (name == nullptr) return {};
  if (*name == sortDescriptorClass) return sortDescriptorFrom(info);
  for (const PlainClass& plain : plainClasses) {
    if (plain.name == *name) return plain.make();
  }
  return objectNamed(*name, info);
}

}  // namespace QVFoundation::detail
