#include "QVFoundation/logging/QVLogBasicFormatter.h"

#include <typeinfo>

#include "QVFoundation/logging/LogMessage_p.h"

namespace QVFoundation {

std::optional<std::string> QVLogBasicFormatter::stringForFunc(std::optional<std::string_view> func,
                                                              std::optional<std::string_view> format,
                                                              std::optional<FormatArguments> arguments,
                                                              QVLoggerLevel level) {
  std::string text;
  detail::FormatOutput line(text);
  if (!detail::appendMessage(line, {func, format, arguments, level})) return {};
  line.flush();
  return text;
}

bool QVLogBasicFormatter::appendStringForFunc(detail::FormatOutput& line, const detail::LogMessage& message) {
  // Where a derived class may have another `stringForFunc`, that one decides.
  if (typeid(*this) != typeid(QVLogBasicFormatter)) return QVLogFormatter::appendStringForFunc(line, message);
  return detail::appendMessage(line, message);
}

}  // namespace QVFoundation
