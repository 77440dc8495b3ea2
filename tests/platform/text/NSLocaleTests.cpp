#include "QVFoundation/platform/text/NSLocale.h"

#include <clocale>
#include <cstdlib>
#include <locale>
#include <string>
#include <system_error>
#include <vector>

#include <gtest/gtest.h>

#include "QVFoundation/platform/text/Format.h"
#include "QVFoundation/platform/text/NSLocaleEnvironment_p.h"
#include "QVFoundation/platform/text/NSLocaleName_p.h"
#include "tests/platform/files/TemporaryFolder.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#include <sanitizer/lsan_interface.h>
#define QV_TEST_FINDS_LEAKS
#endif
#endif

// NOLINTBEGIN(concurrency-mt-unsafe): the tests change their environment while they have one thread only.

namespace QVFoundation {
namespace {

using detail::LocaleEnvironment;

/// A locale that is compiled for a test: "qq_QQ.UTF-8", where numbers look like 12'34'567;89 (with an
/// apostrophe of two bytes). The C library finds it as long as the object lives.
class CompiledLocale {
public:
  CompiledLocale() {
#ifdef QV_TEST_FINDS_LEAKS
    __lsan_disable();  // newlocale of the C library loses its copy of LOCPATH.
#endif
    testing::makeFile(folder_ / "source",
                      "comment_char %\nescape_char /\nLC_CTYPE\ncopy \"POSIX\"\nEND LC_CTYPE\n"
                      "LC_NUMERIC\ndecimal_point \";\"\nthousands_sep \"<U2019>\"\ngrouping 3;2\n"
                      "END LC_NUMERIC\n");
    const std::string path = (folder_ / "").string();
    // It answers 1 for the categories that the source leaves out; what counts is what it made.
    (void)!std::system(
        ("cd '" + path + "' && localedef -c -i source -f UTF-8 ./qq_QQ.UTF-8 2>/dev/null").c_str());
    setenv("LOCPATH", path.c_str(), 1);
  }
  CompiledLocale(const CompiledLocale&) = delete;
  CompiledLocale& operator=(const CompiledLocale&) = delete;
  ~CompiledLocale() {
    unsetenv("LOCPATH");
#ifdef QV_TEST_FINDS_LEAKS
    __lsan_enable();
#endif
  }

