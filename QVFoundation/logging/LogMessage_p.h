#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>

#include "QVFoundation/platform/text/FormatArgument.h"
#include "QVFoundation/platform/text/FormatWriters_p.h"

namespace QVFoundation::detail {

/// How long a message can be expected to be: what its texts add to the format. Room for longer ones is made
/// when they come, since a precision may leave little of them.
///
/// Threads: any.
inline std::size_t expectedSize(std::string_view format, const std::optional<FormatArguments>& arguments) {
  constexpr std::size_t longestExpectedText = 64 * 1024;
  std::size_t size = format.size();
  for (const FormatArgument& argument : arguments.value_or(FormatArguments())) {
    if (argument.isText()) size += std::min(argument.text().size(), longestExpectedText);
  }
  return size;
}

/// Appends a format filled with its arguments, or as it is where it has none.
///
/// Threads: any.
inline void appendMessage(FormatOutput& line, std::string_view format,
                          const std::optional<FormatArguments>& arguments) {
  if (const std::size_t size = expectedSize(format, arguments); size > FormatOutput::mostRoom / 2) {
    line.reserve(size + FormatOutput::mostRoom / 2);
  }
  if (arguments) {
    appendFormat(line, nullptr, format, *arguments);
  } else {
    line.append(format);
  }
}

}  // namespace QVFoundation::detail
