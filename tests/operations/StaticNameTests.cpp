#include <functional>
#include <unordered_map>

#include <gtest/gtest.h>

#include "QVFoundation/operations/QVProgressSegmentName.h"
#include "QVFoundation/operations/QVTimingName.h"
#include "QVFoundation/platform/text/Format.h"

namespace QVFoundation {
namespace {

// The same text at two places, and one that begins like it.
constexpr char here[] = "reading";
constexpr char there[] = {'r', 'e', 'a', 'd', 'i', 'n', 'g', '\0', 's'};

template <class Name>
class StaticNames : public ::testing::Test {};
using Kinds = ::testing::Types<QVTimingName, QVProgressSegmentName>;
TYPED_TEST_SUITE(StaticNames, Kinds);

TYPED_TEST(StaticNames, areTheirTextsWhereverTheseStand) {
  constexpr TypeParam name(here);
  constexpr TypeParam same(there);
  static_assert(name == same && name.rawValue().data() != same.rawValue().data());
  static_assert(name != TypeParam("reads") && name != TypeParam("Reading"));
  EXPECT_EQ(std::hash<TypeParam>()(name), std::hash<TypeParam>()(same));
  EXPECT_EQ(same.stringValue(), "reading");
  EXPECT_EQ(stringWithFormat("%@", name), "reading");

  std::unordered_map<TypeParam, int> numbers{{name, 1}};
  numbers[same] = 2;
  EXPECT_EQ(numbers.size(), 1U);
}

TYPED_TEST(StaticNames, canBeGivenAnotherText) {
  TypeParam name = "reading";
  const TypeParam copy = name;
  name.setRawValue("storing");
  EXPECT_EQ(name, TypeParam(StaticText("storing")));
  EXPECT_EQ(copy, TypeParam("reading"));
}

TEST(QVProgressSegmentName, isTheNameOfItsTimerToo) {
  static constexpr QVProgressSegmentName segment{here};
  constexpr QVTimingName timer = segment;
  static_assert(timer == QVTimingName(there));
  EXPECT_EQ(timer.rawValue().data(), segment.rawValue().data());
}

}  // namespace
}  // namespace QVFoundation
