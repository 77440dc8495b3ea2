#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <optional>
#include <span>

#include "QVFoundation/platform/processes/NSPipe.h"
#include "QVFoundation/platform/processes/WakeDescriptor_p.h"

namespace QVFoundation::detail {

/// Reads what a program writes into a pipe of its own, until the end or until it is told to stop. What was
/// written until then is still read.
///
/// Threads: `stop` any, the rest on one at a time.
/// Errors: making it throws an `NSError` where the system has no pipe to give, and `await` where it has no
/// descriptor. What cannot be read is the end.
class ProcessOutputReader {
public:
  /// A pipe of the standard capacity is made the largest once much is written.
  explicit ProcessOutputReader(NSPipe::Capacity capacity);

  [[nodiscard]] const std::shared_ptr<NSPipe>& pipe() const noexcept { return pipe_; }
  /// -1 at the end.
  [[nodiscard]] int descriptor() const;
  [[nodiscard]] bool isAtEnd() const noexcept { return isAtEnd_; }

  /// Reads some of what is there into a buffer that has room; 0 where there is nothing now, or it is the end.
  std::size_t read(std::span<std::byte> buffer);
  /// Waits until there is something to read, the end is reached, or it was told to stop.
  void await();
  void stop() noexcept;

private:
  [[nodiscard]] std::size_t allowed(std::size_t count);
  void enlargeIfFilled(std::size_t count);

  const std::shared_ptr<NSPipe> pipe_;
  WakeDescriptor stopped_;
  std::atomic<bool> isStopped_ = false;
  std::optional<std::size_t> leftAfterStop_;
  bool isAtEnd_ = false;
  bool isLargest_;
};

}  // namespace QVFoundation::detail
