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

}  // namespace
}  // namespace QVFoundation
