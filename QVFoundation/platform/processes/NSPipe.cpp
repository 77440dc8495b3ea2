#include "QVFoundation/platform/processes/NSPipe.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <fstream>
#include <string>
#include <system_error>

#include "QVFoundation/platform/files/Descriptor_p.h"
#include "QVFoundation/platform/processes/ProcessCalls_p.h"
#include "QVFoundation/platform/runtime/NSError.h"

namespace QVFoundation {

namespace {

/// The bound for those without privileges; 0 where the system does not say.
int largestCapacity() {
  static const int largest = [] {
    int size = 0;
    std::ifstream("/proc/sys/fs/pipe-max-size") >> size;
    return size;
  }();
  return largest;
}

[[noreturn]] void throwNoPipe(int code) {
  throw NSError(
      NSPOSIXErrorDomain, code,
      {{NSLocalizedDescriptionKey, "A pipe could not be made: " + std::generic_category().message(code)}});
}

}  // namespace

NSPipe::NSPipe(Capacity capacity) {
  std::array<int, 2> ends{};
  if (detail::processCalls().pipe(ends.data(), O_CLOEXEC) != 0) throwNoPipe(errno);
  detail::Descriptor reading(ends[0]);
  detail::Descriptor writing(ends[1]);
  const auto handleOf = [](detail::Descriptor& end) {
    auto handle = std::make_shared<NSFileHandle>(end.number(), NSFileHandle::CloseOnRelease::yes);
    (void)end.release();
    return handle;
  };
  reading_ = handleOf(reading);
  writing_ = handleOf(writing);
  if (capacity == Capacity::largest) enlarge();
}

void NSPipe::enlarge() noexcept {
  if (largestCapacity() > 0) {
    (void)detail::processCalls().setCapacity(reading_->fileDescriptor(), largestCapacity());
  }
}

std::size_t NSPipe::capacity() const noexcept {
  for (const auto& end : {reading_.get(), writing_.get()}) {
    const int size = detail::processCalls().capacity(end->fileDescriptor());
    if (size > 0) return static_cast<std::size_t>(size);
  }
  return 0;
}

Dictionary NSPipe::debugDictionary() const {
  Dictionary dictionary = NSObject::debugDictionary();
  dictionary.set("fileHandleForReading", reading_->fileDescriptor());
  dictionary.set("fileHandleForWriting", writing_->fileDescriptor());
  return dictionary;
}

}  // namespace QVFoundation
