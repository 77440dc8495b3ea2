#include "QVFoundation/platform/runtime/Value.h"

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/Dictionary.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/runtime/Set.h"

namespace QVFoundation {
namespace {

class Song : public NSObject {};
class Concert : public NSObject {};
class Opera : public Concert {};

enum class Mood : std::int8_t { calm, wild = 100 };
enum Plain { plainZero, plainOne };
enum class Switch : bool { off, on };

struct Duration {
  int minutes = 0;
  int seconds = 0;
  friend bool operator==(const Duration&, const Duration&) = default;
};

struct Unknown {};

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
static_assert(!std::constructible_from<Value, const void*>);
static_assert(!std::constructible_from<Value, std::shared_ptr<int>>);
static_assert(!std::constructible_from<Value, const wchar_t*>);
static_assert(!std::constructible_from<Value, Unknown>);
static_assert(!std::constructible_from<Value, std::vector<Unknown>>);
static_assert(!std::constructible_from<Value, std::map<std::string, Unknown>>);

template <class T>
void expectRoundTrip(const T& content, ValueKind kind) {
  const Value value = content;
  EXPECT_EQ(value.kind(), kind);
  EXPECT_EQ(value.as<T>(), content);
  EXPECT_EQ(Value(7.25).as<T>(), std::nullopt);
}

TEST(ValueConversion, everyKnownTypeComesBackAsItWasAndFromNothingElse) {
  using namespace std::string_literals;
  expectRoundTrip("with a \0 inside"s, ValueKind::text);
  expectRoundTrip(NSData{std::byte{0}, std::byte{255}}, ValueKind::data);
  expectRoundTrip(NSDate(std::chrono::nanoseconds(1)), ValueKind::date);
  expectRoundTrip(Array{1, "two"}, ValueKind::array);
  expectRoundTrip(Dictionary{{"a", "b"}}, ValueKind::dictionary);
  expectRoundTrip(Set{1, "two"}, ValueKind::set);
  expectRoundTrip(NSError("D", 3), ValueKind::error);
  expectRoundTrip(std::vector{"a"s, ""s}, ValueKind::array);
  expectRoundTrip(std::vector{true, false}, ValueKind::array);
  expectRoundTrip(std::vector<std::vector<int>>{{1}, {}, {2, 3}}, ValueKind::array);
  expectRoundTrip(std::map<std::string, std::optional<Mood>>{{"a", Mood::wild}}, ValueKind::dictionary);
  expectRoundTrip(Mood::wild, ValueKind::number);
  expectRoundTrip(plainOne, ValueKind::number);
  expectRoundTrip(Duration{3, 20}, ValueKind::number);
  expectRoundTrip(std::vector{Duration{0, 1}}, ValueKind::array);
  expectRoundTrip(std::make_shared<Song>(), ValueKind::object);
  EXPECT_EQ(Value(Switch::on).as<Switch>(), Switch::on);
}

TEST(ValueConversion, nothingComesFromEverythingThatIsAbsent) {
  for (const Value& value :
       {Value(), Value(nullptr), Value(static_cast<const char*>(nullptr)), Value(std::optional<int>()),
        Value(std::shared_ptr<Song>()), Dictionary()["key"]}) {
    EXPECT_TRUE(value.isNothing());
    EXPECT_EQ(value.as<std::optional<int>>(), std::make_optional(std::optional<int>()));
    EXPECT_EQ(value.as<int>(), std::nullopt);
  }
  EXPECT_EQ(Value(0).kind(), ValueKind::number) << "zero is a number and no null pointer";
  EXPECT_EQ(Value(NSNull{}).as<std::optional<int>>(), std::nullopt);
}

TEST(ValueConversion, oneElementThatDoesNotFitFailsTheWhole) {
  EXPECT_EQ(Value(Array{1, 2, 300}).as<std::vector<std::uint8_t>>(), std::nullopt);
  using Counts = std::map<std::string, int>;
  EXPECT_EQ(Value(Dictionary{{"a", 1}, {"b", "x"}}).as<Counts>(), std::nullopt);
  EXPECT_EQ(Value(Dictionary{{1, 1}}).as<Counts>(), std::nullopt);
  EXPECT_EQ(Value(101).as<Mood>(), Mood(101));
  EXPECT_EQ(Value(1000).as<Mood>(), std::nullopt);
  EXPECT_EQ(Value("text").as<std::optional<int>>(), std::nullopt);
}

TEST(ValueConversion, objectsComeOutAsTheirClassOrABaseOfIt) {
  const auto opera = std::make_shared<Opera>();
  const Value value = opera;
  EXPECT_EQ(value.as<std::shared_ptr<Opera>>(), opera);
  EXPECT_EQ(value.as<std::shared_ptr<Concert>>(), opera);
  EXPECT_EQ(value.as<std::shared_ptr<NSObject>>(), opera);
  EXPECT_EQ(value.as<std::shared_ptr<Song>>(), std::nullopt);
}

TEST(ValueConversion, boxesKeepTheTypeAndCompareByContent) {
  const Value thread = Value::boxed(std::this_thread::get_id());
  EXPECT_EQ(thread, Value::boxed(std::this_thread::get_id()));
  EXPECT_EQ(thread.hash(), Value::boxed(std::this_thread::get_id()).hash());
  EXPECT_EQ(*thread.boxedContent<std::thread::id>(), std::this_thread::get_id());
  EXPECT_EQ(thread.boxedContent<int>(), nullptr);
  EXPECT_NE(Value::boxed(1), Value::boxed(1L));
  EXPECT_NE(Value::boxed(1), Value(1));

  const Value unknown = Value::boxed(Unknown{});
  EXPECT_EQ(unknown, Value(unknown)) << "what cannot be compared equals itself";
  EXPECT_NE(unknown, Value::boxed(Unknown{}));
}

TEST(ValueConversion, movedFromValuesAreNothing) {
  const Value contents[] = {NSData{std::byte{1}},     Array{1}, NSError("D", 1),
                            std::make_shared<Song>(), "text",   Value::boxed(1)};
  for (Value value : contents) {
    const Value copy = value;
    Value taken = std::move(value);
    EXPECT_EQ(taken, copy);
    EXPECT_TRUE(value.isNothing());  // NOLINT(bugprone-use-after-move)
    value = std::move(taken);
    EXPECT_EQ(value, copy);
    EXPECT_TRUE(taken.isNothing());  // NOLINT(bugprone-use-after-move)
    Value& same = value;
    value = same;
    value = std::move(same);
    EXPECT_EQ(value, copy);
  }
}

TEST(ValueConversion, aValueMayBecomeAPartOfItself) {
  Value value = Array{Dictionary{{"key", Array{"innermost"}}}};
  const Value& entry = *value.array().begin();
  value = entry;
  const Value& list = value.dictionary()["key"];
  value = list;
  const Value& text = *value.array().begin();
  value = text;
  EXPECT_EQ(value, "innermost");
}

TEST(ValueConversion, valuesCompareWithPlainContents) {
  const Value text = "x";
  EXPECT_TRUE(text == "x" && "x" == text && text == std::string("x") && text == std::string_view("x"));
  EXPECT_TRUE(text != "y" && text != 1 && text != nullptr && text != NSNull{});
  EXPECT_TRUE(Value(1) == 1 && 1.0 == Value(1) && Value(1) != "1");
  EXPECT_TRUE(Value(Array{1}) == Array{1} && Value() == nullptr);
}

}  // namespace
}  // namespace QVFoundation
