#include "QVFoundation/logging/QVLogBasicFormatter.h"

#include "QVFoundation/platform/text/Format.h"

namespace QVFoundation {

std::optional<std::string> QVLogBasicFormatter::stringForFunc(std::optional<std::string_view> /*func*/,
                                                              std::optional<std::string_view> format,
                                                              std::optional<FormatArguments> arguments,
                                                              QVLoggerLevel /*level*/) {
  if (!format) return {};
  std::string line;
  appendMessage(line, *format, arguments);
  return line;
}

void QVLogBasicFormatter::appendMessage(std::string& line, std::string_view format,
                                        std::optional<FormatArguments> arguments) {
  if (arguments) {
    appendFormat(line, nullptr, format, *arguments);
  } else {
    line += format;
  }
}

}  // namespace QVFoundation
