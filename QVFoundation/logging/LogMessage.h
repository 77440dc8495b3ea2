#pragma once

#include <optional>
#include <string_view>

#include "QVFoundation/logging/QVLoggerLevel.h"
#include "QVFoundation/platform/text/FormatArgument.h"

namespace QVFoundation::detail {

/// Internal: installed because other headers need it.
///
/// What one call logs, on its way to the formatter; `QVLogFormatter::stringForFunc` tells what is what.
///
/// Threads: as a plain value.
/// Ownership: borrows its texts and arguments.
struct LogMessage {
  std::optional<std::string_view> func;
  std::optional<std::string_view> format;
  std::optional<FormatArguments> arguments;
  QVLoggerLevel level = QVLoggerLevelInfo;
};

}  // namespace QVFoundation::detail
