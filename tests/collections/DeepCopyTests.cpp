#include <deque>
#include <functional>

#include <gmock/gmock.h>

#include "QVFoundation/Collections.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "tests/collections/Person.h"
#include "tests/platform/runtime/RaisedException.h"
#include "tests/platform/runtime/SmallStack.h"

namespace QVFoundation {
namespace {

using ::testing::HasSubstr;
using testing::Person;
using testing::person;
using testing::raisedBy;

/// Never changes, so it is its own copy.
struct Constant : NSObject {
  std::shared_ptr<NSObject> copy() const override {
    return std::const_pointer_cast<NSObject>(shared_from_this());
  }
};

std::shared_ptr<Person> personIn(const Value& value) {
  return value.as<std::shared_ptr<Person>>().value_or(nullptr);
}

TEST(DeepCopy, copiesTheObjectsInArraysAndDictionariesOfAllLevels) {
  const auto ada = person("Ada");
  const auto constant = std::make_shared<Constant>();
  const Array shared{ada};
  const Dictionary original{{"direct", ada},
                            {"deep", Array{1, Dictionary{{"x", Array{"t", ada, Set{ada}}}}, constant}},
                            {"twice", Array{shared, shared}},
                            {ada, "as a key"},
                            {"none", Array{Array(), NSNull(), Dictionary()}}};
  const Dictionary copy = qv_deepCopy(original);
  EXPECT_EQ(copy.size(), original.size());
  const Array deep = copy["deep"].array()[1]["x"].array();
  const Array twice = copy["twice"].array();
  const std::shared_ptr<Person> copies[] = {personIn(copy["direct"]), personIn(deep[1]),
                                            personIn(twice[0].array()[0]), personIn(twice[1].array()[0])};
  for (const auto& each : copies) {
    EXPECT_TRUE(each && each != ada && each->name == "Ada");
    EXPECT_EQ(std::ranges::count(copies, each), 1) << "each place has a copy of its own";
  }
  EXPECT_TRUE(deep[0] == "t" && deep[2] == (Set{ada})) << "a set is copied as a value";
  EXPECT_EQ(copy["deep"].array()[2], constant);
  EXPECT_EQ(copy[Value(ada)], "as a key");
  EXPECT_EQ(copy["none"], original["none"]);
  EXPECT_EQ(original["direct"], ada);
}

TEST(DeepCopy, copiesTypedListsMapsAndSingleValues) {
  const std::map<int, std::vector<std::shared_ptr<Person>>> original = {{1, {person("Ada"), nullptr}}};
  const auto copy = qv_copyMutableContainers(original);
  EXPECT_TRUE(copy.at(1)[0] != original.at(1)[0] && copy.at(1)[0]->name == "Ada" && copy.at(1)[1] == nullptr);
  const std::unordered_map<int, Value> values = {{1, Array{person("Bo")}}};
  EXPECT_EQ(personIn(qv_deepCopy(values).at(1).array()[0])->name, "Bo");
  EXPECT_NE(personIn(qv_deepCopy(values.at(1).array()[0])), personIn(values.at(1).array()[0]));
  const std::deque<std::shared_ptr<Person>> queue = {person("Cy")};
  EXPECT_TRUE(qv_deepCopy(queue)[0] != queue[0] && qv_deepCopy(queue)[0]->name == "Cy");
  const std::map<std::string, std::vector<int>, std::greater<>> numbers = {{"a", {1, 2}}, {"b", {}}};
  EXPECT_EQ(qv_deepCopy(numbers), numbers);
  EXPECT_EQ(qv_deepCopy(std::vector<bool>{true, false}), (std::vector<bool>{true, false}));
  EXPECT_EQ(qv_deepCopy(std::string("text")), "text");
  EXPECT_TRUE(qv_deepCopy(Value()).isNothing() && qv_deepCopy(Value(5)) == 5 && qv_deepCopy(Array()).empty());
}

TEST(DeepCopy, refusesACopyThatIsNoneOfItsKind) {
  struct Broken : Person {
    using Person::Person;
    std::shared_ptr<NSObject> copy() const override {
      return age == 0 ? nullptr : std::static_pointer_cast<NSObject>(std::make_shared<Constant>());
    }
  };
  const auto null = std::make_shared<Broken>("null", 0);
  const auto other = std::make_shared<Broken>("other", 1);
  EXPECT_THAT(raisedBy([&] { (void)qv_deepCopy(Dictionary{{"k", null}}); }), HasSubstr("null"));
  EXPECT_THAT(raisedBy([&] { (void)qv_deepCopy(std::vector{other}); }), HasSubstr("another class"));
}

TEST(DeepCopy, bearsAnyDepthAndWhatSharesItselfABillionTimes) {
  testing::onSmallStack([] {
    const auto ada = person("Ada");
    for (const bool inArray : {true, false}) {
      Value nested = ada;
      for (int i = 0; i < 100'000; ++i)
        nested = inArray ? Value(Array{nested}) : Value(Dictionary{{"k", nested}});
      Value innermost = qv_deepCopy(nested);
      while (innermost.kind() != ValueKind::object)
        innermost = inArray ? Value(innermost.array()[0]) : innermost["k"];
      EXPECT_TRUE(personIn(innermost) != ada && personIn(innermost)->name == "Ada");
    }
    Value laughs = Array{"ha"};
    for (int i = 0; i < 200; ++i) laughs = Array{laughs, Dictionary{{"k", laughs}}};
    EXPECT_EQ(qv_deepCopy(laughs).array().begin(), laughs.array().begin())
        << "nothing in it had to be copied";
  });
}

}  // namespace
}  // namespace QVFoundation
