#include "QVFoundation/errors/QVErrorInspection.h"

#include <cerrno>

#include "QVFoundation/errors/QVErrorConstructors.h"
#include "QVFoundation/errors/QVErrorKeys.h"
#include "QVFoundation/platform/concurrency/CancellationError.h"
#include "QVFoundation/platform/runtime/CustomNSError.h"
#include "QVFoundation/platform/runtime/ErrorConversion.h"
#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/runtime/TypeName.h"
#include "QVFoundation/platform/text/Format.h"

namespace QVFoundation {

namespace {

struct CancellationCode {
  std::string_view domain;
  std::int64_t code;
};

constexpr CancellationCode cancellationCodes[] = {
    {NSOSStatusErrorDomain, -128},   {NSCocoaErrorDomain, NSUserCancelledError},
    {NSPOSIXErrorDomain, 89},  // as stored errors have it; that Linux gives it another meaning is accepted
    {NSPOSIXErrorDomain, ECANCELED}, {QVErrorDomain, QVUserCancelledError},
};

}  // namespace

bool isUserCancelledError(const NSError& error) {
  if (!error.domain()) return false;
  for (const auto& [domain, code] : cancellationCodes) {
    if (*error.domain() == domain && error.code() == code) return true;
  }
  return false;
}

bool isUserCancelledError(const std::exception& exception) {
  return dynamic_cast<const CancellationError*>(&exception) != nullptr ||
         isUserCancelledError(asNSError(exception));
}

bool isUserCancelledError(const std::exception_ptr& exception) {
  if (!exception) return false;
  try {
    std::rethrow_exception(exception);
  } catch (const std::exception& caught) {
    return isUserCancelledError(caught);
  } catch (...) {
    return false;
  }
}

std::string longDescription(const NSError& error) {
  return stringWithFormat("<%@: %p domain=%@ code=%ld userInfo=%@>", error.className(), error.address(),
                          error.domain(), error.code(), error.userInfo());
}

std::string debugDescription(const NSError& error) { return longDescription(error); }

std::string fullDescription(const std::exception& exception) {
  if (const auto* error = dynamic_cast<const NSError*>(&exception)) return error->description();
  if (const auto* custom = dynamic_cast<const CustomNSError*>(&exception)) return custom->description();
  if (const auto* platform = dynamic_cast<const NSException*>(&exception)) {
    return platform->reason() ? platform->name() + ": " + *platform->reason() : platform->name();
  }
  return typeName(typeid(exception)) + ": " + exception.what();
}

std::string fullDescription(const std::exception_ptr& exception) {
  if (!exception) return "(null)";
  try {
    std::rethrow_exception(exception);
  } catch (const std::exception& caught) {
    return fullDescription(caught);
  } catch (...) {
    return asNSError(exception).description();
  }
}

std::optional<NSError> underlyingError(const NSError& error) {
  return error.userInfo()[NSUnderlyingErrorKey].error();
}

std::int64_t errorStyle(const NSError& error) {
  return error.userInfo()[QVErrorStyleKey].as<std::int64_t>().value_or(2);
}

NSError errorBySettingUserInfoObject(const NSError& error, const Value& object, std::string_view key) {
  if (object.isNothing()) return error;
  Dictionary userInfo = error.userInfo();
  userInfo.set(key, object);
  return {error.domain(), error.code(), userInfo, errorClassForName(error.className())};
}

}  // namespace QVFoundation
