#include "QVFoundation/platform/concurrency/TaskCallStack.h"

#include <source_location>
#include <string_view>

#include "QVFoundation/platform/concurrency/TaskContext.h"
#include "QVFoundation/platform/concurrency/TaskPromise.h"
#include "QVFoundation/platform/runtime/TypeName.h"

namespace QVFoundation {

namespace {

std::string describe(std::size_t index, const std::source_location& place) {
  const std::string_view file = place.file_name();
  return std::to_string(index) + "  " + detail::functionName(place) + "  at " +
         std::string(file.substr(file.rfind('/') + 1)) + ':' + std::to_string(place.line());
}

}  // namespace

// A compiler that turns a coroutine into a function of its frame names that, such as
// "void load(load(std::string)::_Z4loadNSt….Frame*)". The symbol in there is that of the function.
std::string detail::functionName(const std::source_location& place) {
  const std::string_view text = place.function_name();
  const auto end = text.rfind(".Frame*)");
  const auto symbol = end != std::string_view::npos ? text.rfind("::_Z", end) : end;
  if (symbol == std::string_view::npos) return std::string(text);
  return demangledSymbol(std::string(text.substr(symbol + 2, end - symbol - 2)).c_str());
}

std::vector<std::string> currentTaskCallStack() {
  const detail::TaskContext* const task = detail::TaskContext::current();
  if (task == nullptr) return {};
  std::vector<std::string> lines;
  for (const auto* coroutine = task->innermost(); coroutine != nullptr; coroutine = coroutine->caller()) {
    lines.push_back(describe(lines.size(), coroutine->place()));
  }
  if (!task->name().empty()) lines.push_back("in the task \"" + task->name() + '"');
  return lines;
}

}  // namespace QVFoundation
