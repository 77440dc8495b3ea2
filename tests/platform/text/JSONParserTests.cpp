#include "QVFoundation/platform/text/JSON.h"

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "QVFoundation/platform/runtime/NSNumber.h"
#include "tests/platform/text/ThrownError.h"

namespace QVFoundation {
namespace {

using namespace std::string_view_literals;
using testing::EndsWith;

/// Writes down each event, numbers with their kind.
class EventTrace : public StructureSink {
public:
  void beginDictionary() override { trace += "{ "; }
  void key(std::string_view key) override { trace += std::string(key) + ": "; }
  void endDictionary() override { trace += "} "; }
  void beginArray() override { trace += "[ "; }
  void endArray() override { trace += "] "; }
  void text(std::string_view text) override { trace += '\'' + std::string(text) + "' "; }
  void integer(std::int64_t number) override { trace += "i" + std::to_string(number) + ' '; }
  void unsignedInteger(std::uint64_t number) override { trace += "u" + std::to_string(number) + ' '; }
  void real(double number) override { trace += "r" + NSNumber(number).description() + ' '; }
  void boolean(bool truth) override { trace += truth ? "yes " : "no "; }
  void null() override { trace += "null "; }

  std::string trace;
};

std::string eventsOf(std::string_view json) {
  EventTrace sink;
  parseJSON(json, sink);
  return sink.trace;
}

std::string errorOf(std::string_view json) {
  return thrownError(NSPropertyListReadCorruptError, [&] { (void)eventsOf(json); });
}

struct ParserCase {
  const char* row;
  std::string_view json;
  std::string_view events;
};

constexpr ParserCase accepted[] = {
    {"nested", R"( {"a" : [1, {"b":null}, []], "c":{}} )", "{ a: [ i1 { b: null } [ ] ] c: { } } "},
    {"scalar at the root", " true ", "yes "},
    {"white space of all kinds", " \t\r\n[ \t\r\n1 \t\r\n, \t\r\nfalse \t\r\n] \t\r\n", "[ i1 no ] "},
    {"empty key and text", R"({"":""})", "{ : '' } "},
    {"equal keys are all sent", R"({"a":1,"a":2})", "{ a: i1 a: i2 } "},
    {"byte order mark", "\xEF\xBB\xBF[]", "[ ] "},
    {"escapes", R"("\"\\\/\b\f\n\r\tx\u00e4\u20AC")", "'\"\\/\b\f\n\r\txä€' "},
    {"escaped zero", R"("\u0000")", "'\0' "sv},
    {"surrogate pair", R"("\uD834\udd1e")", "'𝄞' "},
    {"beyond ASCII", "\"aä€𝄞é\"", "'aä€𝄞é' "},
    {"delete is no control character", "\"\x7F\"", "'\x7F' "},
    {"smallest integer", "-9223372036854775808", "i-9223372036854775808 "},
    {"largest signed", "9223372036854775807", "i9223372036854775807 "},
    {"beyond signed", "9223372036854775808", "u9223372036854775808 "},
    {"largest unsigned", "18446744073709551615", "u18446744073709551615 "},
    {"beyond unsigned is real", "18446744073709551616", "r1.8446744073709552e+19 "},
    {"below signed is real", "-9223372036854775809", "r-9.223372036854776e+18 "},
    {"twenty digits below are real", "-18446744073709551615", "r-1.8446744073709552e+19 "},
    {"a fraction is real", "1.0", "r1 "},
    {"an exponent is real", "1E+2", "r100 "},
    {"minus zero", "[-0,-0.0]", "[ i0 r-0 ] "},
    {"too small becomes zero", "[1e-400,-1e-99999999999999999999,0.1e-1000]", "[ r0 r-0 r0 ] "},
    {"exact", "[0.1,5e-324,1.7976931348623157e308]", "[ r0.1 r5e-324 r1.7976931348623157e+308 ] "},
};

TEST(JSONParser, sendsWhatTheTextHolds) {
  for (const ParserCase& c : accepted) EXPECT_EQ(eventsOf(c.json), c.events) << c.row;
}

constexpr ParserCase refused[] = {
    {"nothing", "", "line 1, column 1: unexpected end of input; expected '[', '{', or a literal"},
    {"blanks only", " \n ", "line 2, column 2: unexpected end of input; expected '[', '{', or a literal"},
    {"two values", "1 2", "line 1, column 3: unexpected number literal; expected end of input"},
    {"zero byte behind the value", "[1]\0[2]"sv, "line 1, column 4: a zero byte"},
    {"comma at the end", "[1,]", "line 1, column 4: unexpected ']'; expected '[', '{', or a literal"},
    {"open dictionary", "{\"a\":1", "line 1, column 7: unexpected end of input; expected '}'"},
    {"key without quotes", "{a:1}", "line 1, column 2: invalid literal; expected string literal"},
    {"cut word", "[nul", "line 1, column 5: invalid literal"},
    {"no closing quote", "[\"abc", "line 1, column 6: invalid string: missing closing quote"},
    {"unknown escape", R"("ää\x")", "line 1, column 5: invalid string: forbidden character after backslash"},
    {"stray byte", "\"ab\xFF\"", "line 1, column 4: invalid string: ill-formed UTF-8 byte"},
    {"encoded surrogate", "\"\xED\xA0\x80\"", "line 1, column 3: invalid string: ill-formed UTF-8 byte"},
    {"cut byte order mark", "\xEF\xBB[]", "line 1, column 2: invalid BOM; must be 0xEF 0xBB 0xBF if given"},
    {"zero at the front", "012", "line 1, column 3: unexpected number literal; expected end of input"},
    {"too large", "[1e400]", "line 1, column 6: number overflow"},
    {"not a number", "NaN", "line 1, column 1: invalid literal"},
    {"line ends of all kinds", "[\r\n1,\r2,\n\xC3\xA4]", "line 4, column 1: invalid literal"},
    {"columns count characters", "[\"ä€𝄞\",x]", "line 1, column 8: invalid literal"},
};

TEST(JSONParser, namesThePlaceOfWhatItRefuses) {
  for (const ParserCase& c : refused) {
    EXPECT_EQ(errorOf(c.json), "Invalid JSON at " + std::string(c.events)) << c.row;
  }
}

TEST(JSONParser, doesNotRepeatWhatMayBeLong) {
  const std::string million(1'000'000, '1');
  for (const std::string& json :
       {'"' + million, million, '[' + million + "x]", '"' + million + "'; expected "}) {
    EXPECT_LT(errorOf(json).size(), 150U);
  }
}

TEST(JSONParser, judgesTheSizeOfANumberByItsValueNotByItsExponent) {
  const std::string zeros(400, '0');
  EXPECT_THAT(errorOf("1" + zeros + "e-5"), EndsWith("number overflow"));
  EXPECT_EQ(eventsOf("1" + zeros + "e-400"), "r1 ");
  EXPECT_EQ(eventsOf("0." + zeros + "1e5"), "r0 ");
}

TEST(JSONParser, bearsAnyDepth) {
  constexpr std::size_t depth = 500'000;
  std::string json;
  for (std::size_t level = 0; level < depth; ++level) json += "[{\"a\":";
  json += '1';
  for (std::size_t level = 0; level < depth; ++level) json += "}]";
  std::string out;
  JSONWriter writer(out);
  parseJSON(json, writer);
  EXPECT_TRUE(out == json);
  EXPECT_EQ(
      errorOf(std::string(1'000'000, '[')),
      "Invalid JSON at line 1, column 1000001: unexpected end of input; expected '[', '{', or a literal");
}

TEST(JSONParser, stopsAtTheExceptionOfTheSinkAndLetsItThrough) {
  struct Enough : std::runtime_error {
    using runtime_error::runtime_error;
  };
  class Impatient final : public EventTrace {
  public:
    void null() override { throw Enough("enough"); }
  };
  Impatient sink;
  EXPECT_THROW(parseJSON("[1, null, 2, what is this", sink), Enough);
  EXPECT_EQ(sink.trace, "[ i1 ");
}

}  // namespace
}  // namespace QVFoundation
