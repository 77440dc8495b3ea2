#pragma once

#include <optional>
#include <string_view>

#include "QVFoundation/logging/QVLogFilter.h"
#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/NSObject.h"

namespace QVFoundation {

/// Lets every line pass.
///
/// Threads: safe from any thread.
class QV_EXPORT QVLogNoFilter : public NSObject, public QVLogFilter {
public:
  [[nodiscard]] bool filterAllowsMessage(std::optional<std::string_view> message,
                                         QVLoggerLevel level) override;
};

}  // namespace QVFoundation
