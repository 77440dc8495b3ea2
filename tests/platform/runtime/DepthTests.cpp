// What is nested or chained 100,000 deep is made, described, compared, hashed, converted and let go on the
// stack of a small thread. The bound on the time of the whole program keeps each of these linear.

#include <memory>
#include <ostream>
#include <string>

#include <gtest/gtest.h>

#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/Dictionary.h"
#include "QVFoundation/platform/runtime/ErrorConversion.h"
#include "QVFoundation/platform/runtime/KeyValueCoding.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/runtime/Set.h"
#include "tests/platform/runtime/SmallStack.h"

namespace QVFoundation {
namespace {

using testing::onSmallStack;

constexpr int depth = 100'000;

class Link : public NSObject {
public:
  explicit Link(Value next) : next_(std::move(next)) {}
  std::string description() const override { return next_.description(); }

private:
  Value next_;
};

struct Nesting {
  const char* row;
  bool isComparedToTheEnd;
  Value (*wrap)(const Value& inner);

  friend void PrintTo(const Nesting& nesting, std::ostream* out) { *out << nesting.row; }
};

const Nesting nestings[] = {
    {"arrays", true, [](const Value& inner) { return Value(Array{inner}); }},
    {"dictionaries", true, [](const Value& inner) { return Value(Dictionary{{"k", inner}}); }},
    {"sets", false, [](const Value& inner) { return Value(Set{inner}); }},
    {"keys", false, [](const Value& inner) { return Value(Dictionary{{inner, 1}}); }},
    {"causes", true,
     [](const Value& inner) { return Value(NSError("D", 1, {{NSUnderlyingErrorKey, inner}})); }},
    {"listsOfCauses", true,
     [](const Value& inner) {
       return Value(NSError("D", 1, {{NSMultipleUnderlyingErrorsKey, Array{inner}}}));
     }},
    {"arraysOfObjects", false,
     [](const Value& inner) { return Value(Array{std::make_shared<Link>(inner)}); }},
};

Value nested(const Nesting& nesting, const Value& innermost) {
  Value value = nesting.wrap(innermost);
  for (int i = 1; i < depth; ++i) value = nesting.wrap(value);
  return value;
}

class Depth : public ::testing::TestWithParam<Nesting> {};

TEST_P(Depth, doesNotExhaustTheStack) {
  onSmallStack([] {
    const Value value = nested(GetParam(), "same");
    const Value equal = nested(GetParam(), "same");
    const Value other = nested(GetParam(), "other");
    EXPECT_EQ(value, Value(value));
    EXPECT_NE(value, other);
    EXPECT_EQ(value == equal, GetParam().isComparedToTheEnd);
    if (GetParam().isComparedToTheEnd) {
      EXPECT_EQ(value.hash(), equal.hash());
    }
    EXPECT_FALSE(value.description().empty());
    EXPECT_EQ(Set({value, Value(value)}).size(), 1U);
  });
}

INSTANTIATE_TEST_SUITE_P(Values, Depth, ::testing::ValuesIn(nestings),
                         [](const auto& test) { return test.param.row; });

TEST(Depth, describesAWholeChainOfCauses) {
  onSmallStack([] {
    NSError error("D", 0);
    for (int i = 1; i <= depth; ++i) error = NSError("D", i, {{NSUnderlyingErrorKey, error}, {"after", i}});
    const std::string text = error.description();
    EXPECT_TRUE(text.starts_with("Error Domain=D Code=100000 \""));
    EXPECT_NE(text.find("Error Domain=D Code=0 \""), std::string::npos);
    EXPECT_TRUE(text.ends_with("}, after=99999}}, after=100000}")) << text.substr(text.size() - 60);
    EXPECT_EQ(asNSError(std::make_exception_ptr(error)), error);
  });
}

TEST(Depth, describesBoxesInBoxes) {
  onSmallStack([] {
    NSError error("D", 0);
    for (int i = 1; i <= depth; ++i) error = NSError("D", i, {{"box", Value::boxed(error)}});
    EXPECT_TRUE(error.description().starts_with("Error Domain=D Code=100000 \""));
  });
}

TEST(Depth, cutsTextBelowTheHundredthLevelAndNotBefore) {
  Value value = "innermost";
  for (int i = 0; i < 101; ++i) value = Array{value};
  EXPECT_NE(value.description().find("innermost"), std::string::npos);
  EXPECT_EQ(Value(Array{value}).description().find("innermost"), std::string::npos);
}

TEST(Depth, refusesToAskForKeysThroughTooManyCollections) {
  onSmallStack([] {
    const Value arrays = nested(nestings[0], Dictionary{{"name", 1}});
    EXPECT_THROW((void)valueForKey(arrays, "name"), NSException);
  });
}

}  // namespace
}  // namespace QVFoundation
