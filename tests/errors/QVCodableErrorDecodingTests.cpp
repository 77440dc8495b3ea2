// Records come from files and from other programs, so anything may stand where a field belongs.

#include "QVFoundation/errors/QVCodableError.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/runtime/Set.h"
#include "tests/platform/text/ThrownError.h"

namespace QVFoundation {
namespace {

using namespace std::string_view_literals;

class Track : public NSObject {};

QVCodableError decoded(std::string_view json) { return QVCodableError::errorFromJSONDescription(json); }

std::string errorOf(std::int64_t code, std::string_view json) {
  return thrownError(code, [&] { (void)decoded(json); });
}

std::string repeated(std::string_view text, std::size_t times) {
  std::string whole;
  for (std::size_t i = 0; i < times; ++i) whole += text;
  return whole;
}

struct ShapeCase {
  const char* row;
  std::string json;
  std::string_view want;
};

TEST(QVCodableErrorDecoding, namesTheKeyThatIsMissing) {
  const ShapeCase cases[] = {
      {"empty object", "{}", "Invalid error record: \"domain\" is missing."},
      {"no code", R"({"domain":"D"})", "Invalid error record: \"code\" is missing."},
      {"of the cause", R"({"underlyingError":{"domain":"D"},"domain":"D","code":1})",
       R"(Invalid error record: "code" is missing in "underlyingError".)"},
      {"of an element",
       R"({"multipleUnderlyingErrors":[{"domain":"D","code":1},{"underlyingError":{"code":1}}]})",
       R"(Invalid error record: "domain" is missing in "multipleUnderlyingErrors[1].underlyingError".)"},
  };
  for (const auto& c : cases) EXPECT_EQ(errorOf(NSCoderValueNotFoundError, c.json), c.want) << c.row;
}

TEST(QVCodableErrorDecoding, namesThePlaceOfAWrongShape) {
  const std::string deep = repeated(R"({"underlyingError":)", 100) + "7";
  const ShapeCase cases[] = {
      {"list at the root", "[]", "The whole must not be an array."},
      {"text at the root", "\"D\"", "The whole must not be a text."},
      {"null at the root", "null", "The whole must not be null."},
      {"code as text", R"({"domain":"D","code":"1"})", "\"code\" must not be a text."},
      {"null code", R"({"domain":"D","code":null})", "\"code\" must not be null."},
      {"null domain", R"({"domain":null,"code":1})", "\"domain\" must not be null."},
      {"second domain of two", R"({"domain":"D","domain":7,"code":1})", "\"domain\" must not be a number."},
      {"code beyond 64 bits", R"({"code":9223372036854775808})",
       "\"code\" must not be a number out of range."},
      {"code below 64 bits", R"({"code":-9223372036854775809})",
       "\"code\" must not be a number with a fraction or out of range."},
      {"code with a fraction", R"({"code":1.5})",
       "\"code\" must not be a number with a fraction or out of range."},
      {"code that is rounded", R"({"code":9007199254740993.0})",
       "\"code\" must not be a number with a fraction or out of range."},
      {"cause as list", R"({"underlyingError":[]})", "\"underlyingError\" must not be an array."},
      {"list as object", R"({"multipleUnderlyingErrors":{}})",
       "\"multipleUnderlyingErrors\" must not be an object."},
      {"null in the list", R"({"multipleUnderlyingErrors":[null]})",
       "\"multipleUnderlyingErrors[0]\" must not be null."},
      {"in an element", R"({"multipleUnderlyingErrors":[{"underlyingError":{"failureReason":{}}}]})",
       "\"multipleUnderlyingErrors[0].underlyingError.failureReason\" must not be an object."},
      {"a hundred causes deep", deep,
       "\"….underlyingError.underlyingError.underlyingError.underlyingError.underlyingError."
       "underlyingError\" "
       "must not be a number."},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(errorOf(NSCoderReadCorruptError, c.json), "Invalid error record: " + std::string(c.want))
        << c.row;
  }
}

TEST(QVCodableErrorDecoding, refusesWhatIsNoJSON) {
  const std::string whole = R"({"domain":"D","code":1,"multipleUnderlyingErrors":[{"domain":"E","code":2}]})";
  for (std::size_t length = 0; length < whole.size(); ++length) {
    EXPECT_NE(errorOf(NSPropertyListReadCorruptError, whole.substr(0, length)).find("line 1"),
              std::string::npos)
        << length;
  }
  const std::string_view texts[] = {
      R"({"domain":"D","code":1}})",       R"({"domain":"D","code":1} {})",  R"({'domain':'D'})",
      R"({"domain":"D","code":1,})",       R"({"domain":"D","code":01})",    R"({"domain":"D" "code":1})",
      "{\"domain\":\"D\",\"code\":1}\0"sv, R"({"domain":"\ud800","code":1})"};
  for (const auto text : texts) {
    EXPECT_NE(errorOf(NSPropertyListReadCorruptError, text).find("line 1"), std::string::npos) << text;
  }
}

TEST(QVCodableErrorDecoding, refusesWhatIsNotUTF8BeforeAllElse) {
  for (const auto text : {"\xFF"sv, "{\"domain\":\"\xC3\"}"sv, "\xED\xA0\x80"sv, "[\xC0\x80]"sv}) {
    EXPECT_EQ(errorOf(-1, text), "Could not create JSON data from description " + std::string(text));
  }
}

TEST(QVCodableErrorDecoding, bearsAMegabyteOfOpenBrackets) {
  constexpr std::size_t megabyte = std::size_t{1} << 20U;
  const ShapeCase cases[] = {
      {"lists", repeated("[", megabyte), "The whole must not be an array."},
      {"lists in the list", R"({"multipleUnderlyingErrors":)" + repeated("[", megabyte),
       "\"multipleUnderlyingErrors[0]\" must not be an array."},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(errorOf(NSCoderReadCorruptError, c.json), "Invalid error record: " + std::string(c.want))
        << c.row;
  }
  const std::string unfinished[] = {
      repeated(R"({"":)", megabyte / 4),
      R"({"more":)" + repeated("[", megabyte),
      repeated(R"({"underlyingError":)", megabyte / 18),
      repeated(R"({"multipleUnderlyingErrors":[)", megabyte / 28),
  };
  for (const auto& json : unfinished) {
    EXPECT_NE(errorOf(NSPropertyListReadCorruptError, json).find("line 1"), std::string::npos)
        << json.substr(0, 30);
  }
}

TEST(QVCodableErrorDecoding, takesWhatOthersWrite) {
  const struct {
    const char* row;
    std::string json;
  } cases[] = {
      {"blanks and a byte order mark", "\xEF\xBB\xBF \r\n{\t\"domain\" : \"D\", \"code\" : 1 }\n"},
      {"null for absent",
       R"({"domain":"D","code":1,"errorDescription":null,"recoverySuggestion":null,"failureReason":null,)"
       R"("localizedFailureError":null,"underlyingError":null,"multipleUnderlyingErrors":null})"},
      {"more keys",
       R"({"more":[1,{"code":"x"},[null,true]],"domain":"D","":{},"userInfo":{"a":{"b":1.5}},"code":1})"},
      {"whole number as real", R"({"domain":"D","code":1.0})"},
      {"last of equal keys", R"({"code":2,"domain":"E","domain":"D","code":1})"},
      {"last of equal keys is null", R"({"domain":"D","code":1,"failureReason":"x","failureReason":null,)"
                                     R"("underlyingError":{"domain":"E","code":1},"underlyingError":null})"},
      {"escaped keys", R"({"\u0064omain":"\u0044","c\u006fde":1})"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.row);
    EXPECT_EQ(decoded(c.json), QVCodableError({.domain = "D", .code = 1}));
  }
}

TEST(QVCodableErrorDecoding, takesOfEveryKindOfValueOnlyTheRightOnes) {
  const Dictionary cause{{"domain", "C"}, {"code", 1}};
  const struct {
    const char* kind;
    Value value;
    std::string_view takenBy;  // besides keys that records do not have
  } values[] = {
      {"nothing", {}, "text cause list"},
      {"null", NSNull(), "text cause list"},
      {"integer", 5, "code"},
      {"unsigned", std::uint64_t{5}, "code"},
      {"real", 5.0, "code"},
      {"boolean", true, ""},
      {"text", "t", "domain text"},
      {"data", NSData(3), ""},
      {"date", NSDate(), ""},
      {"array", Array{cause}, "list"},
      {"dictionary", cause, "cause"},
      {"set", Set{cause}, "list"},
      {"error", NSError("D", 1), ""},
      {"object", std::make_shared<Track>(), ""},
      {"boxed", Value::boxed(std::runtime_error("x")), ""},
  };
  const struct {
    std::string_view name;
    std::string_view key;
  } fields[] = {{"domain", "domain"},
                {"code", "code"},
                {"text", "errorDescription"},
                {"cause", "underlyingError"},
                {"list", "multipleUnderlyingErrors"}};
  for (const auto& [kind, value, takenBy] : values) {
    SCOPED_TRACE(kind);
    const Dictionary plain{{"domain", "D"}, {"code", 1}};
    Dictionary keyed = plain;
    keyed.set("more", Array{value.isNothing() ? Value(NSNull()) : value});
    EXPECT_EQ(QVCodableError::decode(keyed), QVCodableError({.domain = "D", .code = 1}));

    for (const auto& [name, key] : fields) {
      SCOPED_TRACE(key);
      keyed = plain;
      keyed.set(std::string(key), value);
      if (takenBy.find(name) != std::string_view::npos) {
        EXPECT_NO_THROW((void)QVCodableError::decode(keyed));
      } else {
        const bool isMissing = value.isNothing();
        const std::string error =
            thrownError(isMissing ? NSCoderValueNotFoundError : NSCoderReadCorruptError,
                        [&, &entries = keyed] { (void)QVCodableError::decode(entries); });
        EXPECT_EQ(error.rfind("Invalid error record: \"" + std::string(key) + "\" ", 0), 0U) << error;
      }
    }
  }
}

TEST(QVCodableErrorDecoding, namesWhereAKeyIsNoText) {
  const Dictionary keyed{{"domain", "D"}, {"code", 1}, {"more", Dictionary{{3, 4}}}};
  EXPECT_EQ(thrownError(NSPropertyListReadCorruptError, [&] { (void)QVCodableError::decode(keyed); }),
            "The value at \"more\" cannot be read: its key 3 is no text");
}

}  // namespace
}  // namespace QVFoundation
