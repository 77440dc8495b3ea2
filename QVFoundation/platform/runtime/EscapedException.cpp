#include <exception>
#include <string>

#include "QVFoundation/platform/runtime/ErrorConversion.h"
#include "QVFoundation/platform/runtime/EscapedException_p.h"
#include "QVFoundation/platform/runtime/FatalError.h"

namespace QVFoundation::detail {

void endForEscapedException(std::string_view who) noexcept {
  const NSError error = asNSError(std::current_exception());
  fatalError(std::string(who) + " let out an exception: " + error.description());
}

}  // namespace QVFoundation::detail
