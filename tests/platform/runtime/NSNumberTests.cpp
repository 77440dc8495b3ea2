#include <cmath>

#include <gtest/gtest.h>

#include "QVFoundation/Platform.h"

namespace QVFoundation {
namespace {

template <class T>
using Limits = std::numeric_limits<T>;

constexpr auto lowest = Limits<std::int64_t>::min();
constexpr auto highest = Limits<std::int64_t>::max();
constexpr auto widest = Limits<std::uint64_t>::max();
constexpr auto beyond = std::uint64_t{1} << 63;
constexpr auto infinity = Limits<double>::infinity();
constexpr auto nan = Limits<double>::quiet_NaN();
constexpr auto tiny = Limits<double>::denorm_min();

template <class... T>
void expectToKeepTheLimitsOf() {
  const bool kept[] = {Value(Limits<T>::lowest()).as<T>() == Limits<T>::lowest()...,
                       Value(Limits<T>::max()).as<T>() == Limits<T>::max()...};
  for (std::size_t i = 0; i < std::size(kept); ++i) EXPECT_TRUE(kept[i]) << "limit " << i;
}

TEST(NSNumber, convertsToIntegersExactlyOrNotAtAll) {
  expectToKeepTheLimitsOf<bool, char, std::int8_t, std::int16_t, std::int32_t, std::int64_t, long long,
                          std::uint8_t, std::uint16_t, std::uint32_t, std::uint64_t, float, double>();
  constexpr auto none = std::nullopt;
  const struct {
    NSNumber number;
    std::optional<std::int8_t> asInt8;
    std::optional<std::int64_t> asInt64;
    std::optional<std::uint64_t> asUInt64;
  } cases[] = {
      {true, 1, 1, 1},
      {128, none, 128, 128},
      {beyond, none, none, beyond},
      {100.0, 100, 100, 100},
      {1.5, none, none, none},
      {-0x1p63, none, lowest, none},
      {std::nextafter(-0x1p63, -infinity), none, none, none},
      {0x1p63, none, none, beyond},
      {0x1p64, none, none, none},
      {nan, none, none, none},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.number.description());
    EXPECT_EQ(c.number.exactly<std::int8_t>(), c.asInt8);
    EXPECT_EQ(c.number.exactly<std::int64_t>(), c.asInt64);
    EXPECT_EQ(c.number.exactly<std::uint64_t>(), c.asUInt64);
  }
}

TEST(NSNumber, convertsToTheNearestOfAFloatingTypeAndToTrueUnlessZero) {
  EXPECT_EQ(NSNumber(highest).exactly<long double>(), 9223372036854775807.0L);
  EXPECT_EQ(NSNumber(0x8000008000000001).exactly<float>(), 0x1.000002p63F) << "not by way of a double";
  EXPECT_EQ(NSNumber(1e300).exactly<float>(), Limits<float>::infinity());
  EXPECT_EQ(NSNumber(-2.75).integerValue(), -2);
  EXPECT_EQ(NSNumber(nan).integerValue(), 0);
  EXPECT_EQ(NSNumber(-1e300).integerValue(), Limits<std::int64_t>::min());
  EXPECT_EQ(NSNumber(Limits<std::uint64_t>::max()).integerValue(), Limits<std::int64_t>::max());
  EXPECT_TRUE(NSNumber(-1).boolValue() && NSNumber(0x1p-1074).boolValue() && NSNumber(nan).boolValue());
  EXPECT_FALSE(NSNumber(0).boolValue() || NSNumber(-0.0).boolValue() || NSNumber(false).boolValue());
}

TEST(NSNumber, ordersEqualsAndHashesByWorthAcrossAllTypes) {
  constexpr auto odd = (std::int64_t{1} << 53) + 1;  // of which a double makes its neighbour
  const NSNumber ascending[] = {nan,  -infinity, -0x1p64, lowest, lowest + 1, -2.5,   -2,     0U,
                                tiny, 1,         0x1p53,  odd,    highest,    beyond, widest, 0x1p64};
  const NSNumber otherwise[] = {-nan, -HUGE_VALF, -0x1p64F, -0x1p63, lowest + 1, -2.5F,  -2.0F,  -0.0,
                                tiny, true,       odd - 1,  odd,     highest,    0x1p63, widest, 0x1p64F};
  for (std::size_t i = 0; i < std::size(ascending); ++i) {
    for (std::size_t j = 0; j < std::size(otherwise); ++j) {
      SCOPED_TRACE(ascending[i].description() + " and " + otherwise[j].description());
      EXPECT_EQ(ascending[i] <=> otherwise[j], i <=> j);
      EXPECT_EQ(otherwise[j] <=> ascending[i], j <=> i);
      EXPECT_TRUE(i != j || ascending[i].hash() == otherwise[j].hash());
    }
  }
}

TEST(NSNumber, readsAsAPersonWouldWriteItAndAsTheFormatterDoes) {
  const auto expectToRead = [](auto number, std::string_view want) {
    EXPECT_EQ(NSNumber(number).description(), want);
    EXPECT_EQ(stringWithFormat("%@", number), want) << "the formatter disagrees";
  };
  expectToRead(lowest, "-9223372036854775808");
  expectToRead(0.1F, "0.1");
  expectToRead(1.0 / 3, "0.3333333333333333");
  expectToRead(-0x1p63, "-9.223372036854776e+18");  // shorter without an exponent
  expectToRead(0.00012345, "0.00012345");
  expectToRead(0.00009, "9e-05");
  expectToRead(-tiny, "-5e-324");
  expectToRead(-infinity, "-inf");
  expectToRead(Limits<float>::quiet_NaN(), "nan");
}

}  // namespace
}  // namespace QVFoundation
