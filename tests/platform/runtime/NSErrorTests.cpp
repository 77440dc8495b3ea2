#include "QVFoundation/platform/runtime/NSError.h"

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/runtime/NSObject.h"

namespace QVFoundation {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Helper : public NSObject {};

TEST(NSError, composesItsDescriptionFromWhatItKnows) {
  constexpr auto text = NSLocalizedDescriptionKey;
  constexpr auto failure = NSLocalizedFailureErrorKey;
  constexpr auto reason = NSLocalizedFailureReasonErrorKey;
  const struct {
    const char* row;
    NSError error;
    std::string_view want;
  } cases[] = {
      {"its own text", {"D", 1, {{text, "Text."}, {failure, "Failure."}, {reason, "Reason."}}}, "Text."},
      {"failure and reason", {"D", 1, {{failure, "Failure."}, {reason, "Reason."}}}, "Failure. Reason."},
      {"failure alone", {NSPOSIXErrorDomain, 2, {{failure, "Failure."}}}, "Failure."},
      {"reason alone",
       {NSPOSIXErrorDomain, 2, {{reason, "Reason."}}},
       "The operation couldn’t be completed. Reason."},
      {"system", {NSPOSIXErrorDomain, 2}, "The operation couldn’t be completed. No such file or directory"},
      {"nothing", {"D", -7}, "The operation couldn’t be completed. (D error -7.)"},
      {"no domain", {std::nullopt, 7}, "The operation couldn’t be completed. ((null) error 7.)"},
      {"text of a wrong type", {"D", 1, {{text, 5}}}, "The operation couldn’t be completed. (D error 1.)"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.row);
    EXPECT_EQ(c.error.localizedDescription(), c.want);
    EXPECT_EQ(std::string_view(c.error.what()), c.want);
  }
}

TEST(NSError, describesItselfAndItsCausesOnOneLine) {
  const NSError cause(std::nullopt, 2, {{NSLocalizedDescriptionKey, "Cause."}, {"zz", 1}});
  const NSError error("D", 1,
                      {{NSLocalizedDescriptionKey, "Text."}, {NSUnderlyingErrorKey, cause}, {"zz", "a b"}});
  EXPECT_EQ(NSError("D", 1, {}).description(),
            "Error Domain=D Code=1 \"The operation couldn’t be completed. (D error 1.)\"");
  EXPECT_EQ(error.description(),
            "Error Domain=D Code=1 \"Text.\" UserInfo={NSLocalizedDescription=Text., NSUnderlyingError={"
            "Error Domain=(null) Code=2 \"Cause.\" UserInfo={NSLocalizedDescription=Cause., zz=1}}, zz=a b}");
  EXPECT_EQ(Value(error).description(), error.description());
}

TEST(NSError, readsItsUserInfo) {
  const auto helper = std::make_shared<Helper>();
  const NSError cause("Cause", 1);
  const NSError error("D", 1,
                      {{NSLocalizedRecoverySuggestionErrorKey, "Try again."},
                       {NSLocalizedRecoveryOptionsErrorKey, Array{"Again", "Cancel"}},
                       {NSHelpAnchorErrorKey, "help"},
                       {NSRecoveryAttempterErrorKey, helper},
                       {NSUnderlyingErrorKey, Value::boxed(std::runtime_error("boxed"))},
                       {NSMultipleUnderlyingErrorsKey, Array{cause, "no error"}}});
  EXPECT_EQ(error.localizedRecoverySuggestion(), "Try again.");
  EXPECT_THAT(error.localizedRecoveryOptions(), ElementsAre("Again", "Cancel"));
  EXPECT_EQ(error.helpAnchor(), "help");
  EXPECT_EQ(error.recoveryAttempter(), helper);
  ASSERT_EQ(error.underlyingErrors().size(), 2U);
  EXPECT_EQ(error.underlyingErrors()[0].localizedDescription(), "boxed");
  EXPECT_EQ(error.underlyingErrors()[1], cause);

  const NSError wrong(
      "D", 1, {{NSLocalizedRecoveryOptionsErrorKey, Array{"Again", 2}}, {NSRecoveryAttempterErrorKey, "x"}});
  EXPECT_THAT(wrong.localizedRecoveryOptions(), IsEmpty());
  EXPECT_EQ(wrong.recoveryAttempter(), nullptr);
  EXPECT_EQ(wrong.localizedFailureReason(), std::nullopt);
  EXPECT_THAT(wrong.underlyingErrors(), IsEmpty());
}

TEST(NSError, equalsWhatSaysTheSameDownToTheLastCause) {
  const auto chain = [](std::string_view last) {
    const NSError cause("Cause", 2, {{"text", last}});
    return NSError("D", 1, {{NSUnderlyingErrorKey, NSError("Middle", 3, {{NSUnderlyingErrorKey, cause}})}});
  };
  EXPECT_EQ(chain("a"), chain("a"));
  EXPECT_NE(chain("a"), chain("b"));
  EXPECT_NE(chain("a"), NSError("D", 1));
  EXPECT_NE(NSError("", 1), NSError(std::nullopt, 1));
  EXPECT_EQ(chain("a").underlyingErrors().front().underlyingErrors().front().userInfo()["text"], "a");
}

TEST(NSError, keepsItsClassAndItsStateWhenThrownAndCopied) {
  static const NSClass cls("PlayerError", NSError::staticClass());
  const NSError error("D", 1, {}, cls);
  try {
    throw error;
  } catch (const std::exception& caught) {
    const auto& same = dynamic_cast<const NSError&>(caught);
    EXPECT_EQ(same.className(), "PlayerError");
    EXPECT_EQ(same.address(), error.address());
  }
  EXPECT_EQ(NSError("D", 1).className(), "NSError");
  EXPECT_EQ(Value(error).error()->className(), "PlayerError");
}

}  // namespace
}  // namespace QVFoundation
