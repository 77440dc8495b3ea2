#include "QVFoundation/errors/QVCodableError.h"

#include <cstdint>
#include <exception>
#include <functional>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "QVFoundation/errors/QVJSONDescription.h"
#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/ErrorConversion.h"
#include "QVFoundation/platform/text/PropertyList.h"
#include "QVFoundation/platform/text/ValueBuilder.h"

namespace QVFoundation {
namespace {

using Fields = QVCodableError::Fields;
using Records = std::vector<QVCodableError>;

constexpr auto suggestionKey = NSLocalizedRecoverySuggestionErrorKey;

QVCodableError record(std::string domain, std::int64_t code, std::optional<std::string> description = {}) {
  return QVCodableError(
      Fields{.domain = std::move(domain), .code = code, .errorDescription = std::move(description)});
}

/// A record in which every field says something else.
Fields fullFields() {
  return {.domain = "D",
          .code = -7,
          .errorDescription = "Description",
          .recoverySuggestion = "Suggestion",
          .failureReason = "Reason",
          .localizedFailureError = "Failure",
          .underlyingError = record("Cause", 1, "Because"),
          .multipleUnderlyingErrors = Records{record("First", 2), record("Second", 3)}};
}

struct Change {
  const char* row;
  std::function<void(Fields&)> apply;
};

const Change changes[] = {
    {"domain", [](Fields& f) { f.domain = ""; }},
    {"code", [](Fields& f) { f.code = 7; }},
    {"absent description", [](Fields& f) { f.errorDescription.reset(); }},
    {"empty suggestion", [](Fields& f) { f.recoverySuggestion = ""; }},
    {"reason", [](Fields& f) { f.failureReason = "Failure"; }},
    {"failure", [](Fields& f) { f.localizedFailureError = "Reason"; }},
    {"absent cause", [](Fields& f) { f.underlyingError.reset(); }},
    {"changed cause", [](Fields& f) { f.underlyingError = record("Cause", 1); }},
    {"cause of the cause", [](Fields& f) { f.underlyingError = QVCodableError(fullFields()); }},
    {"absent list", [](Fields& f) { f.multipleUnderlyingErrors.reset(); }},
    {"empty list", [](Fields& f) { f.multipleUnderlyingErrors = Records(); }},
    {"shorter list", [](Fields& f) { f.multipleUnderlyingErrors->pop_back(); }},
    {"order of the list",
     [](Fields& f) { std::swap(f.multipleUnderlyingErrors->at(0), f.multipleUnderlyingErrors->at(1)); }},
    {"deep in the list", [](Fields& f) { f.multipleUnderlyingErrors->at(1) = QVCodableError(fullFields()); }},
    {"largest code", [](Fields& f) { f.code = std::numeric_limits<std::int64_t>::max(); }},
    {"smallest code", [](Fields& f) { f.code = std::numeric_limits<std::int64_t>::min(); }},
    {"all of Unicode", [](Fields& f) { f.failureReason = "ä€𝄞\u2028\uFEFF\uFFFF"; }},
    {"control characters", [](Fields& f) { f.errorDescription = std::string("\0\x1F\n\"\\/\x7F", 7); }},
};

QVCodableError changed(const Change& change) {
  Fields fields = fullFields();
  change.apply(fields);
  return QVCodableError(std::move(fields));
}

TEST(QVCodableError, equalsOnlyWhatIsTheSameInEveryField) {
  const QVCodableError full(fullFields());
  EXPECT_EQ(full, QVCodableError(fullFields()));
  for (const Change& change : changes) {
    EXPECT_NE(full, changed(change)) << change.row;
    EXPECT_NE(changed(change), full) << change.row;
    EXPECT_EQ(changed(change), changed(change)) << change.row;
  }
}

TEST(QVCodableError, comesBackFromEveryFormAsItWas) {
  std::vector<Change> all(std::begin(changes), std::end(changes));
  all.push_back({"unchanged", [](Fields&) {}});
  for (const Change& change : all) {
    SCOPED_TRACE(change.row);
    const QVCodableError original = changed(change);
    EXPECT_EQ(QVCodableError::errorFromJSONDescription(jsonDescription(original)), original);
    ValueBuilder builder;
    original.encode(builder);
    const Value keyed = builder.takeValue();
    EXPECT_EQ(QVCodableError::decode(keyed), original);
    const NSData binary = dataFromPropertyList(keyed, PropertyListFormat::binary);
    EXPECT_EQ(QVCodableError::decode(propertyListFromData(binary)), original);
  }
}

TEST(QVCodableError, isWrittenInTheOrderOfItsFieldsWithoutThoseThatAreAbsent) {
  EXPECT_EQ(jsonDescription(record("", 0)), "{\n  \"domain\": \"\",\n  \"code\": 0\n}");
  Fields fields = fullFields();
  fields.multipleUnderlyingErrors = Records{record("First", 2)};
  EXPECT_EQ(jsonDescription(QVCodableError(fields)), R"({
  "domain": "D",
  "code": -7,
  "errorDescription": "Description",
  "recoverySuggestion": "Suggestion",
  "failureReason": "Reason",
  "localizedFailureError": "Failure",
  "underlyingError": {
    "domain": "Cause",
    "code": 1,
    "errorDescription": "Because"
  },
  "multipleUnderlyingErrors": [
    {
      "domain": "First",
      "code": 2
    }
  ]
})");
  fields = {.domain = "bad \xFF", .multipleUnderlyingErrors = Records()};
  EXPECT_EQ(jsonDescription(QVCodableError(fields)),
            "{\n  \"domain\": \"bad �\",\n  \"code\": 0,\n  \"multipleUnderlyingErrors\": []\n}");
}

TEST(QVCodableError, takesTheTextsOfAnError) {
  const Dictionary texts{{NSLocalizedDescriptionKey, "Description"},
                         {suggestionKey, "Suggestion"},
                         {NSLocalizedFailureReasonErrorKey, "Reason"},
                         {NSLocalizedFailureErrorKey, "Failure"},
                         {"not kept", NSDate()}};
  Dictionary wrong;
  for (const auto& entry : texts) wrong.set(entry.first, 5);
  wrong.set(NSUnderlyingErrorKey, "text");

  const struct {
    const char* row;
    NSError error;
    Fields want;
  } cases[] = {
      {"all texts", NSError("D", -7, texts),
       Fields{"D", -7, "Description", "Suggestion", "Reason", "Failure"}},
      {"none", NSError("D", 1), Fields{"D", 1, "The operation couldn’t be completed. (D error 1.)"}},
      {"no domain", NSError(std::nullopt, 0),
       Fields{"", 0, "The operation couldn’t be completed. ((null) error 0.)"}},
      {"wrong types", NSError("D", 1, wrong),
       Fields{"D", 1, "The operation couldn’t be completed. (D error 1.)"}},
      {"composed",
       NSError("D", 1,
               {{NSLocalizedFailureErrorKey, "It failed."}, {NSLocalizedFailureReasonErrorKey, "R."}}),
       Fields{"D", 1, "It failed. R.", {}, "R.", "It failed."}},
  };
  for (const auto& c : cases) EXPECT_EQ(QVCodableError(c.error), QVCodableError(c.want)) << c.row;
}

TEST(QVCodableError, takesAListOfCausesOnlyWhole) {
  const NSError cause("Cause", 2, {{NSLocalizedDescriptionKey, "Because"}});
  const std::runtime_error exception("Any");
  const struct {
    const char* row;
    Value list;
    std::optional<Records> want;
  } cases[] = {
      {"absent", {}, {}},
      {"empty", Array(), Records()},
      {"several, in order", Array{cause, NSError("Other", 3, {{NSLocalizedDescriptionKey, "O"}}), cause},
       Records{record("Cause", 2, "Because"), record("Other", 3, "O"), record("Cause", 2, "Because")}},
      {"text", "text", {}},
      {"one error that is no list", cause, {}},
      {"an element that is no error", Array{cause, "text"}, {}},
      {"boxed exceptions", Array{Value::boxed(exception)}, Records{record("std::runtime_error", 1, "Any")}},
  };
  for (const auto& c : cases) {
    const QVCodableError made(NSError("D", 1, {{NSMultipleUnderlyingErrorsKey, c.list}}));
    EXPECT_EQ(made.multipleUnderlyingErrors(), c.want) << c.row;
  }
}

/// An error that has a cause and a list of causes, down to a depth. Every error has a code of its own.
NSError treeOfErrors(int depth, std::int64_t& lastCode) {
  Dictionary userInfo{{NSLocalizedDescriptionKey, "T"}};
  const std::int64_t code = ++lastCode;
  if (depth > 0) {
    userInfo.set(NSUnderlyingErrorKey, treeOfErrors(depth - 1, lastCode));
    const NSError first = treeOfErrors(depth - 1, lastCode);
    userInfo.set(NSMultipleUnderlyingErrorsKey, Array{first, treeOfErrors(depth - 1, lastCode)});
  }
  return {"D", code, userInfo};
}

TEST(QVCodableError, capturesAWholeTreeOfCausesInOrder) {
  std::int64_t last = 0;
  const QVCodableError made(treeOfErrors(4, last));
  const std::string json = jsonDescription(made);
  std::size_t position = 0;
  for (std::int64_t code = 1; code <= 121; ++code) {
    position = json.find("\"code\": " + std::to_string(code) + ',', position);
    ASSERT_NE(position, std::string::npos) << code;
  }
  EXPECT_EQ(last, 121);
  EXPECT_EQ(made.underlyingError()->multipleUnderlyingErrors()->at(1).code(), 2 + 2 * 13 + 1);
  EXPECT_EQ(QVCodableError::errorFromJSONDescription(json), made);
}

TEST(QVCodableError, becomesAnErrorWithTheDomainOfItsType) {
  const QVCodableError full(fullFields());
  const NSError error = asNSError(full);
  EXPECT_EQ(error.domain(), "QVFoundation.QVCodableError");
  EXPECT_EQ(error.code(), -7);
  const Dictionary want{
      {NSLocalizedDescriptionKey, "Description"},
      {suggestionKey, "Suggestion"},
      {NSLocalizedFailureReasonErrorKey, "Reason"},
      {NSLocalizedFailureErrorKey, "Failure"},
      {NSUnderlyingErrorKey, Value::boxed(*full.underlyingError())},
      {NSMultipleUnderlyingErrorsKey, Array{Value::boxed(full.multipleUnderlyingErrors()->at(0)),
                                            Value::boxed(full.multipleUnderlyingErrors()->at(1))}},
  };
  EXPECT_EQ(error.userInfo(), want);
  EXPECT_EQ(error.underlyingErrors().size(), 3U);
  EXPECT_EQ(error.underlyingErrors().front().localizedDescription(), "Because");
  EXPECT_TRUE(record("D", 1).errorUserInfo().empty());
  EXPECT_EQ(QVCodableError(Fields{.multipleUnderlyingErrors = Records()}).errorUserInfo(),
            (Dictionary{{NSMultipleUnderlyingErrorsKey, Array()}}));

  // Taken down once more, only the domains are others.
  const QVCodableError again(error);
  EXPECT_EQ(again.domain(), "QVFoundation.QVCodableError");
  EXPECT_EQ(again.underlyingError()->domain(), "QVFoundation.QVCodableError");
  EXPECT_EQ(again.underlyingError()->errorDescription(), "Because");
  EXPECT_EQ(again.multipleUnderlyingErrors()->at(1).code(), 3);
}

TEST(QVCodableError, describesItselfAndTheChainOfCauses) {
  const auto described = [](Fields fields) { return QVCodableError(std::move(fields)).description(); };
  const QVCodableError inner(
      Fields{.errorDescription = "U", .recoverySuggestion = "V", .underlyingError = record("", 0)});
  const struct {
    const char* row;
    Fields fields;
    std::string_view want;
  } cases[] = {
      {"nothing", {.domain = "D"}, ""},
      {"description", {.errorDescription = "D"}, "D"},
      {"suggestion alone", {.recoverySuggestion = "S"}, " S"},
      {"cause",
       {.errorDescription = "D", .recoverySuggestion = "S", .underlyingError = record("", 0, "U")},
       "D S(U)"},
      {"chain", {.errorDescription = "D", .underlyingError = inner}, "D(U V())"},
      {"all else is left out", fullFields(), "Description Suggestion(Because)"},
  };
  for (const auto& c : cases) EXPECT_EQ(described(c.fields), c.want) << c.row;
}

TEST(QVCodableError, isThrownAndTakenFromWhatWasThrown) {
  try {
    throw QVCodableError(fullFields());
  } catch (const std::exception& caught) {
    EXPECT_STREQ(caught.what(), "Description");
    EXPECT_EQ(QVCodableError::from(std::current_exception())->errorDescription(), "Description");
  }
  EXPECT_STREQ(record("D", 1).what(), "D");
  EXPECT_EQ(QVCodableError::from(nullptr), std::nullopt);
  EXPECT_EQ(QVCodableError::from(std::make_exception_ptr(7)),
            record("QVErrorDomain", 1, "unknown exception"));
}

}  // namespace
}  // namespace QVFoundation
