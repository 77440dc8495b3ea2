#include <cmath>
#include <deque>

#include <gmock/gmock.h>

#include "QVFoundation/Collections.h"
#include "tests/collections/Person.h"

namespace QVFoundation {
namespace {

using ::testing::ElementsAre;
using ::testing::Pair;
using testing::person;

/// Equal to all of its age.
struct Twin : testing::Person {
  explicit Twin(int its) : Person(std::nullopt, its) {}
  bool isEqual(const NSObject& other) const override {
    const auto* twin = dynamic_cast<const Twin*>(&other);
    return twin != nullptr && twin->age == age;
  }
  std::size_t hash() const override { return static_cast<std::size_t>(age); }
};

TEST(ArrayConveniences, makeAListAndRemoveAllThatIsEqual) {
  EXPECT_EQ(qv_objectAsArray(Array{1, 2}), (Array{1, 2}));
  EXPECT_EQ(qv_objectAsArray("x"), (Array{"x"}));
  EXPECT_TRUE(qv_objectAsArray(Value()).empty());
  const auto twin = [](int age) { return std::make_shared<Twin>(age); };
  const std::vector<std::shared_ptr<Twin>> twins = {twin(1), nullptr, twin(2), twin(1)};
  EXPECT_THAT(qv_objectAsArray(twins[0]), ElementsAre(twins[0]));
  EXPECT_THAT(qv_arrayByRemovingObject(twins, twin(1)), ElementsAre(nullptr, twins[2]));
  EXPECT_THAT(qv_arrayByRemovingObjectsInArray(twins, std::vector{twin(2), twins[3]}), ElementsAre(nullptr));
  EXPECT_EQ(qv_arrayByRemovingObject(Array{1, "1", 1.0, Array{1}}, 1), (Array{"1", Value(Array{1})}));
  EXPECT_EQ(qv_arrayByRemovingObjectsInArray(Array{1, 2, 3, 2}, std::vector{2, 3}), (Array{1}));
}

TEST(ArrayConveniences, insertInFrontOfEquals) {
  const auto order = [](int a, int b) { return a <=> b; };
  const std::vector<int> numbers = {1, 1, 3, 3, 5, 5, 7};
  for (std::size_t size = 0; size <= numbers.size(); ++size) {
    const std::span sorted(numbers.data(), size);
    for (int object = 0; object < 9; ++object) {
      const auto want = std::ranges::lower_bound(sorted, object) - sorted.begin();
      EXPECT_EQ(qv_insertionIndexForObject(sorted, object, order), static_cast<std::size_t>(want));
    }
  }
  std::deque<int> ages = {1, 3, 7};
  qv_insertObject(ages, 5, order);
  EXPECT_THAT(ages, ElementsAre(1, 3, 5, 7));
  Array values{1, 3};
  qv_insertObject(values, 2, [](const Value& a, const Value& b) { return a.compare(b); });
  EXPECT_EQ(values, (Array{1, 2, 3}));
}

TEST(DictionaryConveniences, readBooleansAndIntegers) {
  const struct {
    Value value;
    bool boolean;
    std::int32_t integer;
  } cases[] = {
      {nullptr, false, 0},
      {Array{1}, false, 0},
      {-2.9, true, -2},
      {std::nan(""), true, 0},
      {1e300, true, INT32_MAX},
      {INT64_MIN, true, INT32_MIN},
      {std::uint64_t{4294967297}, true, INT32_MAX},
      {" \t+0017 apples", true, 17},
      {"-2147483649", true, INT32_MIN},
      {"99999999999999999999999", true, INT32_MAX},
      {"+-3", false, 0},
      {"yes", true, 0},
      {"-00", false, 0},
      {" ", false, 0},
  };
  for (const auto& [value, boolean, integer] : cases) {
    const Dictionary dictionary{{"key", value}};
    EXPECT_EQ(boolForKey(dictionary, "key"), boolean) << value.description();
    EXPECT_EQ(integerForKey(dictionary, "key"), integer) << value.description();
  }
}

TEST(DictionaryConveniences, invertFindAndRemoveByValue) {
  Dictionary dictionary{{"a", 1}, {"b", 2}, {"c", 1.0}};
  std::map<std::string, int> map = {{"a", 1}, {"b", 2}, {"c", 1}};
  EXPECT_EQ(qv_inverseDictionary(dictionary)[2], "b");
  EXPECT_EQ(qv_inverseDictionary(dictionary).size(), 2U);
  EXPECT_THAT(qv_inverseDictionary(map), ElementsAre(Pair(1, "a"), Pair(2, "b")));
  EXPECT_TRUE(containsObject(dictionary, 1) && !containsObject(dictionary, "a") && containsObject(map, 2));
  removeObject(dictionary, dictionary["a"]);
  removeObject(map, map["a"]);
  EXPECT_EQ(dictionary, (Dictionary{{"b", 2}}));
  EXPECT_THAT(map, ElementsAre(Pair("b", 2)));
}

TEST(DictionaryConveniences, makeWhatIsMissingOnce) {
  Dictionary dictionary;
  std::map<int, std::shared_ptr<testing::Person>> map;
  int calls = 0;
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(qv_objectForKey(dictionary, "k", [&] { return ++calls; }), 1);
    const auto ada = qv_objectForKey(map, 1, [&] { return person("Ada", ++calls); });
    EXPECT_EQ(ada, map.at(1));
  }
  EXPECT_EQ(calls, 2);
  EXPECT_TRUE(qv_objectForKey(dictionary, "absent", [] { return Value(); }).isNothing());
  EXPECT_TRUE(qv_objectForKey(dictionary, "absent", std::function<Value()>()).isNothing());
  EXPECT_TRUE(qv_objectForKey(dictionary, "absent", nullptr).isNothing());
  EXPECT_EQ(qv_objectForKey(map, 2, [] { return nullptr; }), nullptr);
  EXPECT_EQ(map.size() + dictionary.size(), 2U);
  EXPECT_THROW(qv_objectForKey(map, 3, []() -> std::shared_ptr<testing::Person> { throw 1; }), int);
  qv_objectForKey(dictionary, "outer",
                  [&] { return qv_objectForKey(dictionary, "inner", [] { return 5; }); });
  EXPECT_EQ(dictionary, (Dictionary{{"k", 1}, {"outer", 5}, {"inner", 5}}));
}

TEST(DictionaryConveniences, splitAChangeIntoWhatCameAndWhatWent) {
  const struct {
    Dictionary change;
    Set added, removed;
  } cases[] = {
      {{{"new", Array{1, 2, 3, 3}}, {"old", Array{2, 4}}}, {1, 3}, {4}},
      {{{"new", Array{1}}}, {1}, {}},
      {{{"new", 5}, {"old", Array{1}}}, {}, {1}},
      {{{"new", NSNull()}, {"old", "text"}}, {}, {}},
      {{}, {}, {}},
  };
  for (const auto& [change, wantAdded, wantRemoved] : cases) {
    Set added{9}, removed{9};
    qv_kvoChangeGetAddedObjects(change, &added, &removed);
    qv_kvoChangeGetAddedObjects(change, nullptr, nullptr);
    EXPECT_EQ(added, wantAdded) << change.description();
    EXPECT_EQ(removed, wantRemoved) << change.description();
  }
}

}  // namespace
}  // namespace QVFoundation
