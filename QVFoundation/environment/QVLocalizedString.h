#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/application/NSBundle.h"
#include "QVFoundation/platform/text/FormatArgument.h"

/// Texts that people read, in their language, filled in the style of printf.
///
/// ```cpp
/// label.setText(QVLocalizedString("%d of %@ copied", done, name));
/// ```
///
/// The English text is the key. It is looked up in a string table of a bundle, and what stands there is the
/// format that the arguments fill (`Format.h` tells how); where there is none, the key itself is, so a
/// program speaks English before anybody has translated it. A translator may use the arguments in another
/// order ("%2$@ ... %1$d"), and no format can do harm.
///
/// A null bundle does not even have default texts: what comes of it is the key, or the default where the key is
/// a number. An empty name of a table stands for "Localizable".
///
/// Threads: any. A text of a table that is loaded is found without a lock.
/// Errors: none. What the description of an argument throws passes through.
namespace QVFoundation {

namespace detail {

/// Which text, and where.
struct LocalizedTextPlace {
  const NSBundle* bundle = nullptr;  // without one the key is taken
  std::string_view key = {};
  std::string_view value = {};  // the format where the table has none; else the key is
  std::string_view table = {};
};

/// Looks the text up and fills it; numbers are written as the locale does, where there is one.
[[nodiscard]] QV_EXPORT std::string filledText(const LocalizedTextPlace& place, const NSLocale* locale,
                                               FormatArguments arguments);
/// The same for a text with a number for its key.
[[nodiscard]] QV_EXPORT std::string filledTextWithID(std::uint64_t identifier, const NSBundle* bundle,
                                                     std::string_view defaultFormat,
                                                     FormatArguments arguments);

template <class... Args>
using FormatArgumentArray = std::array<FormatArgument, sizeof...(Args)>;

}  // namespace detail

/// The text for a key in the main bundle.
template <class... Args>
[[nodiscard]] std::string QVLocalizedString(std::string_view key, const Args&... args) {
  return detail::filledText({.bundle = NSBundle::mainBundle().get(), .key = key}, nullptr,
                            detail::FormatArgumentArray<Args...>{args...});
}

/// The same from a table of the main bundle.
template <class... Args>
[[nodiscard]] std::string QVLocalizedStringFromTable(std::string_view key, std::string_view table,
                                                     const Args&... args) {
  return detail::filledText({.bundle = NSBundle::mainBundle().get(), .key = key, .table = table}, nullptr,
                            detail::FormatArgumentArray<Args...>{args...});
}

/// The same from a table of any bundle.
template <class... Args>
[[nodiscard]] std::string QVLocalizedStringFromTableInBundle(std::string_view key, std::string_view table,
                                                             const std::shared_ptr<NSBundle>& bundle,
                                                             const Args&... args) {
  return detail::filledText({.bundle = bundle.get(), .key = key, .table = table}, nullptr,
                            detail::FormatArgumentArray<Args...>{args...});
}

/// The text for a key in a bundle, or else one that is not the key. An empty default is what comes of it, even
/// where the table has a text: what is to be empty in English is so everywhere.
template <class... Args>
[[nodiscard]] std::string QVLocalizedStringWithDefaultValueInBundle(std::string_view key,
                                                                    const std::shared_ptr<NSBundle>& bundle,
                                                                    std::string_view defaultFormat,
                                                                    const Args&... args) {
  if (defaultFormat.empty()) return {};
  return detail::filledText({.bundle = bundle.get(), .key = key, .value = defaultFormat}, nullptr,
                            detail::FormatArgumentArray<Args...>{args...});
}

/// The same in the main bundle.
template <class... Args>
[[nodiscard]] std::string QVLocalizedStringWithDefaultValue(std::string_view key,
                                                            std::string_view defaultFormat,
                                                            const Args&... args) {
  return QVLocalizedStringWithDefaultValueInBundle(key, NSBundle::mainBundle(), defaultFormat, args...);
}

/// The text whose key is a number in decimal, such as "42", in a bundle. Its numbers are written as in
/// `NSLocale::system()`, whoever reads them.
template <class... Args>
[[nodiscard]] std::string QVLocalizedStringWithIDInBundle(std::uint64_t identifier,
                                                          const std::shared_ptr<NSBundle>& bundle,
                                                          std::string_view defaultFormat,
                                                          const Args&... args) {
  return detail::filledTextWithID(identifier, bundle.get(), defaultFormat,
                                  detail::FormatArgumentArray<Args...>{args...});
}

/// The same in the main bundle.
template <class... Args>
[[nodiscard]] std::string QVLocalizedStringWithID(std::uint64_t identifier, std::string_view defaultFormat,
                                                  const Args&... args) {
  return QVLocalizedStringWithIDInBundle(identifier, NSBundle::mainBundle(), defaultFormat, args...);
}

/// The text for a key in the localisation of a bundle that suits somebody else than its user best: for
/// letters and files in another language. Nothing where that localisation has no such text, or there is none
/// that suits; a table of type "loctable" is asked only where the localisation has none of type "strings".
/// The file is read at each call.
[[nodiscard]] QV_EXPORT std::optional<std::string> qv_localizedStringForKey(
    const NSBundle& bundle, std::string_view key, std::string_view table,
    const std::vector<std::string>& preferredLocalizations);

}  // namespace QVFoundation
