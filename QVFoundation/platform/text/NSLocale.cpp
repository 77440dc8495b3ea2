#include "QVFoundation/platform/text/NSLocale.h"

#include <algorithm>
#include <climits>
#include <clocale>
#include <langinfo.h>
#include <utility>

#include "QVFoundation/platform/text/NSLocaleEnvironment_p.h"
#include "QVFoundation/platform/text/NSLocaleName_p.h"
#include "QVFoundation/platform/text/Unicode.h"

namespace QVFoundation {

namespace {

std::vector<std::uint8_t> groupingSizes(const char* grouping) {
  std::vector<std::uint8_t> sizes;
  for (; *grouping != '\0'; ++grouping) {
    if (*grouping == CHAR_MAX || *grouping < 0) return sizes.push_back(0), sizes;
    sizes.push_back(static_cast<std::uint8_t>(*grouping));
  }
  return sizes;
}

/// Asks the C library, through a locale object of our own. Nothing where it has no such locale or has its
/// symbols in an encoding other than UTF-8.
bool readSymbols(const std::string& name, NSLocale::NumberSymbols& symbols) {
  const locale_t locale = newlocale(LC_NUMERIC_MASK, name.c_str(), nullptr);
  if (locale == nullptr) return false;
  NSLocale::NumberSymbols read{nl_langinfo_l(RADIXCHAR, locale), nl_langinfo_l(THOUSEP, locale),
                               groupingSizes(nl_langinfo_l(GROUPING, locale))};
  freelocale(locale);
  if (!isValidUTF8(read.decimalSeparator) || !isValidUTF8(read.groupingSeparator)) return false;
  symbols = std::move(read);
  return true;
}

NSLocale::NumberSymbols symbolsOf(const detail::LocaleName& name) {
  NSLocale::NumberSymbols symbols;
  if (!name.isPOSIX()) {
    // The same locale is often installed in several encodings. What fails the first time may do without one.
    if (!readSymbols(name.nameWithEncoding("UTF-8"), symbols))
      readSymbols(name.nameWithEncoding({}), symbols);
  }
  return symbols;
}

}  // namespace

const NSLocale& NSLocale::current() {
  // Never destroyed: threads may format while the process ends.
  static const NSLocale& locale = *new NSLocale(detail::LocaleEnvironment::ofProcess().numericLocaleName());
  return locale;
}

const NSLocale& NSLocale::system() {
  static const NSLocale& locale = *new NSLocale("C");
  return locale;
}

const std::vector<std::string>& NSLocale::preferredLanguages() {
  static const auto& languages =
      *new std::vector<std::string>(detail::LocaleEnvironment::ofProcess().preferredLanguages());
  return languages;
}

NSLocale::NSLocale(std::string_view name) : NSLocale(name, symbolsOf(detail::LocaleName(name))) {}

NSLocale::NSLocale(std::string_view name, NumberSymbols symbols)
    : identifier_(detail::LocaleName(name).identifier()), symbols_(std::move(symbols)) {
  if (symbols_.decimalSeparator.empty()) symbols_.decimalSeparator.push_back('.');
}

std::string NSLocale::languageCode() const { return identifier_.substr(0, identifier_.find_first_of("_@")); }

}  // namespace QVFoundation
