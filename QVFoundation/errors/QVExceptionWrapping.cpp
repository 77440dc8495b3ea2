#include "QVFoundation/errors/QVExceptionWrapping.h"

#include <string>

#include "QVFoundation/errors/QVErrorInspection.h"
#include "QVFoundation/platform/runtime/FatalError.h"

namespace QVFoundation {

namespace {

/// An error may hold objects whose descriptions fail in turn.
std::string describedAtAnyRate(const std::exception_ptr& error) {
  try {
    return fullDescription(error);
  } catch (...) {
    return "which cannot be described";
  }
}

}  // namespace

void detail::endForUncaughtError(std::string_view message, const std::exception_ptr& error,
                                 std::source_location where) noexcept {
  fatalError("Uncaught error: " + std::string(message) + ", " + describedAtAnyRate(error), where);
}

void QVThrowTestException() { throw NSException(NSInternalInconsistencyException, "Test exception"); }

}  // namespace QVFoundation
