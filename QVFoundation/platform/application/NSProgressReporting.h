#pragma once

#include <memory>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/application/NSProgress.h"

namespace QVFoundation {

/// Whatever has a progress that can be shown.
///
/// Threads: any.
class QV_EXPORT NSProgressReporting {
public:
  NSProgressReporting(const NSProgressReporting&) = delete;
  NSProgressReporting& operator=(const NSProgressReporting&) = delete;

  /// Never null.
  [[nodiscard]] virtual std::shared_ptr<NSProgress> progress() const = 0;

protected:
  NSProgressReporting() = default;
  virtual ~NSProgressReporting();
};

}  // namespace QVFoundation
