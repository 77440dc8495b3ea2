#include <future>

#include <gmock/gmock.h>

#include "QVFoundation/Platform.h"

namespace QVFoundation {

class Failure : public CustomNSError {};

class CodedFailure : public CustomNSError {
public:
  std::string errorDomain() const override { return "Coded"; }
  std::int64_t errorCode() const override { return 42; }
  Dictionary errorUserInfo() const override { return {{NSLocalizedDescriptionKey, "Coded."}}; }
};

template <class T>
struct Misuse : std::logic_error {
  using std::logic_error::logic_error;
};

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct NoException {};
struct Helper : NSObject {};

constexpr auto text = NSLocalizedDescriptionKey;
constexpr auto failure = NSLocalizedFailureErrorKey;
constexpr auto reason = NSLocalizedFailureReasonErrorKey;
const std::string lead = "The operation couldn’t be completed. ";

TEST(NSError, composesItsDescriptionFromWhatItKnows) {
  const std::pair<NSError, std::string> cases[] = {
      {{"D", 1, {{text, "Text."}, {failure, "Failure."}, {reason, "Reason."}}}, "Text."},
      {{"D", 1, {{failure, "Failure."}, {reason, "Reason."}}}, "Failure. Reason."},
      {{NSPOSIXErrorDomain, 2, {{failure, "Failure."}}}, "Failure."},
      {{NSPOSIXErrorDomain, 2, {{reason, "Reason."}}}, lead + "Reason."},
      {{NSPOSIXErrorDomain, 2}, lead + "No such file or directory"},
      {{std::nullopt, -7, {{text, 5}}}, lead + "((null) error -7.)"},
  };
  for (const auto& [error, want] : cases) EXPECT_EQ(error.what(), want);
}

TEST(NSError, describesItselfAndItsCausesOnOneLine) {
  const NSError cause(std::nullopt, 2, {{text, "Cause."}, {"zz", 1}});
  EXPECT_EQ(NSError("D", 1, {}).description(), "Error Domain=D Code=1 \"" + lead + "(D error 1.)\"");
  EXPECT_EQ(NSError("D", 1, {{text, "Text."}, {NSUnderlyingErrorKey, cause}, {"zz", "a b"}}).description(),
            "Error Domain=D Code=1 \"Text.\" UserInfo={NSLocalizedDescription=Text., NSUnderlyingError={"
            "Error Domain=(null) Code=2 \"Cause.\" UserInfo={NSLocalizedDescription=Cause., zz=1}}, zz=a b}");
}

TEST(NSError, takesFromItsUserInfoWhatFits) {
  const Array causes{NSError("Cause", 1), "no error"};
  const NSError error("D", 1,
                      {{NSLocalizedRecoveryOptionsErrorKey, Array{"Again", "Cancel"}},
                       {NSRecoveryAttempterErrorKey, std::make_shared<Helper>()},
                       {NSUnderlyingErrorKey, Value::boxed(CodedFailure())},
                       {NSMultipleUnderlyingErrorsKey, causes}});
  EXPECT_THAT(error.localizedRecoveryOptions(), ElementsAre("Again", "Cancel"));
  EXPECT_NE(error.recoveryAttempter(), nullptr);
  EXPECT_THAT(error.underlyingErrors(), ElementsAre(asNSError(CodedFailure()), NSError("Cause", 1)));
  EXPECT_THAT(
      NSError("D", 1, {{NSLocalizedRecoveryOptionsErrorKey, Array{"Again", 2}}}).localizedRecoveryOptions(),
      IsEmpty());
}

TEST(NSError, keepsItsClassAndItsStateWhenCopiedThrownAndConverted) {
  const NSClass cls("PlayerError", NSError::staticClass());
  const NSError error("D", 1, {}, cls);
  EXPECT_EQ(Value(error).error()->className(), "PlayerError");
  EXPECT_EQ(asNSError(error).address(), error.address());
  EXPECT_EQ(Result<int>::failure(error).error().address(), error.address());
}

template <class Exception>
std::exception_ptr thrown(const Exception& exception) {
  return std::make_exception_ptr(exception);
}

template <class Exception>
std::exception_ptr thrownWithin(Exception&& outer, const std::exception_ptr& inner) {
  return Result<void>::of([&] {
           try {
             std::rethrow_exception(inner);
           } catch (...) {
             std::throw_with_nested(std::forward<Exception>(outer));
           }
         })
      .exception();
}

TEST(ErrorConversion, givesEachExceptionItsDomainCodeAndText) {
  const std::runtime_error constant("outer");
  const std::error_code missing(2, std::system_category());
  const std::string notPermitted = "Operation not permitted";
  const auto noState = make_error_code(std::future_errc::no_state);
  const struct {
    std::exception_ptr exception;
    std::string_view domain;
    std::int64_t code;
    std::string text;
  } cases[] = {
      {thrown(Failure()), "QVFoundation.Failure", 1, lead + "(QVFoundation.Failure error 1.)"},
      {thrownWithin(CodedFailure(), thrown(1)), "Coded", 42, "Coded."},
      {thrown(NSException(NSRangeException, "Too far.")), QVErrorDomain, 1003, "Too far."},
      {thrown(NSException(NSRangeException, {})), QVErrorDomain, 1003, lead + "(QVErrorDomain error 1003.)"},
      {thrown(std::system_error(missing, "x")), NSPOSIXErrorDomain, 2, "x: No such file or directory"},
      {thrown(std::system_error(1, std::generic_category())), NSPOSIXErrorDomain, 1, notPermitted},
      {thrown(std::system_error(noState, "x")), "future", 3, "x: No associated state"},
      {thrownWithin(Misuse<int>("outer"), thrown(1)), "QVFoundation::Misuse<int>", 1, "outer"},
      {thrownWithin(constant, thrown(1)), "std::runtime_error", 1, "outer"},
      {thrown(7), QVErrorDomain, 1, "unknown exception"},
      {thrownWithin(NoException(), thrown(1)), QVErrorDomain, 1, "unknown exception"},
  };
  for (const auto& c : cases) {
    const NSError error = asNSError(c.exception);
    EXPECT_EQ(error.domain(), c.domain);
    EXPECT_EQ(error.code(), c.code) << error.description();
    EXPECT_EQ(error.localizedDescription(), c.text);
  }
}

TEST(ErrorConversion, tellsPathsCallStacksAndNativeErrors) {
  const std::filesystem::filesystem_error noFile("no", "/a", "/b", {2, std::system_category()});
  const NSError file = asNSError(noFile);
  EXPECT_EQ(file, NSError(NSPOSIXErrorDomain, 2, {{text, noFile.what()}, {NSFilePathErrorKey, "/a"}}));
  EXPECT_EQ(NSClass::named("__NSNativeError"), &file.errorClass());
  const NSException exception(NSGenericException, "x");
  const std::string frames = *asNSError(exception).userInfo()[QVExceptionCallStackSymbolsKey].text();
  EXPECT_TRUE(frames.starts_with(exception.callStackSymbols().front() + '\n'));
  EXPECT_TRUE(CodedFailure().description().starts_with("Error Domain=Coded Code=42 \"Coded.\""));
}

TEST(ErrorConversion, turnsNestedExceptionsIntoUnderlyingErrorsBesideThoseThatTheErrorNames) {
  const auto nested = thrownWithin(NSError("Middle", 3, {{"kept", 1}}), thrown(5));
  const NSError outer =
      asNSError(thrownWithin(std::runtime_error("outer"), thrownWithin(NoException(), nested)));
  const NSError unknown = asNSError(thrown(5));
  const NSError middle("Middle", 3, {{"kept", 1}, {NSUnderlyingErrorKey, unknown}});
  Dictionary userInfo = unknown.userInfo();
  userInfo.set(NSUnderlyingErrorKey, middle);
  EXPECT_EQ(outer.userInfo()[NSUnderlyingErrorKey], NSError(QVErrorDomain, 1, userInfo));
  const NSError both = asNSError(thrownWithin(middle, thrown(CodedFailure())));
  EXPECT_EQ(both.underlyingErrors(), (std::vector{unknown, asNSError(CodedFailure())}));
  EXPECT_EQ(asNSError(thrownWithin(middle, thrown(5))), middle) << "its own cause, caught and thrown again";
}

static_assert(std::convertible_to<const char*, Result<std::string>>);
static_assert(!std::convertible_to<int, Result<std::vector<int>>>, "a size is no vector");
static_assert(!std::constructible_from<Result<int>, NSError>);

TEST(Result, holdsWhatWasReturnedEvenIfItCanOnlyBeMoved) {
  EXPECT_TRUE(Result<void>::of([] { return 5; }));
  auto result = Result<std::unique_ptr<int>>::of([] { return std::make_unique<int>(3); });
  Result<std::unique_ptr<int>> moved = std::move(result);
  const std::unique_ptr<int> content = *std::move(moved);
  EXPECT_EQ(*content, 3);
}

TEST(Result, throwsTheCallersOwnTypeAgainAndAgain) {
  const auto result = Result<int>::of([]() -> int { throw Misuse<int>("own"); });
  EXPECT_THROW((void)*result, Misuse<int>);
  EXPECT_THROW((void)*result, Misuse<int>);
  EXPECT_THROW((void)Result<void>::of([] { throw 5; }).value(), int);
  EXPECT_EQ(result.error().localizedDescription(), "own");
  EXPECT_DEATH((void)Result<int>(3).error(), "Fatal error: There is no exception");
}

}  // namespace
}  // namespace QVFoundation
