#pragma once

#include <algorithm>
#include <concepts>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/application/NSBundle.h"
#include "QVFoundation/platform/application/NSUserDefaults.h"

/// Defaults that an application brings in a file, and settings that are enumerations.
///
/// ```cpp
/// enum class Theme { light, dark };
/// constexpr auto rawValues(Theme) {
///   return std::array{QVRawValue{Theme::light, "light"}, QVRawValue{Theme::dark, "dark"}};
/// }
///
/// const auto defaults = NSUserDefaults::standardUserDefaults();
/// qv_loadDefaults(*defaults);  // from Defaults.plist of the main bundle
/// const Theme theme = rawRepresentable(*defaults, "theme", Theme::light);
/// setRawRepresentable(*defaults, Theme::dark, "theme");
/// ```
///
/// Threads: any, as with the settings themselves.
namespace QVFoundation {

/// Registers what Defaults.plist of the main bundle, of another bundle, or any property list holds. False
/// where there is no such file, or none that holds a dictionary; then nothing is registered.
QV_EXPORT bool qv_loadDefaults(NSUserDefaults& defaults);
QV_EXPORT bool qv_loadDefaultsFromBundle(NSUserDefaults& defaults, const NSBundle& bundle);
QV_EXPORT bool qv_loadDefaultsFromFile(NSUserDefaults& defaults, const std::filesystem::path& path);

/// Chooses in the standard settings that the desktop shows no menu for feedback: "NSShowFeedbackMenu" becomes
/// false.
QV_EXPORT void qv_suppressShowFeedbackMenu();

/// An enumerator, and the text that stands for it.
template <class T>
struct QVRawValue {
  T value;
  std::string_view rawValue;
};
template <class T>
QVRawValue(T, const char*) -> QVRawValue<T>;

namespace detail {

template <class T>
concept ListsRawValues = std::is_enum_v<T> && requires(T value) { std::begin(rawValues(value)); };
template <class T>
concept ListsRawTexts = ListsRawValues<T> && requires(T value) { std::begin(rawValues(value))->rawValue; };
/// A class that does by itself what is done for enumerations.
template <class T>
concept HasRawValue = requires(const T& value) {
  { T::fromRawValue(value.rawValue()) } -> std::convertible_to<std::optional<T>>;
};

template <class T>
Value rawValueOf(const T& value) {
  if constexpr (HasRawValue<T>) {
    return value.rawValue();
  } else if constexpr (ListsRawTexts<T>) {
    for (const auto& entry : rawValues(value)) {
      if (entry.value == value) return entry.rawValue;
    }
    return {};
  } else {
    return static_cast<std::underlying_type_t<T>>(value);
  }
}

template <class T>
std::optional<T> fromRawValue(const Value& setting) {
  if constexpr (HasRawValue<T>) {
    using RawValue = std::remove_cvref_t<decltype(std::declval<const T&>().rawValue())>;
    auto rawValue = setting.as<RawValue>();
    return rawValue ? std::optional<T>(T::fromRawValue(*std::move(rawValue))) : std::nullopt;
  } else if constexpr (ListsRawTexts<T>) {
    for (const auto& entry : rawValues(T())) {
      if (setting == entry.rawValue) return entry.value;
    }
    return {};
  } else if constexpr (ListsRawValues<T>) {
    const auto value = setting.as<T>();
    const auto all = rawValues(T());
    return value && std::ranges::find(all, *value) != std::end(all) ? value : std::nullopt;
  } else {
    return setting.as<T>();
  }
}

}  // namespace detail

/// What a setting can stand for: an enumeration, or a class with `rawValue()`, a number or a text, and
/// `static std::optional<T> fromRawValue(…)`.
///
/// A function `rawValues` beside an enumeration lists its enumerators, or pairs each with a text; then a
/// setting is one of these. Without it every number that the enumeration can hold is.
template <class T>
concept QVRawRepresentable = std::is_enum_v<T> || detail::HasRawValue<T>;

/// What a setting stands for; the default where there is none, it is of another kind, or stands for nothing.
template <QVRawRepresentable T>
[[nodiscard]] T rawRepresentable(const NSUserDefaults& defaults, std::string_view key, T defaultValue) {
  auto value = detail::fromRawValue<T>(defaults.objectForKey(key));
  return value ? *std::move(value) : std::move(defaultValue);
}

/// Chooses a setting by what it stands for; nothing takes back the choice, and so does an enumerator that has
/// no text.
template <QVRawRepresentable T>
void setRawRepresentable(NSUserDefaults& defaults, const std::optional<T>& value, std::string_view key) {
  defaults.setObject(value ? detail::rawValueOf(*value) : Value(), key);
}
template <QVRawRepresentable T>
void setRawRepresentable(NSUserDefaults& defaults, const T& value, std::string_view key) {
  setRawRepresentable(defaults, std::optional<T>(value), key);
}

}  // namespace QVFoundation
