#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <sys/types.h>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/concurrency/Mutex.h"
#include "QVFoundation/platform/concurrency/ThreadSafety.h"
#include "QVFoundation/platform/concurrency/UnfairLock.h"
#include "QVFoundation/platform/files/PathView.h"
#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/runtime/Value.h"

namespace QVFoundation {

namespace detail {
enum class OutputKind;
}

/// Posted by `NSNotificationCenter::defaultCenter()` about a file handle, once for each wait that it was asked
/// for, when there is something to read or the end was reached.
inline constexpr std::string_view NSFileHandleDataAvailableNotification =
    "NSFileHandleDataAvailableNotification";

/// A file descriptor as an object.
///
/// Threads: safe from any thread; one write goes out whole before the next begins, and closing waits for it.
/// Reading waits for no write. Nobody may still be reading when the handle is closed: another file may get
/// the number at once.
/// Ownership: closes its descriptor when it is released, if it was told to at its making; the standard
/// handles never do.
/// Errors: what cannot be read or written raises `NSException` named `NSFileHandleOperationException`,
/// whose reason names the file and what the system said. A broken pipe is such an error, never a signal to
/// the process.
class QV_EXPORT NSFileHandle : public NSObject {
public:
  /// Whether the handle owns its descriptor. One of the first three that it does not own is not even closed
  /// by `closeFile`: others use it, and the next file that is opened would get the number and all that is
  /// printed to it.
  enum class CloseOnRelease { no, yes };

  /// The path is for messages only.
  explicit NSFileHandle(int descriptor, CloseOnRelease closeOnRelease = CloseOnRelease::no,
                        std::filesystem::path path = {});
  ~NSFileHandle() override;

  [[nodiscard]] static const std::shared_ptr<NSFileHandle>& standardInput();
  [[nodiscard]] static const std::shared_ptr<NSFileHandle>& standardOutput();
  [[nodiscard]] static const std::shared_ptr<NSFileHandle>& standardError();

  // Null where the file cannot be opened; `errno` then says why.
  /// Reading comes to the end at once, and what is written is gone.
  [[nodiscard]] static std::shared_ptr<NSFileHandle> fileHandleWithNullDevice();
  [[nodiscard]] static std::shared_ptr<NSFileHandle> fileHandleForReadingAtPath(PathView path);
  /// Writes to an existing file, from its beginning.
  [[nodiscard]] static std::shared_ptr<NSFileHandle> fileHandleForWritingAtPath(PathView path);

  /// -1 once it is closed.
  [[nodiscard]] int fileDescriptor() const noexcept { return descriptor_.load(std::memory_order_relaxed); }
  [[nodiscard]] const std::filesystem::path& path() const noexcept { return path_; }

  /// Up to `length` bytes; fewer only at the end of the file.
  [[nodiscard]] NSData readDataOfLength(std::size_t length);
  [[nodiscard]] NSData readDataToEndOfFile();
  /// What there is now; where there is nothing it waits for some. Empty at the end.
  [[nodiscard]] NSData availableData();

  /// Has `NSFileHandleDataAvailableNotification` posted once, on a background thread, when `availableData`
  /// would not wait. It does not keep the handle. Asking again before it has come changes nothing.
  void waitForDataInBackgroundAndNotify();
  /// No notification is going to be posted any more, but one may just be on its way: removing its observer
  /// waits for that.
  void stopWaitingForData();

  void writeData(std::span<const std::byte> data);
  void writeText(std::string_view text);

  /// Returns when all that was written has reached the device, at once where there is none, as behind a pipe.
  void synchronizeFile();
  /// Closes the descriptor, whoever owns it, and stops waiting for data. Closing twice is harmless. Standard
  /// descriptors that are not the handle's own stay open.
  void closeFile();

  [[nodiscard]] Dictionary debugDictionary() const override;

protected:
  /// Opens a file whose descriptor is not inherited by child processes; -1 where that fails.
  [[nodiscard]] static int openDescriptor(PathView path, int flags, mode_t mode = 0);

  /// Writes a line and a line break in one piece. After a line that was cut off by a failure the next one
  /// begins on a line of its own.
  void appendLine(std::string_view line);

private:
  std::size_t read(std::span<std::byte> buffer);
  [[nodiscard]] detail::OutputKind outputKind() noexcept QV_REQUIRES(lock_);
  [[noreturn]] void fail(std::string_view action, int code) const;
  void dataIsAvailable();

  mutable UnfairLock lock_;
  std::atomic<int> descriptor_;  // changed under lock_, read without it: a write may wait for ever
  bool lineIsCut_ QV_GUARDED_BY(lock_) = false;
  std::optional<detail::OutputKind> outputKind_ QV_GUARDED_BY(lock_);  // once something is written
  const CloseOnRelease closeOnRelease_;
  const std::filesystem::path path_;
  Mutex waitLock_;                                        // alone, since lock_ is held while a write waits
  std::uint64_t waitToken_ QV_GUARDED_BY(waitLock_) = 0;  // 0 where nobody waits for data
};

}  // namespace QVFoundation
