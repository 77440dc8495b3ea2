#include "QVFoundation/logging/QVLogStandardFormatter.h"

#include <cerrno>
#include <chrono>
#include <typeinfo>
#include <unistd.h>

#include "QVFoundation/logging/LogMessage_p.h"

namespace QVFoundation {

namespace {

[[gnu::hot]] bool appendStandardLine(detail::FormatOutput& line, const TimestampFormatter& dateFormatter,
                                     const detail::LogMessage& message) {
  if (!message.format) return false;
  line.append(dateFormatter.text(std::chrono::system_clock::now()));
  line.append(' ');
  return detail::appendMessage(line, message);
}

}  // namespace

QVLogStandardFormatter::QVLogStandardFormatter() : pname_(program_invocation_short_name), pid_(getpid()) {}

std::optional<std::string> QVLogStandardFormatter::stringForFunc(std::optional<std::string_view> func,
                                                                 std::optional<std::string_view> format,
                                                                 std::optional<FormatArguments> arguments,
                                                                 QVLoggerLevel level) {
  std::string text;
  detail::FormatOutput line(text);
  if (!appendStandardLine(line, dateFormatter_, {func, format, arguments, level})) return {};
  line.flush();
  return text;
}

[[gnu::hot]] bool QVLogStandardFormatter::appendStringForFunc(detail::FormatOutput& line,
                                                              const detail::LogMessage& message) {
  // Where a derived class may have another `stringForFunc`, that one decides.
  if (typeid(*this) != typeid(QVLogStandardFormatter))
    return QVLogBasicFormatter::appendStringForFunc(line, message);
  return appendStandardLine(line, dateFormatter_, message);
}

}  // namespace QVFoundation
