#pragma once

#include <concepts>
#include <memory>
#include <string>
#include <string_view>

#include "QVFoundation/environment/QVLocalizedString.h"

/// Texts of a type that says which bundle they are in: a plug-in has a bundle of its own, and its classes
/// name it once.
///
/// ```cpp
/// class Equalizer {
/// public:
///   static std::shared_ptr<NSBundle> localizedStringBundle() { return pluginBundle(); }
///   std::string title() const { return QVLocalizedStringWithArgsInMyBundle(*this, "%d bands", {}, count_); }
///   ...
/// };
/// ```
///
/// Threads: any, as far as the type's `localizedStringBundle` allows.
namespace QVFoundation {

/// A type with texts of its own. A null bundle has none.
template <class T>
concept QVLocalizableStrings = requires {
  { T::localizedStringBundle() } -> std::convertible_to<std::shared_ptr<NSBundle>>;
};

/// The text for a key in a table of the type's bundle, or else the key, filled with arguments. An empty name
/// of a table stands for "Localizable".
template <QVLocalizableStrings T, class... Args>
[[nodiscard]] std::string QVLocalizedStringWithArgs(std::string_view key, std::string_view table,
                                                    const Args&... args) {
  return QVLocalizedStringFromTableInBundle(key, table, T::localizedStringBundle(), args...);
}

/// The same for the type of an object.
template <QVLocalizableStrings T, class... Args>
[[nodiscard]] std::string QVLocalizedStringWithArgsInMyBundle(const T& /*object*/, std::string_view key,
                                                              std::string_view table, const Args&... args) {
  return QVLocalizedStringWithArgs<T>(key, table, args...);
}

}  // namespace QVFoundation
