#include "QVFoundation/environment/QVLocalizedString.h"

#include <charconv>
#include <limits>

#include "QVFoundation/platform/serialization/PropertyList.h"
#include "QVFoundation/platform/serialization/StringTable.h"
#include "QVFoundation/platform/text/Format.h"
#include "QVFoundation/platform/text/NSLocale.h"

namespace QVFoundation {

namespace detail {

std::string filledText(const LocalizedTextPlace& place, const NSLocale* locale, FormatArguments arguments) {
  if (place.bundle == nullptr) return stringWithFormatArguments(locale, place.key, arguments);
  return stringWithFormatArguments(
      locale, place.bundle->localizedStringForKey(place.key, place.value, place.table), arguments);
}

std::string filledTextWithID(std::uint64_t identifier, const NSBundle* bundle, std::string_view defaultFormat,
                             FormatArguments arguments) {
  if (bundle == nullptr) return stringWithFormatArguments(&NSLocale::system(), defaultFormat, arguments);
  std::array<char, std::numeric_limits<std::uint64_t>::digits10 + 1> digits{};
  const char* const end = std::to_chars(digits.data(), digits.data() + digits.size(), identifier).ptr;
  return filledText({.bundle = bundle, .key = {digits.data(), end}, .value = defaultFormat},
                    &NSLocale::system(), arguments);
}

}  // namespace detail

namespace {

std::optional<std::string> textUnderKey(const std::optional<Dictionary>& table, std::string_view key) {
  return table ? (*table)[key].as<std::string>() : std::nullopt;
}

}  // namespace

std::optional<std::string> qv_localizedStringForKey(const NSBundle& bundle, std::string_view key,
                                                    std::string_view table,
                                                    const std::vector<std::string>& preferredLocalizations) {
  const auto chosen =
      NSBundle::preferredLocalizationsFromArray(bundle.localizations(), preferredLocalizations);
  if (chosen.empty()) return {};
  const std::string& localization = chosen.front();
  if (table.empty()) table = "Localizable";
  if (const auto file = bundle.pathForResource(table, "strings", {}, localization))
    return textUnderKey(stringTableFromFile(*file), key);
  const auto file = bundle.pathForResource(table, "loctable");
  if (!file) return {};
  const auto texts = dictionaryFromPropertyListFile(*file);
  return texts ? textUnderKey(localizationInTable(*texts, localization), key) : std::nullopt;
}

}  // namespace QVFoundation
