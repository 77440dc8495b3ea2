#include <algorithm>
#include <atomic>
#include <thread>

#include <gmock/gmock.h>

#include "QVFoundation/Platform.h"
#include "tests/platform/runtime/RaisedException.h"

namespace QVFoundation {
namespace {

using testing::raisedBy;
using ::testing::StartsWith;

/// Equal to all of its kind.
struct Alike : NSObject {
  std::string description() const override { return "all the same"; }
  bool isEqual(const NSObject& other) const override { return dynamic_cast<const Alike*>(&other) != nullptr; }
  std::size_t hash() const override { return 1; }
};

TEST(Collections, areChangedByThreadsEachInItsOwnCopy) {
  const Dictionary shared{{"list", Array{1, 2}}, {"set", Set{1}}, {"error", NSError("D", 1)}};
  std::atomic<int> faults = 0;
  std::vector<std::jthread> threads;
  threads.reserve(4);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([own = shared, t, &faults] {
      for (int i = 0; i < 200; ++i) {
        Dictionary copy = own;
        Array list = copy["list"].array();
        list.append(t);
        copy.set("list", list);
        list.remove(0);
        Set set = copy["set"].set();
        set.add(i + 2);
        faults += copy["list"] != Array{1, 2, t} || own["list"] != Array{1, 2} || list != Array{2, t};
        faults += set != Set{i + 2, 1} || own["set"] != Set{1};
        list.set(0, i);
        list.insert(2, i);
        faults += list != Array{i, t, i} || !list.contains(i);
        faults += copy["error"].error()->localizedDescription().empty();
      }
    });
  }
  threads.clear();
  EXPECT_EQ(faults, 0);
}

TEST(Collections, mayContainThemselvesAsTheyWere) {
  Array array{1};
  array.append(array);
  array.insert(0, array[1]);
  EXPECT_EQ(array, (Array{Value(Array{1}), 1, Array{1}}));
  Dictionary dictionary{{"a", 1}};
  dictionary.set("self", dictionary);
  EXPECT_EQ(dictionary, (Dictionary{{"a", 1}, {"self", Dictionary{{"a", 1}}}}));
}

TEST(Array, refusesIndexesPastItsEnd) {
  const std::pair<void (*)(Array&), std::string> cases[] = {
      {[](Array& a) { (void)a[2]; }, "Array index 2 is beyond the array's 2 elements"},
      {[](Array& a) { a.set(2, 1); }, "Array index 2 is"},
      {[](Array& a) { a.insert(3, 1); }, "Array index 3 is"},
      {[](Array& a) { a.remove(2); }, "Array index 2 is"},
      {[](Array& a) { a.remove(SIZE_MAX); }, "Array index 18446744073709551615 is"},
      {[](Array&) { (void)Array()[0]; }, "Array index 0 is beyond the array's 0 elements"},
  };
  for (const auto& [call, reason] : cases) {
    Array array{1, 2};
    EXPECT_THAT(raisedBy([&] { call(array); }), StartsWith("NSRangeException: " + reason));
    EXPECT_EQ(array, (Array{1, 2}));
  }
}

TEST(Dictionary, findsTextHoweverItIsWrittenAndNumbersByTheirWorth) {
  const Dictionary dictionary{{"name", 1}, {0, "zero"}, {true, "one"}, {Array{1}, "list"}};
  EXPECT_TRUE(dictionary["name"] == 1 && dictionary[Value("name")] == 1 && Value(dictionary)["name"] == 1);
  EXPECT_EQ(dictionary[std::string_view("name!").substr(0, 4)], 1);
  EXPECT_EQ(dictionary[0], "zero") << "a literal zero is no null pointer";
  EXPECT_TRUE(dictionary[1.0] == "one" && dictionary[Array{1.0}] == "list");
  EXPECT_TRUE(!dictionary.contains("0") && dictionary.contains(0) && dictionary.contains("name"));
}

TEST(Dictionary, nothingAsValueRemovesAndAsKeyIsRefused) {
  Dictionary dictionary{{"a", 1}, {"b", nullptr}, {"a", 2}, {"c", NSNull{}}};
  EXPECT_EQ(dictionary, (Dictionary{{"c", NSNull{}}, {"a", 2}}));
  dictionary.set("a", nullptr);
  EXPECT_EQ(dictionary.keys(), std::vector<Value>{"c"});
  EXPECT_THAT(raisedBy([&] { dictionary.set(nullptr, 1); }), StartsWith(NSInvalidArgumentException));
  EXPECT_TRUE(dictionary[nullptr].isNothing());
}

// Orders that contradict each other would let a sort run past its range.
TEST(Dictionary, sortsKeysOfAllKindsInOneOrder) {
  const auto object = std::make_shared<Alike>();
  const std::vector<Value> ascending = {NSNull{}, 9, 10, 95.5, "9", "a", Array{1}, Array{2}, object};
  auto shuffled = ascending;
  do {
    Dictionary dictionary;
    for (const Value& key : shuffled) dictionary.set(key, 1);
    std::vector<Value> sorted;
    for (const auto& [key, value] : dictionary.sortedEntries()) sorted.push_back(key);
    ASSERT_EQ(sorted, ascending);
    std::ranges::rotate(shuffled, shuffled.begin() + 3);
  } while (shuffled != ascending);
}

TEST(Set, keepsTheFirstOfEqualMembers) {
  const auto first = std::make_shared<Alike>();
  Set set{1, true, 1.0, first};
  EXPECT_FALSE(set.add(std::make_shared<Alike>()));
  EXPECT_TRUE(set.remove(1U) && !set.remove(1U) && !set.contains(1));
  EXPECT_TRUE(set.size() == 1 && set.begin()->object() == first);
}

TEST(Values, equalOnesHashAlikeHoweverTheyWereBuilt) {
  Dictionary grown;
  Dictionary grownBackwards;
  for (int i = 0; i < 100; ++i) {
    grown.set(i, Array{i});
    grownBackwards.set(99.0 - i, Array{99 - i});
  }
  Set shrunk{1, 2, 3, 4};
  shrunk.remove(4);
  Array emptied{1};
  emptied.remove(0);
  const std::pair<Value, Value> equals[] = {
      {grown, grownBackwards},
      {Set{3, 2, 1}, shrunk},
      {emptied, Array()},
      {Array{1, Array{2.0}, "x"}, Array{1.0, Array{2}, "x"}},
      {Set{Set{1}, Set{2}}, Set{Set{2.0}, Set{true}}},
      {NSError("D", 1, {{"a", grown}}), NSError("D", 1, {{"a", grownBackwards}})},
      {std::make_shared<Alike>(), std::make_shared<Alike>()},
      {NSData(100, std::byte{1}), NSData(100, std::byte{1})},
  };
  for (const auto& [a, b] : equals) {
    EXPECT_EQ(a.compare(b), std::partial_ordering::equivalent) << a.description();
    EXPECT_EQ(a.hash(), b.hash()) << a.description();
  }
}

TEST(Values, differInKindOrContent) {
  const NSError error("D", 0);
  const auto object = std::make_shared<Alike>();
  const std::vector<Value> groups[] = {
      {nullptr, NSNull{}, 0, "", "0", NSData{}, NSDate{}, Array{}, Dictionary{}, Set{}, error, object},
      {Array{}, Array{0, 0}, Array{nullptr}, Array{Value(Array{0})}, Array{Value(Array{1})}},
      {Dictionary{{0, 0}}, Dictionary{{0, 1}}, Dictionary{{1, 0}}},
      {Set{0}, Set{1}, Set{Value(Set{0})}},
      {error, NSError(std::nullopt, 0), NSError("", 0), NSError("D", 1), NSError("D", 0, {{"a", 1}})},
  };
  for (const auto& group : groups) {
    for (const Value& a : group) {
      for (const Value& b : group) EXPECT_EQ(a == b, &a == &b) << a.description() << ", " << b.description();
    }
  }
}

TEST(Values, orderTextByItsBytesAndNothingAcrossKinds) {
  EXPECT_EQ(Value("Z").compare("a"), std::partial_ordering::less);
  EXPECT_EQ(Value(NSDate{}).compare(NSDate(std::chrono::seconds(1))), std::partial_ordering::less);
  EXPECT_EQ(Value(NSData{std::byte{2}}).compare(NSData(2, std::byte{1})), std::partial_ordering::greater);
  EXPECT_EQ(Value(1).compare("1"), std::partial_ordering::unordered);
  EXPECT_EQ(Value(Array{1}).compare(Array{2}), std::partial_ordering::unordered);
}

}  // namespace
}  // namespace QVFoundation
