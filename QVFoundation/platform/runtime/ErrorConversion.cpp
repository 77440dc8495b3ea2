#include "QVFoundation/platform/runtime/ErrorConversion.h"

#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/CustomNSError.h"
#include "QVFoundation/platform/runtime/FatalError.h"
#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/runtime/TypeName.h"

namespace QVFoundation {

namespace {

// Marks errors that stand for an exception of another kind. It carries no meaning of its own, so an error
// that is rebuilt from one is of the base class.
const NSClass& nativeErrorClass() {
  static const NSClass& cls = *new NSClass("__NSNativeError", NSError::staticClass());
  return cls;
}

[[maybe_unused]] const NSClass& registered = nativeErrorClass();

std::string joined(const std::vector<std::string>& lines) {
  std::string text;
  for (const auto& line : lines) {
    if (!text.empty()) text += '\n';
    text += line;
  }
  return text;
}

NSError fromPlatformException(const NSException& exception) {
  return {QVErrorDomain,
          QVExceptionCaughtError,
          {{NSLocalizedDescriptionKey, exception.reason()},
           {QVExceptionCallStackSymbolsKey, joined(exception.callStackSymbols())}}};
}

NSError fromSystemError(const std::error_code& code, Dictionary userInfo) {
  const bool isErrno =
      code.category() == std::generic_category() || code.category() == std::system_category();
  return {isErrno ? NSPOSIXErrorDomain : code.category().name(), code.value(), std::move(userInfo),
          nativeErrorClass()};
}

NSError fromFilesystemError(const std::filesystem::filesystem_error& exception) {
  Dictionary userInfo{{NSLocalizedDescriptionKey, exception.what()}};
  if (!exception.path1().empty()) userInfo.set(NSFilePathErrorKey, exception.path1().string());
  return fromSystemError(exception.code(), std::move(userInfo));
}

NSError fromExceptionAlone(const std::exception& exception) {
  if (const auto* error = dynamic_cast<const NSError*>(&exception)) return *error;
  if (const auto* custom = dynamic_cast<const CustomNSError*>(&exception)) {
    return {custom->errorDomain(), custom->errorCode(), custom->errorUserInfo()};
  }
  if (const auto* platform = dynamic_cast<const NSException*>(&exception))
    return fromPlatformException(*platform);
  if (const auto* file = dynamic_cast<const std::filesystem::filesystem_error*>(&exception)) {
    return fromFilesystemError(*file);
  }
  const Dictionary userInfo{{NSLocalizedDescriptionKey, exception.what()}};
  if (const auto* system = dynamic_cast<const std::system_error*>(&exception)) {
    return fromSystemError(system->code(), userInfo);
  }
  return {typeName(typeid(exception)), 1, userInfo, nativeErrorClass()};
}

NSError fromUnknown() {
  return {QVErrorDomain, 1, {{NSLocalizedDescriptionKey, "unknown exception"}}, nativeErrorClass()};
}

std::exception_ptr nestedIn(const std::exception& exception) {
  const auto* nesting = dynamic_cast<const std::nested_exception*>(&exception);
  return nesting != nullptr ? nesting->nested_ptr() : nullptr;
}

/// One exception without those nested in it, and the next of those.
std::pair<NSError, std::exception_ptr> splitOff(const std::exception_ptr& exception) {
  if (!exception) fatalError("There is no exception that could become an error");
  try {
    std::rethrow_exception(exception);
  } catch (const std::exception& caught) {
    return {fromExceptionAlone(caught), nestedIn(caught)};
  } catch (const std::nested_exception& caught) {
    return {fromUnknown(), caught.nested_ptr()};
  } catch (...) {
    return {fromUnknown(), nullptr};
  }
}

NSError withCause(const NSError& error, const NSError& cause) {
  Dictionary userInfo = error.userInfo();
  if (userInfo[NSUnderlyingErrorKey] == Value(cause)) return error;
  if (userInfo.contains(NSUnderlyingErrorKey)) {
    Array causes = userInfo[NSMultipleUnderlyingErrorsKey].array();
    causes.append(cause);
    userInfo.set(NSMultipleUnderlyingErrorsKey, causes);
  } else {
    userInfo.set(NSUnderlyingErrorKey, cause);
  }
  return {error.domain(), error.code(), userInfo, error.errorClass()};
}

/// From the innermost of the nested exceptions outwards.
NSError withNested(const NSError& outermost, std::exception_ptr nested) {
  std::vector<NSError> chain{outermost};
  while (nested) {
    auto [error, next] = splitOff(nested);
    chain.push_back(error);
    nested = std::move(next);
  }
  NSError whole = chain.back();
  for (std::size_t i = chain.size() - 1; i > 0; --i) whole = withCause(chain[i - 1], whole);
  return whole;
}

}  // namespace

CustomNSError::~CustomNSError() = default;

std::string CustomNSError::errorDomain() const { return dottedTypeName(typeid(*this)); }

std::string CustomNSError::description() const { return asNSError(*this).description(); }

NSError asNSError(const std::exception& exception) {
  return withNested(fromExceptionAlone(exception), nestedIn(exception));
}

NSError asNSError(const std::exception_ptr& exception) {
  auto [error, nested] = splitOff(exception);
  return withNested(error, std::move(nested));
}

}  // namespace QVFoundation
