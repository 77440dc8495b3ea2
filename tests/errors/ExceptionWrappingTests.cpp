#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "QVFoundation/errors/QVErrorConstructors.h"
#include "QVFoundation/errors/QVExceptionWrapping.h"
#include "QVFoundation/platform/concurrency/CancellationError.h"
#include "QVFoundation/platform/runtime/NSObject.h"

namespace QVFoundation {
namespace {

using ::testing::HasSubstr;

class PlayerException : public NSException {
public:
  PlayerException() : NSException("PlayerException", "Wrong track") {}
};

class Unspeakable : public NSObject {
public:
  [[nodiscard]] std::string description() const override { throw std::runtime_error("no words"); }
};

struct Raising {
  const char* row;
  std::function<void()> run;
  std::optional<std::string> reason;  // of the platform exception
};

const Raising raisings[] = {
    {"test exception", QVThrowTestException, "Test exception"},
    {"derived exception", [] { throw PlayerException(); }, "Wrong track"},
    {"no reason", [] { throw NSException("Name", {}); },
     "The operation couldn’t be completed. (QVErrorDomain error 1003.)"},
};

TEST(QVWrapExceptionInError, turnsPlatformExceptionsIntoErrors) {
  for (const auto& c : raisings) {
    SCOPED_TRACE(c.row);
    const auto error = QVWrapExceptionInError(c.run);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain(), "QVErrorDomain");
    EXPECT_EQ(error->code(), 1003);
    EXPECT_EQ(error->localizedDescription(), c.reason);
    EXPECT_THAT(error->userInfo()["QVExceptionCallStackSymbolsKey"].description(), HasSubstr("\n"));
    // The exception counts, whatever error had been handed back before.
    const auto overruled = QVWrapExceptionInErrorOrReturnError([&](std::optional<NSError>* returned) {
      *returned = NSError("D", 1);
      c.run();
    });
    ASSERT_TRUE(overruled);
    EXPECT_EQ(overruled->localizedDescription(), c.reason);
  }
  EXPECT_EQ(QVWrapExceptionInError([] { return 7; }), std::nullopt);
}

TEST(QVWrapExceptionInError, letsAllOtherExceptionsThrough) {
  EXPECT_THROW((void)QVWrapExceptionInError([] { throw std::runtime_error("x"); }), std::runtime_error);
  EXPECT_THROW((void)QVWrapExceptionInError([] { throw NSError("D", 1); }), NSError);
  EXPECT_THROW((void)QVWrapExceptionInErrorOrReturnError([](auto*) { throw CancellationError(); }),
               CancellationError);
  EXPECT_THROW((void)QVWrapExceptionInErrorOrReturnError([](auto*) { throw 7; }), int);
}

TEST(QVWrapExceptionInError, returnsTheErrorThatIsHandedBack) {
  const NSError error("D", 1);
  EXPECT_EQ(QVWrapExceptionInErrorOrReturnError([&](std::optional<NSError>* returned) { *returned = error; }),
            error);
  const auto untouched = [](const std::optional<NSError>* returned) { EXPECT_EQ(*returned, std::nullopt); };
  EXPECT_EQ(QVWrapExceptionInErrorOrReturnError(untouched), std::nullopt);
}

TEST(QVThrowExceptions, throwsNothingButErrors) {
  const NSError own("Own", 3);
  const struct {
    const char* row;
    std::function<void()> run;
    std::string_view domain;
    std::int64_t code;
  } cases[] = {
      {"error", [&] { throw own; }, "Own", 3},
      {"platform exception", QVThrowTestException, "QVErrorDomain", 1003},
      {"cancelled task", [] { throw CancellationError(); }, "NSCocoaErrorDomain", 3072},
      {"any exception", [] { throw std::runtime_error("x"); }, "std::runtime_error", 1},
      {"no exception", [] { throw 7; }, "QVErrorDomain", 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.row);
    try {
      QVThrowExceptions(c.run);
      ADD_FAILURE() << "nothing was thrown";
    } catch (const NSError& error) {
      EXPECT_EQ(error.domain(), c.domain);
      EXPECT_EQ(error.code(), c.code);
      EXPECT_EQ(error.address() == own.address(), c.domain == "Own");
    }
  }
}

TEST(ExceptionWrapping, returnsExactlyWhatTheCallableReturns) {
  int number = 7;
  EXPECT_EQ(&QVThrowExceptions([&]() -> int& { return number; }), &number);
  EXPECT_EQ(&QVAssertNoError([&]() -> int& { return number; }, "message"), &number);
  EXPECT_EQ(*QVThrowExceptions([] { return std::make_unique<int>(8); }), 8);
  EXPECT_EQ(*QVAssertNoError(Result<std::unique_ptr<int>>(std::make_unique<int>(9)), "message"), 9);
  QVThrowExceptions([&] { ++number; });
  QVAssertNoError([&] { ++number; }, "message");
  QVAssertNoError(Result<void>(), "message");
  EXPECT_EQ(number, 9);
}

TEST(QVAssertNoErrorDeathTest, endsTheProcessForEveryException) {
  const NSError error("D", 1, {{NSLocalizedDescriptionKey, "It failed."}});
  const NSError unspeakable("D", 1, {{"object", std::make_shared<Unspeakable>()}});
  const struct {
    const char* row;
    std::exception_ptr exception;
    const char* want;
  } cases[] = {
      {"error", std::make_exception_ptr(error), "100%s, Error Domain=D Code=1 \"It failed.\" UserInfo="},
      {"platform exception", std::make_exception_ptr(PlayerException()),
       "100%s, PlayerException: Wrong track"},
      {"no exception", std::make_exception_ptr(7),
       "100%s, Error Domain=QVErrorDomain Code=1 \"unknown exception\""},
      {"no description", std::make_exception_ptr(unspeakable), "100%s, which cannot be described"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.row);
    const auto expected = HasSubstr(std::string("Fatal error: Uncaught error: ") + c.want);
    const auto rethrow = [&]() -> int { std::rethrow_exception(c.exception); };
    EXPECT_DEATH(QVAssertNoError(rethrow, "100%s"), expected);
    EXPECT_DEATH(QVAssertNoError(Result<int>::of(rethrow), "100%s"), expected);
  }
  EXPECT_DEATH(QVAssertNoError(QVThrowTestException, "message"), "file .*ExceptionWrappingTests.cpp, line ");
}

}  // namespace
}  // namespace QVFoundation
