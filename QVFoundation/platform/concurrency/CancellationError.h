#pragma once

#include <cstdint>
#include <string>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/CustomNSError.h"
#include "QVFoundation/platform/runtime/NSErrorKeys.h"

namespace QVFoundation {

/// Thrown where a task notices that it has been cancelled. As an error it is the general "user cancelled".
///
/// Threads: a value.
class QV_EXPORT CancellationError final : public CustomNSError {
public:
  CancellationError() = default;
  ~CancellationError() override;

  [[nodiscard]] std::string errorDomain() const override { return std::string(NSCocoaErrorDomain); }
  [[nodiscard]] std::int64_t errorCode() const override { return NSUserCancelledError; }
  [[nodiscard]] const char* what() const noexcept override { return "cancelled"; }
};

}  // namespace QVFoundation
