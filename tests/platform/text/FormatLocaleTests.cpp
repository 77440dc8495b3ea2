#include "QVFoundation/platform/text/Format.h"

#include <array>
#include <clocale>
#include <limits>
#include <locale>
#include <ostream>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "QVFoundation/platform/text/NSLocale.h"
#include "tests/platform/text/CompiledLocale.h"

namespace QVFoundation {
namespace {

const NSLocale german("de_DE", {",", ".", {3}});
const NSLocale indian("en_IN", {".", ",", {3, 2}});
const NSLocale french("fr_FR", {",", "\u202F", {3}});
const NSLocale once("xx", {".", "'", {3, 0}});

template <class... Args>
std::string in(const NSLocale& locale, std::string_view format, const Args&... args) {
  return stringWithFormatArguments(&locale, format, std::array<FormatArgument, sizeof...(Args)>{args...});
}

constexpr double infinity = std::numeric_limits<double>::infinity();

struct Row {
  const char* row;
  std::string got;
  std::string want;
};

TEST(FormatLocale, decimalSeparatorIsTheLocales) {
  const Row rows[] = {
      {"fixed", in(german, "%.2f", 2.254), "2,25"},
      {"scientific", in(german, "%.2e", 31415.9), "3,14e+04"},
      {"general", in(german, "%g", 0.5), "0,5"},
      {"kept without decimals", in(german, "%#.0f", 3.0), "3,"},
      {"object", in(german, "%@", 0.25), "0,25"},
      {"integer as floating", in(german, "%.1f", 3), "3,0"},
      {"none in an integer", in(german, "%d", 1234567), "1234567"},
      {"none in infinity", in(german, "%f", infinity), "inf"},
      {"texts stay as they are", in(german, "%@ 1.5", "2.5"), "2.5 1.5"},
  };
  for (const Row& row : rows) EXPECT_EQ(row.got, row.want) << row.row;
}

TEST(FormatLocale, digitsAreGroupedOnlyWhereTheFormatAsks) {
  const Row rows[] = {
      {"not asked", in(german, "%d %.1f", 1234567, 1234567.5), "1234567 1234567,5"},
      {"integer", in(german, "%'d", 1234567), "1.234.567"},
      {"negative", in(german, "%'d", -123456), "-123.456"},
      {"few digits", in(german, "%'d %'d", 999, 1000), "999 1.000"},
      {"floating", in(german, "%'.2f", 1234567.891), "1.234.567,89"},
      {"object", in(german, "%'@ %'@", 1234567, 1234567.5), "1.234.567 1.234.567,5"},
      {"two sizes", in(indian, "%'d", 123456789), "12,34,56,789"},
      {"one group only", in(once, "%'d", 123456789), "123456'789"},
      {"separator of several bytes", in(french, "[%'9d]", 1234567), "[1\u202F234\u202F567]"},
      {"width in characters", in(french, "[%'11d|%-'11d]", 1234567, 1234567),
       "[  1\u202F234\u202F567|1\u202F234\u202F567  ]"},
      {"leading zeros of a precision", in(german, "%'.7d", 1234), "0.001.234"},
      {"filled with zeros", in(german, "%'010d", 1234567), "01.234.567"},
      {"hexadecimal never", in(german, "%'x", 0xFFFFFF), "ffffff"},
      {"exponent never", in(german, "%'e", 1234567.0), "1,234567e+06"},
      {"no locale no groups", stringWithFormat("%'d", 1234567), "1234567"},
      {"system locale no groups", in(NSLocale::system(), "%'d %.1f", 1234567, 0.5), "1234567 0.5"},
  };
  for (const Row& row : rows) EXPECT_EQ(row.got, row.want) << row.row;
}

struct Streamed {
  friend std::ostream& operator<<(std::ostream& out, const Streamed&) { return out << 1234567 << ' ' << 1.5; }
};

/// Numbers like 1.234.567,5 for all streams.
struct GroupingNumbers : std::numpunct<char> {
  [[nodiscard]] char do_decimal_point() const override { return ','; }
  [[nodiscard]] char do_thousands_sep() const override { return '.'; }
  [[nodiscard]] std::string do_grouping() const override { return "\3"; }
};

TEST(FormatLocale, globalLocaleOfStreamsChangesNothing) {
  const std::locale before = std::locale::global(std::locale(std::locale::classic(), new GroupingNumbers));
  const std::string text = stringWithFormat("%@ %@ %.1f", Streamed(), 1234567.5, 1234567.5);
  std::locale::global(before);
  EXPECT_EQ(text, "1234567 1.5 1234567.5 1234567.5");
}

TEST(FormatLocale, localeOfTheProcessChangesNothing) {
  const CompiledLocale compiled;
  if (!compiled.exists()) GTEST_SKIP() << "no locale could be compiled";
  ASSERT_NE(std::setlocale(LC_NUMERIC, CompiledLocale::name), nullptr);  // NOLINT(concurrency-mt-unsafe)
  const std::string separator = std::localeconv()->decimal_point;        // NOLINT(concurrency-mt-unsafe)
  const std::string doubles = stringWithFormat("%'d %.2f %e %a %@", 1234567, 1.5, 1.5, 1.5, 1.5);
  const std::string longDoubles = stringWithFormat("%.2f %.3e %g %a %@", 1.5L, 1.5L, 1.5L, 1.5L, 1.5L);
  std::setlocale(LC_NUMERIC, "C");  // NOLINT(concurrency-mt-unsafe)

  EXPECT_EQ(separator, ";");
  EXPECT_EQ(doubles, "1234567 1.50 1.500000e+00 0x1.8p+0 1.5");
  EXPECT_EQ(longDoubles, "1.50 1.500e+00 1.5 0xcp-3 1.5");
}

}  // namespace
}  // namespace QVFoundation
