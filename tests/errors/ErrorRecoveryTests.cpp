#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "QVFoundation/errors/QVBlockErrorRecoveryAttempter.h"
#include "QVFoundation/errors/QVErrorBuilder.h"
#include "QVFoundation/errors/QVErrorConstructors.h"
#include "QVFoundation/errors/QVErrorKeys.h"
#include "QVFoundation/platform/concurrency/DispatchQueue.h"
#include "QVFoundation/platform/concurrency/Task.h"
#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/runtime/NSException.h"

namespace QVFoundation {
namespace {

using ::testing::ElementsAre;

class Other : public NSObject {};

/// A handler that fails with an error that names it, and has the code of the one it was called for.
QVRecoveryHandler failing(const std::string& name) {
  return [name](const NSError& error) { return NSError(name, error.code()); };
}

std::optional<NSError> succeed(const NSError& /*error*/) { return {}; }

NSError recoverable(const std::vector<QVRecoveryHandler>& handlers) {
  return errorWithDomain("D", -7, "Text.", "Choose.", {}, handlers);
}

NSError withBlocks(const Value& blocks) { return {"D", 1, {{QVRecoveryBlocksErrorKey, blocks}}}; }

TEST(ErrorRecovery, callsTheHandlerThatBelongsToATitle) {
  const NSError error = errorWithDomain("D", -7, "Text.", "Choose.", {"One", "Two", "Three"},
                                        {failing("first"), succeed, failing("third")});
  EXPECT_EQ(error.localizedDescription() + *error.localizedRecoverySuggestion(), "Text.Choose.");
  EXPECT_THAT(error.localizedRecoveryOptions(), ElementsAre("One", "Two", "Three"));
  EXPECT_TRUE(canRecover(error));
  EXPECT_EQ(performRecoveryWithIndex(error, 2), NSError("third", -7));
  EXPECT_EQ(performRecoveryWithIndex(error, 1), std::nullopt);
  EXPECT_EQ(performRecoveryWithIndex(error, 0), NSError("first", -7));
}

TEST(ErrorRecovery, answersNothingWhereThereIsNoHandler) {
  const Array second{"text", Value::boxed(failing("second"))};
  constexpr auto range = "NSRangeException", argument = "NSInvalidArgumentException";
  const struct {
    const char* row;
    NSError error;
    std::size_t index;
    const char* raised;
  } cases[] = {
      {"none at all", NSError("D", 1), 0, range},
      {"no list", withBlocks("text"), 0, range},
      {"far past the end", recoverable({succeed}), std::numeric_limits<std::size_t>::max(), range},
      {"empty handler", recoverable({QVRecoveryHandler(), succeed}), 0, argument},
      {"no handler", withBlocks(second), 0, argument},
  };
  for (const auto& [row, error, index, raised] : cases) {
    SCOPED_TRACE(row);
    EXPECT_EQ(performRecoveryWithIndex(error, index), std::nullopt);
    QVBlockErrorRecoveryAttempter attempter;
    attempter.setRecoveryError(NSError("Result", 28));
    try {
      attempter.attemptRecoveryFromError(error, index);
      ADD_FAILURE() << "nothing was raised";
    } catch (const NSException& exception) {
      EXPECT_EQ(exception.name(), raised);
    }
    EXPECT_EQ(attempter.recoveryError(), NSError("Result", 28));
  }
  // What is no handler takes its place, so that those after it keep theirs.
  EXPECT_EQ(performRecoveryWithIndex(withBlocks(second), 1), NSError("second", 1));
}

TEST(QVBlockErrorRecoveryAttempter, keepsWhatTheLastHandlerReturnedAndThenTellsTheDelegate) {
  const auto throwing = [](const NSError&) -> std::optional<NSError> { throw std::runtime_error("x"); };
  const NSError error = recoverable({failing("fails"), succeed, throwing});
  auto& attempter = dynamic_cast<QVBlockErrorRecoveryAttempter&>(*error.recoveryAttempter());
  EXPECT_EQ(attempter.recoveryError(), std::nullopt);
  EXPECT_TRUE(attempter.attemptRecoveryFromError(error, 0));
  EXPECT_EQ(attempter.valueForKey("recoveryError"), Value(NSError("fails", -7)));
  EXPECT_THROW(attempter.attemptRecoveryFromError(error, 2), std::runtime_error);
  EXPECT_EQ(attempter.recoveryError(), NSError("fails", -7));

  int context = 0, told = 0;
  const auto delegate = std::make_shared<Other>();
  const QVErrorRecoveryAttempter::DidRecover didRecover = [&](NSObject& receiver, bool recovered,
                                                              void* info) {
    EXPECT_TRUE(recovered && &receiver == delegate.get() && info == &context);
    EXPECT_EQ(attempter.recoveryError(), std::nullopt);  // the handler has been called
    ++told;
  };
  attempter.attemptRecoveryFromError(error, 1, delegate, didRecover, &context);
  EXPECT_EQ(told, 1);
  attempter.attemptRecoveryFromError(error, 0, nullptr, didRecover, &context);
  EXPECT_THROW(attempter.attemptRecoveryFromError(error, 3, delegate, didRecover, &context), NSException);
  EXPECT_EQ(told, 1);
}

TEST(ErrorRecovery, findsTheNearestRecoveryErrorDownTheChain) {
  const auto causedBy = [](const Value& cause, const std::shared_ptr<NSObject>& attempter = nullptr) {
    return NSError("Outer", 1, {{NSUnderlyingErrorKey, cause}, {NSRecoveryAttempterErrorKey, attempter}});
  };
  const auto failed = [](std::int64_t code) {
    auto attempter = QVBlockErrorRecoveryAttempter::attempter();
    attempter->setRecoveryError(NSError("Result", code));
    return attempter;
  };
  const auto untried = QVBlockErrorRecoveryAttempter::attempter();
  const NSError inner = causedBy({}, failed(2));
  const std::tuple<const char*, NSError, std::optional<NSError>> cases[] = {
      {"its own before the cause's", causedBy(inner, failed(1)), NSError("Result", 1)},
      {"past one that is untried", causedBy(inner, untried), NSError("Result", 2)},
      {"past another kind of attempter", causedBy(inner, std::make_shared<Other>()), NSError("Result", 2)},
      {"far down", causedBy(causedBy(causedBy(inner), untried)), NSError("Result", 2)},
      {"not in a list of causes", NSError("D", 1, {{NSMultipleUnderlyingErrorsKey, Array{inner}}}), {}},
  };
  for (const auto& [row, error, want] : cases) EXPECT_EQ(findRecoveryError(error), want) << row;
  EXPECT_FALSE(canRecover(causedBy(inner)));
  EXPECT_FALSE(canRecover(NSError("D", 1, {{NSRecoveryAttempterErrorKey, NSNull()}})));
  EXPECT_EQ(underlyingAttempter(causedBy(inner)), inner.recoveryAttempter());
  EXPECT_EQ(underlyingAttempter(inner), nullptr);
}

TEST(QVErrorBuilder, keepsEachPropertyUnderItsKey) {
  const std::tuple<std::string_view, std::string_view, Value> cases[] = {
      {"localizedDescription", "NSLocalizedDescription", "Text."},
      {"localizedRecoverySuggestion", "NSLocalizedRecoverySuggestion", "Try again."},
      {"helpAnchor", "NSHelpAnchor", "help"},
      {"underlyingError", "NSUnderlyingError", NSError("Cause", 2)},
      {"recoveryAttempter", "NSRecoveryAttempter", std::make_shared<Other>()},
      {"errorStyle", "QVErrorStyle", 7},
  };
  QVErrorBuilder builder;
  Dictionary want;
  for (const auto& [property, key, value] : cases) {
    want.set(key, value);
    builder.setValueForKey(value, property);
    EXPECT_EQ(builder.valueForKey(property), value) << property;
  }
  EXPECT_EQ(builder.generateError(), NSError(std::nullopt, 0, want));
}

TEST(QVErrorBuilder, buildsWhatAnAsynchronousBlockDescribes) {
  auto describe = [](QVErrorBuilder& builder) -> Task<> {
    co_await DispatchQueue::global();
    builder.setCode(7);
  };
  EXPECT_EQ(QVErrorBuilder::buildError(describe).wait(), NSError(std::nullopt, 7));
}

TEST(QVErrorBuilder, keepsTitlesAndHandlersAligned) {
  QVErrorBuilder builder;
  builder.addRecoveryOptionWithTitle("One", failing("one"));
  const auto attempter = builder.recoveryAttempter();
  EXPECT_NE(std::dynamic_pointer_cast<QVBlockErrorRecoveryAttempter>(attempter), nullptr);
  builder.addRecoveryOptionWithTitle("Nothing", nullptr);
  builder.addRecoveryOptionWithTitle("Three", failing("three"));
  const NSError error = builder.generateError();
  EXPECT_THAT(error.localizedRecoveryOptions(), ElementsAre("One", "Nothing", "Three"));
  EXPECT_TRUE(dynamic_cast<QVBlockErrorRecoveryAttempter&>(*attempter).attemptRecoveryFromError(error, 1));
  EXPECT_EQ(performRecoveryWithIndex(error, 2), NSError("three", 0));

  builder.clearRecoveryOptionsAndBlocks();
  EXPECT_EQ(builder.userInfo(), (Dictionary{{NSRecoveryAttempterErrorKey, attempter}}));
  const auto other = std::make_shared<Other>();
  builder.setRecoveryAttempter(other);
  builder.addRecoveryOptionWithTitle("Four", failing("four"));
  EXPECT_EQ(builder.recoveryAttempter(), other);
  EXPECT_EQ(performRecoveryWithIndex(builder.generateError(), 0), NSError("four", 0));
}

TEST(QVErrorBuilder, takesAnErrorInPlaceOfItsOwnAttributes) {
  static const NSClass cls("BuiltPlayerError", NSError::staticClass());
  static const NSClass bridge("__NSCFError", NSError::staticClass());
  QVErrorBuilder builder;
  builder.setDomain("Taken");
  builder.setCode(5);
  builder.setErrorClass(&cls);
  builder.addRecoveryOptionWithTitle("One", failing("one"));
  const NSError taken = builder.generateError();
  builder.takeAttributesFromError(NSError("D", 1, {{QVErrorStyleKey, 9}}, bridge));
  EXPECT_EQ(builder.generateError(), NSError("D", 1, {{QVErrorStyleKey, 9}}));
  EXPECT_EQ(&builder.generateError().errorClass(), &NSError::staticClass());

  builder.takeAttributesFromError(taken);
  EXPECT_EQ(builder.generateError(), taken);
  EXPECT_EQ(&builder.generateError().errorClass(), &cls);
  EXPECT_EQ(builder.errorStyle(), 0);
  builder.addRecoveryOptionWithTitle("Two", failing("two"));
  EXPECT_EQ(performRecoveryWithIndex(builder.generateError(), 1), NSError("two", 5));
  EXPECT_EQ(recoveryBlocks(taken)->size(), 1U);  // which later changes do not reach
}

TEST(QVErrorBuilder, wrapsAnErrorInAMessageAndDescribesWhatItWouldGenerate) {
  const NSError error("D", 1, {{NSLocalizedDescriptionKey, "Text."}, {"more", 1}});
  EXPECT_EQ(QVErrorBuilder::buildError(error, {}).address(), error.address());
  EXPECT_EQ(QVErrorBuilder::buildError(error, "100%@"),
            NSError("D", 1, {{NSLocalizedDescriptionKey, "100%@: Text."}, {"more", 1}}));
  EXPECT_THAT(QVErrorBuilder().description(),
              ::testing::MatchesRegex("<QVErrorBuilder: 0x.*>: error = Error Domain=.null. Code=0 .*"));
}

}  // namespace
}  // namespace QVFoundation
