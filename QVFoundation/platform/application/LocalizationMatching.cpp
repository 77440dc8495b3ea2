#include <algorithm>
#include <array>

#include "QVFoundation/platform/application/LocalizationMatching_p.h"
#include "QVFoundation/platform/text/TextFields_p.h"

namespace QVFoundation::detail {

namespace {

struct LanguageName {
  std::string_view name;
  std::string_view code;
};

// English names of languages, which stood for the codes once, and codes that have been replaced.
constexpr LanguageName languageNames[] = {
    {"danish", "da"},  {"dutch", "nl"},   {"english", "en"},   {"finnish", "fi"}, {"french", "fr"},
    {"german", "de"},  {"italian", "it"}, {"iw", "he"},        {"in", "id"},      {"japanese", "ja"},
    {"korean", "ko"},  {"no", "nb"},      {"norwegian", "nb"}, {"polish", "pl"},  {"portuguese", "pt"},
    {"russian", "ru"}, {"spanish", "es"}, {"swedish", "sv"},
};

/// In lower case with hyphens, without the encoding that the name of a locale may have.
std::string normalized(std::string_view name) {
  std::string out = detail::lowerCaseASCII(name.substr(0, name.find_first_of(".@")));
  std::ranges::replace(out, '_', '-');
  return out;
}

std::string_view takePart(std::string_view& rest) { return detail::takeUntil(rest, '-'); }

std::string_view chineseScriptOf(std::string_view region) {
  return region == "tw" || region == "hk" || region == "mo" ? "hant" : "hans";
}

}  // namespace

LocalizationName::LocalizationName(std::string_view name) {
  const std::string whole = normalized(name);
  std::string_view rest = whole;
  language = takePart(rest);
  const auto* known = std::ranges::find(languageNames, std::string_view(language), &LanguageName::name);
  if (known != std::end(languageNames)) language = known->code;
  while (!rest.empty()) {
    const std::string_view part = takePart(rest);
    if (part.size() == 4 && script.empty()) script = part;
    if ((part.size() == 2 || part.size() == 3) && region.empty()) region = part;
  }
  if (language == "zh" && script.empty()) script = chineseScriptOf(region);
}

int fitOfLocalization(std::string_view localization, std::string_view language) {
  if (language.empty()) return 0;
  if (normalized(localization) == normalized(language)) return 4;
  const LocalizationName offered(localization);
  const LocalizationName wanted(language);
  const bool scriptsDiffer =
      !offered.script.empty() && !wanted.script.empty() && offered.script != wanted.script;
  if (offered.language != wanted.language || scriptsDiffer) return 0;
  if (offered.region == wanted.region) return 3;
  return offered.region.empty() ? 2 : 1;
}

}  // namespace QVFoundation::detail
