#include "QVFoundation/platform/text/Format.h"

#include <array>
#include <bit>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "QVFoundation/platform/text/FormatFixed_p.h"

// For what printf defines, the C library is the oracle: every combination of flags, widths and precisions
// is tried.

namespace QVFoundation {
namespace {

template <class... Args>
std::string printed(const std::string& format, Args... args) {
  std::array<char, 8192> buffer{};
  const int size = std::snprintf(buffer.data(), buffer.size(), format.c_str(), args...);
  return {buffer.data(), static_cast<std::size_t>(size)};
}

/// Compares, and reports the first few differences only.
class Oracle {
public:
  template <class... Args>
  void compare(const std::string& format, Args... args) {
    ++compared_;
    const std::string ours = stringWithFormat(format, args...);
    const std::string theirs = printed(format, args...);
    if (ours == theirs || ++differences_ > 10) return;
    ADD_FAILURE() << '"' << format << "\" printed \"" << ours << "\" instead of \"" << theirs << '"';
  }

  Oracle() = default;
  Oracle(const Oracle&) = delete;
  Oracle& operator=(const Oracle&) = delete;
  ~Oracle() {
    EXPECT_EQ(differences_, 0U) << "of " << compared_;
    EXPECT_GT(compared_, 0U);
  }

private:
  std::size_t compared_ = 0;
  std::size_t differences_ = 0;
};

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
const std::vector<std::string> manyPrecisions = {"",   ".",   ".0",  ".1",  ".2", ".3",
                                                 ".6", ".15", ".16", ".17", ".40"};

template <class Integer>
void compareIntegers(const std::string& length, std::initializer_list<Integer> values) {
  Oracle oracle;
  for (const std::string& directive : directives("-+ #0'", fewPrecisions)) {
    for (const char conversion : {'d', 'i', 'u', 'o', 'x', 'X'}) {
      const bool isSignedConversion = conversion == 'd' || conversion == 'i';
      if (isSignedConversion != std::is_signed_v<Integer>) continue;
      for (const Integer value : values) oracle.compare(directive + length + conversion, value);
    }
  }
}

TEST(FormatLikePrintf, signedIntegers) {
  compareIntegers<int>("", {0, 1, -1, 42, -100, 1234567, INT_MAX, INT_MIN});
  compareIntegers<long long>("ll", {0, -1, LLONG_MAX, LLONG_MIN});
}

TEST(FormatLikePrintf, unsignedIntegers) {
  compareIntegers<unsigned>("", {0U, 1U, 7U, 8U, 0xBEEFU, UINT_MAX});
  compareIntegers<unsigned long>("l", {0UL, ULONG_MAX, 0xABCDEF0123456789UL});
}

TEST(FormatLikePrintf, negativeIntegersWithoutASignAreTheirTwosComplement) {
  Oracle oracle;
  for (const char* conversion : {"%x", "%X", "%o", "%u", "%#x", "%08x", "%20u"}) {
    oracle.compare(conversion, -1);
    oracle.compare(conversion, INT_MIN);
  }
  for (const char* conversion : {"%lx", "%lo", "%lu"}) oracle.compare(conversion, -42L);
}

template <class Number>
void compareFloating(const std::string& length, const std::vector<Number>& values,
                     const std::vector<std::string>& precisions) {
  Oracle oracle;
  for (const std::string& directive : directives("-+ #0", precisions)) {
    for (const char conversion : {'f', 'F', 'e', 'E', 'g', 'G', 'a', 'A'}) {
      for (const Number value : values) oracle.compare(directive + length + conversion, value);
    }
  }
}

TEST(FormatLikePrintf, floatingNumbers) {
  compareFloating<double>("",
                          {0.0, -0.0, 1.0, 0.5, 1.5, 2.5, 0.125, 9.995, 99999.95, 123456.789, 1e-5, 0.0001234,
                           1e15, 123456789012345678.0, 1e22, -3.7e100, 0x1.8p-3},
                          manyPrecisions);
  constexpr double infinity = std::numeric_limits<double>::infinity();
  compareFloating<double>(
      "", {DBL_MAX, DBL_MIN, DBL_TRUE_MIN, DBL_EPSILON, infinity, -infinity, std::nan(""), -std::nan("")},
      fewPrecisions);
}

TEST(FormatLikePrintf, longFloatingNumbers) {
  compareFloating<long double>("L", {0.0L, 1.1L, -2.5L, 1e-7L, 123456.789L}, {"", ".0", ".3", ".25"});
  Oracle oracle;
  for (const char* format : {"%Lf", "%.3Le", "%#.20Lg", "%La", "%.2LA"}) {
    for (const long double extreme : {LDBL_MAX, LDBL_MIN, LDBL_TRUE_MIN, -1e4000L})
      oracle.compare(format, extreme);
  }
}

// What is written without the general algorithm: as many numbers as a test may take, ties among them.
TEST(FormatLikePrintf, fixedNotationIsExact) {
  std::mt19937_64 random(20260101);  // NOLINT(bugprone-random-generator-seed): failures must repeat.
  Oracle oracle;
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
    oracle.compare("%." + std::to_string(precision) + 'f', number);
  }
  EXPECT_GT(shortcuts, 100'000U) << "the shortcut is hardly taken";
}

TEST(FormatLikePrintf, decimalsMayBeMany) {
  Oracle oracle;
  for (const char* format : {"%.200f", "%.1100f", "%.1100e", "%#.1100g", "%4096.1100f", "%-4096.0f|"}) {
    oracle.compare(format, 1.0 / 3);
    oracle.compare(format, DBL_TRUE_MIN);
    oracle.compare(format, -DBL_MAX);
  }
}

TEST(FormatLikePrintf, texts) {
  Oracle oracle;
  for (const std::string& directive : directives("-", fewPrecisions)) {
    for (const char* text : {"", "a", "abcd", "a text of some length"}) oracle.compare(directive + 's', text);
  }
  for (const char* format : {"%c", "%3c|", "%-3c|", "%lc"}) oracle.compare(format, 'x');
}

TEST(FormatLikePrintf, addresses) {
  Oracle oracle;
  const int target = 0;
  for (const char* format : {"%p", "%20p|", "%-20p|", "%3p"}) {
    oracle.compare(format, static_cast<const void*>(&target));
    oracle.compare(format, &target);
  }
}

TEST(FormatLikePrintf, severalArgumentsInAnyOrder) {
  Oracle oracle;
  oracle.compare("%d%s%c", 1, "two", '3');
  oracle.compare("%% %d%%", 50);
  oracle.compare("%2$s = %1$d", 42, "answer");
  oracle.compare("%1$d %1$x %1$o", 64);
  oracle.compare("[%*d|%-*d|%.*f|%*.*e]", 5, 1, 6, 2, 2, 3.75159, 12, 3, 1e10);
  oracle.compare("[%*d|%*d]", -5, 1, 5, 1);
  oracle.compare("[%.*d|%.*s]", -1, 7, -1, "whole");
  oracle.compare("[%3$*1$.*2$f]", 10, 2, 2.79828);
  oracle.compare("%hhd %hd %ld %lld %zu %jd %td %qd", 1, 2, 3L, 4LL, std::size_t{5}, std::intmax_t{6},
                 std::ptrdiff_t{7}, 8LL);
}

}  // namespace
}  // namespace QVFoundation
