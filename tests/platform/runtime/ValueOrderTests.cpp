#include <cctype>
#include <compare>
#include <limits>
#include <span>

#include <gmock/gmock.h>

#include "QVFoundation/Platform.h"
#include "tests/platform/runtime/RaisedException.h"

namespace QVFoundation {
namespace {

using ::testing::ContainsRegex;
using testing::raisedBy;

class Plain : public NSObject {};

struct Weight {
  double grams;
  auto operator<=>(const Weight&) const = default;
};

/// Ordered whatever its case.
class Word : public NSObject {
public:
  explicit Word(std::string text) : text_(std::move(text)) {}
  [[nodiscard]] std::partial_ordering compare(const NSObject& other) const override {
    const auto lower = [](const Word& word) {
      return static_cast<char>(std::tolower(static_cast<unsigned char>(word.text_[0])));
    };
    const auto* word = dynamic_cast<const Word*>(&other);
    return word != nullptr ? lower(*this) <=> lower(*word) : NSObject::compare(other);
  }

private:
  const std::string text_;
};

TEST(ValueOrder, putsWhatIsAbsentFirstAndRefusesToOrderWhatHasNoOrder) {
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
      {Value::boxed(Weight{1}), Value::boxed(std::pair(1, 2)), "the value <.*Weight> and the value <.*pair"},
      {Value::boxed(Weight{1}), Value::boxed(Weight{nan}), "the value"},
  };
  for (const auto& [a, b, want] : unordered) {
    EXPECT_THAT(raisedBy([&] { (void)detail::compareValuesUnder("a.b", a, b); }),
                ContainsRegex(std::string("^NSInvalidArgumentException: .*") + want + ".* under \"a.b\"$"));
  }
}

TEST(ValueOrder, isThatOfTheirTypesForObjectsAndBoxedValues) {
  const Value ascending[] = {Value::boxed(Weight{1}), Value::boxed(Weight{1.5}), Value::boxed(Weight{2})};
  const Value names[] = {std::make_shared<Word>("a"), std::make_shared<Word>("B"),
                         std::make_shared<Word>("c")};
  for (const auto& row : {std::span(ascending), std::span(names)}) {
    EXPECT_TRUE(compareValues(row[0], row[1]) == -1 && compareValues(row[2], row[1]) == 1);
    EXPECT_EQ(compareValues(row[1], row[1]), 0);
  }
  EXPECT_EQ(compareValues(names[0], std::make_shared<Word>("A")), 0);
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

TEST(NSSortDescriptor, comparesByNamedComparison) {
  ASSERT_TRUE(registerComparison("compareLengths:", [](const Value& a, const Value& b) {
    return compareValues(a.text()->size(), b.text()->size());
  }));
  EXPECT_FALSE(registerComparison("compareLengths:", compareValues));
  const std::tuple<const char*, Value, Value, std::optional<int>> cases[] = {
      {"compare:", "B", "a", -1},
      {"caseInsensitiveCompare:", "B", "a", 1},
      {"caseInsensitiveCompare:", "ÄRGER", "ärger", 0},
      {"caseInsensitiveCompare:", "Ab", "aBc", -1},
      {"caseInsensitiveCompare:", Value(), "a", -1},
      {"compareLengths:", "zz", "aaa", -1},
      {"unheardOf:", "a", "b", std::nullopt},
  };
  for (const auto& [selector, left, right, want] : cases) {
    const Value &a = left, &b = right;
    const NSSortDescriptor descriptor(std::nullopt, false, selector);
    EXPECT_EQ(descriptor.selector(), selector);
    if (want) {
      EXPECT_EQ(descriptor.reversed().compareObject(a, b), *want) << selector;
    } else {
      EXPECT_EQ(raisedBy([&] { (void)descriptor.compareObject(a, b); }),
                "NSInvalidArgumentException: No comparison is registered as \"unheardOf:\"");
    }
  }
}

}  // namespace
}  // namespace QVFoundation
