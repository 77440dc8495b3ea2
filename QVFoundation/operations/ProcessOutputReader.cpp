#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>

#include "QVFoundation/operations/ProcessOutputReader_p.h"
#include "QVFoundation/platform/files/SystemCalls_p.h"
#include "QVFoundation/platform/processes/PollUntil_p.h"

namespace QVFoundation::detail {

namespace {

/// From here on it is worth asking how much the pipe holds; the smallest holds twice as much.
constexpr std::size_t muchAtOnce = 4096;

}  // namespace

// Our end alone does not block: the program has the other one.
ProcessOutputReader::ProcessOutputReader(NSPipe::Capacity capacity)
    : pipe_(std::make_shared<NSPipe>(capacity)), isLargest_(capacity == NSPipe::Capacity::largest) {
  ::fcntl(descriptor(), F_SETFL, O_NONBLOCK);
}

int ProcessOutputReader::descriptor() const {
  return isAtEnd_ ? -1 : pipe_->fileHandleForReading()->fileDescriptor();
}

std::size_t ProcessOutputReader::read(std::span<std::byte> buffer) {
  if (isAtEnd_) return 0;
  const int pipe = descriptor();
  const std::size_t size = allowed(buffer.size());
  const ssize_t count =
      size == 0 ? 0 : uninterrupted([&] { return systemCalls().read(pipe, buffer.data(), size); });
  if (count < 0 && errno == EAGAIN && !leftAfterStop_) return 0;
  if (count <= 0) {
    isAtEnd_ = true;
    return 0;
  }
  if (leftAfterStop_) *leftAfterStop_ -= static_cast<std::size_t>(count);
  enlargeIfFilled(static_cast<std::size_t>(count));
  return static_cast<std::size_t>(count);
}

// By half, that is: the program is faster than its reader.
void ProcessOutputReader::enlargeIfFilled(std::size_t count) {
  if (isLargest_ || count < muchAtOnce || count < pipe_->capacity() / 2) return;
  isLargest_ = true;
  pipe_->enlarge();
}

// Once it is stopped, what is in the pipe then: those who hold it open may write for ever.
std::size_t ProcessOutputReader::allowed(std::size_t count) {
  if (!isStopped_.load(std::memory_order_acquire)) return count;
  if (!leftAfterStop_) {
    int left = 0;
    if (systemCalls().available(descriptor(), &left) != 0) left = 0;
    leftAfterStop_ = static_cast<std::size_t>(left);
  }
  return std::min(count, *leftAfterStop_);
}

// Few are ever waited for: the operation waits for most itself, until their end.
void ProcessOutputReader::await() {
  if (isAtEnd_) return;
  if (stopped_.number() < 0) stopped_.open();
  if (isStopped_.load(std::memory_order_acquire)) return;  // perhaps before there was something to wake
  std::array<pollfd, 2> requests{{{.fd = descriptor(), .events = POLLIN, .revents = 0},
                                  {.fd = stopped_.number(), .events = POLLIN, .revents = 0}}};
  pollUntil(requests, {});
}

void ProcessOutputReader::stop() noexcept {
  isStopped_.store(true, std::memory_order_release);
  stopped_.wake();
}

}  // namespace QVFoundation::detail
