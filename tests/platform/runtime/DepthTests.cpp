// What is nested or chained 100,000 deep is made, described, compared, hashed, converted and let go on the
// stack of a small thread. The bound on the time of the whole program keeps each of these linear.

#include <gmock/gmock.h>

#include "QVFoundation/Platform.h"
#include "tests/platform/runtime/SmallStack.h"

namespace QVFoundation {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr int depth = 100'000;

struct Link : NSObject {
  explicit Link(Value its) : next(std::move(its)) {}
  std::string description() const override { return next.description(); }
  Value next;
};

using Wrap = Value (*)(const Value& inner);

Value nested(Wrap wrap, Value value) {
  for (int i = 0; i < depth; ++i) value = wrap(value);
  return value;
}

void expectToBearItsDepth(bool isComparedToTheEnd, Wrap wrap) {
  testing::onSmallStack([=] {
    const Value value = nested(wrap, "same");
    const Value equal = nested(wrap, "same");
    EXPECT_EQ(value, Value(value));
    EXPECT_NE(value, nested(wrap, "other"));
    EXPECT_EQ(value == equal, isComparedToTheEnd);
    EXPECT_TRUE(!isComparedToTheEnd || value.hash() == equal.hash());
    EXPECT_FALSE(value.description().empty());
    EXPECT_EQ(Set({value, Value(value)}).size(), 1U);
  });
}

Value inArray(const Value& inner) { return Array{inner}; }
Value inDictionary(const Value& inner) { return Dictionary{{"k", inner}}; }
Value inSet(const Value& inner) { return Set{inner}; }
Value inKey(const Value& inner) { return Dictionary{{inner, 1}}; }
Value inError(const Value& inner) { return NSError("D", 1, {{"k", inner}}); }
Value inObject(const Value& inner) { return Array{std::make_shared<Link>(inner)}; }
Value inBox(const Value& inner) { return Value::boxed(NSError("D", 1, {{"k", inner}})); }

TEST(Depth, ofArraysIsBorne) { expectToBearItsDepth(true, inArray); }
TEST(Depth, ofDictionariesIsBorne) { expectToBearItsDepth(true, inDictionary); }
TEST(Depth, ofSetsIsBorne) { expectToBearItsDepth(false, inSet); }
TEST(Depth, ofKeysIsBorne) { expectToBearItsDepth(false, inKey); }
TEST(Depth, ofErrorsIsBorne) { expectToBearItsDepth(true, inError); }
TEST(Depth, ofObjectsIsBorne) { expectToBearItsDepth(false, inObject); }
TEST(Depth, ofBoxesIsBorne) { expectToBearItsDepth(false, inBox); }

TEST(Depth, describesAWholeChainOfCauses) {
  testing::onSmallStack([] {
    NSError error("D", 0);
    for (int i = 1; i <= depth; ++i) error = NSError("D", i, {{NSUnderlyingErrorKey, error}, {"after", i}});
    const std::string text = error.description();
    EXPECT_THAT(text.substr(0, 100), StartsWith("Error Domain=D Code=100000 \""));
    EXPECT_NE(text.find("Error Domain=D Code=0 \""), std::string::npos);
    EXPECT_THAT(text.substr(text.size() - 60), HasSubstr("}, after=99999}}, after=100000}"));
    EXPECT_EQ(asNSError(std::make_exception_ptr(error)), error);
  });
}

TEST(Depth, cutsTextBelowTheHundredthLevelAndRefusesKeysFarBelow) {
  Value value = "innermost";
  for (int i = 0; i < 101; ++i) value = Array{value};
  EXPECT_THAT(value.description(), HasSubstr("innermost"));
  EXPECT_THAT(Value(Array{value}).description(), Not(HasSubstr("innermost")));
  testing::onSmallStack([&value] {
    const Value arrays = nested(inArray, value);
    EXPECT_THROW((void)valueForKey(arrays, "name"), NSException);
  });
}

}  // namespace
}  // namespace QVFoundation
