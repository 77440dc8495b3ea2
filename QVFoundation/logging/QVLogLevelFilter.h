#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "QVFoundation/logging/QVLogFilter.h"
#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/NSObject.h"

namespace QVFoundation {

/// Decides by level alone: debug lines on request, info lines unless switched off, all others always.
///
/// A level that is switched off is dropped before the filter is asked. To look at the text of lines, derive
/// from `QVLogFilter` instead.
///
/// Threads: the switches may be turned from any thread and take effect from the next line.
class QV_EXPORT QVLogLevelFilter : public NSObject, public QVLogFilter {
public:
  static const NSClass& staticClass();
  [[nodiscard]] const NSClass& dynamicClass() const override { return staticClass(); }

  QVLogLevelFilter();

  [[nodiscard]] bool debugLoggingEnabled() const noexcept;  ///< False at first.
  void setDebugLoggingEnabled(bool enabled);
  [[nodiscard]] bool verboseLoggingEnabled() const noexcept;  ///< Lets info lines pass; true at first.
  void setVerboseLoggingEnabled(bool enabled);

  [[nodiscard]] bool filterAllowsMessage(std::optional<std::string_view> message,
                                         QVLoggerLevel level) override;
  [[nodiscard]] std::string description() const override;
};

}  // namespace QVFoundation
