#include "QVFoundation/platform/text/Format.h"

#include <array>
#include <bit>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "QVFoundation/platform/text/FormatFixed_p.h"

// For what printf defines, the C library is the oracle: every combination of flags, widths and precisions
// is tried.

namespace QVFoundation {
namespace {

/// Compares until there is a difference: one is enough to report.
template <class... Args>
void compare(const std::string& format, Args... args) {
  if (::testing::Test::HasFailure()) return;
  std::array<char, 8192> buffer{};
  std::snprintf(buffer.data(), buffer.size(), format.c_str(), args...);
  EXPECT_EQ(stringWithFormat(format, args...), buffer.data()) << format;
}

/// Everything that can stand between '%' and the conversion, with flags out of `flags`.
std::vector<std::string> directives(const std::string& flags, const std::vector<std::string>& precisions) {
  std::vector<std::string> all;
  for (unsigned chosen = 0; chosen < 1U << flags.size(); ++chosen) {
    std::string set;
    for (std::size_t i = 0; i < flags.size(); ++i) {
      if ((chosen >> i & 1U) != 0) set += flags[i];
    }
    for (const char* width : {"", "1", "9", "31"}) {
      for (const std::string& precision : precisions)
        all.push_back(std::string("%").append(set).append(width).append(precision));
    }
  }
  return all;
}

const std::vector<std::string> fewPrecisions = {"", ".", ".0", ".1", ".3", ".12"};

template <class Number>
void compareNumbers(const std::string& flags, const std::vector<std::string>& precisions,
                    const std::string& conversions, const std::string& length,
                    std::initializer_list<Number> numbers) {
  for (const std::string& directive : directives(flags, precisions)) {
    for (const char conversion : conversions) {
      for (const Number number : numbers) compare(directive + length + conversion, number);
    }
  }
}

TEST(FormatLikePrintf, integers) {
  const std::string flags = "-+ #0'";
  compareNumbers(flags, fewPrecisions, "di", "", {0, 1, -1, 42, -100, 1234567, INT_MAX, INT_MIN});
  compareNumbers(flags, fewPrecisions, "di", "ll", {0LL, -1LL, LLONG_MAX, LLONG_MIN});
  compareNumbers(flags, fewPrecisions, "uoxX", "", {0U, 1U, 7U, 8U, 0xBEEFU, UINT_MAX});
  compareNumbers(flags, fewPrecisions, "uoxX", "l", {0UL, ULONG_MAX, 0xABCDEF0123456789UL});
  compareNumbers("#0", {""}, "uoxX", "", {-1, INT_MIN});  // their two's complement
  compareNumbers("#0", {""}, "uoxX", "l", {-42L});
}

TEST(FormatLikePrintf, floatingNumbers) {
  const std::string flags = "-+ #0";
  compareNumbers(flags, {"", ".", ".0", ".1", ".2", ".3", ".6", ".15", ".16", ".17", ".40"}, "fFeEgGaA", "",
                 {0.0, -0.0, 1.0, 0.5, 1.5, 2.5, 0.125, 9.995, 99999.95, 123456.789, 1e-5, 0.0001234, 1e15,
                  123456789012345678.0, 1e22, -3.7e100, 0x1.8p-3});
  compareNumbers(
      flags, fewPrecisions, "fFeEgGaA", "",
      {DBL_MAX, DBL_MIN, DBL_TRUE_MIN, DBL_EPSILON, HUGE_VAL, -HUGE_VAL, std::nan(""), -std::nan("")});
  compareNumbers(flags, {"", ".0", ".3", ".25"}, "fFeEgGaA", "L", {0.0L, 1.1L, -2.5L, 1e-7L, 123456.789L});
  compareNumbers("#", {"", ".3"}, "fega", "L", {LDBL_MAX, LDBL_MIN, LDBL_TRUE_MIN, -1e4000L});
  for (const char* format : {"%.200f", "%.1100f", "%.1100e", "%#.1100g", "%4096.1100f", "%-4096.0f|"}) {
    for (const double number : {1.0 / 3, DBL_TRUE_MIN, -DBL_MAX}) compare(format, number);
  }
}

// What is written without the general algorithm: as many numbers as a test may take, ties among them.
TEST(FormatLikePrintf, fixedNotationIsExact) {
  std::mt19937_64 random(20260101);  // NOLINT(bugprone-random-generator-seed): failures must repeat.
  std::size_t shortcuts = 0;
  for (int i = 0; i < 200'000; ++i) {
    const auto bits = static_cast<std::int64_t>(random());
    double number =
        std::ldexp(static_cast<double>(bits >> (bits & 63)), static_cast<int>(random() % 80) - 70);
    if (i % 4 == 0) number = std::bit_cast<double>(random() & 0x7FEFFFFFFFFFFFFF);
    if (i % 4 == 1)
      number = std::ldexp(static_cast<double>(random() % 100'000), -static_cast<int>(random() % 16));
    std::array<char, 32> buffer{};
    const int precision = static_cast<int>(random() % 17);
    if (detail::writeFixed(buffer.data(), std::abs(number), precision) != nullptr) ++shortcuts;
    compare("%." + std::to_string(precision) + 'f', number);
  }
  EXPECT_GT(shortcuts, 100'000U) << "the shortcut is hardly taken";
}

TEST(FormatLikePrintf, textsAddressesAndSeveralArgumentsInAnyOrder) {
  for (const std::string& directive : directives("-", fewPrecisions)) {
    for (const char* text : {"", "a", "abcd", "a text of some length"}) compare(directive + 's', text);
  }
  for (const char* format : {"%c", "%3c|", "%-3c|", "%lc"}) compare(format, 'x');
  const int target = 0;
  for (const char* format : {"%p", "%20p|", "%-20p|", "%3p"}) compare(format, &target);
  compare("%d%s%c%% %d%%", 1, "two", '3', 50);
  compare("%2$s = %1$d %1$x %1$o", 64, "answer");
  compare("[%*d|%-*d|%.*f|%*.*e]", 5, 1, 6, 2, 2, 3.75159, 12, 3, 1e10);
  compare("[%*d|%*d|%.*d|%.*s]", -5, 1, 5, 1, -1, 7, -1, "whole");
  compare("[%3$*1$.*2$f]", 10, 2, 2.79828);
  compare("%hhd %hd %ld %lld %zu %td %qd", 1, 2, 3L, 4LL, std::size_t{5}, std::ptrdiff_t{7}, 8LL);
}

}  // namespace
}  // namespace QVFoundation
