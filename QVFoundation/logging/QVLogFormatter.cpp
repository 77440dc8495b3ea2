#include "QVFoundation/logging/QVLogFormatter.h"

#include <utility>

#include "QVFoundation/logging/LogMessage_p.h"

namespace QVFoundation {

QVLogFormatter::~QVLogFormatter() = default;

bool QVLogFormatter::appendStringForFunc(detail::FormatOutput& line, const detail::LogMessage& message) {
  auto text = stringForFunc(message.func, message.format, message.arguments, message.level);
  if (!text) return false;
  line.take(*std::move(text));
  return true;
}

}  // namespace QVFoundation
