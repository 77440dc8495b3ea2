#include "QVFoundation/platform/files/NSFileHandle.h"

#include <system_error>
#include <utility>

#include "QVFoundation/platform/application/NSNotificationCenter.h"
#include "QVFoundation/platform/concurrency/DispatchQueue.h"
#include "QVFoundation/platform/processes/DescriptorWatch_p.h"

namespace QVFoundation {

void NSFileHandle::waitForDataInBackgroundAndNotify() {
  const std::weak_ptr<NSObject> self = weak_from_this();
  const MutexLock guard(waitLock_);
  if (waitToken_ != 0) return;
  try {
    waitToken_ = detail::DescriptorWatch::shared().watch(fileDescriptor(), [self] {
      if (const auto handle = std::static_pointer_cast<NSFileHandle>(self.lock())) handle->dataIsAvailable();
    });
  } catch (const std::system_error& error) {
    fail("wait for data from", error.code().value());
  }
}

// What observers do may take its time, which must not be that of the thread that watches descriptors.
void NSFileHandle::dataIsAvailable() {
  {
    const MutexLock guard(waitLock_);
    if (waitToken_ == 0) return;  // they have stopped waiting
    waitToken_ = 0;
  }
  DispatchQueue::global()->async([self = weak_from_this()] {
    if (auto handle = self.lock()) {
      NSNotificationCenter::defaultCenter()->postNotificationName(
          std::string(NSFileHandleDataAvailableNotification), std::move(handle));
    }
  });
}

void NSFileHandle::stopWaitingForData() {
  std::uint64_t token = 0;
  {
    const MutexLock guard(waitLock_);
    token = std::exchange(waitToken_, 0);
  }
  if (token != 0) detail::DescriptorWatch::shared().withdraw(token);
}

}  // namespace QVFoundation
