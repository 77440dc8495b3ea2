// Records come from files and from other programs, so anything may stand where a field belongs.

#include "QVFoundation/errors/QVCodableError.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/runtime/Set.h"
#include "tests/platform/serialization/ThrownError.h"

namespace QVFoundation {
namespace {

using namespace std::string_view_literals;
using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr auto missing = NSCoderValueNotFoundError;
constexpr auto corrupt = NSCoderReadCorruptError;
constexpr auto noJSON = NSPropertyListReadCorruptError;

class Track : public NSObject {};

const QVCodableError smallRecord({.domain = "D", .code = 1});

std::string errorOf(std::int64_t code, std::string_view json) {
  return thrownError(code, [&] { (void)QVCodableError::errorFromJSONDescription(json); });
}

std::string repeated(std::string_view text, std::size_t times) {
  std::string whole;
  for (std::size_t i = 0; i < times; ++i) whole += text;
  return whole;
}

TEST(QVCodableErrorDecoding, namesWhatIsWrongAndWhere) {
  constexpr std::size_t megabyte = std::size_t{1} << 20U;
  const struct {
    std::string json;
    std::int64_t code;
    std::string_view want;
  } cases[] = {
      {"{}", missing, R"("domain" is missing.)"},
      {R"({"domain":"D"})", missing, R"("code" is missing.)"},
      {R"({"multipleUnderlyingErrors":[{"domain":"D","code":1},{"underlyingError":{"code":1}}]})", missing,
       R"("domain" is missing in "multipleUnderlyingErrors[1].underlyingError".)"},
      {"\"D\"", corrupt, "The whole must not be a text."},
      {"null", corrupt, "The whole must not be null."},
      {repeated("[", megabyte), corrupt, "The whole must not be an array."},
      {R"({"domain":"D","domain":7})", corrupt, R"("domain" must not be a number.)"},
      {R"({"code":9223372036854775808})", corrupt, R"("code" must not be a number out of range.)"},
      {R"({"code":9007199254740993.0})", corrupt,
       R"("code" must not be a number with a fraction or out of range.)"},
      {R"({"multipleUnderlyingErrors":[null]})", corrupt,
       R"("multipleUnderlyingErrors[0]" must not be null.)"},
      {R"({"multipleUnderlyingErrors":)" + repeated("[", megabyte), corrupt,
       R"("multipleUnderlyingErrors[0]" must not be an array.)"},
      {R"({"multipleUnderlyingErrors":[{"underlyingError":{"failureReason":{}}}]})", corrupt,
       R"("multipleUnderlyingErrors[0].underlyingError.failureReason" must not be an object.)"},
      {repeated(R"({"underlyingError":)", 100) + "7", corrupt,
       R"("….underlyingError.underlyingError.underlyingError.underlyingError.underlyingError.underlyingError" )"
       "must not be a number."},
  };
  for (const auto& [json, code, want] : cases) {
    EXPECT_EQ(errorOf(code, json), "Invalid error record: " + std::string(want)) << json.substr(0, 80);
  }
  for (const auto open : {R"({"":)", R"({"underlyingError":)", R"({"multipleUnderlyingErrors":[)"}) {
    EXPECT_THAT(errorOf(noJSON, repeated(open, megabyte / 16)), HasSubstr("line 1")) << open;
  }
  EXPECT_THAT(errorOf(noJSON, R"({"more":)" + repeated("[", megabyte)), HasSubstr("line 1"));
}

TEST(QVCodableErrorDecoding, refusesWhatIsNoWholeJSONInUTF8) {
  const std::string whole = R"({"domain":"D","code":1,"multipleUnderlyingErrors":[{"domain":"E","code":2}]})";
  for (std::size_t length = 0; length < whole.size(); ++length) {
    EXPECT_THAT(errorOf(noJSON, whole.substr(0, length)), HasSubstr("line 1")) << length;
  }
  EXPECT_THAT(errorOf(noJSON, whole + '}'), HasSubstr("line 1"));
  for (const auto text : {"{\"domain\":\"\xC3\"}"sv, "\xED\xA0\x80"sv, "[\xC0\x80]"sv}) {
    EXPECT_EQ(errorOf(-1, text), "Could not create JSON data from description " + std::string(text));
  }
}

TEST(QVCodableErrorDecoding, takesWhatOthersWrite) {
  const std::pair<const char*, std::string_view> cases[] = {
      {"blanks and a byte order mark", "\xEF\xBB\xBF \r\n{\t\"domain\" : \"D\", \"code\" : 1.0 }\n"},
      {"null for absent",
       R"({"domain":"D","code":1,"errorDescription":null,"recoverySuggestion":null,"failureReason":null,)"
       R"("localizedFailureError":null,"underlyingError":null,"multipleUnderlyingErrors":null})"},
      {"more keys",
       R"({"more":[1,{"code":"x"},[null,true]],"domain":"D","":{},"a":{"b":{"c":1.5}},"code":1})"},
      {"last of equal keys", R"({"code":2,"domain":"E","domain":"D","code":1,"failureReason":"x",)"
                             R"("failureReason":null,"underlyingError":{"domain":"E","code":1},)"
                             R"("underlyingError":null})"},
      {"escaped keys", R"({"\u0064omain":"\u0044","c\u006fde":1})"},
  };
  for (const auto& [row, json] : cases) {
    EXPECT_EQ(QVCodableError::errorFromJSONDescription(json), smallRecord) << row;
  }
}

TEST(QVCodableErrorDecoding, takesOfEveryKindOfValueOnlyTheRightOnes) {
  const Dictionary plain{{"domain", "D"}, {"code", 1}};
  constexpr auto optional = "errorDescription underlyingError multipleUnderlyingErrors";
  const struct {
    Value value;
    std::string_view takenBy;  // besides keys that records do not have
  } values[] = {
      {{}, optional},
      {NSNull(), optional},
      {std::uint64_t{5}, "code"},
      {5.0, "code"},
      {5.5, ""},
      {true, ""},
      {"t", "domain errorDescription"},
      {NSData(3), ""},
      {NSDate(), ""},
      {Array{plain}, "multipleUnderlyingErrors"},
      {plain, "underlyingError"},
      {Set{plain}, "multipleUnderlyingErrors"},
      {NSError("D", 1), ""},
      {std::make_shared<Track>(), ""},
      {Value::boxed(std::runtime_error("x")), ""},
  };
  for (const auto& [value, takenBy] : values) {
    for (const std::string key :
         {"domain", "code", "errorDescription", "underlyingError", "multipleUnderlyingErrors"}) {
      Dictionary keyed = plain;
      keyed.set("more", Array{value.isNothing() ? Value(NSNull()) : value});
      EXPECT_EQ(QVCodableError::decode(keyed), smallRecord) << value.description();
      keyed.set(key, value);
      const auto decode = [&entries = keyed] { (void)QVCodableError::decode(entries); };
      if (takenBy.find(key) != std::string_view::npos) {
        EXPECT_NO_THROW(decode()) << key << ": " << value.description();
      } else {
        EXPECT_THAT(thrownError(value.isNothing() ? missing : corrupt, decode),
                    StartsWith("Invalid error record: \"" + key + "\" "));
      }
    }
  }
  Dictionary keyed = plain;
  keyed.set(3, 4);
  keyed.set("more", Dictionary{{3, 4}});
  EXPECT_EQ(QVCodableError::decode(keyed), smallRecord);
}

}  // namespace
}  // namespace QVFoundation
