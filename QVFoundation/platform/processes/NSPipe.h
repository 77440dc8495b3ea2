#pragma once

#include <cstddef>
#include <memory>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/files/NSFileHandle.h"
#include "QVFoundation/platform/runtime/NSObject.h"

namespace QVFoundation {

/// What is written at one end can be read at the other, by another process too.
///
/// ```cpp
/// const auto pipe = std::make_shared<NSPipe>();
/// task->setStandardOutput(pipe);                     // launching closes our copy of the writing end
/// if (task->launch(&error)) use(pipe->fileHandleForReading()->readDataToEndOfFile());
/// ```
///
/// Neither end is inherited by child processes, unless a task is given the pipe.
///
/// Threads: any; its ends are as all file handles.
/// Ownership: owns both ends. Each is closed when it is told to, or when the pipe and all who hold the end
/// have let go of it.
/// Errors: where the system has no pipe to give, making one throws an `NSError` of `NSPOSIXErrorDomain`, such
/// as `EMFILE`.
class QV_EXPORT NSPipe : public NSObject {
public:
  enum class Capacity {
    standard,
    /// As much as the system allows; the standard one where it refuses, as it may for a user who has many.
    largest
  };

  explicit NSPipe(Capacity capacity = Capacity::standard);

  [[nodiscard]] const std::shared_ptr<NSFileHandle>& fileHandleForReading() const noexcept {
    return reading_;
  }
  [[nodiscard]] const std::shared_ptr<NSFileHandle>& fileHandleForWriting() const noexcept {
    return writing_;
  }

  /// How many bytes may be written before the writer has to wait for a reader, as the system says now; 0 once
  /// both ends are closed. Small writes may fill it earlier.
  [[nodiscard]] std::size_t capacity() const noexcept;
  /// Makes it the largest one; see `Capacity`. What was written stays.
  void enlarge() noexcept;

  [[nodiscard]] Dictionary debugDictionary() const override;

private:
  std::shared_ptr<NSFileHandle> reading_;
  std::shared_ptr<NSFileHandle> writing_;
};

}  // namespace QVFoundation
