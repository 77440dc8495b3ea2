#include <algorithm>
#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/Dictionary.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/runtime/Set.h"
#include "tests/platform/runtime/RaisedException.h"

namespace QVFoundation {
namespace {

using ::testing::ElementsAre;
using testing::raisedBy;

/// Equal to all of its kind, whatever it prints.
class Alike : public NSObject {
public:
  explicit Alike(std::string text) : text_(std::move(text)) {}
  bool isEqual(const NSObject& other) const override { return dynamic_cast<const Alike*>(&other) != nullptr; }
  std::size_t hash() const override { return 1; }
  std::string description() const override { return text_; }

private:
  std::string text_;
};

TEST(Collections, copiesAreIndependentAtEveryLevel) {
  const Array inner{1, 2};
  const Dictionary original{{"list", inner}, {"set", Set{1}}, {"name", "first"}};
  Dictionary copy = original;
  Array list = copy["list"].array();
  list.append(3);
  copy.set("list", list);
  Set set = copy["set"].set();
  set.add(2);
  copy.set("set", set);
  list.remove(0);

  EXPECT_EQ(inner, (Array{1, 2}));
  EXPECT_EQ(original, (Dictionary{{"list", Array{1, 2}}, {"set", Set{1}}, {"name", "first"}}));
  EXPECT_EQ(copy, (Dictionary{{"list", Array{1, 2, 3}}, {"set", Set{1, 2}}, {"name", "first"}}));
  EXPECT_EQ(list, (Array{2, 3}));
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

TEST(Collections, threadsWriteTheirOwnCopiesOfWhatTheyShare) {
  const Dictionary shared{
      {"list", Array{1, 2, 3}}, {"counts", Dictionary{{"a", 0}}}, {"error", NSError("D", 1)}};
  std::atomic<int> faults = 0;
  std::vector<std::jthread> threads;
  threads.reserve(4);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([own = shared, t, &faults] {
      for (int i = 0; i < 200; ++i) {
        Dictionary copy = own;
        Dictionary counts = copy["counts"].dictionary();
        counts.set("a", t * 1000 + i);
        copy.set("counts", counts);
        Array list = copy["list"].array();
        list.set(0, t);
        copy.set("list", list);
        if (copy["counts"]["a"] != t * 1000 + i || own["counts"]["a"] != 0 || list != Array{t, 2, 3})
          ++faults;
        if (copy["error"].error()->localizedDescription().empty()) ++faults;
      }
    });
  }
  threads.clear();
  EXPECT_EQ(faults, 0);
  EXPECT_EQ(shared["list"], (Array{1, 2, 3}));
}

TEST(Array, isEditedByIndex) {
  Array array{"b"};
  array.insert(0, "a");
  array.insert(2, "d");
  array.set(2, "c");
  EXPECT_THAT(array, ElementsAre(Value("a"), Value("b"), Value("c")));
  array.remove(1);
  EXPECT_THAT(array, ElementsAre(Value("a"), Value("c")));
  EXPECT_TRUE(array.contains("c") && !array.contains("b"));
  array.remove(0);
  array.remove(0);
  EXPECT_TRUE(array.empty() && array.begin() == array.end());
  EXPECT_EQ(array, Array());
}

TEST(Array, refusesIndexesPastItsEnd) {
  const struct {
    const char* row;
    std::function<void(Array&)> call;
    std::string_view reason;
  } cases[] = {
      {"read", [](Array& a) { (void)a[2]; }, "Array index 2 is beyond the array's 2 elements"},
      {"set", [](Array& a) { a.set(2, 1); }, "Array index 2 is beyond the array's 2 elements"},
      {"insert", [](Array& a) { a.insert(3, 1); }, "Array index 3 is beyond the array's 2 elements"},
      {"remove", [](Array& a) { a.remove(2); }, "Array index 2 is beyond the array's 2 elements"},
      {"minus one", [](Array& a) { (void)a[SIZE_MAX]; },
       "Array index 18446744073709551615 is beyond the array's 2 elements"},
      {"empty", [](Array&) { (void)Array()[0]; }, "Array index 0 is beyond the array's 0 elements"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.row);
    Array array{1, 2};
    const auto raised = raisedBy([&] { c.call(array); });
    EXPECT_EQ(raised.name, NSRangeException);
    EXPECT_EQ(raised.reason, c.reason);
    EXPECT_EQ(array, (Array{1, 2}));
  }
}

TEST(Dictionary, findsTextHoweverItIsWrittenAndNumbersByTheirWorth) {
  const Dictionary dictionary{{"name", 1}, {0, "zero"}, {true, "one"}, {Array{1}, "list"}};
  EXPECT_EQ(dictionary["name"], 1);
  EXPECT_EQ(dictionary[std::string("name")], 1);
  EXPECT_EQ(dictionary[std::string_view("name!").substr(0, 4)], 1);
  EXPECT_EQ(dictionary[Value("name")], 1);
  EXPECT_EQ(dictionary[0], "zero") << "a literal zero is no null pointer";
  EXPECT_EQ(dictionary[1.0], "one");
  EXPECT_EQ(dictionary[Array{1.0}], "list");
  EXPECT_TRUE(dictionary["0"].isNothing() && !dictionary.contains("0") && dictionary.contains(0));
  EXPECT_EQ(Value(dictionary)["name"], 1);
  EXPECT_TRUE(Value(3)["name"].isNothing());
}

TEST(Dictionary, nothingAsValueRemovesAndAsKeyIsRefused) {
  Dictionary dictionary{{"a", 1}, {"b", nullptr}, {"a", 2}, {"c", NSNull{}}};
  EXPECT_EQ(dictionary, (Dictionary{{"c", NSNull{}}, {"a", 2}}));
  dictionary.set("a", nullptr);
  dictionary.remove("missing");
  EXPECT_EQ(dictionary.keys(), std::vector<Value>{"c"});
  EXPECT_EQ(raisedBy([&] { dictionary.set(nullptr, 1); }).name, NSInvalidArgumentException);
  EXPECT_EQ(raisedBy([&] { (void)Dictionary{{{}, 1}}; }).name, NSInvalidArgumentException);
  EXPECT_TRUE(dictionary[nullptr].isNothing());
}

// Orders that contradict each other would let a sort run past its range.
TEST(Dictionary, sortsKeysOfAllKindsInOneOrder) {
  std::vector<Value> ascending = {NSNull{}, 9, 10, 95.5, "1a", "9", "a"};
  ascending.emplace_back(std::make_shared<Alike>("only one of these fits"));
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
  const auto first = std::make_shared<Alike>("first");
  Set set{1, first, true, 1.0, NSNull{}};
  EXPECT_EQ(set.size(), 3U);
  EXPECT_FALSE(set.add(std::make_shared<Alike>("second")));
  EXPECT_TRUE(std::ranges::any_of(set, [&](const Value& member) { return member.object() == first; }));
  EXPECT_TRUE(set.remove(1U) && !set.remove(1U) && !set.contains(1));
}

TEST(Values, equalOnesHashAlikeHoweverTheyWereBuilt) {
  Dictionary grown;
  for (int i = 0; i < 100; ++i) grown.set(i, Array{i});
  Dictionary grownBackwards;
  for (int i = 99; i >= 0; --i) grownBackwards.set(i * 1.0, Array{i});
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
      {std::make_shared<Alike>("a"), std::make_shared<Alike>("b")},
      {NSData(100, std::byte{1}), NSData(100, std::byte{1})},
  };
  for (const auto& [a, b] : equals) {
    SCOPED_TRACE(a.description());
    EXPECT_EQ(a, b);
    EXPECT_EQ(a.hash(), b.hash());
    EXPECT_EQ(a.compare(b), std::partial_ordering::equivalent);
  }
}

TEST(Values, differInKindOrContent) {
  const Value all[] = {nullptr,
                       NSNull{},
                       0,
                       "",
                       "0",
                       NSData{},
                       NSDate{},
                       Array{},
                       Array{0},
                       Array{0, 0},
                       Array{nullptr},
                       Dictionary{},
                       Dictionary{{0, 0}},
                       Dictionary{{0, 1}},
                       Dictionary{{1, 0}},
                       Set{},
                       Set{0},
                       Set{1},
                       Array{Value(Array{0})},
                       Array{Value(Array{1})},
                       Set{Value(Set{0})},
                       NSError("D", 0),
                       NSError(std::nullopt, 0),
                       NSError("D", 1),
                       NSError("D", 0, {{"a", 1}}),
                       std::make_shared<Alike>("")};
  for (const Value& a : all) {
    for (const Value& b : all) EXPECT_EQ(a == b, &a == &b) << a.description() << " and " << b.description();
  }
}

TEST(Values, orderTextByItsBytesAndNothingAcrossKinds) {
  EXPECT_EQ(Value("Z").compare("a"), std::partial_ordering::less);
  EXPECT_EQ(Value("é").compare("z"), std::partial_ordering::greater);
  EXPECT_EQ(Value(NSDate{}).compare(NSDate(std::chrono::seconds(1))), std::partial_ordering::less);
  EXPECT_EQ(Value(NSData{std::byte{2}}).compare(NSData{std::byte{1}, std::byte{9}}),
            std::partial_ordering::greater);
  EXPECT_EQ(Value(1).compare("1"), std::partial_ordering::unordered);
  EXPECT_EQ(Value(Array{1}).compare(Array{2}), std::partial_ordering::unordered);
}

}  // namespace
}  // namespace QVFoundation
