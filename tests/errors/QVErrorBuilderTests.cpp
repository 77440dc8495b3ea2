#include "QVFoundation/errors/QVErrorBuilder.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "QVFoundation/errors/QVBlockErrorRecoveryAttempter.h"
#include "QVFoundation/errors/QVErrorInspection.h"
#include "QVFoundation/errors/QVErrorKeys.h"
#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/runtime/NSException.h"

namespace QVFoundation {
namespace {

using ::testing::ElementsAre;
using ::testing::MatchesRegex;

class OtherAttempter : public NSObject {};

const NSClass& playerErrorClass() {
  static const NSClass cls("BuiltPlayerError", NSError::staticClass());
  return cls;
}

QVRecoveryHandler returning(std::int64_t code) {
  return [code](const NSError&) { return NSError("Result", code); };
}

TEST(QVErrorBuilder, beginsWithNothing) {
  const auto builder = QVErrorBuilder::errorBuilder();
  EXPECT_EQ(builder->errorStyle(), 0);
  const NSError error = builder->generateError();
  EXPECT_EQ(error.domain(), std::nullopt);
  EXPECT_EQ(error.code(), 0);
  EXPECT_TRUE(error.userInfo().empty());
  EXPECT_EQ(&error.errorClass(), &NSError::staticClass());
  EXPECT_EQ(errorStyle(error), 2);
}

TEST(QVErrorBuilder, keepsEachPropertyUnderItsKey) {
  const auto attempter = std::make_shared<OtherAttempter>();
  const struct {
    const char* property;
    std::string_view key;
    Value value;
  } cases[] = {
      {"localizedDescription", "NSLocalizedDescription", "Text."},
      {"localizedRecoverySuggestion", "NSLocalizedRecoverySuggestion", "Try again."},
      {"helpAnchor", "NSHelpAnchor", "help"},
      {"underlyingError", "NSUnderlyingError", NSError("Cause", 2)},
      {"recoveryAttempter", "NSRecoveryAttempter", attempter},
      {"errorStyle", "QVErrorStyle", 7},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.property);
    const auto builder = QVErrorBuilder::errorBuilder();
    builder->setValueForKey(c.value, c.property);
    EXPECT_EQ(builder->userInfo(), (Dictionary{{c.key, c.value}}));
    EXPECT_EQ(builder->valueForKey(c.property), c.value);
    EXPECT_EQ(builder->generateError().userInfo(), builder->userInfo());

    if (std::string_view(c.property) == "errorStyle") {
      EXPECT_THROW(builder->setValueForKey({}, c.property), NSException);
      builder->setUserInfoValue({}, c.key);
    } else {
      builder->setValueForKey({}, c.property);
    }
    EXPECT_TRUE(builder->userInfo().empty());
  }
}

TEST(QVErrorBuilder, generatesErrorsThatLaterChangesDoNotReach) {
  QVErrorBuilder builder;
  builder.setDomain("D");
  builder.setCode(1);
  builder.setLocalizedDescription("First.");
  const NSError first = builder.generateError();
  builder.setCode(2);
  builder.userInfo().set("more", 1);
  builder.setLocalizedDescription("Second.");
  EXPECT_EQ(first, NSError("D", 1, {{NSLocalizedDescriptionKey, "First."}}));
  EXPECT_EQ(builder.generateError(), NSError("D", 2, {{NSLocalizedDescriptionKey, "Second."}, {"more", 1}}));
}

TEST(QVErrorBuilder, keepsTitlesAndHandlersAligned) {
  QVErrorBuilder builder;
  builder.addRecoveryOptionWithTitle("One", returning(1));
  const auto attempter = builder.recoveryAttempter();
  EXPECT_NE(std::dynamic_pointer_cast<QVBlockErrorRecoveryAttempter>(attempter), nullptr);
  builder.addRecoveryOptionWithTitle("Nothing", nullptr);
  builder.addRecoveryOptionWithTitle("Three", returning(3));
  const NSError error = builder.generateError();

  EXPECT_THAT(error.localizedRecoveryOptions(), ElementsAre("One", "Nothing", "Three"));
  EXPECT_EQ(recoveryBlocks(error)->size(), 3U);
  EXPECT_EQ(performRecoveryWithIndex(error, 0)->code(), 1);
  EXPECT_EQ(performRecoveryWithIndex(error, 1), std::nullopt);
  EXPECT_EQ(performRecoveryWithIndex(error, 2)->code(), 3);
  EXPECT_EQ(error.recoveryAttempter(), attempter);

  builder.clearRecoveryOptionsAndBlocks();
  EXPECT_EQ(builder.userInfo(), (Dictionary{{NSRecoveryAttempterErrorKey, attempter}}));
  builder.addRecoveryOptionWithTitle("Four", returning(4));
  EXPECT_THAT(builder.generateError().localizedRecoveryOptions(), ElementsAre("Four"));
  EXPECT_EQ(performRecoveryWithIndex(builder.generateError(), 0)->code(), 4);
  EXPECT_EQ(builder.recoveryAttempter(), attempter);

  const auto other = std::make_shared<OtherAttempter>();
  builder.setRecoveryAttempter(other);
  builder.addRecoveryOptionWithTitle("Five", nullptr);
  EXPECT_EQ(builder.recoveryAttempter(), other);
}

TEST(QVErrorBuilder, takesAnErrorInPlaceOfItsOwnAttributes) {
  QVErrorBuilder first;
  first.addRecoveryOptionWithTitle("One", returning(1));
  first.setDomain("Taken");
  first.setCode(5);
  first.setErrorClass(&playerErrorClass());
  const NSError taken = first.generateError();

  QVErrorBuilder builder;
  builder.setErrorStyle(7);
  builder.setLocalizedDescription("Gone.");
  builder.takeAttributesFromError(taken);
  EXPECT_EQ(builder.generateError(), taken);
  EXPECT_EQ(&builder.generateError().errorClass(), &playerErrorClass());
  EXPECT_EQ(builder.errorStyle(), 0);

  builder.addRecoveryOptionWithTitle("Two", returning(2));
  EXPECT_THAT(builder.generateError().localizedRecoveryOptions(), ElementsAre("One", "Two"));
  EXPECT_EQ(performRecoveryWithIndex(builder.generateError(), 1)->code(), 2);
  EXPECT_THAT(taken.localizedRecoveryOptions(), ElementsAre("One"));
  EXPECT_EQ(recoveryBlocks(taken)->size(), 1U);

  builder.takeAttributesFromError(NSError(std::nullopt, 0, {{QVErrorStyleKey, 9}}));
  EXPECT_EQ(builder.generateError(), NSError(std::nullopt, 0, {{QVErrorStyleKey, 9}}));
  EXPECT_EQ(builder.errorStyle(), 9);
  EXPECT_EQ(&builder.generateError().errorClass(), &NSError::staticClass());
}

TEST(QVErrorBuilder, rebuildsBridgedErrorsAsPlainOnes) {
  static const NSClass bridge("__NSCFError", NSError::staticClass());
  QVErrorBuilder builder;
  builder.takeAttributesFromError(NSError("D", 1, {}, bridge));
  EXPECT_EQ(&builder.generateError().errorClass(), &NSError::staticClass());
}

TEST(QVErrorBuilder, wrapsAnErrorInAMessage) {
  const NSError error("D", 1, {{NSLocalizedDescriptionKey, "Text."}, {QVErrorStyleKey, 4}, {"more", 1}},
                      playerErrorClass());
  EXPECT_EQ(QVErrorBuilder::buildError(error, {}).address(), error.address());

  const NSError wrapped = QVErrorBuilder::buildError(error, "100%@");
  EXPECT_EQ(
      wrapped,
      NSError("D", 1, {{NSLocalizedDescriptionKey, "100%@: Text."}, {QVErrorStyleKey, 4}, {"more", 1}}));
  EXPECT_EQ(&wrapped.errorClass(), &playerErrorClass());
  EXPECT_EQ(QVErrorBuilder::buildError(NSError("D", 1), "").localizedDescription(),
            ": The operation couldn’t be completed. (D error 1.)");
}

TEST(QVErrorBuilder, describesTheErrorThatItWouldGenerate) {
  const NSError error = QVErrorBuilder::buildErrorWithBlock([](QVErrorBuilder& builder) {
    builder.setDomain("D");
    EXPECT_THAT(builder.description(),
                MatchesRegex("<QVErrorBuilder: 0x.*>: error = Error Domain=D Code=0 .*"));
  });
  EXPECT_EQ(error, NSError("D", 0));
}

}  // namespace
}  // namespace QVFoundation
