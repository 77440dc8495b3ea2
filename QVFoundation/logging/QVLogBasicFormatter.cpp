#include "QVFoundation/logging/QVLogBasicFormatter.h"

#include "QVFoundation/logging/LogMessage_p.h"

namespace QVFoundation {

std::optional<std::string> QVLogBasicFormatter::stringForFunc(std::optional<std::string_view> /*func*/,
                                                              std::optional<std::string_view> format,
                                                              std::optional<FormatArguments> arguments,
                                                              QVLoggerLevel /*level*/) {
  if (!format) return {};
  std::string line;
  detail::FormatOutput out(line);
  detail::appendMessage(out, *format, arguments);
  out.flush();
  return line;
}

}  // namespace QVFoundation
