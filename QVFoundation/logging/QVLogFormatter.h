#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "QVFoundation/logging/QVLoggerLevel.h"
#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/text/FormatArgument.h"

namespace QVFoundation {

namespace detail {
class FormatOutput;
struct LogMessage;
}  // namespace detail

/// Turns a format and its arguments into one finished line.
///
/// Threads: called from several threads at once, without a lock.
class QV_EXPORT QVLogFormatter {
public:
  virtual ~QVLogFormatter();

  /// The line, or nothing where nothing is to be written.
  ///
  /// @param func       the function that logs, where it is known
  /// @param format     printf-style with "%@"; absent where there is no message
  /// @param arguments  what fills the format; absent where the format is a finished text, in which "%" means
  /// itself
  [[nodiscard]] virtual std::optional<std::string> stringForFunc(std::optional<std::string_view> func,
                                                                 std::optional<std::string_view> format,
                                                                 std::optional<FormatArguments> arguments,
                                                                 QVLoggerLevel level) = 0;

protected:
  friend class QVLogger;

  /// Internal: appends the line; false where there is none. The library's own formatters need no string
  /// for it.
  virtual bool appendStringForFunc(detail::FormatOutput& line, const detail::LogMessage& message);
};

}  // namespace QVFoundation
