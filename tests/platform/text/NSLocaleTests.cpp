#include "QVFoundation/platform/text/NSLocale.h"

#include <clocale>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "QVFoundation/platform/text/NSLocaleEnvironment_p.h"
#include "QVFoundation/platform/text/NSLocaleName_p.h"
#include "tests/platform/text/CompiledLocale.h"

namespace QVFoundation {
namespace {

using detail::LocaleEnvironment;

struct NameCase {
  const char* name;
  const char* identifier;
  const char* languageCode;
  const char* tag;
};

constexpr NameCase nameCases[] = {
    {"de_AT.UTF-8", "de_AT", "de", "de-AT"},
    {"de-AT", "de_AT", "de", "de-AT"},
    {"de", "de", "de", "de"},
    {"de_DE@euro", "de_DE@euro", "de", "de-DE"},
    {"sr_RS.UTF-8@latin", "sr_RS@latin", "sr", "sr-Latn-RS"},
    {"zh_Hant_TW", "zh_Hant_TW", "zh", "zh-Hant-TW"},
    {"C", "en_US_POSIX", "en", "C"},
    {"C.UTF-8", "en_US_POSIX", "en", "C"},
    {"POSIX", "en_US_POSIX", "en", "POSIX"},
    {"en_US_POSIX", "en_US_POSIX", "en", "en-US-POSIX"},
    {"", "en_US_POSIX", "en", "C"},
    {"../../etc/passwd", "en_US_POSIX", "en", "C"},
    {"_DE", "en_US_POSIX", "en", "C"},
};

TEST(NSLocale, namesAreTakenApart) {
  for (const NameCase& c : nameCases) {
    const NSLocale locale(c.name);
    EXPECT_EQ(locale.identifier(), c.identifier) << c.name;
    EXPECT_EQ(locale.languageCode(), c.languageCode) << c.name;
    EXPECT_EQ(detail::LocaleName(c.name).languageTag(), c.tag) << c.name;
  }
}

TEST(NSLocale, nameWithoutDataHasTheNumbersOfTheSystem) {
  for (const std::string& name :
       {std::string("xx_XX.UTF-8"), std::string(1000, 'x'), std::string("de\0AT", 5)}) {
    const NSLocale locale(name);
    EXPECT_EQ(locale.decimalSeparator(), ".");
    EXPECT_TRUE(locale.groupingSizes().empty());
  }
}

TEST(NSLocale, ownSymbolsAreKept) {
  const NSLocale locale("de_CH", {"", "’", {3}});
  EXPECT_EQ(locale.decimalSeparator(), ".");
  EXPECT_EQ(locale.groupingSeparator(), "’");
  EXPECT_EQ(locale.groupingSizes(), std::vector<std::uint8_t>{3});
}

TEST(NSLocale, symbolsComeFromTheSystemsData) {
  const CompiledLocale compiled;
  if (!compiled.exists()) GTEST_SKIP() << "no locale could be compiled";
  const std::string processLocale = std::setlocale(LC_ALL, nullptr);  // NOLINT(concurrency-mt-unsafe)
  for (const char* name : {"qq_QQ.UTF-8", "qq_QQ", "qq-QQ", "qq_QQ.ISO-8859-1"}) {
    const NSLocale locale(name);
    EXPECT_EQ(locale.identifier(), "qq_QQ");
    EXPECT_EQ(locale.decimalSeparator(), ";") << name;
    EXPECT_EQ(locale.groupingSeparator(), "’") << name;
    EXPECT_EQ(locale.groupingSizes(), (std::vector<std::uint8_t>{3, 2})) << name;
  }
  EXPECT_EQ(processLocale, std::setlocale(LC_ALL, nullptr));  // NOLINT(concurrency-mt-unsafe)
}

TEST(NSLocale, numbersFollowTheFirstVariableThatIsSet) {
  LocaleEnvironment environment;
  EXPECT_EQ(environment.numericLocaleName(), "C");
  environment.lang = "de_DE";
  EXPECT_EQ(environment.numericLocaleName(), "de_DE");
  environment.lcMessages = "it_IT";
  EXPECT_EQ(environment.numericLocaleName(), "de_DE");
  environment.lcNumeric = "fr_FR";
  EXPECT_EQ(environment.numericLocaleName(), "fr_FR");
  environment.lcAll = "C";
  EXPECT_EQ(environment.numericLocaleName(), "C");
}

struct LanguagesCase {
  const char* row;
  LocaleEnvironment environment;
  std::vector<std::string> want;
};

TEST(NSLocale, preferredLanguagesComeBestFirst) {
  const LanguagesCase cases[] = {
      {"nothing set", {}, {"en"}},
      {"LANG", {.lang = "de_AT.UTF-8"}, {"de-AT", "de"}},
      {"LC_MESSAGES before LANG", {.lcMessages = "fr_FR", .lang = "de_AT"}, {"fr-FR", "fr"}},
      {"LC_ALL before all", {.lcAll = "it_IT", .lcMessages = "fr_FR", .lang = "de_AT"}, {"it-IT", "it"}},
      {"LANGUAGE is a list",
       {.language = "de_AT:en_GB:fr", .lang = "de_DE.UTF-8"},
       {"de-AT", "de", "en-GB", "en", "fr", "de-DE"}},
      {"empty entries", {.language = "::de::", .lang = "en_US"}, {"de", "en-US", "en"}},
      {"C in the list", {.language = "C:de", .lang = "en_US"}, {"de", "en-US", "en"}},
      {"C wants no translation", {.language = "de", .lang = "C.UTF-8"}, {"en"}},
      {"C for all wants none", {.language = "de", .lcAll = "C", .lang = "de_DE"}, {"en"}},
      {"script", {.lang = "sr_RS.UTF-8@latin"}, {"sr-Latn-RS", "sr-Latn", "sr"}},
      {"script in the name", {.lang = "zh_Hant_TW"}, {"zh-Hant-TW", "zh-Hant", "zh"}},
      {"no name", {.language = "/etc/passwd:de", .lang = "en_US"}, {"de", "en-US", "en"}},
  };
  for (const LanguagesCase& c : cases) EXPECT_EQ(c.environment.preferredLanguages(), c.want) << c.row;
}

TEST(NSLocale, currentLocaleStays) {
  EXPECT_EQ(&NSLocale::current(), &NSLocale::current());
  EXPECT_FALSE(NSLocale::current().identifier().empty());
  EXPECT_FALSE(NSLocale::preferredLanguages().empty());
}

}  // namespace
}  // namespace QVFoundation
