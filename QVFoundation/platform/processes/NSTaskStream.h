#pragma once

#include <cstddef>
#include <memory>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/files/NSFileHandle.h"
#include "QVFoundation/platform/processes/NSPipe.h"

namespace QVFoundation {

/// What a task gets as its standard input, output or error: this process's own, a file handle, or the end of
/// a pipe that fits.
///
/// Threads: as a plain value.
/// Ownership: keeps the handle or the pipe.
/// Errors: a null pointer, such as a file that could not be opened gives, raises
/// `NSInvalidArgumentException`: it must not pass for this process's own stream.
class QV_EXPORT NSTaskStream {
public:
  /// This process's own stream, as it is when the task is launched.
  NSTaskStream() noexcept = default;
  NSTaskStream(std::shared_ptr<NSFileHandle> handle);
  NSTaskStream(std::shared_ptr<NSPipe> pipe);
  NSTaskStream(std::nullptr_t) = delete;

  [[nodiscard]] bool isInherited() const noexcept { return handle_ == nullptr && pipe_ == nullptr; }
  /// Null unless it is one.
  [[nodiscard]] const std::shared_ptr<NSFileHandle>& fileHandle() const noexcept { return handle_; }
  [[nodiscard]] const std::shared_ptr<NSPipe>& pipe() const noexcept { return pipe_; }

private:
  std::shared_ptr<NSFileHandle> handle_;
  std::shared_ptr<NSPipe> pipe_;
};

}  // namespace QVFoundation
