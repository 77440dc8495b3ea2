#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "QVFoundation/errors/QVExceptionWrapping.h"
#include "QVFoundation/platform/concurrency/CancellationError.h"
#include "QVFoundation/platform/runtime/NSObject.h"

namespace QVFoundation {
namespace {

using ::testing::HasSubstr;

class Unspeakable : public NSObject {
  [[nodiscard]] std::string description() const override { throw std::runtime_error("no words"); }
};

void throwWithoutReason() { throw NSException("Name", {}); }

TEST(QVWrapExceptionInError, turnsPlatformExceptionsIntoErrorsAndLetsAllOthersThrough) {
  const NSError handedBack("D", 1);
  for (const auto raise : {QVThrowTestException, throwWithoutReason}) {
    // The exception counts, whatever error had been handed back before.
    const auto overruled = [&](std::optional<NSError>* returned) { *returned = handedBack, raise(); };
    for (const auto& error :
         {QVWrapExceptionInError(raise), QVWrapExceptionInErrorOrReturnError(overruled)}) {
      ASSERT_TRUE(error);
      EXPECT_EQ(error->domain(), "QVErrorDomain");
      EXPECT_EQ(error->code(), 1003);
      EXPECT_EQ(error->localizedDescription(),
                raise == QVThrowTestException
                    ? "Test exception"
                    : "The operation couldn’t be completed. (QVErrorDomain error 1003.)");
      EXPECT_THAT(error->userInfo()["QVExceptionCallStackSymbolsKey"].description(), HasSubstr("\n"));
    }
  }
  EXPECT_EQ(QVWrapExceptionInError([] { return 7; }), std::nullopt);
  EXPECT_EQ(QVWrapExceptionInErrorOrReturnError([&](auto* returned) { *returned = handedBack; }), handedBack);
  EXPECT_EQ(QVWrapExceptionInErrorOrReturnError([](auto*) {}), std::nullopt);

  EXPECT_THROW((void)QVWrapExceptionInError([&] { throw handedBack; }), NSError);
  EXPECT_THROW((void)QVWrapExceptionInErrorOrReturnError([](auto*) { throw 7; }), int);
}

TEST(QVThrowExceptions, throwsNothingButErrors) {
  const NSError own("Own", 3);
  const std::pair<std::function<void()>, NSError> cases[] = {
      {[&] { throw own; }, own},
      {QVThrowTestException, {"QVErrorDomain", 1003}},
      {[] { throw CancellationError(); }, {"NSCocoaErrorDomain", 3072}},
      {[] { throw std::runtime_error("x"); }, {"std::runtime_error", 1}},
      {[] { throw 7; }, {"QVErrorDomain", 1}},
  };
  for (const auto& [run, want] : cases) {
    try {
      QVThrowExceptions(run);
      ADD_FAILURE() << want.description() << " was not thrown";
    } catch (const NSError& error) {
      EXPECT_EQ(error.domain(), want.domain());
      EXPECT_EQ(error.code(), want.code());
      EXPECT_EQ(error.address() == own.address(), want == own);
    }
  }
}

TEST(ExceptionWrapping, returnsExactlyWhatTheCallableReturns) {
  int number = 7;
  EXPECT_EQ(&QVThrowExceptions([&]() -> int& { return number; }), &number);
  EXPECT_EQ(&QVAssertNoError([&]() -> int& { return number; }, "message"), &number);
  EXPECT_EQ(*QVAssertNoError(Result<std::unique_ptr<int>>(std::make_unique<int>(9)), "message"), 9);
  QVAssertNoError(Result<void>(), "message");
}

TEST(QVAssertNoErrorDeathTest, endsTheProcessForEveryException) {
  const NSError error("D", 1, {{NSLocalizedDescriptionKey, "It failed."}});
  const NSError unspeakable("D", 1, {{"object", std::make_shared<Unspeakable>()}});
  const std::pair<std::exception_ptr, const char*> cases[] = {
      {std::make_exception_ptr(error), "100%s, Error Domain=D Code=1 \"It failed.\" UserInfo="},
      {std::make_exception_ptr(7), "100%s, Error Domain=QVErrorDomain Code=1 \"unknown exception\""},
      {std::make_exception_ptr(unspeakable), "100%s, which cannot be described"},
  };
  for (const auto& [exception, want] : cases) {
    const auto expected = HasSubstr(std::string("Fatal error: Uncaught error: ") + want);
    const auto rethrow = [&its = exception]() -> int { std::rethrow_exception(its); };
    EXPECT_DEATH(QVAssertNoError(rethrow, "100%s"), expected);
    EXPECT_DEATH(QVAssertNoError(Result<int>::of(rethrow), "100%s"), expected);
  }
  EXPECT_DEATH(QVAssertNoError(QVThrowTestException, "message"), "file .*ExceptionWrappingTests.cpp, line ");
}

}  // namespace
}  // namespace QVFoundation
