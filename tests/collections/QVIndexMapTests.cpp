#include <algorithm>
#include <deque>
#include <memory>
#include <numeric>
#include <random>

#include <gmock/gmock.h>

#include "QVFoundation/Collections.h"
#include "QVFoundation/Platform.h"
#include "tests/platform/runtime/RaisedException.h"

namespace QVFoundation {
namespace {

using ::testing::ContainsRegex;
using ::testing::ElementsAre;
using ::testing::Pointee;
using testing::raisedBy;
using ::testing::StartsWith;

using Move = std::pair<std::size_t, std::size_t>;

QVIndexMap randomMap(std::size_t count, unsigned seed) {
  std::vector<std::size_t> indices(count);
  std::iota(indices.begin(), indices.end(), std::size_t{0});
  std::shuffle(indices.begin(), indices.end(), std::mt19937(seed));
  return QVIndexMap(std::move(indices));
}

std::vector<Move> movesOf(const QVIndexMap& map, std::size_t limit = SIZE_MAX) {
  std::vector<Move> moves;
  map.enumerateMovesWithBlock([&](std::size_t from, std::size_t to, bool& stop) {
    moves.emplace_back(from, to);
    stop = moves.size() == limit;
  });
  return moves;
}

/// The moves as they are defined: each shifts what stands below it, one by one.
std::vector<Move> plainMovesOf(std::vector<std::size_t> working) {
  std::vector<Move> moves;
  for (std::size_t p = 0; p < working.size(); ++p) {
    const std::size_t from = working[p];
    if (from == p) continue;
    moves.emplace_back(from, p);
    for (std::size_t q = p + 1; q < working.size(); ++q) working[q] += working[q] < from ? 1 : 0;
  }
  return moves;
}

TEST(QVIndexMap, movesBlocksInFrontOfTheFirstElementThatStays) {
  const std::tuple<const char*, IndexSet, std::size_t, std::size_t, QVIndexMap> cases[] = {
      {"toTheFront", {3}, 0, 4, {3, 0, 1, 2}},
      {"apart", {0, 3, 5}, 2, 6, {1, 0, 3, 5, 2, 4}},
      {"intoItself", {1, 2}, 2, 4, {0, 1, 2, 3}},
      {"beyondTheEnd", {0, 1}, 99, 4, {2, 3, 0, 1}},
      {"endMovesToWhereItStands", {2, 3}, 3, 4, {0, 1, 2, 3}},
      {"ofNothing", {}, 0, 0, {}},
  };
  for (const auto& [row, moving, to, count, want] : cases) {
    EXPECT_EQ(QVIndexMap::mapToMoveIndexes(moving, to, count), want) << row;
  }
  EXPECT_EQ(QVIndexMap::mapToMoveIndices({5, 0, 3}, 2, 6), (QVIndexMap{1, 0, 3, 5, 2, 4})) << "in any order";
}

TEST(QVIndexMap, refusesWhatLeadsOutside) {
  using Map = QVIndexMap;
  const Map map{2, 0, 1};
  std::size_t buffer[2];
  const std::pair<std::function<void()>, const char*> cases[] = {
      {[] { (void)Map::mapToMoveIndexes({4}, 0, 4); }, "NSRange.*Index 4 .* 4 elements"},
      {[] { (void)Map::mapToMoveIndices({-1}, 0, 4); }, "NSRange"},
      {[] { (void)Map::mapToMoveIndices({1, "x"}, 0, 4); }, "NSInvalid.*Element 1 .*x"},
      {[] { (void)Map::mapWithIndexArray({0, nullptr}); }, "NSInvalid.*Element 1 "},
      {[] { (void)Map{0, 3, 1}.inverseMap(); }, "NSRange.*entry 3 at position 1 .* 3 elements"},
      {[] { (void)Map{1, 0, 1}.inverseMap(); }, "NSRange.*entry 1 at position 2 .*position 0"},
      {[&] { (void)map.mapByApplyingMap({0, 7}); }, "NSRange.*entry 7 at position 1 .* 3 elements"},
      {[&] { (void)map.indexes({1, 3}); }, "NSRange.*Position 3 .* 3 entries"},
      {[&] { map.getIndices(buffer); }, "NSRange.*2 places.*3"},
  };
  for (const auto& [call, want] : cases) EXPECT_THAT(raisedBy(call), ContainsRegex(want));
}

TEST(QVIndexMap, readsNumbersAsUnsignedOnesAndSkipsPositionsThatDoNotExist) {
  EXPECT_THAT(QVIndexMap::mapWithIndexArray({2, 0.0, true, 1.9, -1, SIZE_MAX}),
              ElementsAre(2, 0, 1, 1, SIZE_MAX, SIZE_MAX));
  const std::int64_t numbers[] = {2, -1};
  EXPECT_EQ(QVIndexMap::mapWithIndexArray(numbers).indexArray(), (std::vector<std::int64_t>{2, -1}));
  const QVIndexMap map{2, 0, 1};
  EXPECT_EQ(map.translateIndices({0, 7, 2.0, -1, "1", nullptr, 1LL << 32}), (Array{2, 1}));
  EXPECT_THAT(map.translateIndices(std::vector<std::uint32_t>{0, 7, UINT32_MAX}), ElementsAre(2));
  EXPECT_EQ(map.indexes({0, 2}), (IndexSet{1, 2}));
}

TEST(QVIndexMap, isUndoneByItsInverseAndComposes) {
  EXPECT_EQ((QVIndexMap{2, 0, 1}.inverseMap()), (QVIndexMap{1, 2, 0}));
  EXPECT_EQ((QVIndexMap{2, 0, 1}.reverseMap()), (QVIndexMap{1, 0, 2}));
  const auto map = randomMap(100, 2), other = randomMap(100, 3);
  const auto identity = QVIndexMap::identityMapWithCount(100);
  EXPECT_EQ(map.mapByApplyingMap(map.inverseMap()), identity);
  EXPECT_EQ(map.mapByApplyingMap(other).indexArray(),
            arrayByApplyingMap(arrayByApplyingMap(identity.indexArray(), map), other))
      << "this map first, then the other";
  for (const auto& [entry, position] : map.inverseDictionary()) EXPECT_EQ(map.indexForIndex(position), entry);
}

TEST(QVIndexMap, replaysItsMovesAsTheyAreDefined) {
  EXPECT_THAT(movesOf({2, 0, 1}), ElementsAre(Move(2, 0)));
  for (std::size_t number = 0; number < 6 * 6 * 6 * 6; ++number) {
    const QVIndexMap map{number % 6, number / 6 % 6, number / 36 % 6, number / 216};
    ASSERT_EQ(movesOf(map), plainMovesOf({map.begin(), map.end()})) << map.description();
  }
  EXPECT_EQ(movesOf({SIZE_MAX, SIZE_MAX - 1}), plainMovesOf({SIZE_MAX, SIZE_MAX - 1}));
  const auto map = randomMap(500, 1);
  EXPECT_EQ(movesOf(map), plainMovesOf({map.begin(), map.end()}));
  EXPECT_EQ(movesOf(map, 3).size(), 3U) << "stops when told to";
  const auto large = QVIndexMap::identityMapWithCount(300'000).reverseMap();
  EXPECT_EQ(movesOf(large).size(), large.count() - 1) << "one by one, this takes 45 thousand million steps";
}

TEST(QVIndexMap, mayBeChangedByWhoReplaysIt) {
  QVIndexMap map({2, 0, 1});
  int moves = 0;
  map.enumerateMovesWithBlock([&](std::size_t, std::size_t, bool&) {
    map = QVIndexMap::identityMapWithCount(100);
    ++moves;
  });
  EXPECT_EQ(moves, 1);
}

TEST(QVIndexMap, travelsAsAValueAndPrintsItsEntries) {
  const Value value = QVIndexMap{1, SIZE_MAX};
  EXPECT_TRUE(value == Value(*value.as<QVIndexMap>()) && value != Value(QVIndexMap{1}) && value != Value(1));
  EXPECT_THAT(value.description(), ContainsRegex("^<QVIndexMap: 0x[0-9a-f]+>1 -1 $"));
}

template <class List>
struct Reordering : ::testing::Test {};
using Lists = ::testing::Types<std::vector<int>, std::deque<int>, Array, std::vector<Value>>;
TYPED_TEST_SUITE(Reordering, Lists);

TYPED_TEST(Reordering, appliesMapsToAnyList) {
  const std::optional<Array> refused;
  const std::tuple<QVIndexMap, std::optional<Array>, std::optional<Array>, std::optional<Array>> cases[] = {
      // map, mapped, applied, reordered
      {{2, 0, 1}, Array{30, 10, 20}, Array{30, 10, 20}, Array{30, 10, 20}},
      {{2}, Array{30}, Array{30, 20, 30}, refused},
      {{}, Array{}, Array{10, 20, 30}, refused},
      {{0, 2, 1, 0}, Array{10, 30, 20, 10}, refused, Array{10, 30, 20}},
      {{1, 1, 0}, Array{20, 20, 10}, Array{20, 20, 10}, Array{20, 20, 10}},
      {{0, 3, 1}, refused, refused, refused},
  };
  for (const auto& [map, mapped, applied, reordered] : cases) {
    TypeParam list{10, 20, 30};
    const auto outcomeOf = [](const auto& call) {
      std::optional<Array> outcome;
      const std::string raised = raisedBy([&] { outcome = Value(call()).array(); });
      EXPECT_THAT(raised, StartsWith(outcome ? "nothing" : "NSRangeException: "));
      return outcome;
    };
    const auto reorder = [&] {
      reorderUsingMap(list, map);
      return std::vector<Value>(list.begin(), list.end());
    };
    EXPECT_EQ(outcomeOf([&] { return arrayByApplyingMap(list, map); }), mapped) << map.description();
    EXPECT_EQ(outcomeOf([&] { return applying(list, map); }), applied) << map.description();
    EXPECT_EQ(outcomeOf(reorder), reordered) << map.description();
    EXPECT_TRUE(reordered || list == (TypeParam{10, 20, 30})) << "what is refused changes nothing";
  }
}

TYPED_TEST(Reordering, movesAndSortsInPlace) {
  TypeParam list{30, 10, 40, 20};
  moveObjectsAtIndexes(list, {0, 2}, 2);
  EXPECT_EQ(list, (TypeParam{10, 30, 40, 20}));
  const auto inDirection = [](const Value& a, const Value& b, int sign) {
    return sign * compareValues(a, b);
  };
  EXPECT_EQ(mapFromSortingUsingSelector(list, inDirection, -1), (QVIndexMap{2, 1, 3, 0}));
  sortUsingSelector(list, compareValues);
  EXPECT_EQ(list, (TypeParam{10, 20, 30, 40}));
}

TEST(Reordering, movesWhatCannotBeCopied) {
  std::vector<std::unique_ptr<int>> list;
  for (const int i : {1, 2, 3}) list.push_back(std::make_unique<int>(i));
  reorderUsingMap(list, {2, 0, 1});
  EXPECT_THAT(raisedBy([&] { reorderUsingMap(list, {0, 0, 1}); }),
              StartsWith("NSInvalidArgumentException: "));
  EXPECT_THAT(list, ElementsAre(Pointee(3), Pointee(1), Pointee(2)));
}

}  // namespace
}  // namespace QVFoundation
