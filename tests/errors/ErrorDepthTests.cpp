// Chains of 100,000 errors are built, described, compared, written, read and let go on the stack of a small
// thread. The bound on the time of each test keeps all of it linear.

#include <string>

#include <gtest/gtest.h>

#include "QVFoundation/errors/QVBlockErrorRecoveryAttempter.h"
#include "QVFoundation/errors/QVCodableError.h"
#include "QVFoundation/errors/QVErrorConstructors.h"
#include "QVFoundation/errors/QVErrorInspection.h"
#include "QVFoundation/errors/QVJSONDescription.h"
#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/ErrorConversion.h"
#include "tests/platform/runtime/SmallStack.h"

namespace QVFoundation {
namespace {

using testing::onSmallStack;

constexpr int links = 100'000;

NSError linked(const NSError& cause, bool inList) {
  if (inList) return {"D", 1, {{NSMultipleUnderlyingErrorsKey, Array{cause}}}};
  return qv_errorWithDomain("D", 1, {}, {}, cause);
}

void expectToBearAChain(bool hasLists) {
  auto failed = QVBlockErrorRecoveryAttempter::attempter();
  failed->setRecoveryError(NSError("Result", 1));
  NSError error("Innermost", 0, {{NSRecoveryAttempterErrorKey, failed}});
  for (int i = 0; i < links; ++i) error = linked(error, hasLists && i % 2 == 0);
  EXPECT_FALSE(fullDescription(error).empty());
  EXPECT_NE(findRecoveryError(error).has_value(), hasLists);

  const QVCodableError record(error);
  EXPECT_FALSE(record.description().empty());
  const std::string json = jsonDescription(record);
  EXPECT_NE(json.find("Innermost"), std::string::npos);
  const QVCodableError read = QVCodableError::errorFromJSONDescription(json);
  EXPECT_TRUE(read == record);
  const NSError boxed = asNSError(record);
  EXPECT_FALSE(boxed.description().empty());
  EXPECT_TRUE(boxed == asNSError(read));
  EXPECT_EQ(QVCodableError(boxed).code(),
            1);  // each link becomes an error in turn, whose cause is boxed again
}

TEST(ErrorDepth, ofCausesDoesNotExhaustTheStack) {
  onSmallStack([] { expectToBearAChain(false); });
}
TEST(ErrorDepth, ofListsDoesNotExhaustTheStack) {
  onSmallStack([] { expectToBearAChain(true); });
}

TEST(ErrorDepth, ofValuesThatHoldARecordDoesNotExhaustTheStack) {
  onSmallStack([] {
    Value keyed = Dictionary{{"domain", "D"}, {"code", 0}};
    for (int i = 1; i <= links; ++i) {
      const bool isCause = i % 2 == 0;
      keyed = Dictionary{
          {"domain", "D"},
          {"code", i},
          {isCause ? "underlyingError" : "multipleUnderlyingErrors", isCause ? keyed : Array{keyed}}};
    }
    const QVCodableError record = QVCodableError::decode(keyed);
    EXPECT_EQ(record.underlyingError()->multipleUnderlyingErrors()->front().code(), links - 2);
  });
}

}  // namespace
}  // namespace QVFoundation
