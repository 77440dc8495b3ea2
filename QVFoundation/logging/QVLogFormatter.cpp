#include "QVFoundation/logging/QVLogFormatter.h"

#include "QVFoundation/logging/LogMessage_p.h"

namespace QVFoundation {

QVLogFormatter::~QVLogFormatter() = default;

bool QVLogFormatter::appendLine(detail::FormatOutput& line, const detail::LogMessage& message) {
  const auto text = stringForFunc(message.func, message.format, message.arguments, message.level);
  if (text) line.append(*text);
  return text.has_value();
}

}  // namespace QVFoundation
