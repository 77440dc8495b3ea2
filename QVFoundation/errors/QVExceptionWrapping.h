#pragma once

#include <concepts>
#include <exception>
#include <functional>
#include <optional>
#include <source_location>
#include <string_view>
#include <type_traits>
#include <utility>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/ErrorConversion.h"
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

/// Returns what a callable returns; whatever it throws, platform exceptions included, is thrown as
/// an `NSError`.
template <std::invocable Callable>
std::invoke_result_t<Callable> QVThrowExceptions(Callable&& callable) {
  try {
    return std::invoke(std::forward<Callable>(callable));
  } catch (...) {
    throw asNSError(std::current_exception());
  }
}

namespace detail {
[[noreturn]] QV_EXPORT void endForUncaughtError(std::string_view message, const std::exception_ptr& error,
                                                std::source_location where) noexcept;
}

/// Returns what a callable returns. An exception is a programming error and ends the process with the
/// message, all that is known of the exception, and the caller's place.
template <std::invocable Callable>
std::invoke_result_t<Callable> QVAssertNoError(Callable&& callable, std::string_view message,
                                               std::source_location where = std::source_location::current()) {
  try {
    return std::invoke(std::forward<Callable>(callable));
  } catch (...) {
    detail::endForUncaughtError(message, std::current_exception(), where);
  }
}

/// The same for a result that is there already.
template <class T>
T QVAssertNoError(Result<T> result, std::string_view message,
                  std::source_location where = std::source_location::current()) {
  return QVAssertNoError([&] { return static_cast<T>(std::move(result).value()); }, message, where);
}

/// Raises `NSInternalInconsistencyException` with the reason "Test exception", for trying out the
/// functions above.
[[noreturn]] QV_EXPORT void QVThrowTestException();

}  // namespace QVFoundation
