#include "QVFoundation/platform/serialization/JSON.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/Dictionary.h"
#include "QVFoundation/platform/runtime/Set.h"
#include "QVFoundation/platform/serialization/ValueBuilder.h"
#include "tests/platform/serialization/ThrownError.h"

namespace QVFoundation {
namespace {

using namespace std::string_view_literals;

/// A text that was parsed and written again without a value in between.
std::string rewritten(std::string_view json, JSONStyle style = JSONStyle::compact) {
  std::string out;
  JSONWriter writer(out, style);
  parseJSON(json, writer);
  return out;
}

std::string readError(std::string_view json) {
  return thrownError(NSPropertyListReadCorruptError, [&] { (void)rewritten(json); });
}

struct TextCase {
  const char* row;
  std::string_view json, result;
};

constexpr TextCase accepted[] = {
    {"nested", R"( {"a" : [1, {"b":null}, []], "c":{}} )", R"({"a":[1,{"b":null},[]],"c":{}})"},
    {"equal keys are all sent", R"({"a":true,"a":false})", R"({"a":true,"a":false})"},
    {"escapes", R"("\"\\\/\b\f\n\r\t\u00e4\u0000\u001f\uD834\udd1e")", R"("\"\\/\b\f\n\r\tä\u0000\u001f𝄞")"},
    {"beyond ASCII", "\xEF\xBB\xBF\"aä€𝄞é\x7F\"", "\"aä€𝄞é\x7F\""},
    {"limits", "[-9223372036854775808,18446744073709551615]", "[-9223372036854775808,18446744073709551615]"},
    {"too large for an integer", "[18446744073709551616]", "[18446744073709551616.0]"},
    {"too small for an integer", "[-9223372036854775809]", "[-9223372036854775808.0]"},
    {"real", "[1.0,1E+2,-0.0,-0,1e-400,-1e-99999999999999999999]", "[1.0,100.0,-0.0,0,0.0,-0.0]"},
};

constexpr TextCase refused[] = {
    {"nothing", " \n ", "line 2, column 2: unexpected end of input; expected '[', '{', or a literal"},
    {"two values", "1 2", "line 1, column 3: unexpected number literal; expected end of input"},
    {"zero byte behind the value", "[1]\0[2]"sv, "line 1, column 4: a zero byte"},
    {"stray byte", "\"ab\xFF\"", "line 1, column 4: invalid string: ill-formed UTF-8 byte"},
    {"cut byte order mark", "\xEF\xBB[]", "line 1, column 2: invalid BOM; must be 0xEF 0xBB 0xBF if given"},
    {"too large", "[1e400]", "line 1, column 6: number overflow"},
    {"line ends of all kinds", "[\r\n1,\r2,\n\xC3\xA4]", "line 4, column 1: invalid literal"},
    {"columns count characters", "[\"ä€𝄞\",NaN]", "line 1, column 8: invalid literal"},
};

TEST(JSON, textsAreReadAndWrittenOrRefusedByTheirPlace) {
  for (const TextCase& c : accepted) EXPECT_EQ(rewritten(c.json), c.result) << c.row;
  for (const TextCase& c : refused) {
    EXPECT_EQ(readError(c.json), "Invalid JSON at " + std::string(c.result)) << c.row;
  }
}

TEST(JSON, longTextsAreNotRepeatedAndLongNumbersJudgedByTheirValue) {
  const std::string million(1'000'000, '1');
  for (const std::string& json :
       {'"' + million, million, '[' + million + "x]", '"' + million + "'; expected "})
    EXPECT_LT(readError(json).size(), 150U);
  const std::string zeros(400, '0');
  EXPECT_TRUE(readError("1" + zeros + "e-5").ends_with("number overflow"));
  EXPECT_EQ(rewritten("[1" + zeros + "e-400,0." + zeros + "1e5]"), "[1.0,0.0]");
}

std::string nested(std::size_t depth, const std::string& inner = "") {
  return std::string(depth, '[') + inner + std::string(depth, ']');
}

TEST(JSON, theParserTheWriterAndVisitBearAnyDepthButValuesHaveALimit) {
  EXPECT_TRUE(rewritten(nested(1'000'000)) == nested(1'000'000));
  EXPECT_TRUE(readError(std::string(1'000'000, '[')).starts_with("Invalid JSON at line 1, column 1000001: "));
  Value value = 1;
  for (int level = 0; level < 100'000; ++level) value = Array{value};
  EXPECT_TRUE(jsonFromValue(value) == nested(100'000, "1"));

  ValueBuilder builder;
  EXPECT_EQ(thrownError(NSPropertyListReadCorruptError, [&] { parseJSON(nested(513, "what?"), builder); }),
            "Values are nested deeper than 512 levels");
  EXPECT_TRUE(builder.takeValue().isNothing());
  parseJSON(nested(512), builder);  // can be used again
  EXPECT_EQ(jsonFromValue(builder.takeValue()), nested(512));
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
  EXPECT_EQ(valueFromJSON(R"({"a":1,"a":2})"), (Dictionary{{"a", 2}}));
  for (const double number : {std::nextafter(0.1, 1), 1e23, 0x1p-1074, 0x1.fffffffffffffp1023})
    EXPECT_EQ(valueFromJSON(jsonFromValue(number)).as<double>(), number);
}

struct ValueCase {
  const char* row;
  Value value;
  std::string_view result;
};

const ValueCase written[] = {
    {"nothing", Array{Value(), NSNull()}, "[null,null]"},
    {"no UTF-8", "a\xFFz\xE2\x82", "\"a\uFFFDz\uFFFD\""},
    {"keys in order", Dictionary{{"b", 1}, {"ä\xC0", 2}, {"a", 3}}, "{\"a\":3,\"b\":1,\"ä\uFFFD\":2}"},
    {"sets like arrays", Set{3, 1, 2}, "[1,2,3]"},
};

const ValueCase unwritableJSON[] = {
    {"number", Dictionary{{"a", Array{1, NAN}}},
     " at \"a[1]\" cannot be written: JSON has no form for the number nan"},
    {"root", HUGE_VAL, " cannot be written: JSON has no form for the number inf"},
    {"date", Array{Dictionary{{"a", NSDate()}}}, " at \"[0].a\" cannot be written: it is a date"},
    {"data", Array{NSData{}}, " at \"[0]\" cannot be written: it is data"},
    {"key", Array{1, Dictionary{{3, 4}}}, " at \"[1]\" cannot be written: its key 3 is no text"},
};

TEST(JSON, theWriterAppendsWhateverHasAFormAndRefusesTheRestByItsKeyPath) {
  std::string out = "event=";
  JSONWriter writer(out);
  EXPECT_EQ(thrownError(NSPropertyListWriteInvalidError, [&] { writer.real(-HUGE_VAL); }),
            "JSON has no form for the number -inf");
  visit(1, writer);
  EXPECT_EQ(out, "event=1");
  for (const ValueCase& c : written) EXPECT_EQ(jsonFromValue(c.value), c.result) << c.row;
  for (const ValueCase& c : unwritableJSON) {
    const auto error = thrownError(NSPropertyListWriteInvalidError, [&] { (void)jsonFromValue(c.value); });
    EXPECT_EQ(error, "The value" + std::string(c.result)) << c.row;
  }
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

TEST(JSON, prettyTextHasAnEntryALineAndABoundedIndentation) {
  EXPECT_EQ(rewritten(R"({"a":[1,{"b":"c"}],"e":[],"n":{}})", JSONStyle::pretty),
            "{\n  \"a\": [\n    1,\n    {\n      \"b\": \"c\"\n    }\n  ],\n  \"e\": [],\n  \"n\": {}\n}");
  const std::string pretty = rewritten(nested(1'000), JSONStyle::pretty);
  EXPECT_NE(pretty.find('\n' + std::string(128, ' ') + '['), pretty.npos);
  EXPECT_EQ(pretty.find(std::string(129, ' ')), pretty.npos);
}

}  // namespace
}  // namespace QVFoundation
