#include <cstddef>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "QVFoundation/errors/QVBlockErrorRecoveryAttempter.h"
#include "QVFoundation/errors/QVErrorConstructors.h"
#include "QVFoundation/errors/QVErrorKeys.h"
#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/NSException.h"

namespace QVFoundation {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Delegate : public NSObject {};
class OtherAttempter : public NSObject {};

/// Notes what is called, in order.
class Calls {
public:
  QVRecoveryHandler handler(const std::string& name, std::optional<NSError> result = {}) {
    return [this, name, result](const NSError& error) {
      names.push_back(name + " for " + std::to_string(error.code()));
      return result;
    };
  }

  std::vector<std::string> names;
};

const NSError diskFull("Result", 28);

NSError recoverable(const std::vector<QVRecoveryHandler>& handlers) {
  std::vector<std::string> titles;
  titles.reserve(handlers.size());
  for (std::size_t i = 0; i < handlers.size(); ++i) titles.push_back("Option " + std::to_string(i));
  return errorWithDomain("D", -7, "Text.", "Choose.", titles, handlers);
}

QVBlockErrorRecoveryAttempter& attempterOf(const NSError& error) {
  return dynamic_cast<QVBlockErrorRecoveryAttempter&>(*error.recoveryAttempter());
}

std::string raisedBy(const std::function<void()>& action) {
  try {
    action();
  } catch (const NSException& exception) {
    return exception.name();
  }
  return "nothing";
}

NSError causedBy(const Value& cause, const std::shared_ptr<NSObject>& attempter = nullptr) {
  return {"Outer", 1, {{NSUnderlyingErrorKey, cause}, {NSRecoveryAttempterErrorKey, attempter}}};
}

TEST(ErrorRecovery, callsTheHandlerThatBelongsToATitle) {
  Calls calls;
  const NSError error = recoverable({calls.handler("first", diskFull), calls.handler("second")});
  EXPECT_EQ(error.code(), -7);
  EXPECT_EQ(error.localizedDescription(), "Text.");
  EXPECT_EQ(error.localizedRecoverySuggestion(), "Choose.");
  EXPECT_THAT(error.localizedRecoveryOptions(), ElementsAre("Option 0", "Option 1"));
  EXPECT_TRUE(canRecover(error));
  ASSERT_EQ(recoveryBlocks(error)->size(), 2U);

  EXPECT_EQ(performRecoveryWithIndex(error, 1), std::nullopt);
  EXPECT_EQ(performRecoveryWithIndex(error, 0), diskFull);
  EXPECT_EQ(recoveryBlocks(error)->at(1)(diskFull), std::nullopt);
  EXPECT_THAT(calls.names, ElementsAre("second for -7", "first for -7", "second for 28"));
  EXPECT_EQ(attempterOf(error).recoveryError(), std::nullopt);
}

TEST(ErrorRecovery, answersNothingWhereThereIsNoHandler) {
  Calls calls;
  const QVRecoveryHandler handler = calls.handler("called");
  const auto withBlocks = [](const Value& blocks) {
    return NSError("D", 1, {{QVRecoveryBlocksErrorKey, blocks}});
  };
  const struct {
    const char* row;
    NSError error;
    std::size_t index;
    std::string raised;
  } cases[] = {
      {"none at all", NSError("D", 1), 0, "NSRangeException"},
      {"no list", withBlocks("text"), 0, "NSRangeException"},
      {"empty list", withBlocks(Array()), 0, "NSRangeException"},
      {"just past the end", recoverable({handler}), 1, "NSRangeException"},
      {"far past the end", recoverable({handler}), std::numeric_limits<std::size_t>::max(),
       "NSRangeException"},
      {"empty handler", recoverable({QVRecoveryHandler(), handler}), 0, "NSInvalidArgumentException"},
      {"no handler", withBlocks(Array{"text", Value::boxed(handler)}), 0, "NSInvalidArgumentException"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(performRecoveryWithIndex(c.error, c.index), std::nullopt) << c.row;
    QVBlockErrorRecoveryAttempter attempter;
    attempter.setRecoveryError(diskFull);
    EXPECT_EQ(raisedBy([&] { attempter.attemptRecoveryFromError(c.error, c.index); }), c.raised) << c.row;
    EXPECT_EQ(attempter.recoveryError(), diskFull) << c.row;
  }
  EXPECT_THAT(calls.names, IsEmpty());
  EXPECT_EQ(recoveryBlocks(NSError("D", 1)), std::nullopt);
  EXPECT_EQ(recoveryBlocks(withBlocks("text")), std::nullopt);
  // What is no handler takes its place, so that those after it keep theirs.
  (void)performRecoveryWithIndex(withBlocks(Array{"text", Value::boxed(handler)}), 1);
  EXPECT_THAT(calls.names, ElementsAre("called for 1"));
}

TEST(QVBlockErrorRecoveryAttempter, keepsWhatTheLastHandlerReturned) {
  Calls calls;
  const NSError error =
      recoverable({calls.handler("fails", diskFull), calls.handler("works"),
                   [](const NSError&) -> std::optional<NSError> { throw std::runtime_error("x"); }});
  auto& attempter = attempterOf(error);
  EXPECT_EQ(attempter.recoveryError(), std::nullopt);
  EXPECT_TRUE(attempter.attemptRecoveryFromError(error, 0));
  EXPECT_EQ(attempter.recoveryError(), diskFull);
  EXPECT_EQ(attempter.valueForKey("recoveryError"), Value(diskFull));
  EXPECT_THROW(attempter.attemptRecoveryFromError(error, 2), std::runtime_error);
  EXPECT_EQ(attempter.recoveryError(), diskFull);
  EXPECT_TRUE(attempter.attemptRecoveryFromError(error, 1));
  EXPECT_EQ(attempter.recoveryError(), std::nullopt);
  EXPECT_THAT(calls.names, ElementsAre("fails for -7", "works for -7"));
}

TEST(QVBlockErrorRecoveryAttempter, tellsTheDelegateAfterTheHandler) {
  Calls calls;
  int context = 0;
  const auto delegate = std::make_shared<Delegate>();
  const QVErrorRecoveryAttempter::DidRecover didRecover = [&](NSObject& told, bool recovered, void* info) {
    calls.names.emplace_back(recovered ? "told: recovered" : "told: failed");
    EXPECT_EQ(&told, delegate.get());
    EXPECT_EQ(info, &context);
  };
  const NSError error = recoverable({calls.handler("fails", diskFull)});
  QVErrorRecoveryAttempter& attempter = attempterOf(error);
  attempter.attemptRecoveryFromError(error, 0, delegate, didRecover, &context);
  EXPECT_THAT(calls.names, ElementsAre("fails for -7", "told: recovered"));
  attempter.attemptRecoveryFromError(error, 0, nullptr, didRecover, &context);
  attempter.attemptRecoveryFromError(error, 0, delegate, nullptr, &context);
  EXPECT_EQ(raisedBy([&] { attempter.attemptRecoveryFromError(error, 1, delegate, didRecover, &context); }),
            "NSRangeException");
  EXPECT_THAT(calls.names, ElementsAre("fails for -7", "told: recovered", "fails for -7", "fails for -7"));
}

TEST(ErrorRecovery, findsTheNearestRecoveryErrorDownTheChain) {
  const auto failed = [](std::int64_t code) {
    auto attempter = QVBlockErrorRecoveryAttempter::attempter();
    attempter->setRecoveryError(NSError("Result", code));
    return attempter;
  };
  const auto untried = QVBlockErrorRecoveryAttempter::attempter();
  const auto other = std::make_shared<OtherAttempter>();
  const NSError inner = causedBy({}, failed(2));
  const struct {
    const char* row;
    NSError error;
    std::optional<NSError> want;
  } cases[] = {
      {"no attempter", NSError("D", 1), {}},
      {"untried", causedBy({}, untried), {}},
      {"its own", inner, NSError("Result", 2)},
      {"its own before the cause's", causedBy(inner, failed(1)), NSError("Result", 1)},
      {"past one that is untried", causedBy(inner, untried), NSError("Result", 2)},
      {"past another kind of attempter", causedBy(inner, other), NSError("Result", 2)},
      {"far down", causedBy(causedBy(causedBy(inner), untried)), NSError("Result", 2)},
      {"not in a list of causes", NSError("D", 1, {{NSMultipleUnderlyingErrorsKey, Array{inner}}}), {}},
  };
  for (const auto& c : cases) EXPECT_EQ(findRecoveryError(c.error), c.want) << c.row;
  EXPECT_FALSE(canRecover(causedBy(inner)));
  EXPECT_EQ(underlyingAttempter(causedBy(inner)), inner.recoveryAttempter());
  EXPECT_EQ(underlyingAttempter(inner), nullptr);
}

}  // namespace
}  // namespace QVFoundation