  /// False where the computer has no compiler for locales.
  [[nodiscard]] bool exists() const { return std::filesystem::exists(folder_ / "qq_QQ.UTF-8/LC_NUMERIC"); }

private:
  const testing::TemporaryFolder folder_;
};

TEST(NSLocale, hasTheSymbolsOfTheSystemsData) {
  const CompiledLocale compiled;
  if (!compiled.exists()) GTEST_SKIP() << "no locale could be compiled";
  const std::string processLocale = std::setlocale(LC_ALL, nullptr);
  for (const char* name : {"qq_QQ.UTF-8", "qq_QQ", "qq-QQ", "qq_QQ.ISO-8859-1"}) {
    const NSLocale locale(name);
    EXPECT_EQ(locale.decimalSeparator(), ";") << name;
    EXPECT_EQ(locale.groupingSeparator(), "’") << name;
    EXPECT_EQ(locale.groupingSizes(), (std::vector<std::uint8_t>{3, 2})) << name;
  }
  EXPECT_EQ(processLocale, std::setlocale(LC_ALL, nullptr));
}

TEST(NSLocale, hasPlainNumbersWithoutData) {
  for (const std::string& name :
       {std::string("xx_XX.UTF-8"), std::string(1000, 'x'), std::string("de\0AT", 5)}) {
    EXPECT_TRUE(NSLocale(name).decimalSeparator() == "." && NSLocale(name).groupingSizes().empty());
  }
  EXPECT_EQ(NSLocale("de_CH", {"", "’", {3}}).decimalSeparator(), ".");
}

struct GroupingNumbers : std::numpunct<char> {
  [[nodiscard]] std::string do_grouping() const override { return "\3"; }
};

TEST(NSLocale, thoseOfTheProcessAndOfStreamsChangeNoFormattedText) {
  const CompiledLocale compiled;
  if (!compiled.exists()) GTEST_SKIP() << "no locale could be compiled";
  const std::locale before = std::locale::global(std::locale(std::locale::classic(), new GroupingNumbers));
  ASSERT_NE(std::setlocale(LC_NUMERIC, "qq_QQ.UTF-8"), nullptr);
  const std::string streamed = stringWithFormat("%@", std::error_code(12345, std::generic_category()));
  const std::string doubles = stringWithFormat("%'d %.2f %e %@", 1234567, 1.5, 1.5, 1.5);
  const std::string longDoubles = stringWithFormat("%.2f %.3e %g %a %@", 1.5L, 1.5L, 1.5L, 1.5L, 1.5L);
  std::locale::global(before);
  std::setlocale(LC_NUMERIC, "C");

  EXPECT_EQ(streamed, "generic:12345");
  EXPECT_EQ(doubles, "1234567 1.50 1.500000e+00 1.5");
  EXPECT_EQ(longDoubles, "1.50 1.500e+00 1.5 0xcp-3 1.5");
}

struct NameCase {
  const char *name, *identifier, *languageCode, *tag;
};

constexpr NameCase nameCases[] = {
    {"de_AT.UTF-8", "de_AT", "de", "de-AT"},
    {"de-AT", "de_AT", "de", "de-AT"},
    {"de_DE@euro", "de_DE@euro", "de", "de-DE"},
    {"sr_RS.UTF-8@latin", "sr_RS@latin", "sr", "sr-Latn-RS"},
    {"zh_Hant_TW", "zh_Hant_TW", "zh", "zh-Hant-TW"},
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

struct EnvironmentCase {
  const char* row;
  LocaleEnvironment environment;
  const char* numbers;
  std::vector<std::string> languages;
};

TEST(NSLocale, environmentNamesTheLocaleOfNumbersAndThePreferredLanguagesBestFirst) {
  const EnvironmentCase cases[] = {
      {"nothing set", {}, "C", {"en"}},
      {"messages", {.lcMessages = "fr_FR", .lang = "de_AT"}, "de_AT", {"fr-FR", "fr"}},
      {"numbers", {.lcNumeric = "fr_FR", .lang = "de_AT"}, "fr_FR", {"de-AT", "de"}},
      {"all", {.lcAll = "it", .lcMessages = "fr", .lcNumeric = "fr", .lang = "de"}, "it", {"it"}},
      {"list", {.language = "de_AT:en", .lang = "de_DE"}, "de_DE", {"de-AT", "de", "en", "de-DE"}},
      {"odd entries", {.language = "::C:/etc/passwd:de::", .lang = "en"}, "en", {"de", "en"}},
      {"C wants no translation", {.language = "de", .lang = "C.UTF-8"}, "C.UTF-8", {"en"}},
      {"C for all wants none", {.language = "de", .lcAll = "C", .lang = "de_DE"}, "C", {"en"}},
      {"script", {.lang = "sr_RS@latin"}, "sr_RS@latin", {"sr-Latn-RS", "sr-Latn", "sr"}},
      {"script in the name", {.lang = "zh_Hant_TW"}, "zh_Hant_TW", {"zh-Hant-TW", "zh-Hant", "zh"}},
  };
  for (const EnvironmentCase& c : cases) {
    EXPECT_EQ(c.environment.numericLocaleName(), c.numbers) << c.row;
    EXPECT_EQ(c.environment.preferredLanguages(), c.languages) << c.row;
  }
  EXPECT_EQ(&NSLocale::current(), &NSLocale::current());
  EXPECT_FALSE(NSLocale::current().identifier().empty() || NSLocale::preferredLanguages().empty());
}

}  // namespace
}  // namespace QVFoundation

// NOLINTEND(concurrency-mt-unsafe)
