#include <random>
#include <set>

#include <gmock/gmock.h>

#include "QVFoundation/Platform.h"
#include "tests/platform/runtime/RaisedException.h"

namespace QVFoundation {
namespace {

using testing::raisedBy;
using ::testing::StartsWith;

TEST(IndexSet, agreesWithAnOrdinarySetInEveryOrderOfChanges) {
  std::mt19937 random(4);
  for (int round = 0; round < 200; ++round) {
    IndexSet set;
    std::set<std::size_t> model;
    for (int step = 0; step < 60; ++step) {
      const std::size_t first = random() % 40;
      const std::size_t count = random() % 5;
      if (random() % 2 == 0) {
        set.addRange(first, count);
        for (std::size_t i = first; i < first + count; ++i) model.insert(i);
      } else {
        set.remove(first);
        model.erase(first);
      }
      ASSERT_EQ(std::set<std::size_t>(set.begin(), set.end()), model) << set.description();
      ASSERT_EQ(set, IndexSet(std::vector<std::size_t>(model.rbegin(), model.rend()))) << "equal in one form";
      ASSERT_EQ(set.size(), model.size());
      ASSERT_EQ(set.contains(first), model.contains(first));
      ASSERT_EQ(set.last().value_or(99), model.empty() ? 99 : *model.rbegin());
    }
  }
}

TEST(IndexSet, endsBelowTheIndexThatMeansNotFound) {
  EXPECT_EQ(IndexSet::range(0, NSNotFound).size(), NSNotFound);
  IndexSet set{1};
  const std::pair<std::size_t, std::size_t> cases[] = {
      {NSNotFound, 1}, {SIZE_MAX, 1}, {1, NSNotFound}, {0, SIZE_MAX}, {SIZE_MAX, SIZE_MAX}};
  for (const auto& [first, count] : cases) {
    EXPECT_THAT(raisedBy([&] { set.addRange(first, count); }), StartsWith("NSRangeException: "));
  }
  set.remove(SIZE_MAX);
  EXPECT_EQ(set, IndexSet{1});
}

TEST(IndexSet, travelsAsAValue) {
  const Value value = IndexSet{12, 2, 5, 3, 10, 11, 2};
  EXPECT_EQ(value, Value(*value.as<IndexSet>()));
  EXPECT_EQ(value.description(), "{2-3, 5, 10-12}");
}

TEST(ValueOrder, putsWhatIsAbsentFirstAndRefusesToOrderWhatHasNoOrder) {
  class Plain : public NSObject {};
  const Value object = std::make_shared<Plain>();
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const Value ascending[] = {nullptr, NSNull{}, nan, -1.5, 0, true, 2U};
  for (std::size_t i = 0; i < std::size(ascending); ++i) {
    for (std::size_t j = 0; j < std::size(ascending); ++j) {
      const int want = i < j ? -1 : i > j ? 1 : 0;
      EXPECT_EQ(compareValues(ascending[i], ascending[j]), want) << i << ' ' << j;
    }
  }
  EXPECT_TRUE(compareValues("a", "b") == -1 && compareValues(object, object) == 0);
  const std::tuple<Value, Value, const char*> unordered[] = {
      {"a", 1, "the text \"a\" and the number 1"},
      {Array{1}, std::string(100, 'x'), "an array and the text \"xxx.*…\""},
      {object, std::make_shared<Plain>(), "the object <Plain: 0x.*the object <Plain: 0x"},
  };
  for (const auto& [a, b, want] : unordered) {
    EXPECT_THAT(raisedBy([&] { (void)compareValues(a, b); }),
                ::testing::ContainsRegex(std::string("^NSInvalidArgumentException: .*") + want));
  }
}

TEST(NSSortDescriptor, comparesByKeyDirectionAndComparator) {
  const Dictionary small{{"size", 9}}, large{{"size", 10}}, none;
  const auto byDigits = [](const Value& a, const Value& b) {
    return a.description() < b.description() ? -7 : 7;  // any sign counts, not only one
  };
  const std::tuple<NSSortDescriptor, Value, Value, int> cases[] = {
      {{"size"}, small, large, -1},
      {{"size", false}, small, large, 1},
      {{"size", false}, small, small, 0},
      {{"size"}, none, small, -1},
      {{"size", false, byDigits}, small, large, -1},
      {NSSortDescriptor("size", false, byDigits).reversed(), small, large, 1},
      {{std::nullopt}, 1, 2, -1},
  };
  for (const auto& [descriptor, a, b, want] : cases) EXPECT_EQ(descriptor.compareObject(a, b), want);
}

}  // namespace
}  // namespace QVFoundation
