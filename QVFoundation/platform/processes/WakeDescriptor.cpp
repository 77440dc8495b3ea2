#include <cerrno>
#include <cstdint>
#include <sys/eventfd.h>
#include <system_error>

#include "QVFoundation/platform/files/SystemCalls_p.h"
#include "QVFoundation/platform/processes/ProcessCalls_p.h"
#include "QVFoundation/platform/processes/WakeDescriptor_p.h"
#include "QVFoundation/platform/runtime/NSError.h"

namespace QVFoundation::detail {

void WakeDescriptor::open() {
  Descriptor event(processCalls().makeEvent(0, EFD_CLOEXEC | EFD_NONBLOCK));
  if (!event.isOpen()) {
    const int code = errno;
    throw NSError(NSPOSIXErrorDomain, code,
                  {{NSLocalizedDescriptionKey,
                    "There is no descriptor to wait with: " + std::generic_category().message(code)}});
  }
  const UnfairLockGuard guard(lock_);
  event_ = std::move(event);
}

void WakeDescriptor::wake() noexcept {
  constexpr std::uint64_t once = 1;
  const UnfairLockGuard guard(lock_);
  if (event_.isOpen()) (void)systemCalls().write(event_.number(), &once, sizeof once);
}

int WakeDescriptor::number() const noexcept {
  const UnfairLockGuard guard(lock_);
  return event_.number();
}

}  // namespace QVFoundation::detail
