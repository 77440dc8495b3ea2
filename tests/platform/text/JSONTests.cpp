#include "QVFoundation/platform/text/JSON.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/Dictionary.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/runtime/Set.h"
#include "QVFoundation/platform/text/ValueBuilder.h"
#include "tests/platform/text/ThrownError.h"

namespace QVFoundation {
namespace {

using namespace std::string_view_literals;

struct ValueCase {
  const char* row;
  Value value;
  std::string_view json;
};

const ValueCase valueCases[] = {
    {"nothing", {}, "null"},
    {"null", NSNull(), "null"},
    {"booleans", Array{true, false}, "[true,false]"},
    {"integers", Array{std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::uint64_t>::max()},
     "[-9223372036854775808,18446744073709551615]"},
    {"small types", Array{std::int8_t{-1}, std::uint16_t{2}}, "[-1,2]"},
    {"reals stay real", Array{1.0, -0.0, 1e22, 0.1, 1e-7}, "[1.0,-0.0,1e+22,0.1,1e-07]"},
    {"escapes", "\"\\/\b\f\n\r\t\x01\x1F\x7F",
     R"("\"\\/\b\f\n\r\t\u0001\u001f)"
     "\x7F\""},
    {"zero byte", "a\0b"sv, R"("a\u0000b")"},
    {"beyond ASCII", "ä€𝄞", "\"ä€𝄞\""},
    {"keys in order", Dictionary{{"b", 1}, {"ä", 2}, {"a", 3}}, R"({"a":3,"b":1,"ä":2})"},
    {"empty containers", Array{Array(), Dictionary()}, "[[],{}]"},
    {"sets like arrays", Set{3, 1, 2}, "[1,2,3]"},
};

TEST(JSON, valuesAreWritten) {
  for (const ValueCase& c : valueCases) EXPECT_EQ(jsonFromValue(c.value), c.json) << c.row;
}

TEST(JSON, valuesComeBackAsTheKindThatTheyWere) {
  const Value value = Dictionary{{"real", 1.0},      {"integer", 1},
                                 {"boolean", true},  {"large", std::numeric_limits<std::uint64_t>::max()},
                                 {"null", NSNull()}, {"nested", Array{Dictionary{{"a", Array{}}}, "text"}}};
  const Value copy = valueFromJSON(jsonFromValue(value, JSONStyle::pretty));
  EXPECT_EQ(copy, value);
  EXPECT_TRUE(copy["real"].number()->isFloatingPoint());
  EXPECT_EQ(copy["integer"].number()->type(), NSNumber::Type::int64);
  EXPECT_TRUE(copy["boolean"].number()->isBoolean());
}

TEST(JSON, ofEqualKeysTheLastOneCounts) {
  EXPECT_EQ(valueFromJSON(R"({"a":1,"a":2})"), (Dictionary{{"a", 2}}));
}

TEST(JSON, everyDoubleComesBackExactly) {
  for (const double number :
       {std::nextafter(0.1, 1), 1e23, 0x1p-1074, 0x1.fffffffffffffp1023, -123456789.125}) {
    EXPECT_EQ(valueFromJSON(jsonFromValue(number)).as<double>(), number);
  }
}

TEST(JSON, prettyTextHasAnEntryALine) {
  const Value value =
      Dictionary{{"a", Array{1, Dictionary{{"b", "c"}}}}, {"empty", Array{}}, {"none", Dictionary{}}};
  EXPECT_EQ(jsonFromValue(value, JSONStyle::pretty), R"({
  "a": [
    1,
    {
      "b": "c"
    }
  ],
  "empty": [],
  "none": {}
})");
}

TEST(JSON, indentationStopsGrowingSoThatALongChainStaysInProportion) {
  constexpr std::size_t depth = 100'000;
  std::string pretty;
  JSONWriter writer(pretty, JSONStyle::pretty);
  parseJSON(std::string(depth, '[') + std::string(depth, ']'), writer);
  EXPECT_LT(pretty.size(), depth * 2 * (2 * 64 + 2));
  EXPECT_NE(pretty.find('\n' + std::string(128, ' ') + '['), pretty.npos);
  EXPECT_EQ(pretty.find(std::string(129, ' ')), pretty.npos);
}

TEST(JSON, bytesThatAreNoUTF8AreReplacedInTextsAndKeys) {
  EXPECT_EQ(jsonFromValue("a\xFFz\xE2\x82"), "\"a\uFFFDz\uFFFD\"");
  EXPECT_EQ(jsonFromValue(Dictionary{{"\xC0\xAF", 1}}), "{\"\uFFFD\uFFFD\":1}");
}

// Texts are looked at a word at a time, so what must be escaped has to be found at every place in a word.
TEST(JSON, theWriterFindsWhatItEscapesAtEveryPlace) {
  for (std::size_t length = 0; length < 20; ++length) {
    const std::string plain(length, 'x');
    for (const std::string_view special : {"\n", "\"", "\\", "\x1F", "ä€𝄞"}) {
      const std::string text = std::string(plain).append(special).append(plain);
      const std::string json = jsonFromValue(text);
      EXPECT_EQ(valueFromJSON(json), Value(text));
      EXPECT_EQ(json.size(), text.size() + 2 + (special == "\x1F" ? 5 : special == "ä€𝄞" ? 0 : 1)) << json;
    }
  }
}

TEST(JSON, theWriterAppends) {
  std::string line = "event=";
  JSONWriter writer(line);
  visit(Array{1, "a"}, writer);
  EXPECT_EQ(line, R"(event=[1,"a"])");
}

struct WriteErrorCase {
  const char* row;
  Value value;
  std::string_view error;
};

const WriteErrorCase writeErrors[] = {
    {"not a number", Dictionary{{"speeds", Array{1.0, std::nan("")}}},
     "The value at \"speeds[1]\" cannot be written: JSON has no form for the number nan"},
    {"infinity at the root", std::numeric_limits<double>::infinity(),
     "The value cannot be written: JSON has no form for the number inf"},
    {"date", Dictionary{{"people", Array{Dictionary{{"born", NSDate()}}}}},
     "The value at \"people[0].born\" cannot be written: it is a date"},
    {"data", Array{NSData{}}, "The value at \"[0]\" cannot be written: it is data"},
    {"error", Array{NSError("A", 1)}, "The value at \"[0]\" cannot be written: it is an error"},
    {"key that is no text", Array{1, Dictionary{{3, 4}}},
     "The value at \"[1]\" cannot be written: its key 3 is no text"},
};

TEST(JSON, whatHasNoFormIsRefusedByItsKeyPath) {
  for (const WriteErrorCase& c : writeErrors) {
    EXPECT_EQ(thrownError(NSPropertyListWriteInvalidError, [&] { (void)jsonFromValue(c.value); }), c.error)
        << c.row;
  }
}

TEST(JSON, theWriterRefusesNumbersThatJSONDoesNotHave) {
  std::string out;
  JSONWriter writer(out);
  EXPECT_EQ(thrownError(NSPropertyListWriteInvalidError,
                        [&] { writer.real(-std::numeric_limits<double>::infinity()); }),
            "JSON has no form for the number -inf");
  EXPECT_EQ(out, "");
}

std::string nestedArrays(std::size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); }

TEST(ValueBuilder, takesFiveHundredTwelveLevelsAndNoMore) {
  EXPECT_EQ(jsonFromValue(valueFromJSON(nestedArrays(512))), nestedArrays(512));
  EXPECT_EQ(thrownError(NSPropertyListReadCorruptError, [] { (void)valueFromJSON(nestedArrays(513)); }),
            "Values are nested deeper than 512 levels");
}

TEST(ValueBuilder, canBeUsedAgain) {
  ValueBuilder builder;
  EXPECT_THROW(parseJSON("{\"a\":[1,", builder), NSError);
  EXPECT_TRUE(builder.takeValue().isNothing());
  parseJSON("[1]", builder);
  EXPECT_EQ(builder.takeValue(), Array{1});
  EXPECT_TRUE(builder.takeValue().isNothing());
}

TEST(Visit, walksValuesOfAnyDepth) {
  Value value = 1;
  for (int level = 0; level < 100'000; ++level) value = Array{value};
  EXPECT_TRUE(jsonFromValue(value) == std::string(100'000, '[') + '1' + std::string(100'000, ']'));
}

}  // namespace
}  // namespace QVFoundation
