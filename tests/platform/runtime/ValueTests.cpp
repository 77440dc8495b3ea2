
#include <array>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

#include "QVFoundation/Platform.h"
#include "QVFoundation/platform/runtime/Equality.h"

namespace QVFoundation {
namespace {

enum class Mood : std::int8_t { calm, wild = 100 };

struct Unknown {};

/// A type of an application, which says itself what it is as a value.
struct Duration {
  int minutes = 0;
  int seconds = 0;
  bool operator==(const Duration&) const = default;
};

/// Describes itself by what it holds, as composite objects do.
class Holder : public NSObject {
public:
  Value content;
  std::string description() const override { return '[' + content.description() + ']'; }
};

class Indented : public Holder {
public:
  std::string descriptionWithLocale(const NSLocale* locale, unsigned indent) const override {
    return "indent " + std::to_string(indent) + (locale != nullptr ? ", " + locale->identifier() : "");
  }
};

}  // namespace

template <>
struct ValueTraits<Duration> {
  static Value toValue(const Duration& duration) { return duration.minutes * 60 + duration.seconds; }
  static std::optional<Duration> fromValue(const Value& value) {
    const auto seconds = value.as<int>();
    return seconds ? std::optional(Duration{*seconds / 60, *seconds % 60}) : std::nullopt;
  }
};

namespace {

// What looks like a number, a text or a boolean to an unwary compiler must not become one.
static_assert(!std::constructible_from<Value, int*>);
static_assert(!std::constructible_from<Value, std::shared_ptr<int>>);
static_assert(!std::constructible_from<Value, const wchar_t*>);
static_assert(!std::constructible_from<Value, std::map<std::string, std::vector<Unknown>>>);

template <class T>
void expectRoundTrip(const T& content, ValueKind kind) {
  const Value value = content;
  EXPECT_EQ(value.kind(), kind);
  EXPECT_EQ(value.as<T>(), content);
  EXPECT_EQ(Value(7.25).as<T>(), std::nullopt);
}

TEST(Value, givesEveryKnownTypeBackAsItWasAndFromNothingElse) {
  using namespace std::string_literals;
  expectRoundTrip("with a \0 inside"s, ValueKind::text);
  expectRoundTrip(NSData{std::byte{0}, std::byte{255}}, ValueKind::data);
  expectRoundTrip(NSDate(std::chrono::nanoseconds(1)), ValueKind::date);
  expectRoundTrip(Dictionary{{"a", Array{1, "two"}}}, ValueKind::dictionary);
  expectRoundTrip(Set{1, "two"}, ValueKind::set);
  expectRoundTrip(NSError("D", 3), ValueKind::error);
  expectRoundTrip(std::vector<std::vector<bool>>{{true}, {}, {true, false}}, ValueKind::array);
  expectRoundTrip(std::map<std::string, std::optional<Mood>>{{"a", Mood::wild}}, ValueKind::dictionary);
  expectRoundTrip(std::make_shared<Holder>(), ValueKind::object);
  expectRoundTrip(std::vector{Duration{3, 4}, Duration{5, 0}}, ValueKind::array);
}

TEST(Value, isNothingForEverythingThatIsAbsent) {
  for (const Value& value : {Value(static_cast<const char*>(nullptr)), Value(std::optional<int>()),
                             Value(std::shared_ptr<Holder>()), Dictionary()["key"]}) {
    EXPECT_TRUE(value.isNothing() && !value.as<int>());
    EXPECT_EQ(value.as<std::optional<int>>(), std::make_optional(std::optional<int>()));
  }
  EXPECT_EQ(Value(0).kind(), ValueKind::number) << "zero is a number and no null pointer";
}

TEST(Value, doesNotConvertIfOnePartDoesNotFit) {
  using Counts = std::map<std::string, int>;
  EXPECT_FALSE(Value(Array{1, 2, 300}).as<std::vector<std::uint8_t>>());
  EXPECT_FALSE(Value(Dictionary{{"a", 1}, {"b", "x"}}).as<Counts>() ||
               Value(Dictionary{{1, 1}}).as<Counts>());
  EXPECT_TRUE(Value(101).as<Mood>() == Mood(101) && !Value(1000).as<Mood>());
  EXPECT_FALSE(Value(NSNull{}).as<std::optional<int>>());
  EXPECT_TRUE(Value(std::make_shared<Indented>()).as<std::shared_ptr<Holder>>());
  EXPECT_FALSE(Value(std::make_shared<Holder>()).as<std::shared_ptr<Indented>>());
}

TEST(Value, keepsTheTypeOfABoxAndComparesItsContent) {
  const std::error_code code(1, std::generic_category());
  EXPECT_EQ(Value::boxed(code), Value::boxed(code));
  EXPECT_EQ(Value::boxed(code).hash(), Value::boxed(code).hash());
  EXPECT_EQ(*Value::boxed(code).boxedContent<std::error_code>(), code);
  EXPECT_EQ(Value::boxed(code).boxedContent<int>(), nullptr);
  EXPECT_NE(Value::boxed(1), Value::boxed(1L));
  const Value unknown = Value::boxed(Unknown{});
  EXPECT_EQ(unknown, Value(unknown)) << "what cannot be compared equals itself";
  EXPECT_NE(unknown, Value::boxed(Unknown{}));
}

TEST(Value, boxesWhatConsistsOfPartsThatCannotBeCompared) {
  using detail::hasEquality;
  static_assert(hasEquality<std::map<int, std::string>> && !hasEquality<std::map<int, Unknown>>);
  static_assert(hasEquality<std::pair<int, bool>> && !hasEquality<std::tuple<int, Unknown>>);
  static_assert(hasEquality<std::array<int, 2>> && !hasEquality<std::vector<std::array<Unknown, 2>>>);
  static_assert(hasEquality<std::optional<int>> && !hasEquality<std::optional<std::vector<Unknown>>>);
  static_assert(hasEquality<std::variant<int, bool>> && !hasEquality<std::variant<int, Unknown>>);
  static_assert(hasEquality<std::filesystem::path> && hasEquality<std::shared_ptr<Unknown>>);
  struct OfItsOwn : std::vector<Unknown> {
    bool operator==(const OfItsOwn& other) const { return size() == other.size(); }
  };
  EXPECT_EQ(Value::boxed(OfItsOwn{}), Value::boxed(OfItsOwn{}));
  const Value list = Value::boxed(std::vector<Unknown>(2));
  EXPECT_EQ(list, Value(list));
  EXPECT_NE(list, Value::boxed(std::vector<Unknown>(2)));
}

TEST(Value, isNothingOnceItsContentHasMoved) {
  const Value contents[] = {NSData{std::byte{1}},       Array{1}, NSError("D", 1),
                            std::make_shared<Holder>(), "text",   Value::boxed(1)};
  for (Value value : contents) {
    const Value copy = value;
    Value taken = std::move(value);
    EXPECT_EQ(taken, copy);
    EXPECT_TRUE(value.isNothing());  // NOLINT(bugprone-use-after-move)
    value = std::move(taken);
    EXPECT_TRUE(taken.isNothing());  // NOLINT(bugprone-use-after-move)
    Value& same = value;
    value = same;
    value = std::move(same);
    EXPECT_EQ(value, copy);
  }
}

TEST(Value, mayBecomeAPartOfItself) {
  Value value = Array{Dictionary{{"key", Array{"innermost"}}}};
  const Value& entry = *value.array().begin();
  value = entry;
  const Value& list = value.dictionary()["key"];
  value = list;
  EXPECT_EQ(value, Array{"innermost"});
}

TEST(ValueDescription, printsEachKind) {
  using namespace std::chrono_literals;
  const std::pair<Value, std::string_view> cases[] = {
      {nullptr, "(null)"},
      {NSData{}, "<>"},
      {NSData(9, std::byte{0xA1}), "<a1a1a1a1 a1a1a1a1 a1>"},
      {NSDate(-1ms), "1969-12-31 23:59:59 +0000"},
      {Value::boxed(Array{}), "(\n)"},
      {Value::boxed(std::logic_error("what")), "what"},
      {Value::boxed(Unknown{}), "<QVFoundation::(anonymous namespace)::Unknown>"},
  };
  for (const auto& [value, want] : cases) EXPECT_EQ(value.description(), want);
}

TEST(ValueDescription, indentsWhatIsNestedSortsKeysQuotesWhatIsNoWordAndHandsTheLocaleDown) {
  NSLocale::NumberSymbols symbols;
  symbols.decimalSeparator = ",";
  const NSLocale locale("xx", symbols);
  const Dictionary value{{"a-b", Dictionary{{"x", NSNull{}}, {10, Set{2.5, 10, 9}}, {9, Dictionary{}}}},
                         {"c", Array{"", "a/b.c:$d_1", "é", "\"\\\n\t\r", std::make_shared<Indented>(),
                                     NSError("D", 1, {{NSLocalizedDescriptionKey, "No."}})}}};
  EXPECT_EQ(value.description(&locale), R"({
    "a-b" = {
        9 = {
        };
        10 = {(
            2,5,
            9,
            10
        )};
        x = <null>;
    };
    c = (
        "",
        a/b.c:$d_1,
        "é",
        "\"\\\n\t\r",
        indent 2, xx,
        Error Domain=D Code=1 "No." UserInfo={NSLocalizedDescription=No.}
    );
})");
}

TEST(ValueDescription, cutsObjectsThatHoldThemselves) {
  const auto holder = std::make_shared<Holder>();
  holder->content = Array{holder};
  const std::string text = Value(holder).description();
  holder->content = nullptr;
  EXPECT_TRUE(text.starts_with("[(\n    [(\n    [(\n") && text.find("…") != std::string::npos) << text;
  EXPECT_EQ(Value(holder).description(), "[(null)]") << "the levels were counted back";
}

}  // namespace
}  // namespace QVFoundation
