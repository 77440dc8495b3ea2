#include "QVFoundation/platform/text/JSON.h"

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "QVFoundation/platform/runtime/NSNumber.h"
#include "tests/platform/text/ThrownError.h"

namespace QVFoundation {
namespace {

using namespace std::string_view_literals;

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
    {"beyond unsigned is real", "18446744073709551616", "r18446744073709551616 "},
    {"below signed is real", "-9223372036854775809", "r-9223372036854775808 "},
    {"twenty digits below are real", "-18446744073709551615", "r-18446744073709551616 "},
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
    {"nothing", "", "line 1, column 1: the text ends where a value is expected"},
    {"blanks only", " \n ", "line 2, column 2: the text ends where a value is expected"},
    {"two values", "1 2", "line 1, column 3: something follows the value"},
    {"zero byte behind the value", "1\0"sv, "line 1, column 2: something follows the value"},
    {"comma at the end of an array", "[1,]", "line 1, column 4: expected a value"},
    {"comma at the end of a dictionary", "{\"a\":1,}", "line 1, column 8: expected a key in quotes"},
    {"no comma", "[1\n 2]", "line 2, column 2: expected , or ]"},
    {"no colon", "{\"a\" 1}", "line 1, column 6: expected : after a key"},
    {"wrong bracket", "{\"a\":[1}", "line 1, column 8: expected , or ]"},
    {"open container", "[[1]", "line 1, column 5: expected , or ]"},
    {"open dictionary", "{\"a\":1", "line 1, column 7: expected , or }"},
    {"key without quotes", "{a:1}", "line 1, column 2: expected a key in quotes"},
    {"word with more behind", "[truex]", "line 1, column 6: expected , or ]"},
    {"cut word", "[nul", "line 1, column 2: expected a value"},
    {"capital word", "True", "line 1, column 1: expected a value"},
    {"no closing quote", "[\"abc", "line 1, column 2: a text has no closing quote"},
    {"line feed in a text", "\"a\nb\"", "line 1, column 3: a control character in a text must be escaped"},
    {"unknown escape", R"("ää\x")", "line 1, column 4: an unknown escape in a text"},
    {"backslash at the end", "\"\\", "line 1, column 2: an unknown escape in a text"},
    {"three hexadecimal digits", R"("\u12g4")", "line 1, column 2: \\u needs four hexadecimal digits"},
    {"hexadecimal digits at the end", "\"\\u12", "line 1, column 2: \\u needs four hexadecimal digits"},
    {"signed hexadecimal digits", R"("\u-123")", "line 1, column 2: \\u needs four hexadecimal digits"},
    {"lonely high surrogate", R"("\ud834x")", "line 1, column 2: half of a surrogate pair in a text"},
    {"lonely low surrogate", R"("\udd1e")", "line 1, column 2: half of a surrogate pair in a text"},
    {"two high surrogates", R"("\ud834\ud834")", "line 1, column 2: half of a surrogate pair in a text"},
    {"stray byte", "\"ab\xFF\"", "line 1, column 4: a text is not valid UTF-8"},
    {"stray byte in a key", "{\"\xFF\":1}", "line 1, column 3: a text is not valid UTF-8"},
    {"overlong", "\"\xC0\x80\"", "line 1, column 2: a text is not valid UTF-8"},
    {"overlong of three", "\"\xE0\x80\x80\"", "line 1, column 2: a text is not valid UTF-8"},
    {"encoded surrogate", "\"\xED\xA0\x80\"", "line 1, column 2: a text is not valid UTF-8"},
    {"cut sequence at the end", "\"\xE2\x82", "line 1, column 2: a text is not valid UTF-8"},
    {"zero at the front", "012", "line 1, column 1: a number must not begin with 0"},
    {"plus", "+1", "line 1, column 1: expected a value"},
    {"minus alone", "[-]", "line 1, column 2: expected a value"},
    {"no digit after the point", "1.", "line 1, column 1: a number needs a digit after the point"},
    {"no digit in the exponent", "1e+", "line 1, column 1: a number needs a digit in its exponent"},
    {"too large", "[1e400]", "line 1, column 2: a number is too large"},
    {"too large beyond any exponent", "1e99999999999999999999", "line 1, column 1: a number is too large"},
    {"not a number", "NaN", "line 1, column 1: expected a value"},
    {"line ends of all kinds", "[\r\n1,\r2,\n\xC3\xA4]", "line 4, column 1: expected a value"},
    {"columns count characters", "[\"ä€𝄞\",x]", "line 1, column 8: expected a value"},
};

TEST(JSONParser, namesThePlaceOfWhatItRefuses) {
  for (const ParserCase& c : refused) {
    EXPECT_EQ(errorOf(c.json), "Invalid JSON at " + std::string(c.events)) << c.row;
  }
}

TEST(JSONParser, judgesTheSizeOfANumberByItsValueNotByItsExponent) {
  const std::string large = "1" + std::string(400, '0') + "e-5";
  const std::string small = "0." + std::string(400, '0') + "1e5";
  EXPECT_EQ(errorOf(large), "Invalid JSON at line 1, column 1: a number is too large");
  EXPECT_EQ(eventsOf(small), "r0 ");
}

// Texts are looked at a word at a time, so what ends a run must be found at every place in a word.
TEST(JSONParser, findsTheEndOfAPlainRunAtEveryPlace) {
  for (std::size_t length = 0; length < 20; ++length) {
    const std::string plain(length, 'x');
    EXPECT_EQ(eventsOf('"' + plain + '"'), '\'' + plain + "' ");
    EXPECT_EQ(eventsOf('"' + plain + "\\n" + plain + '"'), '\'' + plain + '\n' + plain + "' ");
    EXPECT_EQ(eventsOf('"' + plain + "ä€𝄞" + plain + '"'), '\'' + plain + "ä€𝄞" + plain + "' ");
    EXPECT_THROW((void)eventsOf('"' + plain + "\x1F" + plain + '"'), NSError);
    EXPECT_THROW((void)eventsOf('"' + plain + "\x80" + plain + '"'), NSError);
  }
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
  EXPECT_EQ(errorOf(std::string(1'000'000, '[')),
            "Invalid JSON at line 1, column 1000001: the text ends where a value is expected");
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
