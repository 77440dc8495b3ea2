#pragma once

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/CustomNSError.h"

namespace QVFoundation {

/// Thrown where something has not ended by its deadline.
///
/// Threads: a value.
class QV_EXPORT DeadlineExceededError final : public CustomNSError {
public:
  DeadlineExceededError() = default;
  ~DeadlineExceededError() override;

  [[nodiscard]] const char* what() const noexcept override { return "deadline exceeded"; }
};

}  // namespace QVFoundation
