#pragma once

#include <concepts>
#include <memory>
#include <optional>
#include <ranges>
#include <utility>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/Dictionary.h"
#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/runtime/Value.h"

/// Objects as plain dictionaries, which can be written to a property list, and back.
///
/// ```cpp
/// const Dictionary info = infoDictionary(*track);  // {"class": "Track", "properties": {"title": …}}
/// const auto again = objectFromInfoDictionary<Track>(info);
/// ```
///
/// An info dictionary names the class of an object under "class" and has its properties under "properties",
/// those that the class lists (`QVInfoDictionaryCoding`) and that are not absent, as they are. An error has
/// "domain", "code" and "userInfo" besides. A sort descriptor has "key", "ascending" and "selector" instead of
/// properties. A date formatter is read with "timeZoneSelector" ("localTimeZone"), or else "timeZoneName", beside
/// its properties. Entries that nobody knows are ignored.
///
/// What a file names is made only where its class is meant for that: classes that derive from
/// `QVInfoDictionaryCoding` or `MadeByName`, errors, and the values of the platform layer.
///
/// Threads: functions without state; objects as they allow themselves.
/// Errors: none are reported. An absent or unknown class gives an error as the object, and a property that
/// cannot be set is passed over. What an object raises while it is read or made goes through.
namespace QVFoundation {

/// What an object is written as. Values that list no properties, such as a URL, are written as no more than
/// the name of their class, "NSURL"; nothing gives an empty dictionary.
[[nodiscard]] QV_EXPORT Dictionary infoDictionary(const NSObject& object);
[[nodiscard]] QV_EXPORT Dictionary infoDictionary(const Value& value);

/// Sets the properties of an object that an info dictionary has: first those of the object's `propertyOrder`,
/// then the others. What the object does not know, or does not take, is passed over.
QV_EXPORT void configureWithInfoDictionary(NSObject& object, const Dictionary& info);

/// The object that an info dictionary describes. Nothing gives nothing, and so does what is no dictionary;
/// without a class that is known the object is an `NSError`.
[[nodiscard]] QV_EXPORT Value objectFromInfoDictionary(const Value& info);

/// The same for who knows what it has to be: a shared pointer to an object, or null; an optional value, such
/// as an `NSError`. Of another class it is null or nothing.
template <class T>
[[nodiscard]] auto objectFromInfoDictionary(const Value& info) {
  if constexpr (std::derived_from<T, NSObject>) {
    return std::dynamic_pointer_cast<T>(objectFromInfoDictionary(info).object());
  } else {
    return objectFromInfoDictionary(info).template as<T>();
  }
}

/// The objects that info dictionaries describe, in their order, without those that come to nothing.
template <std::ranges::input_range Infos>
  requires std::convertible_to<std::ranges::range_reference_t<const Infos&>, Value>
[[nodiscard]] Array objectsFromInfoDictionaries(const Infos& infos) {
  Array objects;
  for (const auto& info : infos) {
    Value object = objectFromInfoDictionary(Value(info));
    if (!object.isNothing()) objects.append(std::move(object));
  }
  return objects;
}

/// A value as what a property list can hold: text, numbers, data and dates as they are, arrays and
/// dictionaries with all that is in them, anything else as its info dictionary. That of a set has nothing of
/// what is in it. Nothing stays nothing, and keys stay as they are.
[[nodiscard]] QV_EXPORT Value convertToInfoDictionary(const Value& value);

/// The way back. Each dictionary with an entry "class" is taken for an object, also one that was written as a
/// plain dictionary.
[[nodiscard]] QV_EXPORT Value convertFromInfoDictionary(const Value& value);

}  // namespace QVFoundation
