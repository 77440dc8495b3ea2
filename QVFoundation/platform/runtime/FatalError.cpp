#include "QVFoundation/platform/runtime/FatalError.h"

#include <cstdio>
#include <cstdlib>

#include "QVFoundation/platform/concurrency/TaskCallStack.h"
#include "QVFoundation/platform/runtime/CallStack_p.h"

namespace QVFoundation {

void fatalError(std::string_view message, std::string_view file, unsigned line) noexcept {
  std::fprintf(stderr, "Fatal error: %.*s: file %.*s, line %u\n", static_cast<int>(message.size()),
               message.data(), static_cast<int>(file.size()), file.data(), line);
  for (const auto& frame : detail::CallStack::capture().symbols())
    std::fprintf(stderr, "%s\n", frame.c_str());
  const auto coroutines = currentTaskCallStack();
  if (!coroutines.empty()) std::fputs("Asynchronous functions:\n", stderr);
  for (const auto& coroutine : coroutines) std::fprintf(stderr, "%s\n", coroutine.c_str());
  std::abort();
}

}  // namespace QVFoundation
