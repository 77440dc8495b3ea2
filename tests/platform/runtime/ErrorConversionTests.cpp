#include "QVFoundation/platform/runtime/ErrorConversion.h"

#include <cerrno>
#include <exception>
#include <filesystem>
#include <future>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

#include <gtest/gtest.h>

#include "QVFoundation/platform/runtime/CustomNSError.h"
#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/runtime/NSException.h"

namespace Player {

class DecodingFailure : public QVFoundation::CustomNSError {};

class CodedFailure : public QVFoundation::CustomNSError {
public:
  std::string errorDomain() const override { return "Coded"; }
  std::int64_t errorCode() const override { return 42; }
  QVFoundation::Dictionary errorUserInfo() const override {
    return {{QVFoundation::NSLocalizedDescriptionKey, "Coded."}};
  }
};

template <class T>
struct Misuse : std::logic_error {
  using std::logic_error::logic_error;
};

struct NoException {};

}  // namespace Player

namespace QVFoundation {
namespace {

template <class Exception>
std::exception_ptr thrown(const Exception& exception) {
  return std::make_exception_ptr(exception);
}

template <class Exception>
std::exception_ptr thrownWithin(Exception&& outer, const std::exception_ptr& inner) {
  try {
    try {
      std::rethrow_exception(inner);
    } catch (...) {
      std::throw_with_nested(std::forward<Exception>(outer));
    }
  } catch (...) {
    return std::current_exception();
  }
}

TEST(ErrorConversion, givesEachExceptionItsDomainCodeAndText) {
  const std::runtime_error constant("outer");
  const struct {
    const char* row;
    std::exception_ptr exception;
    std::string_view domain;
    std::int64_t code;
    std::string_view text;
  } cases[] = {
      {"custom, by default", thrown(Player::DecodingFailure()), "Player.DecodingFailure", 1,
       "The operation couldn’t be completed. (Player.DecodingFailure error 1.)"},
      {"custom", thrown(Player::CodedFailure()), "Coded", 42, "Coded."},
      {"custom with nested", thrownWithin(Player::DecodingFailure(), thrown(1)), "Player.DecodingFailure", 1,
       "The operation couldn’t be completed. (Player.DecodingFailure error 1.)"},
      {"platform", thrown(NSException(NSRangeException, "Too far.")), QVErrorDomain, QVExceptionCaughtError,
       "Too far."},
      {"platform without reason", thrown(NSException(NSRangeException, {})), QVErrorDomain,
       QVExceptionCaughtError, "The operation couldn’t be completed. (QVErrorDomain error 1003.)"},
      {"errno", thrown(std::system_error(EACCES, std::system_category(), "open")), NSPOSIXErrorDomain, EACCES,
       "open: Permission denied"},
      {"generic", thrown(std::system_error(make_error_code(std::errc::io_error))), NSPOSIXErrorDomain, EIO,
       "Input/output error"},
      {"file",
       thrown(
           std::filesystem::filesystem_error("no", "/a", "/b", std::error_code(2, std::system_category()))),
       NSPOSIXErrorDomain, 2, "filesystem error: no: No such file or directory [/a] [/b]"},
      {"other category", thrown(std::system_error(make_error_code(std::future_errc::no_state), "x")),
       "future", 3, "x: No associated state"},
      {"any", thrown(std::runtime_error("any")), "std::runtime_error", 1, "any"},
      {"derived", thrown(Player::Misuse<int>("derived")), "Player::Misuse<int>", 1, "derived"},
      {"memory", thrown(std::bad_alloc()), "std::bad_alloc", 1, "std::bad_alloc"},
      {"any with nested", thrownWithin(Player::Misuse<std::less<>>("outer"), thrown(1)),
       "Player::Misuse<std::less<void> >", 1, "outer"},
      {"constant with nested", thrownWithin(constant, thrown(1)), "std::runtime_error", 1, "outer"},
      {"number", thrown(7), QVErrorDomain, 1, "unknown exception"},
      {"no exception", thrownWithin(Player::NoException(), thrown(1)), QVErrorDomain, 1, "unknown exception"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.row);
    const NSError error = asNSError(c.exception);
    EXPECT_EQ(error.domain(), c.domain);
    EXPECT_EQ(error.code(), c.code);
    EXPECT_EQ(error.localizedDescription(), c.text);
  }
}

TEST(ErrorConversion, keepsAnErrorAsItIs) {
  const NSClass cls("Kept", NSError::staticClass());
  const NSError error("D", 1, {{"a", 1}}, cls);
  EXPECT_EQ(asNSError(thrown(error)).address(), error.address());
  EXPECT_EQ(asNSError(static_cast<const std::exception&>(error)).address(), error.address());
}

TEST(ErrorConversion, tellsPathsCallStacksAndNativeErrors) {
  const NSError file = asNSError(std::filesystem::filesystem_error("no", "/a", std::error_code()));
  EXPECT_EQ(file.userInfo()[NSFilePathErrorKey], "/a");
  EXPECT_EQ(file.className(), "__NSNativeError");
  EXPECT_EQ(NSClass::named("__NSNativeError"), &file.errorClass());

  const NSException exception(NSGenericException, "x");
  const Value frames = asNSError(exception).userInfo()[QVExceptionCallStackSymbolsKey];
  EXPECT_TRUE(frames.text() != nullptr &&
              frames.text()->starts_with(exception.callStackSymbols().front() + '\n'));
  EXPECT_EQ(asNSError(exception).className(), "NSError");
}

TEST(ErrorConversion, turnsNestedExceptionsIntoUnderlyingErrors) {
  std::exception_ptr exception = thrown(5);
  exception = thrownWithin(NSError("Middle", 3, {{"kept", 1}}), exception);
  exception = thrownWithin(Player::NoException(), exception);
  exception = thrownWithin(std::runtime_error("outer"), exception);

  std::optional<NSError> error = asNSError(exception);
  for (const std::string_view domain :
       {std::string_view("std::runtime_error"), QVErrorDomain, std::string_view("Middle"), QVErrorDomain}) {
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain(), domain);
    if (domain == "Middle") {
      EXPECT_EQ(error->userInfo()["kept"], 1);
    }
    error = error->userInfo()[NSUnderlyingErrorKey].error();
  }
  EXPECT_EQ(error, std::nullopt);
}

TEST(ErrorConversion, leavesACauseThatTheErrorNamesItself) {
  const NSError own("Own", 1);
  const NSError error("D", 1, {{NSUnderlyingErrorKey, own}});
  EXPECT_EQ(asNSError(thrownWithin(error, thrown(5))), error);
}

TEST(ErrorConversion, describesACustomErrorByWhatItBecomes) {
  EXPECT_EQ(Player::CodedFailure().description(),
            "Error Domain=Coded Code=42 \"Coded.\" UserInfo={NSLocalizedDescription=Coded.}");
}

}  // namespace
}  // namespace QVFoundation
