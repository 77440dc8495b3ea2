#include "QVFoundation/platform/runtime/NSNumber.h"

#include <cmath>
#include <concepts>
#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "QVFoundation/platform/runtime/TypeName.h"
#include "QVFoundation/platform/runtime/Value.h"
#include "QVFoundation/platform/text/Format.h"

namespace QVFoundation {
namespace {

template <class T>
using Limits = std::numeric_limits<T>;

constexpr auto lowestSigned = Limits<std::int64_t>::min();
constexpr auto highestSigned = Limits<std::int64_t>::max();
constexpr auto highestUnsigned = Limits<std::uint64_t>::max();

template <class T>
void expectToKeep() {
  SCOPED_TRACE(typeName(typeid(T)));
  for (const T number : {Limits<T>::lowest(), Limits<T>::max(), Limits<T>::min()}) {
    EXPECT_EQ(Value(number).as<T>(), number);
    EXPECT_EQ(NSNumber(number).isBoolean(), (std::same_as<T, bool>));
    EXPECT_EQ(NSNumber(number).isUnsigned(), std::unsigned_integral<T>);
    EXPECT_EQ(NSNumber(number).isFloatingPoint(), std::floating_point<T>);
  }
}

template <class... T>
void expectToKeepEachOf() {
  (expectToKeep<T>(), ...);
}

TEST(NSNumber, keepsTheLimitsOfEachType) {
  expectToKeepEachOf<bool, char, std::int8_t, std::int16_t, std::int32_t, std::int64_t, long long,
                     std::uint8_t, std::uint16_t, std::uint32_t, std::uint64_t, char32_t, float, double>();
}

TEST(NSNumber, convertsExactlyOrNotAtAll) {
  constexpr auto none = std::nullopt;
  const struct {
    const char* row = "";
    NSNumber number;
    std::optional<std::int8_t> asInt8;
    std::optional<std::int64_t> asInt64;
    std::optional<std::uint64_t> asUInt64;
  } cases[] = {
      {"true", true, 1, 1, 1},
      {"above a byte", 128, none, 128, 128},
      {"below a byte", -129, none, -129, none},
      {"negative", -1, -1, -1, none},
      {"highest unsigned", highestUnsigned, none, none, highestUnsigned},
      {"just beyond signed", std::uint64_t{1} << 63, none, none, std::uint64_t{1} << 63},
      {"whole double", 100.0, 100, 100, 100},
      {"fraction", 1.5, none, none, none},
      {"negative zero", -0.0, 0, 0, 0},
      {"-2^63", -0x1p63, none, lowestSigned, none},
      {"below -2^63", std::nextafter(-0x1p63, -1e300), none, none, none},
      {"2^63", 0x1p63, none, none, std::uint64_t{1} << 63},
      {"2^64", 0x1p64, none, none, none},
      {"infinity", Limits<double>::infinity(), none, none, none},
      {"not a number", Limits<double>::quiet_NaN(), none, none, none},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.row);
    EXPECT_EQ(c.number.exactly<std::int8_t>(), c.asInt8);
    EXPECT_EQ(c.number.exactly<std::int64_t>(), c.asInt64);
    EXPECT_EQ(c.number.exactly<std::uint64_t>(), c.asUInt64);
  }
}

TEST(NSNumber, ordersEqualsAndHashesByWorthAcrossAllTypes) {
  const std::vector<std::vector<NSNumber>> ascending = {
      {std::nan(""), std::nanf(""), -std::nan("1")},
      {-Limits<double>::infinity(), -Limits<float>::infinity()},
      {-0x1p64},
      {lowestSigned, -0x1p63},
      {lowestSigned + 1},
      {-2.5},
      {-2, std::int8_t{-2}, -2.0F},
      {-0.5},
      {0, 0U, false, 0.0, -0.0},
      {Limits<double>::denorm_min()},
      {1, 1ULL, true, 1.0, 1.0F, std::uint8_t{1}},
      {1.5F, 1.5},
      {std::int64_t{1} << 53, 0x1p53},
      {(std::int64_t{1} << 53) + 1},
      {std::nextafter(0x1p63, 0.0), highestSigned - 1023},
      {highestSigned},
      {0x1p63, std::uint64_t{1} << 63},
      {(std::uint64_t{1} << 63) + 1},
      {highestUnsigned},
      {0x1p64},
      {Limits<double>::infinity()},
  };
  for (std::size_t i = 0; i < ascending.size(); ++i) {
    for (std::size_t j = 0; j < ascending.size(); ++j) {
      for (const NSNumber& a : ascending[i]) {
        for (const NSNumber& b : ascending[j]) {
          SCOPED_TRACE(a.description() + " and " + b.description());
          EXPECT_EQ(a <=> b, i <=> j);
          EXPECT_EQ(Value(a) == Value(b), i == j);
          if (i == j) {
            EXPECT_EQ(a.hash(), b.hash());
          }
        }
      }
    }
  }
}

TEST(NSNumber, convertsToTheNearestOfAFloatingType) {
  EXPECT_EQ(NSNumber(highestUnsigned).exactly<double>(), 0x1p64);
  EXPECT_EQ(NSNumber(highestSigned).exactly<long double>(), 9223372036854775807.0L);
  EXPECT_EQ(NSNumber(0x8000008000000001).exactly<float>(), 0x1.000002p63F) << "not by way of a double";
  EXPECT_EQ(NSNumber(lowestSigned).doubleValue(), -0x1p63);
  EXPECT_EQ(NSNumber(1e300).exactly<float>(), Limits<float>::infinity());
  EXPECT_TRUE(std::isnan(*NSNumber(std::nanf("")).exactly<double>()));
}

TEST(NSNumber, isTrueUnlessZero) {
  for (const NSNumber number :
       {NSNumber(-1), NSNumber(0x1p-1074), NSNumber(highestUnsigned), NSNumber(std::nan(""))})
    EXPECT_TRUE(number.boolValue()) << number.description();
  for (const NSNumber number : {NSNumber(0), NSNumber(-0.0), NSNumber(false)})
    EXPECT_EQ(number.exactly<bool>(), false) << number.description();
}

template <class T>
void expectToRead(T number, std::string_view want) {
  EXPECT_EQ(NSNumber(number).description(), want);
  EXPECT_EQ(stringWithFormat("%@", number), want) << "the formatter disagrees";
}

TEST(NSNumber, readsAsAPersonWouldWriteItAndAsTheFormatterDoes) {
  EXPECT_EQ(NSNumber('a').description(), "97");
  EXPECT_EQ(NSNumber(true).description(), "1");
  expectToRead(lowestSigned, "-9223372036854775808");
  expectToRead(highestUnsigned, "18446744073709551615");
  expectToRead(-0.0, "-0");
  expectToRead(0.1, "0.1");
  expectToRead(0.1F, "0.1");
  expectToRead(1.0 / 3, "0.3333333333333333");
  expectToRead(100000.0, "100000");
  expectToRead(-3e5F, "-300000");
  expectToRead(9999999999999998.0, "9999999999999998");
  expectToRead(1e16, "1e+16");
  expectToRead(-0x1p63, "-9.223372036854776e+18");  // shorter without an exponent
  expectToRead(0.00012345, "0.00012345");
  expectToRead(0.0001F, "0.0001");
  expectToRead(0.00009, "9e-05");
  expectToRead(Limits<double>::max(), "1.7976931348623157e+308");
  expectToRead(-Limits<double>::denorm_min(), "-5e-324");
  expectToRead(Limits<float>::max(), "3.4028235e+38");
  expectToRead(-Limits<double>::infinity(), "-inf");
  expectToRead(Limits<float>::quiet_NaN(), "nan");
}

}  // namespace
}  // namespace QVFoundation
