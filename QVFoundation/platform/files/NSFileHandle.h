#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <sys/types.h>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/concurrency/ThreadSafety.h"
#include "QVFoundation/platform/concurrency/UnfairLock.h"
#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/runtime/Value.h"

namespace QVFoundation {

namespace detail {
enum class OutputKind;
}

/// A file descriptor as an object.
///
/// Threads: safe from any thread; one write goes out whole before the next begins.
/// Ownership: closes its descriptor when it is released, if it was told to at its making; the standard
/// handles never do. Errors: what cannot be read or written raises `NSException` named
/// `NSFileHandleOperationException`, whose reason names the
///   file and what the system said. A broken pipe is such an error, never a signal to the process.
class QV_EXPORT NSFileHandle : public NSObject {
public:
  enum class CloseOnRelease { no, yes };

  /// The path is for messages only.
  explicit NSFileHandle(int descriptor, CloseOnRelease closeOnRelease = CloseOnRelease::no,
                        std::filesystem::path path = {});
  ~NSFileHandle() override;

  [[nodiscard]] static const std::shared_ptr<NSFileHandle>& standardInput();
  [[nodiscard]] static const std::shared_ptr<NSFileHandle>& standardOutput();
  [[nodiscard]] static const std::shared_ptr<NSFileHandle>& standardError();

  // Null where the file cannot be opened; `errno` then says why.
  [[nodiscard]] static std::shared_ptr<NSFileHandle> fileHandleForReadingAtPath(
      const std::filesystem::path& path);
  /// Writes to an existing file, from its beginning.
  [[nodiscard]] static std::shared_ptr<NSFileHandle> fileHandleForWritingAtPath(
      const std::filesystem::path& path);

  [[nodiscard]] int fileDescriptor() const noexcept;  ///< -1 once it is closed.
  [[nodiscard]] const std::filesystem::path& path() const noexcept { return path_; }

  /// Up to `length` bytes; fewer only at the end of the file.
  [[nodiscard]] NSData readDataOfLength(std::size_t length);
  [[nodiscard]] NSData readDataToEndOfFile();

  void writeData(std::span<const std::byte> data);
  void writeText(std::string_view text);

  /// Returns when all that was written has reached the device.
  void synchronizeFile();
  /// Closes the descriptor, whoever owns it. Closing twice is harmless.
  void closeFile();

  [[nodiscard]] Dictionary debugDictionary() const override;

protected:
  /// Opens a file whose descriptor is not inherited by child processes; -1 where that fails.
  [[nodiscard]] static int openDescriptor(const std::filesystem::path& path, int flags,
                                          mode_t mode = 0) noexcept;

  /// Writes a line and a line break in one piece. After a line that was cut off by a failure the next one
  /// begins on a line of its own.
  void appendLine(std::string_view line);

private:
  std::size_t read(std::span<std::byte> buffer);
  [[nodiscard]] detail::OutputKind outputKind() const noexcept QV_REQUIRES(lock_);
  [[noreturn]] void fail(std::string_view action, int code) const;

  mutable UnfairLock lock_;
  int descriptor_ QV_GUARDED_BY(lock_);
  bool lineIsCut_ QV_GUARDED_BY(lock_) = false;
  const CloseOnRelease closeOnRelease_;
  const detail::OutputKind outputKind_;
  const std::filesystem::path path_;
};

}  // namespace QVFoundation
