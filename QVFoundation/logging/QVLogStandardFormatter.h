#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "QVFoundation/logging/QVLogBasicFormatter.h"
#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/time/Timestamp.h"

namespace QVFoundation {

/// The line of log files: the local time, a blank and the message, as in "2026-03-05 14:07:09.123
/// Backup finished".
///
/// The time is written in ASCII digits of the Gregorian calendar whatever the locale, so that logs can be
/// sorted and searched. The time zone is the one that the process had when the formatter was made.
///
/// Threads: safe from any thread.
class QV_EXPORT QVLogStandardFormatter : public QVLogBasicFormatter {
public:
  QVLogStandardFormatter();

  [[nodiscard]] std::optional<std::string> stringForFunc(std::optional<std::string_view> func,
                                                         std::optional<std::string_view> format,
                                                         std::optional<FormatArguments> arguments,
                                                         QVLoggerLevel level) override;

  // For derived formatters; the standard line does not print them.
  [[nodiscard]] const std::string& processName() const noexcept { return pname_; }
  [[nodiscard]] std::int32_t processIdentifier() const noexcept { return pid_; }

private:
  bool appendStringForFunc(detail::FormatOutput& line, const detail::LogMessage& message) override;

  TimestampFormatter dateFormatter_;
  std::string pname_;
  std::int32_t pid_;
};

}  // namespace QVFoundation
