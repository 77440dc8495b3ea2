#include "QVFoundation/logging/QVLogStandardFormatter.h"

#include <cerrno>
#include <chrono>
#include <unistd.h>

#include "QVFoundation/logging/LogMessage_p.h"

namespace QVFoundation {

QVLogStandardFormatter::QVLogStandardFormatter() : pname_(program_invocation_short_name), pid_(getpid()) {}

std::optional<std::string> QVLogStandardFormatter::stringForFunc(std::optional<std::string_view> /*func*/,
                                                                 std::optional<std::string_view> format,
                                                                 std::optional<FormatArguments> arguments,
                                                                 QVLoggerLevel /*level*/) {
  if (!format) return {};
  std::string line;
  detail::FormatOutput out(line);
  out.append(dateFormatter_.text(std::chrono::system_clock::now()));
  out.append(' ');
  detail::appendMessage(out, *format, arguments);
  out.flush();
  return line;
}

}  // namespace QVFoundation
