#pragma once

#include <concepts>
#include <cstddef>
#include <memory>
#include <utility>

#include "QVFoundation/operations/QVProcessIOHandle.h"
#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/files/NSFileHandle.h"
#include "QVFoundation/platform/processes/NSPipe.h"

namespace QVFoundation {

/// A stream for a process operation, as a parameter: nothing, a file handle, a pipe, or an adopter of
/// `QVProcessIOHandle`. File handles and pipes are passed on as they are; nobody reads from them.
///
/// Threads: as a plain value.
/// Ownership: keeps what it was made of.
/// Errors: a null pointer raises `NSInvalidArgumentException`; none is `nullptr` itself, or `{}`.
class QV_EXPORT QVAnyProcessIOHandle {
public:
  QVAnyProcessIOHandle() noexcept = default;
  QVAnyProcessIOHandle(std::nullptr_t) noexcept {}
  QVAnyProcessIOHandle(std::shared_ptr<NSFileHandle> handle);
  QVAnyProcessIOHandle(std::shared_ptr<NSPipe> pipe);
  template <std::derived_from<QVProcessIOHandle> Adopter>
  QVAnyProcessIOHandle(std::shared_ptr<Adopter> adopter)
      : handle_(required(std::shared_ptr<QVProcessIOHandle>(std::move(adopter)))) {}

  /// Null for none.
  [[nodiscard]] const std::shared_ptr<QVProcessIOHandle>& get() const noexcept { return handle_; }

private:
  static std::shared_ptr<QVProcessIOHandle> required(std::shared_ptr<QVProcessIOHandle> adopter);

  std::shared_ptr<QVProcessIOHandle> handle_;
};

}  // namespace QVFoundation
