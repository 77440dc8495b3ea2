#pragma once

#include <concepts>
#include <exception>
#include <functional>
#include <optional>
#include <string_view>
#include <type_traits>
#include <utility>

#include "QVFoundation/errors/QVErrorConstructors.h"
#include "QVFoundation/errors/QVErrorInspection.h"
#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/ErrorConversion.h"
#include "QVFoundation/platform/runtime/FatalError.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/runtime/Result.h"

/// From exceptions to errors and back, where code of the one style calls code of the other.
///
/// Threads: safe from any thread; callables run on the caller's.
namespace QVFoundation {

/// Runs a callable. A platform exception (`NSException`) that it raises comes back as the error 1003 of
/// `QVErrorDomain`, with the call stack where it was raised; every other exception passes through.
template <std::invocable Callable>
[[nodiscard]] std::optional<NSError> QVWrapExceptionInError(Callable&& callable) {
  try {
    std::invoke(std::forward<Callable>(callable));
  } catch (const NSException& exception) {
    return asNSError(exception);
  }
  return {};
}

/// The same for a callable that can also hand back an error of its own.
template <std::invocable<std::optional<NSError>*> Callable>
[[nodiscard]] std::optional<NSError> QVWrapExceptionInErrorOrReturnError(Callable&& callable) {
  std::optional<NSError> returned;
  try {
    std::invoke(std::forward<Callable>(callable), &returned);
  } catch (const NSException& exception) {
    return asNSError(exception);
  }
  return returned;
}

/// Returns what a callable returns; whatever it throws is thrown as an `NSError`.
template <std::invocable Callable>
std::invoke_result_t<Callable> QVThrowExceptions(Callable&& callable) {
  using Returned = std::invoke_result_t<Callable>;
  auto result = Result<Returned>::failure(errorWithDescription(""));
  const auto error = QVWrapExceptionInErrorOrReturnError([&](std::optional<NSError>* thrown) {
    result = Result<Returned>::of(std::forward<Callable>(callable));
    if (!result) *thrown = result.error();
  });
  if (error) throw *error;
  if constexpr (!std::is_void_v<Returned>) return std::move(result).value();
}

/// Returns what a callable returns. An exception is a programming error and ends the process with the message
/// and all that is known of the exception.
template <std::invocable Callable>
std::invoke_result_t<Callable> QVAssertNoError(Callable&& callable, std::string_view message) {
  try {
    return std::invoke(std::forward<Callable>(callable));
  } catch (...) {
    fatalError("Uncaught error: " + std::string(message) + ", " + fullDescription(std::current_exception()));
  }
}

/// The same for a result that is there already.
template <class T>
decltype(auto) QVAssertNoError(Result<T> result, std::string_view message) {
  return QVAssertNoError([&]() -> T { return static_cast<T>(std::move(result).value()); }, message);
}

/// Raises `NSInternalInconsistencyException` with the reason "Test exception", for trying out the functions
/// above.
[[noreturn]] QV_EXPORT void QVThrowTestException();

}  // namespace QVFoundation
