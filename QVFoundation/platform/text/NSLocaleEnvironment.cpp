#include <algorithm>
#include <cstdlib>
#include <initializer_list>
#include <string_view>
#include <utility>

#include "QVFoundation/platform/text/NSLocaleEnvironment_p.h"
#include "QVFoundation/platform/text/NSLocaleName_p.h"

namespace QVFoundation::detail {

namespace {

std::string variable(const char* name) {
  const char* value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): the header says when this is safe.
  return value != nullptr ? value : "";
}

std::string firstSet(std::initializer_list<const std::string*> variables) {
  for (const std::string* value : variables) {
    if (!value->empty()) return *value;
  }
  return "C";
}

/// Adds "sr-Latn-RS", "sr-Latn", "sr" for "sr_RS@latin".
void addWithPlainerForms(std::vector<std::string>& languages, const LocaleName& name) {
  if (name.isPOSIX()) return;
  for (std::string tag = name.languageTag(); !tag.empty();) {
    const std::size_t lastPart = tag.rfind('-');
    std::string plainer = lastPart == std::string::npos ? std::string() : tag.substr(0, lastPart);
    if (std::ranges::find(languages, tag) == languages.end()) languages.push_back(std::move(tag));
    tag = std::move(plainer);
  }
}

}  // namespace

LocaleEnvironment LocaleEnvironment::ofProcess() {
  return {variable("LANGUAGE"), variable("LC_ALL"), variable("LC_MESSAGES"), variable("LC_NUMERIC"),
          variable("LANG")};
}

std::string LocaleEnvironment::numericLocaleName() const { return firstSet({&lcAll, &lcNumeric, &lang}); }

std::string LocaleEnvironment::messagesLocaleName() const { return firstSet({&lcAll, &lcMessages, &lang}); }

std::vector<std::string> LocaleEnvironment::preferredLanguages() const {
  std::vector<std::string> languages;
  const LocaleName messages(messagesLocaleName());
  // Who asks for the C locale wants messages as the programmer wrote them, whatever LANGUAGE says; gettext
  // does so too.
  if (!messages.isPOSIX()) {
    for (std::size_t start = 0; start < language.size();) {
      const std::size_t end = std::min(language.find(':', start), language.size());
      addWithPlainerForms(languages, LocaleName(std::string_view(language).substr(start, end - start)));
      start = end + 1;
    }
    addWithPlainerForms(languages, messages);
  }
  if (languages.empty()) languages.emplace_back("en");
  return languages;
}

}  // namespace QVFoundation::detail
