#pragma once

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/concurrency/ThreadSafety.h"
#include "QVFoundation/platform/concurrency/UnfairLock.h"
#include "QVFoundation/platform/files/Descriptor_p.h"

namespace QVFoundation::detail {

/// A descriptor that can be read once somebody has sent a wake-up, for a thread that waits for others too. It
/// stays so.
///
/// Threads: `open` before others wait; `wake` any.
/// Errors: `open` throws an `NSError` where there is no descriptor left. A wake-up before it is lost.
class WakeDescriptor {
public:
  void open();
  void wake() noexcept;
  [[nodiscard]] int number() const noexcept;

private:
  mutable UnfairLock lock_;
  Descriptor event_ QV_GUARDED_BY(lock_);
};

}  // namespace QVFoundation::detail
