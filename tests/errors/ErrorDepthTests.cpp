// Chains of 100,000 errors are built, described, compared, written, read and let go on the stack of a small
// thread. The bound on the time of each test keeps all of it linear.

#include <cstddef>
#include <memory>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "QVFoundation/errors/QVBlockErrorRecoveryAttempter.h"
#include "QVFoundation/errors/QVCodableError.h"
#include "QVFoundation/errors/QVErrorConstructors.h"
#include "QVFoundation/errors/QVErrorInspection.h"
#include "QVFoundation/errors/QVExceptionWrapping.h"
#include "QVFoundation/errors/QVJSONDescription.h"
#include "QVFoundation/platform/runtime/Array.h"
#include "tests/platform/runtime/SmallStack.h"

namespace QVFoundation {
namespace {

using testing::onSmallStack;

constexpr int links = 100'000;

struct Linking {
  const char* row;
  NSError (*link)(const NSError& cause);
};

const Linking linkings[] = {
    {"causes", [](const NSError& cause) { return NSError("D", 1, {{NSUnderlyingErrorKey, cause}}); }},
    {"lists",
     [](const NSError& cause) { return NSError("D", 1, {{NSMultipleUnderlyingErrorsKey, Array{cause}}}); }},
    {"constructor", [](const NSError& cause) { return qv_errorWithDomain("D", 1, {}, {}, cause); }},
};

NSError chain(const Linking& linking, NSError error) {
  for (int i = 0; i < links; ++i) error = linking.link(error);
  return error;
}

class ErrorDepth : public ::testing::TestWithParam<Linking> {};

TEST_P(ErrorDepth, doesNotExhaustTheStack) {
  onSmallStack([] {
    auto failed = QVBlockErrorRecoveryAttempter::attempter();
    failed->setRecoveryError(NSError("Result", 1));
    const NSError error =
        chain(GetParam(), NSError("Innermost", 0, {{NSRecoveryAttempterErrorKey, std::move(failed)}}));
    EXPECT_FALSE(fullDescription(error).empty());
    EXPECT_FALSE(isUserCancelledError(error));
    const bool isChain = underlyingError(error).has_value();
    EXPECT_EQ(findRecoveryError(error), isChain ? std::optional(NSError("Result", 1)) : std::nullopt);

    const QVCodableError record(error);
    const std::string json = jsonDescription(record);
    const QVCodableError read = QVCodableError::errorFromJSONDescription(json);
    EXPECT_TRUE(read == record);
    EXPECT_NE(json.find("Innermost"), std::string::npos);
  });
}

INSTANTIATE_TEST_SUITE_P(Chains, ErrorDepth, ::testing::ValuesIn(linkings),
                         [](const auto& instance) { return std::string(instance.param.row); });

TEST(ErrorDepth, doesNotMatterToRecordsAsErrors) {
  onSmallStack([] {
    const QVCodableError record(chain(linkings[0], NSError("Innermost", 0)));
    EXPECT_FALSE(record.description().empty());
    const NSError error = asNSError(record);
    EXPECT_FALSE(error.description().empty());
    EXPECT_TRUE(error == asNSError(QVCodableError::errorFromJSONDescription(jsonDescription(record))));
    // Each link becomes an error in turn, whose cause is boxed again.
    EXPECT_EQ(QVCodableError(error).code(), 1);
  });
}

TEST(ErrorDepth, doesNotMatterToValuesThatHoldARecord) {
  onSmallStack([] {
    Value keyed = Dictionary{{"domain", "D"}, {"code", 0}};
    for (int i = 1; i <= links; ++i) {
      keyed = i % 2 == 0
                  ? Dictionary{{"domain", "D"}, {"code", i}, {"underlyingError", keyed}}
                  : Dictionary{{"domain", "D"}, {"code", i}, {"multipleUnderlyingErrors", Array{keyed}}};
    }
    const QVCodableError record = QVCodableError::decode(keyed);
    EXPECT_EQ(record.code(), links);
    EXPECT_EQ(record.underlyingError()->multipleUnderlyingErrors()->front().code(), links - 2);
  });
}

}  // namespace
}  // namespace QVFoundation
