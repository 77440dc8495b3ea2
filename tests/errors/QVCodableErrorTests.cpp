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
#include "QVFoundation/platform/serialization/PropertyList.h"
#include "QVFoundation/platform/serialization/ValueBuilder.h"

namespace QVFoundation {
namespace {

using Fields = QVCodableError::Fields;
using Records = std::vector<QVCodableError>;
using Limits = std::numeric_limits<std::int64_t>;

QVCodableError record(std::string domain, std::int64_t code, std::optional<std::string> description = {}) {
  return QVCodableError(
      Fields{.domain = std::move(domain), .code = code, .errorDescription = std::move(description)});
}

/// A record in which every field says something else.
Fields fullFields() {
  return {.domain = "D",
          .code = Limits::min(),
          .errorDescription = "Description",
          .recoverySuggestion = "Suggestion",
          .failureReason = "Reason",
          .localizedFailureError = "Failure",
          .underlyingError = record("Cause", 1),
          .multipleUnderlyingErrors = Records{record("First", 2), record("Second", 3)}};
}

TEST(QVCodableError, comesBackFromEveryFormEqualToItselfAlone) {
  const struct {
    const char* row;
    std::function<void(Fields&)> apply;
  } changes[] = {
      {"unchanged", [](Fields&) {}},
      {"domain", [](Fields& f) { f.domain = ""; }},
      {"absent description", [](Fields& f) { f.errorDescription.reset(); }},
      {"empty suggestion", [](Fields& f) { f.recoverySuggestion = ""; }},
      {"absent cause", [](Fields& f) { f.underlyingError.reset(); }},
      {"cause of the cause", [](Fields& f) { f.underlyingError = QVCodableError(fullFields()); }},
      {"absent list", [](Fields& f) { f.multipleUnderlyingErrors.reset(); }},
      {"empty list", [](Fields& f) { f.multipleUnderlyingErrors = Records(); }},
      {"order of the list",
       [](Fields& f) { std::swap((*f.multipleUnderlyingErrors)[0], f.multipleUnderlyingErrors->back()); }},
      {"deep in the list",
       [](Fields& f) { f.multipleUnderlyingErrors->back() = QVCodableError(fullFields()); }},
      {"largest code", [](Fields& f) { f.code = Limits::max(); }},
      {"all of Unicode", [](Fields& f) { f.failureReason = "ä€𝄞\u2028\uFEFF\uFFFF"; }},
      {"control characters",
       [](Fields& f) { f.localizedFailureError = std::string("\0\x1F\n\"\\/\x7F", 7); }},
  };
  for (const auto& [row, apply] : changes) {
    SCOPED_TRACE(row);
    Fields fields = fullFields();
    apply(fields);
    const QVCodableError original(fields);
    EXPECT_EQ(original == QVCodableError(fullFields()), row == changes[0].row);
    EXPECT_EQ(QVCodableError(fullFields()) == original, row == changes[0].row);
    EXPECT_EQ(QVCodableError::errorFromJSONDescription(jsonDescription(original)), original);
    ValueBuilder builder;
    original.encode(builder);
    const NSData binary = dataFromPropertyList(builder.takeValue(), PropertyListFormat::binary);
    EXPECT_EQ(QVCodableError::decode(propertyListFromData(binary)), original);
  }
}

TEST(QVCodableError, isWrittenInTheOrderOfItsFieldsWithoutThoseThatAreAbsent) {
  Fields fields = fullFields();
  fields.domain = "bad \xFF";
  fields.multipleUnderlyingErrors = Records{record("First", 2)};
  EXPECT_EQ(jsonDescription(QVCodableError(fields)), R"({
  "domain": "bad �",
  "code": -9223372036854775808,
  "errorDescription": "Description",
  "recoverySuggestion": "Suggestion",
  "failureReason": "Reason",
  "localizedFailureError": "Failure",
  "underlyingError": {
    "domain": "Cause",
    "code": 1
  },
  "multipleUnderlyingErrors": [
    {
      "domain": "First",
      "code": 2
    }
  ]
})");
}

TEST(QVCodableError, takesTheTextsOfAnError) {
  const Dictionary texts{{NSLocalizedRecoverySuggestionErrorKey, "Suggestion"},
                         {NSLocalizedFailureReasonErrorKey, "R."},
                         {NSLocalizedFailureErrorKey, "It failed."},
                         {"not kept", NSDate()}};
  EXPECT_EQ(QVCodableError(NSError("D", -7, texts)),
            QVCodableError({"D", -7, "It failed. R.", "Suggestion", "R.", "It failed."}));
  Dictionary wrong{{NSLocalizedDescriptionKey, 5}, {NSUnderlyingErrorKey, "text"}};
  for (const auto& entry : texts) wrong.set(entry.first, 5);
  EXPECT_EQ(QVCodableError(NSError(std::nullopt, 0, wrong)),
            record("", 0, "The operation couldn’t be completed. ((null) error 0.)"));
}

/// The codes of a record, of its cause in parentheses and of its list of causes in brackets.
std::string codesOf(const QVCodableError& record) {
  std::string codes = std::to_string(record.code());
  if (record.underlyingError()) codes += '(' + codesOf(*record.underlyingError()) + ')';
  if (!record.multipleUnderlyingErrors()) return codes;
  codes += '[';
  for (const auto& element : *record.multipleUnderlyingErrors()) codes += ' ' + codesOf(element);
  return codes + ']';
}

TEST(QVCodableError, takesATreeOfCausesInOrderAndAListOnlyWhole) {
  const auto caused = [](const Value& cause, const Value& list) {
    return NSError("D", 1, {{NSUnderlyingErrorKey, cause}, {NSMultipleUnderlyingErrorsKey, list}});
  };
  const auto coded = [](std::int64_t code) { return NSError("D", code); };
  const NSError tree = caused(coded(2), Array{coded(3), coded(4)});
  const struct {
    const char* row;
    NSError error;
    std::string_view want;
  } cases[] = {
      {"absent", caused("text", {}), "1"},
      {"empty", caused(tree, Array()), "1(1(2)[ 3 4])[]"},
      {"trees in a list", caused(tree, Array{coded(5), tree, coded(6)}), "1(1(2)[ 3 4])[ 5 1(2)[ 3 4] 6]"},
      {"boxed exception", caused({}, Array{Value::boxed(std::runtime_error("Any"))}), "1[ 1]"},
      {"one error that is no list", caused({}, coded(2)), "1"},
      {"an element that is no error", caused({}, Array{coded(2), "text"}), "1"},
  };
  for (const auto& [row, error, want] : cases) EXPECT_EQ(codesOf(QVCodableError(error)), want) << row;
}

TEST(QVCodableError, becomesAnErrorWithTheDomainOfItsTypeAndBack) {
  const Fields fields = fullFields();
  const NSError error = asNSError(QVCodableError(fields));
  Array list;
  for (const auto& element : *fields.multipleUnderlyingErrors) list.append(Value::boxed(element));
  const Dictionary want{{NSLocalizedDescriptionKey, "Description"},
                        {NSLocalizedRecoverySuggestionErrorKey, "Suggestion"},
                        {NSLocalizedFailureReasonErrorKey, "Reason"},
                        {NSLocalizedFailureErrorKey, "Failure"},
                        {NSUnderlyingErrorKey, Value::boxed(*fields.underlyingError)},
                        {NSMultipleUnderlyingErrorsKey, list}};
  EXPECT_EQ(error, NSError("QVFoundation.QVCodableError", Limits::min(), want));
  EXPECT_EQ(error.underlyingErrors().size(), 3U);
  EXPECT_EQ(QVCodableError(error).multipleUnderlyingErrors()->at(1).domain(), "QVFoundation.QVCodableError");
}

TEST(QVCodableError, describesTheChainOfCausesAndIsTakenFromWhatWasThrown) {
  const QVCodableError inner({.recoverySuggestion = "V", .underlyingError = record("E", 0, "U")});
  const QVCodableError outer({.errorDescription = "D", .recoverySuggestion = "S", .underlyingError = inner});
  EXPECT_EQ(outer.description(), "D S( V(U))");
  EXPECT_STREQ(outer.what(), "D");
  EXPECT_STREQ(record("E", 0).what(), "E");
  EXPECT_EQ(QVCodableError::from(nullptr), std::nullopt);
  EXPECT_EQ(QVCodableError::from(std::make_exception_ptr(outer))->errorDescription(), "D");
  EXPECT_EQ(QVCodableError::from(std::make_exception_ptr(7)),
            record("QVErrorDomain", 1, "unknown exception"));
}

}  // namespace
}  // namespace QVFoundation
