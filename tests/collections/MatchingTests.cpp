#include <algorithm>
#include <deque>
#include <list>
#include <map>
#include <ranges>
#include <set>
#include <sstream>
#include <unordered_map>

#include <gmock/gmock.h>

#include "QVFoundation/Collections.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "tests/collections/Person.h"
#include "tests/platform/runtime/RaisedException.h"

namespace QVFoundation {
namespace {

using ::testing::ElementsAre;
using testing::Person;
using testing::person;
using testing::raisedBy;
using ::testing::StartsWith;
using ::testing::UnorderedElementsAre;

using People = std::vector<std::shared_ptr<Person>>;
using Ages = std::multiset<int>;

const People people = {person("Ada", 3), person("Bo", 1), person(std::nullopt, 2), person("Bo", 4)};

std::shared_ptr<Person> asPerson(const std::shared_ptr<Person>& object) { return object; }
std::shared_ptr<Person> asPerson(const Value& value) { return *value.as<std::shared_ptr<Person>>(); }
const auto ageOf = [](const auto& element) { return asPerson(element)->age; };

struct ByAge {
  bool operator()(const auto& a, const auto& b) const { return a->age < b->age; }
};

template <class Collection>
Collection collectionOfPeople() {
  Collection collection;
  for (const auto& element : people) {
    if constexpr (std::same_as<Collection, Dictionary>) {
      collection.set(element->age, element);
    } else if constexpr (detail::Map<Collection>) {
      collection.emplace(element->age, element);
    } else {
      detail::addTo(collection, element);
    }
  }
  return collection;
}

Ages agesIn(const auto& results) {
  Ages ages;
  for (const auto& element : detail::elementsOf(results)) ages.insert(ageOf(element));
  return ages;
}

template <class Collection>
class EveryCollection : public ::testing::Test {};

using Collections =
    ::testing::Types<People, std::deque<std::shared_ptr<Person>>, std::list<std::shared_ptr<Person>>,
                     std::set<std::shared_ptr<Person>, ByAge>, ObjectSet<Person>, std::vector<Value>, Array,
                     Set, Dictionary, std::map<int, std::shared_ptr<Person>>, std::unordered_map<int, Value>>;
TYPED_TEST_SUITE(EveryCollection, Collections);

TYPED_TEST(EveryCollection, isMatchedMappedSortedAndFilteredByItsElementsOrValues) {
  const auto all = collectionOfPeople<TypeParam>();
  EXPECT_EQ(asPerson(qv_objectMatchingValue(all, "Bo", "name"))->name, "Bo");
  EXPECT_EQ(agesIn(qv_arrayByMatchingValue(all, "Bo", "name")), (Ages{1, 4}));
  EXPECT_EQ(agesIn(qv_setByMatchingValue(all, 2.0, "age")), (Ages{2}));
  EXPECT_EQ(agesIn(qv_arrayByMatchingValue(all, nullptr, "name")), (Ages{2}));
  EXPECT_TRUE(detail::isAbsent(qv_objectMatchingValue(all, nullptr, "name"))) << "no name is no match";
  EXPECT_THAT(raisedBy([&] { (void)qv_arrayByMatchingValue(all, 1, "size"); }),
              StartsWith(NSUndefinedKeyException));
  EXPECT_THAT(raisedBy([&] { (void)qv_objectMatchingValue(all, 1, "size"); }),
              StartsWith(NSUndefinedKeyException));

  const auto descending = [](const auto& a, const auto& b) { return ageOf(b) <=> ageOf(a); };
  EXPECT_THAT(qv_arrayByApplyingBlockToObjects(qv_sortedArrayUsingKeyPath(all, "age"), ageOf),
              ElementsAre(1, 2, 3, 4));
  EXPECT_THAT(qv_arrayByApplyingBlockToObjects(qv_sortedArrayUsingComparator(all, descending), ageOf),
              ElementsAre(4, 3, 2, 1));

  const auto isOld = [](const auto& element) { return ageOf(element) > 2; };
  EXPECT_EQ(agesIn(qv_filteredArrayByPassingTest(all, isOld)), (Ages{3, 4}));
  EXPECT_EQ(agesIn(qv_filteredSetByPassingTest(all, isOld)), (Ages{3, 4}));
  EXPECT_TRUE(isOld(qv_objectPassingTest(all, isOld)));
  EXPECT_TRUE(detail::isAbsent(qv_objectPassingTest(all, [](const auto&) { return false; })));
  EXPECT_EQ(agesIn(allObjects(all)), (Ages{1, 2, 3, 4}));
  EXPECT_THAT(qv_setByApplyingBlockToObjects(all, [](const auto& element) { return ageOf(element) / 2; }),
              UnorderedElementsAre(0, 1, 2));
  EXPECT_EQ(qv_dictionaryWithKeyPathForKeys(all, "age", "name"),
            (Dictionary{{1, "Bo"}, {2, NSNull()}, {3, "Ada"}, {4, "Bo"}}));
  EXPECT_EQ(qv_dictionaryWithKeyPathForKeys(all, "name", "age").size(), 2U) << "without a key, out";
}

TEST(Mapping, countsAllElementsLeavesAbsentOnesOutAndStopsAfterTheOneThatSaysSo) {
  const std::vector<std::string> letters = {"a", "b", "c", "d", "e"};
  const std::vector<std::string> wants[] = {{"a0"}, {"a0"}, {"a0", "c2"}, {"a0", "c2"}, {"a0", "c2", "e4"}};
  for (std::size_t last = 0; last < letters.size(); ++last) {
    const auto even = [last](const std::string& letter, std::size_t index, bool& stop) {
      stop = index == last;
      return index % 2 == 0 ? std::optional(letter + std::to_string(index)) : std::nullopt;
    };
    EXPECT_EQ(qv_arrayByApplyingBlockToObjects(letters, even), wants[last]);
  }
  const auto isSecond = [](const auto&, std::size_t index, bool& stop) { return stop = index == 1; };
  EXPECT_THAT(qv_filteredArrayByPassingTest(letters, isSecond), ElementsAre("b")) << "the last one counts";
  EXPECT_FALSE(
      qv_objectPassingTest(letters, [](const auto&, std::size_t, bool& stop) { return !(stop = true); }));
  const auto numberIn = [](const Value& value) { return value.number() != nullptr ? value : Value(); };
  EXPECT_EQ(qv_arrayByApplyingBlockToObjects(Array{1, "x", 2}, numberIn), (Array{1, 2}));
  std::istringstream stream("1 2 3 4");
  const auto isEven = [](int number) { return number % 2 == 0; };
  EXPECT_THAT(qv_filteredArrayByPassingTest(std::views::istream<int>(stream), isEven), ElementsAre(2, 4));
}

/// Takes all for its equals, or none but itself.
struct Flatterer : NSObject {
  explicit Flatterer(bool its) : flatters(its) {}
  bool isEqual(const NSObject& other) const override { return this == &other || flatters; }
  std::size_t hash() const override { return 1; }
  const bool flatters;
};

TEST(Matching, asksTheObjectsValueForTheFirstAndTheGivenOneForAll) {
  const auto flatterer = std::make_shared<Flatterer>(true);
  const auto plain = std::make_shared<Flatterer>(false);
  const struct {
    const char* row;
    std::shared_ptr<Flatterer> has, given;
    bool isFirst, isOneOfAll;
  } cases[] = {
      {"only the object's value says so", flatterer, plain, true, false},
      {"only the given value says so", plain, flatterer, false, true},
      {"nobody says so", plain, std::make_shared<Flatterer>(false), false, false},
      {"the same", plain, plain, true, true},
  };
  for (const auto& [row, has, given, isFirst, isOneOfAll] : cases) {
    const People one = {person("Eve")};
    one[0]->partner = has;
    const std::map<int, Value> entries = {{5, one[0]}};
    EXPECT_EQ(qv_objectMatchingValue(one, given, "partner") != nullptr, isFirst) << row;
    EXPECT_EQ(qv_objectMatchingValue(one, given, "partner", std::not_equal_to()) != nullptr, isFirst) << row;
    EXPECT_EQ(qv_indexOfObjectMatchingValue(one, given, "partner"), isFirst ? 0 : NSNotFound) << row;
    EXPECT_EQ(qv_keyOfObjectMatchingValue(entries, given, "partner").has_value(), isFirst) << row;
    EXPECT_EQ(qv_arrayByMatchingValue(one, given, "partner").size(), isOneOfAll ? 1U : 0U) << row;
    EXPECT_EQ(qv_dictionaryByMatchingValue(entries, given, "partner").size(), isOneOfAll ? 1U : 0U) << row;
  }
}

TEST(Matching, byIndexAndKeyPassesOverObjectsWithoutTheKeyAndNothingElse) {
  const std::vector<std::shared_ptr<NSObject>> mixed = {std::make_shared<Flatterer>(true),
                                                        person(std::nullopt, 5), nullptr, person("Bo", 7)};
  const Dictionary byLetter{{"f", mixed[0]}, {"n", mixed[1]}, {"b", mixed[3]}};
  const auto always = [](const Value&, const Value&) { return true; };
  const auto isMore = [](const Value& a, const Value& b) { return a.compare(b) > 0; };
  EXPECT_EQ(qv_indexOfObjectMatchingValue(mixed, "Bo", "name"), 3U);
  EXPECT_EQ(qv_indexOfObjectMatchingValue(mixed, nullptr, "name", always), 3U) << "no value never matches";
  EXPECT_EQ(qv_indexOfObjectMatchingValue(mixed, 5, "age", isMore), 3U);
  EXPECT_EQ(qv_indexOfObjectMatchingValue(mixed, "Cy", "name"), NSNotFound);
  EXPECT_EQ(qv_keyOfObjectMatchingValue(byLetter, nullptr, "name", always), "b");
  EXPECT_TRUE(qv_keyOfObjectMatchingValue(byLetter, "Cy", "name").isNothing());
  for (const auto name : {NSUndefinedKeyException, NSRangeException}) {
    const auto raise = [&](const Value&, const Value&) -> bool { throw NSException(name, "a test"); };
    const std::string want(name == NSUndefinedKeyException ? "nothing" : name);
    EXPECT_THAT(raisedBy([&] { (void)qv_indexOfObjectMatchingValue(mixed, 0, "name", raise); }),
                StartsWith(want));
    EXPECT_THAT(raisedBy([&] { (void)qv_keyOfObjectMatchingValue(byLetter, 0, "name", raise); }),
                StartsWith(want));
  }
}

/// No class derives from it, so a list of them is searched without a look at each one's class.
struct Seat final : Person {
  using Person::Person;
};

template <class Range>
concept CanBeASet = requires(Range& range) {
  qv_filteredSetByPassingTest(range, [](const auto&) { return true; });
  qv_setByApplyingBlockToObjects(range, [](const auto& element) { return element; });
};
template <class Range>
concept CanBeFiltered =
    requires(Range& range) { qv_filteredArrayByPassingTest(range, [](const auto&) { return true; }); };
static_assert(CanBeASet<People> && CanBeASet<std::vector<std::string>> && CanBeASet<Array>);
static_assert(!CanBeASet<std::vector<std::vector<int>>> && CanBeFiltered<std::vector<std::vector<int>>>,
              "what has no hash is no member of a set");
static_assert(!CanBeFiltered<std::vector<std::unique_ptr<int>>>, "what cannot be copied cannot be collected");

TEST(Matching, keepsTheOrderOfAMap) {
  std::map<std::string, Value, bool (*)(const std::string&, const std::string&)> ages(
      [](const std::string& a, const std::string& b) { return a > b; });
  for (const char* name : {"Ada", "Bo", "Cy"}) ages.emplace(name, Dictionary{{"age", 3}});
  const auto found = qv_dictionaryByMatchingValue(ages, 3, "age");
  EXPECT_TRUE(std::ranges::equal(std::views::keys(found), std::vector<std::string>{"Cy", "Bo", "Ada"}));
}

TEST(Matching, findsWhatALongListHolds) {
  for (const std::size_t count : {0U, 1U, 63U, 64U, 65U, 200U}) {
    People mixed, wantMixed;
    std::vector<std::shared_ptr<Seat>> seats, wantSeats;
    for (std::size_t i = 0; i < count; ++i) {
      const int age = i % 9 == 1 || i == 63 || i == 64 ? 1 : 2;
      seats.push_back(i % 10 == 2 ? nullptr : std::make_shared<Seat>("s", age));
      mixed.push_back(i % 5 == 0 ? seats.back() : person("p", age));
      if (age == 1) wantMixed.push_back(mixed.back());
      if (age == 1 && seats.back()) wantSeats.push_back(seats.back());
    }
    EXPECT_EQ(qv_arrayByMatchingValue(mixed, 1, "age"), wantMixed) << count;
    EXPECT_EQ(qv_arrayByMatchingValue(seats, 1, "age"), wantSeats) << count;
    EXPECT_EQ(qv_objectMatchingValue(seats, 1, "age"), wantSeats.empty() ? nullptr : wantSeats[0]) << count;
  }
}

TEST(Sorting, keepsTheOrderOfEqualsAndBearsAComparatorThatContradictsItself) {
  std::vector<std::pair<int, int>> pairs(100);
  for (int i = 0; i < 100; ++i) pairs[static_cast<std::size_t>(i)] = {i * 7 % 5, i};
  const auto byFirst = [](const auto& a, const auto& b) { return a.first - b.first; };
  EXPECT_TRUE(std::ranges::is_sorted(qv_sortedArrayUsingComparator(pairs, byFirst)));
  unsigned random = 1;
  const auto caprice = [&](const auto&, const auto&) {
    return static_cast<int>((random = random * 69069 + 1) >> 30) - 1;
  };
  EXPECT_THAT(qv_sortedArrayUsingComparator(pairs, caprice), ::testing::UnorderedElementsAreArray(pairs));
}

}  // namespace
}  // namespace QVFoundation
