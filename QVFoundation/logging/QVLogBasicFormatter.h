#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "QVFoundation/logging/QVLogFormatter.h"
#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/NSObject.h"

namespace QVFoundation {

/// The message and nothing else: the format filled with its arguments, or as it is where it has none.
///
/// Threads: safe from any thread.
class QV_EXPORT QVLogBasicFormatter : public NSObject, public QVLogFormatter {
public:
  [[nodiscard]] std::optional<std::string> stringForFunc(std::optional<std::string_view> func,
                                                         std::optional<std::string_view> format,
                                                         std::optional<FormatArguments> arguments,
                                                         QVLoggerLevel level) override;

protected:
  bool appendStringForFunc(detail::FormatOutput& line, const detail::LogMessage& message) override;
};

}  // namespace QVFoundation
