#pragma once

#include "QVFoundation/logging/LogMessage.h"
#include "QVFoundation/platform/text/FormatWriters_p.h"

namespace QVFoundation::detail {

/// Appends the format filled with its arguments, or as it is where it has none; false where there is
/// no format.
///
/// Threads: any.
inline bool appendMessage(FormatOutput& line, const LogMessage& message) {
  if (!message.format) return false;
  if (message.arguments) {
    appendFormat(line, nullptr, *message.format, *message.arguments);
  } else {
    line.append(*message.format);
  }
  return true;
}

}  // namespace QVFoundation::detail
