#include <cstdint>
#include <exception>
#include <limits>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

#include <gtest/gtest.h>

#include "QVFoundation/errors/QVCodableError.h"
#include "QVFoundation/errors/QVErrorConstructors.h"
#include "QVFoundation/errors/QVErrorInspection.h"
#include "QVFoundation/errors/QVErrorKeys.h"
#include "QVFoundation/platform/concurrency/CancellationError.h"
#include "QVFoundation/platform/runtime/ErrorConversion.h"
#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/runtime/NSException.h"

namespace QVFoundation {
namespace {

template <class Exception>
std::exception_ptr thrown(const Exception& exception) {
  return std::make_exception_ptr(exception);
}

TEST(isUserCancelledError, knowsTheFourCancellationsAndNoOther) {
  const struct {
    const char* row;
    NSError error;
    bool want;
  } cases[] = {
      {"service status", {NSOSStatusErrorDomain, -128}, true},
      {"general", {NSCocoaErrorDomain, 3072}, true},
      {"errno value", {NSPOSIXErrorDomain, ECANCELED}, true},
      {"errno value of stored errors", {NSPOSIXErrorDomain, 89}, true},
      {"the library's own", {QVErrorDomain, 1002}, true},
      {"texts do not matter", {QVErrorDomain, 1002, {{NSLocalizedDescriptionKey, "It failed."}}}, true},
      {"caught exception", {QVErrorDomain, 1003}, false},
      {"sign of the status", {NSOSStatusErrorDomain, 128}, false},
      {"code of another domain", {NSCocoaErrorDomain, 89}, false},
      {"code that is equal in 32 bits", {NSCocoaErrorDomain, 3072 + (std::int64_t{1} << 32)}, false},
      {"longer domain", {"NSCocoaErrorDomainX", 3072}, false},
      {"empty domain", {"", 3072}, false},
      {"no domain", {std::nullopt, 3072}, false},
      {"cause alone", {"D", 1, {{NSUnderlyingErrorKey, userCancelledError()}}}, false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(isUserCancelledError(c.error), c.want) << c.row;
    EXPECT_EQ(isUserCancelledError(static_cast<const std::exception&>(c.error)), c.want) << c.row;
    EXPECT_EQ(isUserCancelledError(thrown(c.error)), c.want) << c.row;
  }
}

TEST(isUserCancelledError, judgesWhateverWasThrown) {
  const struct {
    const char* row;
    std::exception_ptr exception;
    bool want;
  } cases[] = {
      {"cancelled task", thrown(CancellationError()), true},
      {"system call", thrown(std::system_error(89, std::generic_category())), true},
      {"nothing", nullptr, false},
      {"other system call", thrown(std::system_error(90, std::generic_category())), false},
      {"platform exception", thrown(NSException(NSGenericException, "cancelled")), false},
      {"any exception", thrown(std::runtime_error("cancelled")), false},
      {"no exception", thrown(3072), false},
      {"record of a cancellation", thrown(QVCodableError(userCancelledError())), false},
  };
  for (const auto& c : cases) EXPECT_EQ(isUserCancelledError(c.exception), c.want) << c.row;
}

TEST(longDescription, namesClassAddressAndAllFields) {
  static const NSClass cls("InspectedError", NSError::staticClass());
  const auto described = [](const NSError& error, std::string_view rest) {
    std::ostringstream want;
    want << '<' << error.className() << ": " << error.address() << ' ' << rest << '>';
    EXPECT_EQ(longDescription(error), want.str());
    EXPECT_EQ(debugDescription(error), want.str());
  };
  described(NSError(std::nullopt, 0), "domain=(null) code=0 userInfo={\n}");
  described(NSError("100%d", std::numeric_limits<std::int64_t>::min(), {{"%@", "a b"}}, cls),
            "domain=100%d code=-9223372036854775808 userInfo={\n    \"%@\" = \"a b\";\n}");
}

TEST(fullDescription, tellsAllThatIsKnown) {
  const NSError error("D", 1, {{NSLocalizedDescriptionKey, "It failed."}});
  const struct {
    const char* row;
    std::exception_ptr exception;
    std::string_view want;
  } cases[] = {
      {"error", thrown(error),
       "Error Domain=D Code=1 \"It failed.\" UserInfo={NSLocalizedDescription=It failed.}"},
      {"record of an error", thrown(QVCodableError(error)), "It failed."},
      {"platform exception", thrown(NSException(NSRangeException, "Too far.")), "NSRangeException: Too far."},
      {"platform exception without reason", thrown(NSException(NSRangeException, {})), "NSRangeException"},
      {"any exception", thrown(std::runtime_error("text")), "std::runtime_error: text"},
      {"no exception", thrown(7),
       "Error Domain=QVErrorDomain Code=1 \"unknown exception\" UserInfo={NSLocalizedDescription=unknown "
       "exception}"},
      {"nothing", nullptr, "(null)"},
  };
  for (const auto& c : cases) EXPECT_EQ(fullDescription(c.exception), c.want) << c.row;
}

TEST(errorStyle, isTwoUnlessTheErrorSaysSo) {
  const struct {
    Value stored;
    std::int64_t want;
  } cases[] = {{{}, 2}, {0, 0}, {-1, -1}, {std::int64_t{1} << 40, std::int64_t{1} << 40}, {"7", 2}};
  for (const auto& c : cases) {
    EXPECT_EQ(errorStyle(NSError("D", 1, {{QVErrorStyleKey, c.stored}})), c.want) << c.stored.description();
  }
}

TEST(errorBySettingUserInfoObject, changesOneEntryOfACopy) {
  static const NSClass cls("ChangedError", NSError::staticClass());
  const NSError error(std::nullopt, 1, {{"a", 1}, {"b", 2}}, cls);
  EXPECT_EQ(errorBySettingUserInfoObject(error, {}, "a").address(), error.address());

  const NSError changed = errorBySettingUserInfoObject(error, "new", "a");
  EXPECT_EQ(changed, NSError(std::nullopt, 1, {{"a", "new"}, {"b", 2}}));
  EXPECT_EQ(&changed.errorClass(), &cls);
  EXPECT_EQ(error.userInfo(), (Dictionary{{"a", 1}, {"b", 2}}));

  const NSError native = asNSError(std::runtime_error("x"));
  EXPECT_EQ(&errorBySettingUserInfoObject(native, NSNull{}, "null").errorClass(), &NSError::staticClass());
}

}  // namespace
}  // namespace QVFoundation
